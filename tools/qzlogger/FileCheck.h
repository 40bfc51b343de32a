#pragma once

#include <qzlogger.h>

#include <QString>
#include <QStringList>

// A data file as its catalogue row describes it and as the card holds it, and the ways in which
// the two differ; files shows them for one logger, verify for the whole store.
namespace qzcli {

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

// Reads the header, the size and the first and last item's time of the file at path, with the
// header and item sizes of its row.
FileOnCard readFile(const QString& path, const LoggerFileInfo& row);

// Where the row and the file disagree, one text each, in this order: the header against the row
// (headerDisagreements), an item cut short (tornTail), the range against the items
// (rangeDisagreements). A missing file or one shorter than its header is one text alone.
QStringList disagreements(const LoggerFileInfo& row, int32_t typeId, const FileOnCard& card, bool newest);

// The header's owner, data type and creation time against the row's; nothing where the file is
// missing or has no header.
QStringList headerDisagreements(const LoggerFileInfo& row, int32_t typeId, const FileOnCard& card);
// The bytes of an item cut short at the end, or nothing.
QStringList tornTail(const FileOnCard& card);
// The row's range against the first and the last item. The newest file of a logger is still
// being written: a row that ends before its last item, or has no range yet, is the catalogue
// lagging behind the writer, which stores the range from time to time, not a fault.
QStringList rangeDisagreements(const LoggerFileInfo& row, const FileOnCard& card, bool newest);

// Times as the files hold them; a time of zero is one the store does not know.
bool sameTime(const DataTimespec& a, const DataTimespec& b);
bool isZero(const DataTimespec& time);

} // namespace qzcli
