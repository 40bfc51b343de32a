// qzlogger verify: the whole store checked, read-only: the catalogue's own consistency, each
// catalogued file against its row and its items, the data folder against the catalogue, and each
// family against its quota.

#include "Commands.h"
#include "FileCheck.h"
#include "Loggers.h"
#include "Options.h"
#include "Store.h"
#include "TimeText.h"

#include <qzlogger.h>

#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QSet>
#include <QUrl>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <set>
#include <sqlite3.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace qzcli {

namespace {

// Bytes read at a time while the items of a file are walked; a whole number of items.
constexpr qint64 kReadChunk = 1 << 20;
// integrity_check stops after this many rows of findings.
constexpr int kIntegrityRows = 100;
// How long a catalogue check waits for the writer's transaction to end.
constexpr int kBusyMilliseconds = 10000;

QString loggerName(const QString& id)
{
    return id.isEmpty() ? QStringLiteral("-") : id;
}

QString cleanPath(const QString& path)
{
    return QDir::cleanPath(QFileInfo(path).absoluteFilePath());
}

// The findings as they are printed, one line each.
class Findings {
public:
    explicit Findings(Progress& progress) : mProgress(progress) {}

    void add(const QString& where, const QString& what)
    {
        mProgress.clear();
        printLine(where + QStringLiteral(": ") + what);
        std::fflush(stdout);
        ++mCount;
    }
    int count() const { return mCount; }

private:
    Progress& mProgress;
    int mCount = 0;
};

// The rows of one pragma, each row's columns joined by blanks; false with SQLite's message where
// the pragma could not run to its end, with the rows it gave until then.
bool pragmaRows(sqlite3* handle, const char* pragma, QStringList& rows, QString& error)
{
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(handle, pragma, -1, &statement, nullptr) != SQLITE_OK) {
        error = QString::fromUtf8(sqlite3_errmsg(handle));
        sqlite3_finalize(statement);
        return false;
    }
    int step = SQLITE_ROW;
    while ((step = sqlite3_step(statement)) == SQLITE_ROW) {
        QStringList columns;
        for (int column = 0; column < sqlite3_column_count(statement); ++column) {
            const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
            columns << (text != nullptr ? QString::fromUtf8(text) : QStringLiteral("-"));
        }
        rows << columns.join(QLatin1Char(' '));
    }
    if (step != SQLITE_DONE)
        error = QString::fromUtf8(sqlite3_errmsg(handle));
    sqlite3_finalize(statement);
    return step == SQLITE_DONE;
}

// integrity_check and foreign_key_check of the catalogue, on a connection of its own that is
// read-only through the URI as well, so that SQLite neither writes the file nor makes a journal.
void checkCatalogue(const QString& path, Findings& findings)
{
    const QByteArray uri =
        QByteArrayLiteral("file:") + QUrl::toPercentEncoding(path, "/") + QByteArrayLiteral("?mode=ro");
    sqlite3* handle = nullptr;
    if (sqlite3_open_v2(uri.constData(), &handle, SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, nullptr) !=
        SQLITE_OK) {
        findings.add(path, QStringLiteral("the catalogue cannot be opened for its checks: %1")
                               .arg(QString::fromUtf8(sqlite3_errmsg(handle))));
        sqlite3_close(handle);
        return;
    }
    sqlite3_busy_timeout(handle, kBusyMilliseconds);
    QStringList rows;
    QString error;
    const QByteArray integrity = QByteArrayLiteral("PRAGMA integrity_check(") +
                                 QByteArray::number(kIntegrityRows) + QByteArrayLiteral(")");
    // On a damaged catalogue the check may report what it found and then stop at a page it
    // cannot read: both are findings.
    const bool ran = pragmaRows(handle, integrity.constData(), rows, error);
    if (rows != QStringList{QStringLiteral("ok")}) {
        // A row may hold several lines, the first naming the schema ("*** in database main ***").
        for (const QString& row : rows) {
            for (const QString& line : row.split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
                if (!line.startsWith(QLatin1String("*** ")))
                    findings.add(path, QStringLiteral("integrity_check: %1").arg(line));
            }
        }
    }
    if (!ran)
        findings.add(path, QStringLiteral("integrity_check stopped: %1").arg(error));
    rows.clear();
    // Each row: the table, the rowid of the row, the table it refers to, the key's number.
    const bool keysChecked = pragmaRows(handle, "PRAGMA foreign_key_check", rows, error);
    for (const QString& row : rows) {
        const QStringList columns = row.split(QLatin1Char(' '));
        findings.add(path, columns.size() == 4
                               ? QStringLiteral("foreign_key_check: row %1 of %2 refers to no row of %3")
                                     .arg(columns.at(1), columns.at(0), columns.at(2))
                               : QStringLiteral("foreign_key_check: %1").arg(row));
    }
    if (!keysChecked)
        findings.add(path, QStringLiteral("foreign_key_check stopped: %1").arg(error));
    sqlite3_close(handle);
}

