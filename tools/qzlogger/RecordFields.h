#pragma once

#include <qzlogger.h>

#include <QByteArray>
#include <QStringList>

#include <vector>

// The fields of an item record as dump prints them: a column per value, named after the
// record's member, arrays as numbered columns ("values_0", "values_1", ...).
namespace qzcli {

enum class FieldKind {
    Time,     // DataTimespec: ISO 8601 UTC with nanoseconds
    Duration, // DataTimespec of a span: seconds with nine decimals
    Unsigned, // 32-bit
    Signed,   // 32-bit
    Short,    // 16-bit, signed
    Float,    // 32-bit, printed so that it reads back to the same value
    Double,   // 64-bit, likewise
    Complex,  // two floats, real then imaginary part: two columns, _re and _im
    Text,     // Latin-1 up to the first NUL, within count bytes
    Address,  // four octets, as the dotted text of an IPv4 address
};

struct Field {
    const char* name;
    int offset = 0;
    FieldKind kind = FieldKind::Unsigned;
    int count = 1; // elements of an array; bytes of a text
};

// A record as it lies in a data file.
struct RecordLayout {
    LoggerDataType dataType = LoggerDataType::NONE;
    int itemSize = 0;
    std::vector<Field> fields;
};

// The layout of the items of a logger of that data type whose files hold items of itemSize
// bytes (the array records come in more than one length); no fields where the store knows no
// record of that type and size.
RecordLayout recordLayout(LoggerDataType dataType, int itemSize);

// The column names of a layout, in order: a field's name, or name_<i> for each element of an
// array, name_<i>_re and name_<i>_im for a complex one.
QStringList columnNames(const RecordLayout& layout);

// One item as a CSV row without its line end: the values in the order of columnNames, a text
// in double quotes where it holds a comma, a quote or a line end.
void appendCsv(const RecordLayout& layout, const char* item, QByteArray& out);

// One item as the members of a JSON object, without the braces: "name":value, arrays as JSON
// arrays, a complex value as [re,im], a float that is no finite number as null.
void appendJson(const RecordLayout& layout, const char* item, QByteArray& out);

// A UTF-8 text as a JSON string and as a CSV value.
void appendJsonString(const QByteArray& text, QByteArray& out);
void appendCsvText(const QByteArray& text, QByteArray& out);

} // namespace qzcli
