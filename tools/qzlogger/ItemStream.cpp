#include "ItemStream.h"

#include "TimeText.h"

#include <QFile>

#include <algorithm>

namespace qzcli {

namespace {

bool readStamp(QFile& file, qint64 position, timespec& time)
{
    DataTimespec stamp{0, 0};
    if (!file.seek(position) ||
        file.read(reinterpret_cast<char*>(&stamp), sizeof(stamp)) != static_cast<qint64>(sizeof(stamp)))
        return false;
    time = stamp;
    return true;
}

} // namespace

ItemStream::ItemStream(const DefnBaseType& type, timespec start, timespec end) : mStart(start), mEnd(end)
{
    for (int index = 0; index < type.getFileListSize(); ++index) {
        if (std::shared_ptr<LoggerFileInfo> row = type.getFileInfo(index))
            mRows.push_back(std::move(row));
    }
}

bool ItemStream::search()
{
    mRanges.clear();
    mItemCount = 0;
    for (const std::shared_ptr<LoggerFileInfo>& row : mRows) {
        if (!searchFile(*row))
            return false;
    }
    return true;
}

// The first item at or after the start and the first after the end, each by a binary search
// over the stamps, which ascend within a file.
bool ItemStream::searchFile(const LoggerFileInfo& row)
{
    const QString path = LoggerFileSystem::getFullFileName(&row);
    const int blockSize = row.DataBlockSize;
    if (blockSize < static_cast<int>(sizeof(DataTimespec))) {
        mError = QStringLiteral("the catalogue gives %1 an item size of %2 bytes").arg(path).arg(blockSize);
        return false;
    }
    if (mItemSize != 0 && mItemSize != blockSize) {
        mError = QStringLiteral("%1 holds items of %2 bytes, the logger's other files of %3")
                     .arg(path)
                     .arg(blockSize)
                     .arg(mItemSize);
        return false;
    }
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        // A file the writer's quota removed between the catalogue's answer and this open holds
        // nothing any more; any other failure is told.
        if (!file.exists())
            return true;
        mError = QStringLiteral("%1 cannot be read: %2").arg(path, file.errorString());
        return false;
    }
    const qint64 headerSize = row.HeaderSize > 0 ? row.HeaderSize : kLoggerHeaderSize;
    const qint64 items = file.size() > headerSize ? (file.size() - headerSize) / blockSize : 0;
    if (items == 0)
        return true;
    mItemSize = blockSize;
    const auto boundary = [&](const timespec& time, bool after, qint64& index) {
        qint64 low = 0;
        qint64 high = items;
        while (low < high) {
            const qint64 middle = low + (high - low) / 2;
            timespec stamp{};
            if (!readStamp(file, headerSize + middle * blockSize, stamp))
                return false;
            const bool goesRight = after ? !isEarlier(time, stamp) : isEarlier(stamp, time);
            if (goesRight)
                low = middle + 1;
            else
                high = middle;
        }
        index = low;
        return true;
    };
    qint64 first = 0;
    qint64 behind = 0;
    if (!boundary(mStart, false, first) || !boundary(mEnd, true, behind)) {
        mError = QStringLiteral("%1 cannot be read: %2").arg(path, file.errorString());
        return false;
    }
    if (behind > first) {
        mRanges.push_back({path, headerSize, first, behind - first});
        mItemCount += behind - first;
    }
    return true;
}

void ItemStream::keepLast(long long last)
{
    long long skip = std::max(0LL, mItemCount - last);
    mItemCount -= skip;
    auto range = mRanges.begin();
    while (skip > 0 && range != mRanges.end()) {
        const qint64 taken = std::min<qint64>(skip, range->count);
        range->first += taken;
        range->count -= taken;
        skip -= taken;
        ++range;
    }
    mRanges.erase(
        std::remove_if(mRanges.begin(), mRanges.end(), [](const FileRange& r) { return r.count == 0; }),
        mRanges.end());
}

bool ItemStream::run(const Sink& sink, int chunkBytes)
{
    if (mItemSize <= 0)
        return true;
    const qint64 chunkItems = std::max(1, chunkBytes / mItemSize);
    QByteArray buffer(static_cast<int>(chunkItems * mItemSize), Qt::Uninitialized);
    for (const FileRange& range : mRanges) {
        QFile file(range.path);
        if (!file.open(QIODevice::ReadOnly) || !file.seek(range.headerSize + range.first * mItemSize)) {
            mError = QStringLiteral("%1 cannot be read: %2").arg(range.path, file.errorString());
            return false;
        }
        qint64 left = range.count;
        while (left > 0) {
            const qint64 count = std::min(left, chunkItems);
            const qint64 bytes = count * mItemSize;
            const qint64 read = file.read(buffer.data(), bytes);
            if (read != bytes) {
                // The writer's quota may remove an old file under the read; what it gave stays.
                mError = QStringLiteral("%1 ended after %2 of its %3 items in the range")
                             .arg(range.path)
                             .arg(range.count - left + std::max<qint64>(read, 0) / mItemSize)
                             .arg(range.count);
                if (read >= mItemSize)
                    sink(buffer.constData(), static_cast<int>(read / mItemSize));
                return false;
            }
            if (!sink(buffer.constData(), static_cast<int>(count)))
                return false;
            left -= count;
        }
    }
    return true;
}

} // namespace qzcli