// The first item whose time is not after the one before it, and how many such items the file
// holds; the walk stops at the whole items that readFile counted.
struct ItemOrder {
    qint64 outOfOrder = 0;
    qint64 firstIndex = -1;
    DataTimespec firstTime{0, 0};
    DataTimespec timeBefore{0, 0};
};

ItemOrder itemOrder(const QString& path, const LoggerFileInfo& row, const FileOnCard& card)
{
    ItemOrder order;
    const qint64 blockSize = row.DataBlockSize;
    if (card.items < 2 || blockSize < static_cast<qint64>(sizeof(DataTimespec)))
        return order;
    QFile file(path);
    const qint64 headerSize = row.HeaderSize > 0 ? row.HeaderSize : kLoggerHeaderSize;
    if (!file.open(QIODevice::ReadOnly) || !file.seek(headerSize))
        return order;
    const qint64 chunkItems = std::max<qint64>(1, kReadChunk / blockSize);
    DataTimespec before{0, 0};
    for (qint64 index = 0; index < card.items;) {
        const qint64 count = std::min(chunkItems, card.items - index);
        const QByteArray bytes = file.read(count * blockSize);
        const qint64 read = bytes.size() / blockSize;
        for (qint64 item = 0; item < read; ++item, ++index) {
            DataTimespec stamp{0, 0};
            std::memcpy(&stamp, bytes.constData() + item * blockSize, sizeof(stamp));
            // Equal times are out of order too: the writer takes no item that repeats a time.
            if (index > 0 && !isEarlier(before, stamp)) {
                if (order.outOfOrder++ == 0) {
                    order.firstIndex = index;
                    order.firstTime = stamp;
                    order.timeBefore = before;
                }
            }
            before = stamp;
        }
        if (read < count)
            break;
    }
    return order;
}

// One logger as verify reads it from the catalogue.
struct VerifiedLogger {
    LoggerType type = LoggerType::NONE;
    QString id;
    std::shared_ptr<DefnBaseType> baseType;
};

std::vector<VerifiedLogger> readLoggers(LoggerApiInterface& api, LoggerApiBase& catalogue)
{
    std::vector<VerifiedLogger> loggers;
    for (const Family& family : families()) {
        for (const QString& id : api.getMeasIDs(family.type))
            loggers.push_back({family.type, id, readType(catalogue, family.type, id)});
    }
    return loggers;
}

// The paths of every file that a row of the catalogue names, read afresh.
QSet<QString> cataloguedPaths(LoggerApiInterface& api, LoggerApiBase& catalogue)
{
    QSet<QString> paths;
    for (const VerifiedLogger& logger : readLoggers(api, catalogue)) {
        if (!logger.baseType)
            continue;
        for (int index = 0; index < logger.baseType->getFileListSize(); ++index) {
            const std::shared_ptr<LoggerFileInfo> row = logger.baseType->getFileInfo(index);
            if (row)
                paths.insert(cleanPath(LoggerFileSystem::getFullFileName(row.get())));
        }
    }
    return paths;
}

// The row of that id is still among the logger's rows, read afresh: beside a running writer a
// file that went between the reading of the rows and the look at the card went with its row.
bool rowStillCatalogued(LoggerApiBase& catalogue, const VerifiedLogger& logger, int32_t rowId)
{
    const std::shared_ptr<DefnBaseType> type = readType(catalogue, logger.type, logger.id);
    if (!type)
        return false;
    for (int index = 0; index < type->getFileListSize(); ++index) {
        const std::shared_ptr<LoggerFileInfo> row = type->getFileInfo(index);
        if (row && row->Id == rowId)
            return true;
    }
    return false;
}

} // namespace

