#pragma once

#include "LoggerTypes.h"

#include <complex>
#include <cstddef>
#include <cstdint>
#include <type_traits>

// The item records. Each is written to the data files exactly as it lies in memory, one after
// the other behind the 44-byte header, so width, offset and padding of every member are the
// file format. Records are plain aggregates: no virtual functions, no pointers, no constructors
// that do work. The layout is that of the 32-bit target (little-endian, a 64-bit float on a
// multiple of 8); fixed-width members keep it on a 64-bit host, and the static checks below
// stop the build if it ever drifts. Every record begins with its 8-byte time stamp: the binary
// search over a file reads nothing else.

// Bytes that the measuring side writes and the reader hands on; the store keeps their width
// and position and never looks inside.
template <int Words>
struct DataPassThrough {
    uint32_t words[Words];
};

// Value, time, quality. With a double the value moves to offset 16 behind 4 bytes of padding.
template <typename T>
struct DataXtq {
    static_assert(std::is_same<T, int>::value || std::is_same<T, float>::value
                      || std::is_same<T, double>::value,
                  "DataXtq holds int, float or double");
    DataTimespec utc;
    uint32_t quality;
    T value;
};

struct DataMean {
    DataTimespec utc;
    uint32_t quality;
    float min;
    float mean;
    float max;
};

// The aggregator's result; memory only, and min, max, mean in this order unlike DataMean.
template <typename T>
struct DataAggregated {
    DataTimespec utc;
    uint32_t quality;
    T min;
    T max;
    T mean;
};

// Mean, minimum and maximum of N quantities; their inner order belongs to the measuring side.
template <typename T, int N>
struct DataMeanMinMaxArray {
    DataTimespec utc;
    uint32_t quality;
    T values[3 * N];
};

// One value per harmonic order.
template <typename T, int N>
struct DataXtqArray {
    DataTimespec utc;
    uint32_t quality;
    T values[N];
};

// Values of 7 channels by 51 orders (element = channel * 51 + order), or 123 contributions.
template <typename T, int N>
struct DataXtqArrayExtended {
    DataTimespec utc;
    uint32_t quality;
    DataPassThrough<2> extension;
    T values[N];
};

template <int P, int N>
struct DataPercentileBase {
    DataTimespec utc;
    uint32_t quality;
    DataPassThrough<3> reserved;
    float values[P * N];
};

// One set of instantaneous samples: values[0..6] voltages, values[7..10] currents. In the
// 16-bit form the values are scaled by the file header's Parameter1 (voltages) and
// Parameter2 (currents), and the quality keeps only its low 16 bits.
template <typename T, typename U>
struct DataSamplesBase {
    DataTimespec utc;
    U quality;
    T values[11];
};

// On the target `long` is 32 bits wide; a statistics record keeps that width on every host.
template <typename T>
using DataStatisticValue = typename std::conditional<std::is_same<T, long>::value, int32_t, T>::type;

// Counts against limits: absolute counts (long) on disk, per cent (float) in memory.
template <typename T>
struct DataStatisticBase {
    DataTimespec utc;      // last value counted
    DataTimespec utcStart; // first value counted
    uint32_t quality;      // OR of the masks of the items counted
    DataStatisticValue<T> betweenLimits;
    DataStatisticValue<T> missing;
    DataStatisticValue<T> limitViolation;
};

// Frequency (2650 classes) or mains-signalling (200 classes) histogram of one period.
template <int N>
struct DataHistogram {
    DataTimespec utc;      // end of the period
    DataTimespec utcStart; // start of the period
    uint32_t quality;
    float lowerLimit;
    float upperLimit;
    int32_t totalValues;
    int32_t missingValues;
    int32_t maxValues;
    float percent[N];
};

struct DataEvent {
    DataTimespec utc;
    DataPassThrough<2> eventData;
    int32_t stringId;    // Id of a DefnEventString row
    int32_t stringIndex; // position of the text in a read's list; not filled when written
};

// The time range of one recording that belongs to a power-quality event.
struct DataUtcRange {
    DataTimespec utcStart;
    DataTimespec utcEnd;
};

// Marks a sample range that no recording has filled yet.
constexpr int32_t kPqEventNoSampleMark = 0x5A5A5A;

