// qzlogger files ID: the data files of one logger, each as its catalogue row and as the card
// holds it, and whether the two agree.

#include "Commands.h"
#include "Loggers.h"
#include "Store.h"
#include "TimeText.h"

#include <qzlogger.h>

#include <QFile>

#include <cstring>
#include <memory>

namespace qzcli {

namespace {

bool isZero(const DataTimespec& time)
{
    return time.tv_sec == 0 && time.tv_nsec == 0;
}

bool sameTime(const DataTimespec& a, const DataTimespec& b)
{
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

// What the card holds of one data file, read with a read-only open.
struct FileOnCard {
    bool exists = false;
    qint64 size = 0;
    bool hasHeader = false;
    LoggerHeader header{};
    qint64 items = 0;     // whole items behind the header
    qint64 tornBytes = 0; // bytes of an item cut short at the end
    DataTimespec first{0, 0};
    DataTimespec last{0, 0};
};

bool readStamp(QFile& file, qint64 position, DataTimespec& stamp)
{
    return file.seek(position) &&
           file.read(reinterpret_cast<char*>(&stamp), sizeof(stamp)) == static_cast<qint64>(sizeof(stamp));
}

FileOnCard readFile(const QString& path, const LoggerFileInfo& row)
{
    FileOnCard card;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return card;
    card.exists = true;
    card.size = file.size();
    card.hasHeader = card.size >= kLoggerHeaderSize &&
                     file.read(reinterpret_cast<char*>(&card.header), kLoggerHeaderSize) == kLoggerHeaderSize;
    const qint64 headerSize = row.HeaderSize > 0 ? row.HeaderSize : kLoggerHeaderSize;
    if (row.DataBlockSize > 0 && card.size > headerSize) {
        card.items = (card.size - headerSize) / row.DataBlockSize;
        card.tornBytes = (card.size - headerSize) % row.DataBlockSize;
    }
    if (card.items > 0 && row.DataBlockSize >= static_cast<int>(sizeof(DataTimespec))) {
        readStamp(file, headerSize, card.first);
        readStamp(file, headerSize + (card.items - 1) * row.DataBlockSize, card.last);
    }
    return card;
}

// Where the row and the file disagree, one text each. The newest file of a logger is still
// being written: a row that ends before its last item, or has no range yet, is the catalogue
// lagging behind the writer, which stores the range from time to time, not a fault.
QStringList disagreements(const LoggerFileInfo& row, int32_t typeId, const FileOnCard& card, bool newest)
{
    QStringList found;
    if (!card.exists)
        return {QStringLiteral("no such file on the card")};
    if (!card.hasHeader)
        return {QStringLiteral("the file is shorter than its header")};
    if (card.header.baseTypeId != typeId)
        found << QStringLiteral("the header names the logger %1, the row belongs to %2")
                     .arg(card.header.baseTypeId)
                     .arg(typeId);
    if (card.header.dataType != static_cast<int32_t>(row.DataType))
        found << QStringLiteral("the header's data type is %1, the row's %2")
                     .arg(card.header.dataType)
                     .arg(static_cast<int32_t>(row.DataType));
    if (card.header.utcCreatedSec != row.UtcCreated.tv_sec ||
        card.header.utcCreatedNsec != row.UtcCreated.tv_nsec)
        found << QStringLiteral("the header was created %1, the row says %2")
                     .arg(formatTime(timespec{card.header.utcCreatedSec, card.header.utcCreatedNsec}),
                          formatTimeOrNone(row.UtcCreated));
    if (card.tornBytes > 0)
        found << QStringLiteral("%1 bytes of an item cut short at the end").arg(card.tornBytes);
    if (card.items > 0 && !(newest && isZero(row.UtcStart)) && !sameTime(row.UtcStart, card.first))
        found << QStringLiteral("the row starts %1, the first item is at %2")
                     .arg(formatTimeOrNone(row.UtcStart), formatTimeOrNone(card.first));
    const bool endLags = newest && (isZero(row.UtcEnd) || isEarlier(row.UtcEnd, card.last));
    if (card.items > 0 && !endLags && !sameTime(row.UtcEnd, card.last))
        found << QStringLiteral("the row ends %1, the last item is at %2")
                     .arg(formatTimeOrNone(row.UtcEnd), formatTimeOrNone(card.last));
    if (card.items == 0 && !isZero(row.UtcStart))
        found << QStringLiteral("the row has a range, the file no item");
    return found;
}

} // namespace

int runFiles(const Invocation& invocation)
{
    // "-" names the operator log, which has no identification, as ls shows it.
    const QString word = invocation.words.isEmpty() ? QString() : invocation.words.first();
    if (invocation.words.size() != 1 || (word.startsWith(QLatin1Char('-')) && word != QLatin1String("-"))) {
        complain(invocation,
                 QStringLiteral("wants one identification: qzlogger files ID (qzlogger ls lists them)"));
        return kExitUsage;
    }
    const QString id = word == QLatin1String("-") ? QString() : word;
    OpenedStore store(invocation);
    if (!store.isOpen())
        return kExitUsage;
    const std::unique_ptr<FoundLogger> logger = findLogger(store.api(), store.catalogue(), id);
    if (!logger || !logger->baseType) {
        complain(invocation, logger
                                 ? QStringLiteral("the catalogue entry of %1 cannot be read").arg(id)
                                 : QStringLiteral("unknown identification %1: qzlogger ls lists the store's "
                                                  "identifications")
                                       .arg(id));
        return kExitUsage;
    }
    const DefnBaseType& type = *logger->baseType;
    const int count = type.getFileListSize();
    printLine(QStringLiteral("%1  %2 %3, %4 file%5")
                  .arg(id.isEmpty() ? QStringLiteral("-") : id,
                       LoggerDebug::getLoggerTypeString(logger->type),
                       LoggerDebug::getLoggerDataTypeString(type.mDataType))
                  .arg(count)
                  .arg(count == 1 ? QString() : QStringLiteral("s")));
    // The file a logger writes is its newest: the catalogue lists a logger's files in the order
    // they were begun.
    const int newestIndex = count - 1;
    int disagreeing = 0;
    for (int index = 0; index < count; ++index) {
        const std::shared_ptr<LoggerFileInfo> row = type.getFileInfo(index);
        if (!row)
            continue;
        const QString path = LoggerFileSystem::getFullFileName(row.get());
        const FileOnCard card = readFile(path, *row);
        printLine(QStringLiteral("file %1: %2").arg(index + 1).arg(path));
        printLine(
            QStringLiteral("  row     id %1, created %2, range %3 to %4, header %5 bytes, items of %6 bytes")
                .arg(row->Id)
                .arg(formatTimeOrNone(row->UtcCreated), formatTimeOrNone(row->UtcStart),
                     formatTimeOrNone(row->UtcEnd))
                .arg(row->HeaderSize)
                .arg(row->DataBlockSize));
        if (card.exists) {
            printLine(QStringLiteral("  file    %1 bytes, %2 items%3")
                          .arg(card.size)
                          .arg(card.items)
                          .arg(card.items > 0
                                   ? QStringLiteral(" from %1 to %2")
                                         .arg(formatTimeOrNone(card.first), formatTimeOrNone(card.last))
                                   : QString()));
        }
        if (card.hasHeader) {
            printLine(
                QStringLiteral(
                    "  header  version %1, data type %2, logger %3, word %4, unique id %5, scales %6 %7")
                    .arg(card.header.version)
                    .arg(LoggerDebug::getLoggerDataTypeString(
                        static_cast<LoggerDataType>(card.header.dataType)))
                    .arg(card.header.baseTypeId)
                    .arg(card.header.headerWord)
                    .arg(card.header.uniqueId)
                    .arg(static_cast<double>(card.header.Parameter1))
                    .arg(static_cast<double>(card.header.Parameter2)));
        }
        const QStringList found = disagreements(*row, type.Id, card, index == newestIndex);
        if (found.isEmpty()) {
            printLine(QStringLiteral("  agrees  yes"));
        } else {
            ++disagreeing;
            printLine(QStringLiteral("  agrees  no: ") + found.join(QStringLiteral("; ")));
        }
    }
    return disagreeing == 0 ? kExitOk : kExitFindings;
}

} // namespace qzcli
