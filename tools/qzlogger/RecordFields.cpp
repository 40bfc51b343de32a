#include "RecordFields.h"

#include "TimeText.h"

#include <QString>

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstring>

namespace qzcli {

namespace {

// The elements of a trailing array that fill a record of itemSize bytes behind offset.
int elementsBehind(int itemSize, int offset, int elementSize)
{
    return itemSize > offset ? (itemSize - offset) / elementSize : 0;
}

int elementSize(FieldKind kind)
{
    switch (kind) {
    case FieldKind::Time:
    case FieldKind::Duration: return static_cast<int>(sizeof(DataTimespec));
    case FieldKind::Short: return 2;
    case FieldKind::Double: return 8;
    case FieldKind::Complex: return 8;
    case FieldKind::Text: return 1;
    case FieldKind::Address: return 4;
    default: return 4;
    }
}

// Layouts of the records that end in an array of values, whose length follows from the size.
RecordLayout arrayRecord(LoggerDataType dataType, int itemSize, std::vector<Field> head, Field values)
{
    values.count = elementsBehind(itemSize, values.offset, elementSize(values.kind));
    RecordLayout layout{dataType, itemSize, std::move(head)};
    if (values.count > 0 && values.offset + values.count * elementSize(values.kind) == itemSize)
        layout.fields.push_back(values);
    else
        layout.fields.clear();
    return layout;
}

const Field kUtc{"utc", 0, FieldKind::Time};
const Field kQuality{"quality", 8, FieldKind::Unsigned};

RecordLayout fixedRecord(LoggerDataType dataType, int itemSize, int expected, std::vector<Field> fields)
{
    if (itemSize != expected)
        return {dataType, itemSize, {}};
    return {dataType, itemSize, std::move(fields)};
}

std::vector<Field> pqEventFields()
{
    std::vector<Field> fields = {
        kUtc,
        {"duration", offsetof(DataPqEvent, duration), FieldKind::Duration},
        {"triggerType", offsetof(DataPqEvent, triggerType), FieldKind::Signed},
        {"triggerSource", offsetof(DataPqEvent, triggerSource), FieldKind::Signed},
        {"systemType", offsetof(DataPqEvent, systemType), FieldKind::Signed},
        {"referenceValue", offsetof(DataPqEvent, referenceValue), FieldKind::Float},
        {"eventValue", offsetof(DataPqEvent, eventValue), FieldKind::Float},
        {"thirdValue", offsetof(DataPqEvent, thirdValue), FieldKind::Float},
    };
    static const char* const kRmsNames[7][2] = {{"rms_0_start", "rms_0_end"}, {"rms_1_start", "rms_1_end"},
                                                {"rms_2_start", "rms_2_end"}, {"rms_3_start", "rms_3_end"},
                                                {"rms_4_start", "rms_4_end"}, {"rms_5_start", "rms_5_end"},
                                                {"rms_6_start", "rms_6_end"}};
    for (int channel = 0; channel < 7; ++channel) {
        const int offset =
            static_cast<int>(offsetof(DataPqEvent, rms)) + channel * static_cast<int>(sizeof(DataUtcRange));
        fields.push_back({kRmsNames[channel][0], offset, FieldKind::Time});
        fields.push_back(
            {kRmsNames[channel][1], offset + static_cast<int>(sizeof(DataTimespec)), FieldKind::Time});
    }
    fields.push_back({"sample_start", offsetof(DataPqEvent, sample), FieldKind::Time});
    fields.push_back({"sample_end", offsetof(DataPqEvent, sample) + sizeof(DataTimespec), FieldKind::Time});
    fields.push_back({"pqExtension", offsetof(DataPqEvent, pqExtension), FieldKind::Unsigned, 12});
    fields.push_back({"pqTail", offsetof(DataPqEvent, pqTail), FieldKind::Unsigned, 4});
    return fields;
}

} // namespace

RecordLayout recordLayout(LoggerDataType dataType, int itemSize)
{
    using T = LoggerDataType;
    using Percentile = DataPercentileBase<3, 51>;
    switch (dataType) {
    case T::VTQ:
    case T::RMS:
        return fixedRecord(dataType, itemSize, sizeof(DataXtq<float>),
                           {kUtc, kQuality, {"value", offsetof(DataXtq<float>, value), FieldKind::Float}});
    case T::ITQ:
    case T::DIGITAL:
        return fixedRecord(dataType, itemSize, sizeof(DataXtq<int>),
                           {kUtc, kQuality, {"value", offsetof(DataXtq<int>, value), FieldKind::Signed}});
    case T::DTQ:
        return fixedRecord(dataType, itemSize, sizeof(DataXtq<double>),
                           {kUtc, kQuality, {"value", offsetof(DataXtq<double>, value), FieldKind::Double}});
    case T::MEAN:
        return fixedRecord(dataType, itemSize, sizeof(DataMean),
                           {kUtc,
                            kQuality,
                            {"min", offsetof(DataMean, min), FieldKind::Float},
                            {"mean", offsetof(DataMean, mean), FieldKind::Float},
                            {"max", offsetof(DataMean, max), FieldKind::Float}});
    case T::MEAN_7:
    case T::MEAN_12:
    case T::MEAN_14:
    case T::MEAN_16:
    case T::MEAN_20:
    case T::MEAN_23:
    case T::MEAN_24:
    case T::HARMONICS:
        return arrayRecord(dataType, itemSize, {kUtc, kQuality},
                           {"values", offsetof(DataHarmonics, values), FieldKind::Float});
    case T::PREVAILING:
    case T::CONTRIBUTION:
        return arrayRecord(
            dataType, itemSize,
            {kUtc, kQuality, {"extension", offsetof(DataComplexArray, extension), FieldKind::Unsigned, 2}},
            {"values", offsetof(DataComplexArray, values), FieldKind::Float});
    case T::COMPLEX:
        return arrayRecord(
            dataType, itemSize,
            {kUtc, kQuality, {"extension", offsetof(DataComplexArray, extension), FieldKind::Unsigned, 2}},
            {"values", offsetof(DataComplexArray, values), FieldKind::Complex});
    case T::PERCENTILE:
        return arrayRecord(
            dataType, itemSize,
            {kUtc, kQuality, {"reserved", offsetof(Percentile, reserved), FieldKind::Unsigned, 3}},
            {"values", offsetof(Percentile, values), FieldKind::Float});
    case T::SAMPLES:
        return fixedRecord(dataType, itemSize, sizeof(DataSamplesFloat),
                           {kUtc,
                            {"quality", offsetof(DataSamplesFloat, quality), FieldKind::Signed},
                            {"values", offsetof(DataSamplesFloat, values), FieldKind::Float, 11}});
    case T::SAMPLES16:
        return fixedRecord(dataType, itemSize, sizeof(DataSamplesShort),
                           {kUtc,
                            {"quality", offsetof(DataSamplesShort, quality), FieldKind::Short},
                            {"values", offsetof(DataSamplesShort, values), FieldKind::Short, 11}});
    case T::STATISTIC:
        return fixedRecord(
            dataType, itemSize, sizeof(DataStatisticBase<long>),
            {kUtc,
             {"utcStart", offsetof(DataStatisticBase<long>, utcStart), FieldKind::Time},
             {"quality", offsetof(DataStatisticBase<long>, quality), FieldKind::Unsigned},
             {"betweenLimits", offsetof(DataStatisticBase<long>, betweenLimits), FieldKind::Signed},
             {"missing", offsetof(DataStatisticBase<long>, missing), FieldKind::Signed},
             {"limitViolation", offsetof(DataStatisticBase<long>, limitViolation), FieldKind::Signed}});
    case T::HISTOGRAM:
        return arrayRecord(dataType, itemSize,
                           {kUtc,
                            {"utcStart", offsetof(DataHistogram<200>, utcStart), FieldKind::Time},
                            {"quality", offsetof(DataHistogram<200>, quality), FieldKind::Unsigned},
                            {"lowerLimit", offsetof(DataHistogram<200>, lowerLimit), FieldKind::Float},
                            {"upperLimit", offsetof(DataHistogram<200>, upperLimit), FieldKind::Float},
                            {"totalValues", offsetof(DataHistogram<200>, totalValues), FieldKind::Signed},
                            {"missingValues", offsetof(DataHistogram<200>, missingValues), FieldKind::Signed},
                            {"maxValues", offsetof(DataHistogram<200>, maxValues), FieldKind::Signed}},
                           {"percent", offsetof(DataHistogram<200>, percent), FieldKind::Float});
    case T::EVENT:
        return fixedRecord(dataType, itemSize, sizeof(DataEvent),
                           {kUtc,
                            {"eventData", offsetof(DataEvent, eventData), FieldKind::Unsigned, 2},
                            {"stringId", offsetof(DataEvent, stringId), FieldKind::Signed}});
    case T::PQEVENT: return fixedRecord(dataType, itemSize, sizeof(DataPqEvent), pqEventFields());
    case T::OPERATOR:
        return fixedRecord(
            dataType, itemSize, sizeof(DataOperator),
            {kUtc,
             {"operation", offsetof(DataOperator, operation), FieldKind::Signed},
             {"user", offsetof(DataOperator, user), FieldKind::Text, kOperatorUserSize},
             {"ip", offsetof(DataOperator, ip), FieldKind::Address},
             {"operationData", offsetof(DataOperator, operationData), FieldKind::Unsigned, 2}});
    case T::DISTURB:
    case T::SIGNALS:
    case T::SIGNALEVENT:
    case T::QMETER:
    case T::SMETER:
        // Records whose words belong to the measuring side: the time, then the words as they are.
        return arrayRecord(dataType, itemSize, {kUtc}, {"payload", 8, FieldKind::Unsigned});
    case T::NONE: break;
    }
    return {dataType, itemSize, {}};
}

QStringList columnNames(const RecordLayout& layout)
{
    QStringList names;
    for (const Field& field : layout.fields) {
        const QString name = QString::fromLatin1(field.name);
        if (field.kind == FieldKind::Complex) {
            for (int element = 0; element < field.count; ++element) {
                names << QStringLiteral("%1_%2_re").arg(name).arg(element)
                      << QStringLiteral("%1_%2_im").arg(name).arg(element);
            }
        } else if (field.count > 1 && field.kind != FieldKind::Text) {
            for (int element = 0; element < field.count; ++element)
                names << QStringLiteral("%1_%2").arg(name).arg(element);
        } else {
            names << name;
        }
    }
    return names;
}

namespace {

template <typename T> T load(const char* at)
{
    T value;
    std::memcpy(&value, at, sizeof(T));
    return value;
}

void appendFormatted(QByteArray& out, const char* format, ...) __attribute__((format(printf, 2, 3)));
void appendFormatted(QByteArray& out, const char* format, ...)
{
    char text[64];
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    if (length > 0)
        out.append(text, std::min(length, static_cast<int>(sizeof(text)) - 1));
}

// 9 and 17 significant digits read back to the same float and double.
void appendFloat(double value, int digits, bool json, QByteArray& out)
{
    if (json && !std::isfinite(value)) {
        out.append("null");
        return;
    }
    appendFormatted(out, "%.*g", digits, value);
}

// A Latin-1 text of the record, up to its NUL, as UTF-8.
QByteArray textOf(const char* at, int size)
{
    const void* end = std::memchr(at, 0, static_cast<std::size_t>(size));
    const int length = end != nullptr ? static_cast<int>(static_cast<const char*>(end) - at) : size;
    return QString::fromLatin1(at, length).toUtf8();
}

enum class Style { Csv, Json };

// One element; a complex value is two, separated as the style separates values.
void appendElement(const Field& field, const char* item, int element, Style style, QByteArray& out)
{
    const char* at = item + field.offset + element * elementSize(field.kind);
    const bool json = style == Style::Json;
    switch (field.kind) {
    case FieldKind::Time:
        if (json)
            out.append('"');
        appendTime(load<DataTimespec>(at), out);
        if (json)
            out.append('"');
        break;
    case FieldKind::Duration: {
        // Seconds and nanoseconds as one decimal number; a negative span keeps its sign once.
        const DataTimespec span = load<DataTimespec>(at);
        long long nanoseconds = static_cast<long long>(span.tv_sec) * 1000000000LL + span.tv_nsec;
        const char* sign = nanoseconds < 0 ? "-" : "";
        if (nanoseconds < 0)
            nanoseconds = -nanoseconds;
        appendFormatted(out, "%s%lld.%09lld", sign, nanoseconds / 1000000000LL, nanoseconds % 1000000000LL);
        break;
    }
    case FieldKind::Unsigned: appendFormatted(out, "%u", load<uint32_t>(at)); break;
    case FieldKind::Signed: appendFormatted(out, "%d", load<int32_t>(at)); break;
    case FieldKind::Short: appendFormatted(out, "%d", load<int16_t>(at)); break;
    case FieldKind::Float: appendFloat(load<float>(at), 9, json, out); break;
    case FieldKind::Double: appendFloat(load<double>(at), 17, json, out); break;
    case FieldKind::Complex:
        if (json)
            out.append('[');
        appendFloat(load<float>(at), 9, json, out);
        out.append(',');
        appendFloat(load<float>(at + 4), 9, json, out);
        if (json)
            out.append(']');
        break;
    case FieldKind::Text:
        if (json)
            appendJsonString(textOf(item + field.offset, field.count), out);
        else
            appendCsvText(textOf(item + field.offset, field.count), out);
        break;
    case FieldKind::Address: {
        const auto* octets = reinterpret_cast<const unsigned char*>(at);
        appendFormatted(out, json ? "\"%u.%u.%u.%u\"" : "%u.%u.%u.%u", octets[0], octets[1], octets[2],
                        octets[3]);
        break;
    }
    }
}

bool isArray(const Field& field)
{
    return field.kind != FieldKind::Text && (field.count > 1 || field.kind == FieldKind::Complex);
}

} // namespace

void appendCsv(const RecordLayout& layout, const char* item, QByteArray& out)
{
    bool first = true;
    for (const Field& field : layout.fields) {
        const int elements = field.kind == FieldKind::Text ? 1 : field.count;
        for (int element = 0; element < elements; ++element) {
            if (!first)
                out.append(',');
            first = false;
            appendElement(field, item, element, Style::Csv, out);
        }
    }
}

void appendJson(const RecordLayout& layout, const char* item, QByteArray& out)
{
    bool first = true;
    for (const Field& field : layout.fields) {
        if (!first)
            out.append(',');
        first = false;
        out.append('"').append(field.name).append("\":");
        if (!isArray(field)) {
            appendElement(field, item, 0, Style::Json, out);
            continue;
        }
        out.append('[');
        for (int element = 0; element < field.count; ++element) {
            if (element > 0)
                out.append(',');
            appendElement(field, item, element, Style::Json, out);
        }
        out.append(']');
    }
}

void appendJsonString(const QByteArray& text, QByteArray& out)
{
    out.append('"');
    for (const char byte : text) {
        if (byte == '"' || byte == '\\')
            out.append('\\').append(byte);
        else if (static_cast<unsigned char>(byte) < 0x20)
            appendFormatted(out, "\\u%04x", static_cast<unsigned char>(byte));
        else
            out.append(byte);
    }
    out.append('"');
}

void appendCsvText(const QByteArray& text, QByteArray& out)
{
    if (text.contains(',') || text.contains('"') || text.contains('\n') || text.contains('\r'))
        out.append('"').append(QByteArray(text).replace("\"", "\"\"")).append('"');
    else
        out.append(text);
}

} // namespace qzcli