struct DataPqEvent {
    DataTimespec utc;
    DataTimespec duration;
    int32_t triggerType;   // EnumTriggerType
    int32_t triggerSource; // EnumPqEventSource
    int32_t systemType;    // EnumSystemType
    float referenceValue;  // the voltage the depth is measured against
    float eventValue;      // eventValue * 100 / referenceValue is the residual value in per cent
    float thirdValue;
    DataUtcRange rms[7];
    DataUtcRange sample = {{kPqEventNoSampleMark, 1}, {0, 0}};
    DataPassThrough<12> pqExtension;
    DataPassThrough<4> pqTail;
};

// The reader's view of a DataPqEvent: the same fields with pqExtension left zero, then the
// event's running item index and five words that stay zero.
struct DataRseEvent {
    DataTimespec utc;
    DataTimespec duration;
    int32_t triggerType;
    int32_t triggerSource;
    int32_t systemType;
    float referenceValue;
    float eventValue;
    float thirdValue;
    DataUtcRange rms[7];
    DataUtcRange sample;
    DataPassThrough<12> pqExtension;
    DataPassThrough<4> pqTail;
    int32_t index;
    int32_t reserved[5];
};

constexpr int kOperatorUserSize = 20; // Latin-1 name of at most 19 characters, then NUL

struct DataOperator {
    DataTimespec utc;
    int32_t operation;
    char user[kOperatorUserSize];
    uint8_t ip[4]; // the octets in the order of the address's text
    DataPassThrough<2> operationData;
};

struct DataDisturb {
    DataTimespec utc;
    DataPassThrough<12> payload;
};

struct DataSignalEvent {
    DataTimespec utc;
    DataPassThrough<10> payload;
};

struct DataSignalVoltages {
    DataTimespec utc;
    DataPassThrough<7> payload;
};

struct DataSystemMeter {
    DataTimespec utc;
    DataPassThrough<10> payload;
};

struct DataQuadMeter {
    DataTimespec utc;
    DataPassThrough<34> payload;
};

// Classified events: rows are duration classes, columns depth classes.
struct DataEventClass35 {
    DataTimespec utc; // of the first event classified
    int32_t zero;
    int32_t counters[5][7];
};

constexpr int kLoggerFileNameSize = 260;

// One entry of a reader's file list; memory only.
struct DataLoggerFile {
    int32_t type;     // LoggerType
    int32_t dataType; // LoggerDataType
    DataTimespec utcCreated;
    DataTimespec utcStart;
    DataTimespec utcEnd;
    uint32_t guidLow;
    uint32_t guidHigh;
    char fileName[kLoggerFileNameSize]; // full path in Latin-1, at most 259 characters, NUL
};

using DataHarmonics = DataXtqArray<float, 51>;
using DataComplexArray = DataXtqArrayExtended<std::complex<float>, 357>;

namespace record_layout {
using CheckDataMeanMinMaxArray_float_12 = DataMeanMinMaxArray<float, 12>;
using CheckDataMeanMinMaxArray_float_14 = DataMeanMinMaxArray<float, 14>;
using CheckDataMeanMinMaxArray_float_16 = DataMeanMinMaxArray<float, 16>;
using CheckDataMeanMinMaxArray_float_20 = DataMeanMinMaxArray<float, 20>;
using CheckDataMeanMinMaxArray_float_23 = DataMeanMinMaxArray<float, 23>;
using CheckDataMeanMinMaxArray_float_24 = DataMeanMinMaxArray<float, 24>;
using CheckDataMeanMinMaxArray_float_7 = DataMeanMinMaxArray<float, 7>;
using CheckDataPercentileBase_3_41 = DataPercentileBase<3, 41>;
using CheckDataPercentileBase_3_51 = DataPercentileBase<3, 51>;
using CheckDataSamplesBase_float_int = DataSamplesBase<float, int>;
using CheckDataSamplesBase_short_short = DataSamplesBase<short, short>;
using CheckDataXtqArray_float_41 = DataXtqArray<float, 41>;
using CheckDataXtqArrayExtended_float_123 = DataXtqArrayExtended<float, 123>;
using CheckDataXtqArrayExtended_float_357 = DataXtqArrayExtended<float, 357>;
} // namespace record_layout

