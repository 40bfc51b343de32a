#include "FileCheck.h"

#include "TimeText.h"

#include <QFile>

namespace qzcli {

namespace {

bool readStamp(QFile& file, qint64 position, DataTimespec& stamp)
{
    return file.seek(position) &&
           file.read(reinterpret_cast<char*>(&stamp), sizeof(stamp)) == static_cast<qint64>(sizeof(stamp));
}

} // namespace

bool isZero(const DataTimespec& time)
{
    return time.tv_sec == 0 && time.tv_nsec == 0;
}

bool sameTime(const DataTimespec& a, const DataTimespec& b)
{
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
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

QStringList headerDisagreements(const LoggerFileInfo& row, int32_t typeId, const FileOnCard& card)
{
    QStringList found;
    if (!card.exists || !card.hasHeader)
        return found;
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
    return found;
}

QStringList tornTail(const FileOnCard& card)
{
    if (!card.exists || !card.hasHeader || card.tornBytes <= 0)
        return {};
    return {QStringLiteral("%1 bytes of an item cut short at the end").arg(card.tornBytes)};
}

QStringList rangeDisagreements(const LoggerFileInfo& row, const FileOnCard& card, bool newest)
{
    QStringList found;
    if (!card.exists || !card.hasHeader)
        return found;
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

QStringList disagreements(const LoggerFileInfo& row, int32_t typeId, const FileOnCard& card, bool newest)
{
    if (!card.exists)
        return {QStringLiteral("no such file on the card")};
    if (!card.hasHeader)
        return {QStringLiteral("the file is shorter than its header")};
    return headerDisagreements(row, typeId, card) + tornTail(card) + rangeDisagreements(row, card, newest);
}

} // namespace qzcli