int runVerify(const Invocation& invocation)
{
    if (!invocation.words.isEmpty()) {
        complain(invocation, QStringLiteral("takes no arguments: qzlogger [--card PATH] verify"));
        return kExitUsage;
    }
    OpenedStore store(invocation);
    if (!store.isOpen())
        return kExitUsage;
    LoggerDb& db = LoggerDb::getInstance();
    LoggerApiInterface& api = store.api();
    LoggerApiBase& catalogue = store.catalogue();
    Progress progress;
    Findings findings(progress);

    progress.show(QStringLiteral("verify: the catalogue"));
    checkCatalogue(db.getFullDbName(), findings);

    // Beside a running writer the folder and the rows are not read at one instant: a file that
    // comes or goes in between is looked at again before it counts as missing or as an orphan.
    QStringList onCard;
    QDirIterator walk(db.getDataFolder(), QDir::Files | QDir::Hidden | QDir::System,
                      QDirIterator::Subdirectories);
    while (walk.hasNext())
        onCard << cleanPath(walk.next());

    const std::vector<VerifiedLogger> loggers = readLoggers(api, catalogue);
    int total = 0;
    for (const VerifiedLogger& logger : loggers)
        total += logger.baseType ? logger.baseType->getFileListSize() : 0;

    QSet<QString> catalogued;
    int checked = 0;
    std::set<std::pair<int, int>> familiesFound;
    for (const VerifiedLogger& logger : loggers) {
        const QString name = loggerName(logger.id);
        if (!logger.baseType) {
            findings.add(name, QStringLiteral("the catalogue entry of the %1 logger cannot be read")
                                   .arg(LoggerDebug::getLoggerTypeString(logger.type)));
            continue;
        }
        const DefnBaseType& type = *logger.baseType;
        familiesFound.insert({static_cast<int>(logger.type), static_cast<int>(type.mDataType)});
        const int count = type.getFileListSize();
        // The catalogue lists a logger's files in the order they were begun; the last is the one
        // the writer writes to.
        const int newestIndex = count - 1;
        bool hasBefore = false;
        QString pathBefore;
        DataTimespec lastBefore{0, 0};
        for (int index = 0; index < count; ++index) {
            const std::shared_ptr<LoggerFileInfo> row = type.getFileInfo(index);
            if (!row)
                continue;
            ++checked;
            progress.show(QStringLiteral("verify: file %1 of %2").arg(checked).arg(total));
            const QString path = LoggerFileSystem::getFullFileName(row.get());
            catalogued.insert(cleanPath(path));
            const bool newest = index == newestIndex;
            const FileOnCard card = readFile(path, *row);
            if (!card.exists) {
                if (rowStillCatalogued(catalogue, logger, row->Id))
                    findings.add(
                        path,
                        QStringLiteral("no such file on the card (row %1 of %2)").arg(row->Id).arg(name));
                continue;
            }
            if (!card.hasHeader) {
                findings.add(path, QStringLiteral("the file is shorter than its header"));
                continue;
            }
            for (const QString& text : headerDisagreements(*row, type.Id, card))
                findings.add(path, text);
            // The writer overwrites an item cut short at the end of the file it writes to with
            // its next one, and beside a running writer the last item may be half appended: only
            // a file the writer has left is torn.
            if (!newest) {
                for (const QString& text : tornTail(card))
                    findings.add(path, text);
            }
            for (const QString& text : rangeDisagreements(*row, card, newest))
                findings.add(path, text);
            const ItemOrder order = itemOrder(path, *row, card);
            if (order.outOfOrder > 0)
                findings.add(path, QStringLiteral("item %1 at %2 is not after the one before it at %3 "
                                                  "(%4 item%5 out of order)")
                                       .arg(order.firstIndex)
                                       .arg(formatTime(order.firstTime), formatTime(order.timeBefore))
                                       .arg(order.outOfOrder)
                                       .arg(order.outOfOrder == 1 ? QString() : QStringLiteral("s")));
            if (card.items > 0) {
                if (hasBefore && !isEarlier(lastBefore, card.first))
                    findings.add(path, QStringLiteral("the first item at %1 is not after the last item "
                                                      "of %2 at %3")
                                           .arg(formatTime(card.first), pathBefore, formatTime(lastBefore)));
                hasBefore = true;
                pathBefore = path;
                lastBefore = card.last;
            }
        }
    }

    // A file no row names. Beside a running writer, one that went meanwhile is no orphan, and
    // neither is one whose row was written after the rows were read.
    QStringList orphans;
    for (const QString& path : onCard) {
        if (!catalogued.contains(path))
            orphans << path;
    }
    if (!orphans.isEmpty()) {
        const QSet<QString> again = cataloguedPaths(api, catalogue);
        for (const QString& path : orphans) {
            if (QFileInfo::exists(path) && !again.contains(path))
                findings.add(path, QStringLiteral("a data file that no row of the catalogue names"));
        }
    }

    // A family of quota 0 has no room of its own (CYCLIC/ITQ has no quota at all): the writer
    // keeps only the files its loggers write to, so its share is no fault.
    for (const std::pair<int, int>& key : familiesFound) {
        const auto type = static_cast<LoggerType>(key.first);
        const auto dataType = static_cast<LoggerDataType>(key.second);
        const double quota = api.getMaximalLoggerSize(type, dataType);
        const double used = api.getUsedLoggerSize(type, dataType);
        if (quota > 0 && used > quota)
            findings.add(LoggerDebug::getLoggerTypeString(type) + QLatin1Char('/') +
                             LoggerDebug::getLoggerDataTypeString(dataType),
                         QStringLiteral("%1% in use, above its quota of %2%")
                             .arg(QString::number(used, 'f', 4), QString::number(quota, 'f', 4)));
    }

    progress.clear();
    printLine(QStringLiteral("verify: %1 logger%2, %3 file%4, %5 finding%6")
                  .arg(loggers.size())
                  .arg(loggers.size() == 1 ? QString() : QStringLiteral("s"))
                  .arg(checked)
                  .arg(checked == 1 ? QString() : QStringLiteral("s"))
                  .arg(findings.count())
                  .arg(findings.count() == 1 ? QString() : QStringLiteral("s")));
    return findings.count() == 0 ? kExitOk : kExitFindings;
}

} // namespace qzcli