// The file format, checked where the compiler can see it.
#define QZ_CHECK_RECORD_SIZE(Type, Size) \
    static_assert(sizeof(Type) == (Size), #Type " must be " #Size " bytes on disk")
#define QZ_CHECK_RECORD_OFFSET(Type, Member, Offset) \
    static_assert(offsetof(Type, Member) == (Offset), #Type "::" #Member " must be at offset " #Offset)

QZ_CHECK_RECORD_SIZE(DataXtq<int>, 16);
QZ_CHECK_RECORD_SIZE(DataXtq<float>, 16);
QZ_CHECK_RECORD_SIZE(DataXtq<double>, 24);
QZ_CHECK_RECORD_OFFSET(DataXtq<float>, quality, 8);
QZ_CHECK_RECORD_OFFSET(DataXtq<float>, value, 12);
QZ_CHECK_RECORD_OFFSET(DataXtq<int>, value, 12);
QZ_CHECK_RECORD_OFFSET(DataXtq<double>, value, 16);

QZ_CHECK_RECORD_SIZE(DataMean, 24);
QZ_CHECK_RECORD_OFFSET(DataMean, quality, 8);
QZ_CHECK_RECORD_OFFSET(DataMean, min, 12);
QZ_CHECK_RECORD_OFFSET(DataMean, mean, 16);
QZ_CHECK_RECORD_OFFSET(DataMean, max, 20);

QZ_CHECK_RECORD_SIZE(DataAggregated<float>, 24);
QZ_CHECK_RECORD_SIZE(DataAggregated<double>, 40);

QZ_CHECK_RECORD_SIZE(record_layout::CheckDataMeanMinMaxArray_float_7, 96);
QZ_CHECK_RECORD_SIZE(record_layout::CheckDataMeanMinMaxArray_float_12, 156);
QZ_CHECK_RECORD_SIZE(record_layout::CheckDataMeanMinMaxArray_float_14, 180);
QZ_CHECK_RECORD_SIZE(record_layout::CheckDataMeanMinMaxArray_float_16, 204);
QZ_CHECK_RECORD_SIZE(record_layout::CheckDataMeanMinMaxArray_float_20, 252);
QZ_CHECK_RECORD_SIZE(record_layout::CheckDataMeanMinMaxArray_float_23, 288);
QZ_CHECK_RECORD_SIZE(record_layout::CheckDataMeanMinMaxArray_float_24, 300);
QZ_CHECK_RECORD_OFFSET(record_layout::CheckDataMeanMinMaxArray_float_7, values, 12);

QZ_CHECK_RECORD_SIZE(DataHarmonics, 216);
QZ_CHECK_RECORD_SIZE(record_layout::CheckDataXtqArray_float_41, 176);
QZ_CHECK_RECORD_OFFSET(DataHarmonics, values, 12);

QZ_CHECK_RECORD_SIZE(DataComplexArray, 2876);
QZ_CHECK_RECORD_SIZE(record_layout::CheckDataXtqArrayExtended_float_357, 1448);
QZ_CHECK_RECORD_SIZE(record_layout::CheckDataXtqArrayExtended_float_123, 512);
QZ_CHECK_RECORD_OFFSET(DataComplexArray, quality, 8);
QZ_CHECK_RECORD_OFFSET(DataComplexArray, extension, 12);
QZ_CHECK_RECORD_OFFSET(DataComplexArray, values, 20);
QZ_CHECK_RECORD_OFFSET(record_layout::CheckDataXtqArrayExtended_float_357, values, 20);
static_assert(sizeof(std::complex<float>) == 8, "a complex value is real then imaginary part, 4 bytes each");

QZ_CHECK_RECORD_SIZE(record_layout::CheckDataPercentileBase_3_51, 636);
QZ_CHECK_RECORD_SIZE(record_layout::CheckDataPercentileBase_3_41, 516);
QZ_CHECK_RECORD_OFFSET(record_layout::CheckDataPercentileBase_3_51, reserved, 12);
QZ_CHECK_RECORD_OFFSET(record_layout::CheckDataPercentileBase_3_51, values, 24);

using DataSamplesFloat = record_layout::CheckDataSamplesBase_float_int;
using DataSamplesShort = record_layout::CheckDataSamplesBase_short_short;
QZ_CHECK_RECORD_SIZE(DataSamplesFloat, 56);
QZ_CHECK_RECORD_SIZE(DataSamplesShort, 32);
QZ_CHECK_RECORD_OFFSET(DataSamplesFloat, quality, 8);
QZ_CHECK_RECORD_OFFSET(DataSamplesFloat, values, 12);
QZ_CHECK_RECORD_OFFSET(DataSamplesShort, quality, 8);
QZ_CHECK_RECORD_OFFSET(DataSamplesShort, values, 10);

QZ_CHECK_RECORD_SIZE(DataStatisticBase<long>, 32);
QZ_CHECK_RECORD_SIZE(DataStatisticBase<float>, 32);
QZ_CHECK_RECORD_OFFSET(DataStatisticBase<long>, utcStart, 8);
QZ_CHECK_RECORD_OFFSET(DataStatisticBase<long>, quality, 16);
QZ_CHECK_RECORD_OFFSET(DataStatisticBase<long>, betweenLimits, 20);
QZ_CHECK_RECORD_OFFSET(DataStatisticBase<long>, missing, 24);
QZ_CHECK_RECORD_OFFSET(DataStatisticBase<long>, limitViolation, 28);

QZ_CHECK_RECORD_SIZE(DataHistogram<2650>, 10640);
QZ_CHECK_RECORD_SIZE(DataHistogram<200>, 840);
QZ_CHECK_RECORD_OFFSET(DataHistogram<200>, utcStart, 8);
QZ_CHECK_RECORD_OFFSET(DataHistogram<200>, quality, 16);
QZ_CHECK_RECORD_OFFSET(DataHistogram<200>, lowerLimit, 20);
QZ_CHECK_RECORD_OFFSET(DataHistogram<200>, upperLimit, 24);
QZ_CHECK_RECORD_OFFSET(DataHistogram<200>, totalValues, 28);
QZ_CHECK_RECORD_OFFSET(DataHistogram<200>, missingValues, 32);
QZ_CHECK_RECORD_OFFSET(DataHistogram<200>, maxValues, 36);
QZ_CHECK_RECORD_OFFSET(DataHistogram<200>, percent, 40);

QZ_CHECK_RECORD_SIZE(DataEvent, 24);
QZ_CHECK_RECORD_OFFSET(DataEvent, eventData, 8);
QZ_CHECK_RECORD_OFFSET(DataEvent, stringId, 16);
QZ_CHECK_RECORD_OFFSET(DataEvent, stringIndex, 20);

QZ_CHECK_RECORD_SIZE(DataPqEvent, 232);
QZ_CHECK_RECORD_OFFSET(DataPqEvent, duration, 8);
QZ_CHECK_RECORD_OFFSET(DataPqEvent, triggerType, 16);
QZ_CHECK_RECORD_OFFSET(DataPqEvent, triggerSource, 20);
QZ_CHECK_RECORD_OFFSET(DataPqEvent, systemType, 24);
QZ_CHECK_RECORD_OFFSET(DataPqEvent, referenceValue, 28);
QZ_CHECK_RECORD_OFFSET(DataPqEvent, eventValue, 32);
QZ_CHECK_RECORD_OFFSET(DataPqEvent, thirdValue, 36);
QZ_CHECK_RECORD_OFFSET(DataPqEvent, rms, 40);
QZ_CHECK_RECORD_OFFSET(DataPqEvent, sample, 152);
QZ_CHECK_RECORD_OFFSET(DataPqEvent, pqExtension, 168);
QZ_CHECK_RECORD_OFFSET(DataPqEvent, pqTail, 216);

QZ_CHECK_RECORD_SIZE(DataRseEvent, 256);
QZ_CHECK_RECORD_OFFSET(DataRseEvent, pqTail, 216);
QZ_CHECK_RECORD_OFFSET(DataRseEvent, index, 232);

QZ_CHECK_RECORD_SIZE(DataOperator, 44);
QZ_CHECK_RECORD_OFFSET(DataOperator, operation, 8);
QZ_CHECK_RECORD_OFFSET(DataOperator, user, 12);
QZ_CHECK_RECORD_OFFSET(DataOperator, ip, 32);
QZ_CHECK_RECORD_OFFSET(DataOperator, operationData, 36);

QZ_CHECK_RECORD_SIZE(DataDisturb, 56);
QZ_CHECK_RECORD_SIZE(DataSignalEvent, 48);
QZ_CHECK_RECORD_SIZE(DataSignalVoltages, 36);
QZ_CHECK_RECORD_SIZE(DataSystemMeter, 48);
QZ_CHECK_RECORD_SIZE(DataQuadMeter, 144);
QZ_CHECK_RECORD_SIZE(DataEventClass35, 152);

#undef QZ_CHECK_RECORD_SIZE
#undef QZ_CHECK_RECORD_OFFSET
