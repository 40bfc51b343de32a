#include "CatalogueCache.h"

#include "Database.h"
#include "Statement.h"

#include <atomic>
#include <utility>

namespace qzdb {

namespace {

std::atomic<bool> gEnabled{true};

} // namespace

CatalogueCache::FileRow CatalogueCache::FileRow::of(const LoggerFileInfo& info)
{
    FileRow row;
    row.created = info.UtcCreated;
    row.start = info.UtcStart;
    row.end = info.UtcEnd;
    row.dataType = info.DataType;
    row.guidLow = info.GuidLow;
    row.guidHigh = info.GuidHigh;
    row.headerSize = info.HeaderSize;
    row.dataBlockSize = info.DataBlockSize;
    row.type = info.mType;
    return row;
}

void CatalogueCache::FileRow::copyTo(LoggerFileInfo& info) const
{
    info.UtcCreated = created;
    info.UtcStart = start;
    info.UtcEnd = end;
    info.DataType = dataType;
    info.GuidLow = guidLow;
    info.GuidHigh = guidHigh;
    info.HeaderSize = headerSize;
    info.DataBlockSize = dataBlockSize;
    info.mType = type;
}

void CatalogueCache::synchronize(Database& database)
{
    if (!isEnabled()) {
        clear();
        return;
    }
    // The number moves when another connection committed; this connection's own commits leave
    // it, and what they changed is mirrored already.
    Statement& version = database.statement("PRAGMA data_version");
    StatementReset reset(version);
    const int64_t now = version.step() ? version.columnInt64(0) : -1;
    if (now != mDataVersion || now < 0) {
        clear();
        mDataVersion = now;
    }
}

void CatalogueCache::clear()
{
    mRows.clear();
    mLinks.clear();
    mLinkedIds = 0;
}

const CatalogueCache::FileRow* CatalogueCache::row(Table table, int32_t id) const
{
    const auto found = mRows.find(Key{table, id});
    return found == mRows.end() ? nullptr : &found->second;
}

void CatalogueCache::putRow(Table table, int32_t id, const LoggerFileInfo& info)
{
    if (!isEnabled()) {
        return;
    }
    makeRoom(1);
    mRows[Key{table, id}] = FileRow::of(info);
}

void CatalogueCache::eraseRow(Table table, int32_t id)
{
    mRows.erase(Key{table, id});
}

const std::vector<CatalogueCache::Link>* CatalogueCache::links(Table linkTable, int32_t owner) const
{
    const auto found = mLinks.find(Key{linkTable, owner});
    return found == mLinks.end() ? nullptr : &found->second;
}

void CatalogueCache::putLinks(Table linkTable, int32_t owner, std::vector<Link> links)
{
    eraseLinks(linkTable, owner);
    if (!isEnabled()) {
        return;
    }
    makeRoom(links.size());
    mLinkedIds += links.size();
    mLinks[Key{linkTable, owner}] = std::move(links);
}

void CatalogueCache::eraseLinks(Table linkTable, int32_t owner)
{
    const auto found = mLinks.find(Key{linkTable, owner});
    if (found != mLinks.end()) {
        mLinkedIds -= found->second.size();
        mLinks.erase(found);
    }
}

void CatalogueCache::setEnabled(bool enabled)
{
    gEnabled = enabled;
}

bool CatalogueCache::isEnabled()
{
    return gEnabled;
}

void CatalogueCache::makeRoom(std::size_t rows)
{
    if (mRows.size() + mLinkedIds + rows > kMaximumRows) {
        clear();
    }
}

} // namespace qzdb
