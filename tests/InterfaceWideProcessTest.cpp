// Every operation of the read API, from separate processes. A writer process stores six items
// of every record type that the read API serves, each in a logger of its own, through the typed
// loggers as a host does (the alarm log and the operator log through their own classes). A
// reader process calls each of the 100 operations of LoggerApiInterface once with a valid
// identification and range, and again with an unknown identification, with the range turned
// round (start after end) and with a range that holds no data, and writes what each call
// answered into a file. The test process, which holds the store (WriterStore), compares every
// answer with the table below: the count of items of each valid call, and the failure value of
// each failed one.
//
// The table has one entry per operation, in the order of the interface, and each entry calls its
// operation through a pointer to the interface's member; a test of its own checks that the
// pointers name the 100 slots of the table of virtual functions in order. Where a case has no
// meaning for an operation (no identification to get wrong, no range to turn round) the entry
// says why instead of an answer, and the reader leaves the call out.
//
// The read API pauses on purpose: 200 ms before a read by time answers an unknown
// identification, 50 ms after a read by time that found files, 20 ms on entering a half-cycle or
// sample read. So the operations are read in five groups of 20, each group a test with a writer
// and a reader of its own, which ctest runs side by side.
//
// What the answers come to, in the store's terms:
// - The items of every logger lie kStep seconds apart from the base second on, all in one file.
// - A range turned round over such a file counts the items from the first at or after its start
//   to the last at or before its end, which is negative where it spans three items or more: over
//   the six items it is -4. A read by time then answers null, the count of power-quality events
//   is that number, and the classification of the events and the sum of statistic records,
//   which have no null answer, are all zeros.
// - A range after the last item lists no file: a result without items and a merged histogram of
//   zeros; a statistic of stored values counts every value that the range expects as missing, a
//   sum of statistic records without records is zeros, and a harmonics statistic without records
//   is none.
// - A read by position counts back from a time: before the first item nothing is there, also not
//   the first item, which is later than the time. A page of a negative count is null.
// - An export writes no file where there is nothing to write.

#include "ChildTestProcess.h"
#include "LogCapture.h"
#include "LoggerApi.h"
#include "LoggerApiInterface.h"
#include "LoggerBase.h"
#include "LoggerDataItems.h"
#include "LoggerDb.h"
#include "LoggerEventAlarm.h"
#include "LoggerOperatorInterface.h"
#include "LoggerResult.h"
#include "LoggerState.h"
#include "LoggerStateReceiver.h"
#include "LoggerTemplate.h"
#include "MeanItemFiles.h"
#include "TypedTestLogger.h"
#include "WaitUntil.h"
#include "WriterStore.h"

#include <QByteArray>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QList>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <functional>
#include <iostream>
#include <iterator>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr int kOperationCount = 100;
constexpr int kGroups = 5;
constexpr int kOperationsPerGroup = kOperationCount / kGroups;
// The table of virtual functions begins with the two slots of the destructor.
constexpr std::ptrdiff_t kFirstOperationSlot = 2;

// Every logger holds kItems items, kStep seconds apart from the base second on.
constexpr int kItems = 6;
constexpr int32_t kStep = 10;
constexpr int32_t kSpan = (kItems - 1) * kStep;
// The two last items of the voltages lie above their upper limit.
constexpr int kItemsWithinLimits = 4;
constexpr float kVoltage = 230.0f;
constexpr float kOvervoltage = 280.0f;
// The mean values of odd number carry this quality bit, which the filter asks for.
constexpr uint32_t kMarkedQuality = 0x1;
// The bound of the reads of the last items; above the items of every logger.
constexpr int kMaxItems = 100;
// The grid of the aggregated reads: the six items fall into the bins that end on the base
// second, 30 s and 60 s after it.
constexpr int kAggregationInterval = 30;
constexpr int kAggregatedBins = 3;

constexpr const char* kBaseVariable = "QZLOGGER_INTERFACE_WIDE_BASE";
constexpr const char* kGroupVariable = "QZLOGGER_INTERFACE_WIDE_GROUP";
constexpr const char* kAnswersVariable = "QZLOGGER_INTERFACE_WIDE_ANSWERS";

// Deadlines for the sanitizer build, where the writer takes longest; a writer that is never told
// to stop ends by itself, and fails.
constexpr int kWriteDeadlineMs = 120000;
constexpr int kReadDeadlineMs = 120000;
constexpr int kWriterLifetimeMs = 300000;

// --- the loggers ---------------------------------------------------------------------------------

// The identifications. The statistic and histogram loggers are catalogued under their source
// quantity, as an export names them; the complex logger and the half-cycle logger "frequency"
// have the identifications that the read API looks for.
const QString kVtqId = QStringLiteral("aggr.mean_10s.rms.vtq_u1");
const QString kDtqId = QStringLiteral("meter.energy.dtq_ep");
const QString kItqId = QStringLiteral("counter.itq.switchings");
const QString kMeanId = QStringLiteral("aggr.mean_10s.rms.u1");
const QString kMean7Id = QStringLiteral("aggr.mean_10s.array7");
const QString kMean12Id = QStringLiteral("aggr.mean_10s.array12");
const QString kMean14Id = QStringLiteral("aggr.mean_10s.array14");
const QString kMean16Id = QStringLiteral("aggr.mean_10s.array16");
const QString kMean20Id = QStringLiteral("aggr.mean_10s.array20");
const QString kMean23Id = QStringLiteral("aggr.mean_10s.array23");
const QString kMean24Id = QStringLiteral("aggr.mean_10s.array24");
const QString kQuadMeterId = QStringLiteral("meter.quadrants");
const QString kSystemMeterId = QStringLiteral("meter.system");
const QString kFrequencySourceId = QStringLiteral("rms.rms.systemfrequency.f_sys");
const QString kSignallingSourceId = QStringLiteral("mean_3s.signal_3s.out.mean_out");
const QString kHarmonics51Id = QStringLiteral("aggr.mean_10min.harm_amp_10min.u1");
const QString kHarmonics41Id = QStringLiteral("aggr.mean_10min.harm_array41.u1");
const QString kPercentile41Id = QStringLiteral("aggr.percentile_10min.harm41.u1");
const QString kPercentile51Id = QStringLiteral("aggr.percentile_10min.harm51.u1");
const QString kComplexId = QStringLiteral("aggr.mean_10min.harm_complex.values_0");
const QString kPrevailingId = QStringLiteral("aggr.mean_10min.prevailing.values_0");
const QString kContributionId = QStringLiteral("aggr.mean_10min.contribution.values_0");
const QString kAlarmId = QStringLiteral("alarm.log");
const QString kOperatorId = QStringLiteral("operator");
const QString kPqEventId = QStringLiteral("pq.events");
const QString kSignalEventId = QStringLiteral("pq.signal_events");
const QString kHalfCycleId = QStringLiteral("frequency");
const QString kDigitalId = QStringLiteral("digital.inputs");
const QString kSamplesId = QStringLiteral("samples.float");
const QString kSamples16Id = QStringLiteral("samples.16bit");
const QString kSignalVoltagesId = QStringLiteral("signals.u1");
const QString kDisturbId = QStringLiteral("disturb.records");

const QString kUnknownId = QStringLiteral("no.such.logger");
// An unknown identification that still names an array of 51 orders: any other one is read as a
// channel of the complex logger.
const QString kUnknownArray51Id = QStringLiteral("aggr.mean_10min.harm_amp_10min.no_such_channel");
// No logger has this catalogue id.
constexpr int kUnknownBaseTypeId = 999999;
// No family has this value.
constexpr LoggerType kUnknownFamily = static_cast<LoggerType>(9);

const std::vector<std::string> kAlarmTexts = {"Overvoltage L1", "Undervoltage L2", "Frequency deviation"};

// What the writer stores: one logger per record type the read API serves.
enum class Record {
    Vtq,
    Dtq,
    Itq,
    Mean,
    Mean7,
    Mean12,
    Mean14,
    Mean16,
    Mean20,
    Mean23,
    Mean24,
    QuadMeter,
    SystemMeter,
    FrequencyHistogram,
    SignallingHistogram,
    Harmonics51,
    Harmonics41,
    Percentile41,
    Percentile51,
    Complex,
    Prevailing,
    Contribution,
    Statistic,
    Alarm,
    Operator,
    PqEvent,
    SignalEvent,
    HalfCycleRms,
    Digital,
    Samples,
    Samples16,
    SignalVoltages,
    Disturb,
};

struct StoredLogger {
    Record record;
    LoggerType type;
    LoggerDataType dataType;
    const QString& id;
    double interval; // seconds between the values, as the catalogue keeps it
};

// The histograms count one value a second; every other logger stores an item every kStep seconds.
const StoredLogger kStoredLoggers[] = {
    {Record::Vtq, LoggerType::CYCLIC, LoggerDataType::VTQ, kVtqId, kStep},
    {Record::Dtq, LoggerType::CYCLIC, LoggerDataType::DTQ, kDtqId, kStep},
    {Record::Itq, LoggerType::CYCLIC, LoggerDataType::ITQ, kItqId, kStep},
    {Record::Mean, LoggerType::CYCLIC, LoggerDataType::MEAN, kMeanId, kStep},
    {Record::Mean7, LoggerType::CYCLIC, LoggerDataType::MEAN_7, kMean7Id, kStep},
    {Record::Mean12, LoggerType::CYCLIC, LoggerDataType::MEAN_12, kMean12Id, kStep},
    {Record::Mean14, LoggerType::CYCLIC, LoggerDataType::MEAN_14, kMean14Id, kStep},
    {Record::Mean16, LoggerType::CYCLIC, LoggerDataType::MEAN_16, kMean16Id, kStep},
    {Record::Mean20, LoggerType::CYCLIC, LoggerDataType::MEAN_20, kMean20Id, kStep},
    {Record::Mean23, LoggerType::CYCLIC, LoggerDataType::MEAN_23, kMean23Id, kStep},
    {Record::Mean24, LoggerType::CYCLIC, LoggerDataType::MEAN_24, kMean24Id, kStep},
    {Record::QuadMeter, LoggerType::CYCLIC, LoggerDataType::QMETER, kQuadMeterId, kStep},
    {Record::SystemMeter, LoggerType::CYCLIC, LoggerDataType::SMETER, kSystemMeterId, kStep},
    {Record::FrequencyHistogram, LoggerType::CYCLIC, LoggerDataType::HISTOGRAM, kFrequencySourceId, 1.0},
    {Record::SignallingHistogram, LoggerType::CYCLIC, LoggerDataType::HISTOGRAM, kSignallingSourceId, 1.0},
    {Record::Harmonics51, LoggerType::CYCLIC, LoggerDataType::HARMONICS, kHarmonics51Id, kStep},
    {Record::Harmonics41, LoggerType::CYCLIC, LoggerDataType::HARMONICS, kHarmonics41Id, kStep},
    {Record::Percentile41, LoggerType::CYCLIC, LoggerDataType::PERCENTILE, kPercentile41Id, kStep},
    {Record::Percentile51, LoggerType::CYCLIC, LoggerDataType::PERCENTILE, kPercentile51Id, kStep},
    {Record::Complex, LoggerType::CYCLIC, LoggerDataType::COMPLEX, kComplexId, kStep},
    {Record::Prevailing, LoggerType::CYCLIC, LoggerDataType::PREVAILING, kPrevailingId, kStep},
    {Record::Contribution, LoggerType::CYCLIC, LoggerDataType::CONTRIBUTION, kContributionId, kStep},
    {Record::Statistic, LoggerType::CYCLIC, LoggerDataType::STATISTIC, kFrequencySourceId, kStep},
    {Record::Alarm, LoggerType::EVENT, LoggerDataType::EVENT, kAlarmId, 0.0},
    {Record::Operator, LoggerType::OPERATOR, LoggerDataType::OPERATOR, kOperatorId, 0.0},
    {Record::PqEvent, LoggerType::PQEVENT, LoggerDataType::PQEVENT, kPqEventId, 0.0},
    {Record::SignalEvent, LoggerType::PQEVENT, LoggerDataType::SIGNALEVENT, kSignalEventId, 0.0},
    {Record::HalfCycleRms, LoggerType::DISTURB, LoggerDataType::RMS, kHalfCycleId, 0.0},
    {Record::Digital, LoggerType::DISTURB, LoggerDataType::DIGITAL, kDigitalId, 0.0},
    {Record::Samples, LoggerType::DISTURB, LoggerDataType::SAMPLES, kSamplesId, 0.0},
    {Record::Samples16, LoggerType::DISTURB, LoggerDataType::SAMPLES16, kSamples16Id, 0.0},
    {Record::SignalVoltages, LoggerType::DISTURB, LoggerDataType::SIGNALS, kSignalVoltagesId, 0.0},
    {Record::Disturb, LoggerType::DISTURB, LoggerDataType::DISTURB, kDisturbId, 0.0},
};

// The identifications of all families one after another, each family's once: what
// getMeasIDs(NONE) lists.
int identificationsOfAllFamilies()
{
    std::set<std::pair<int, QString>> ids;
    for (const StoredLogger& logger : kStoredLoggers)
        ids.insert({static_cast<int>(logger.type), logger.id});
    return static_cast<int>(ids.size());
}

// The contents. Item k of every logger is stamped base + k * kStep; the fields that a read
// computes with are set below, the rest stays zero.

float voltageOf(int k)
{
    return k < kItemsWithinLimits ? kVoltage : kOvervoltage;
}

template <typename T> void fill(T&, int, int32_t)
{
}

void fill(DataXtq<float>& item, int k, int32_t)
{
    item.value = voltageOf(k);
}

void fill(DataXtq<double>& item, int k, int32_t)
{
    item.value = 1000.0 + k;
}

void fill(DataXtq<int>& item, int k, int32_t)
{
    item.value = k;
}

void fill(DataMean& item, int k, int32_t)
{
    item.mean = voltageOf(k);
    item.min = item.mean - 1.0f;
    item.max = item.mean + 1.0f;
    item.quality = k % 2 == 1 ? kMarkedQuality : 0u;
}

template <int N> void fill(DataMeanMinMaxArray<float, N>& item, int k, int32_t)
{
    item.values[0] = voltageOf(k);
}

// A histogram record of a 10-s period with ten values: every value in the class of 50 Hz, except
// in the last period, whose values all lie in the first class, below the limits.
void fill(DataHistogram<2650>& item, int k, int32_t)
{
    item.utcStart = DataTimespec{item.utc.tv_sec - kStep, 0};
    item.lowerLimit = 45.0f;
    item.upperLimit = 55.0f;
    item.totalValues = 10;
    item.maxValues = 10;
    item.percent[k < kItems - 1 ? 1324 : 0] = 100.0f;
}

void fill(DataHistogram<200>& item, int, int32_t)
{
    item.utcStart = DataTimespec{item.utc.tv_sec - kStep, 0};
    item.lowerLimit = 0.0f;
    item.upperLimit = 10.0f;
    item.totalValues = 10;
    item.maxValues = 10;
    item.percent[20] = 100.0f;
}

// Orders 3 and 5 lie within their limit of 5 per cent but in the last record, whose order 5 is 9.
void fill(DataHarmonics& item, int k, int32_t)
{
    item.values[1] = 100.0f;
    item.values[3] = 1.0f;
    item.values[5] = k < kItems - 1 ? 1.0f : 9.0f;
}

void fill(DataXtqArray<float, 41>& item, int, int32_t)
{
    item.values[1] = 100.0f;
}

// A statistic record of 10 values: nine within the limits, one outside.
void fill(DataStatisticBase<long>& item, int, int32_t)
{
    item.utcStart = DataTimespec{item.utc.tv_sec - (kStep - 1), 0};
    item.betweenLimits = 9;
    item.limitViolation = 1;
}

// A dip of 0.1 s to half the voltage, whose half-cycle recordings span all items of the
// half-cycle loggers.
void fill(DataPqEvent& item, int, int32_t base)
{
    item.duration = DataTimespec{0, 100000000};
    item.triggerType = TRIGGER_DIP;
    item.triggerSource = SOURCE_U1;
    item.systemType = 3;
    item.referenceValue = kVoltage;
    item.eventValue = kVoltage / 2.0f;
    for (DataUtcRange& range : item.rms)
        range = DataUtcRange{{base, 0}, {base + kSpan, 0}};
    item.sample = DataUtcRange{item.utc, {item.utc.tv_sec + 1, 0}};
}

constexpr float kSampleVoltage = 230.0f;
constexpr float kSampleCurrent = 5.0f;
constexpr short kSample16Voltage = 23000;
constexpr short kSample16Current = 1000;

void fill(DataSamplesBase<float, int>& item, int, int32_t)
{
    for (int channel = 0; channel < 11; ++channel)
        item.values[channel] = channel < 7 ? kSampleVoltage : kSampleCurrent;
}

void fill(DataSamplesBase<short, short>& item, int, int32_t)
{
    for (int channel = 0; channel < 11; ++channel)
        item.values[channel] = channel < 7 ? kSample16Voltage : kSample16Current;
}

template <typename T> T itemOf(int32_t base, int k)
{
    T item{};
    item.utc = DataTimespec{base + k * kStep, 0};
    fill(item, k, base);
    return item;
}

// A typed logger of the writer with its identification built in, as the instrument's own. Each
// item goes to the card at once.
template <typename T> class StoreLogger : public TypedTestLogger<T> {
public:
    explicit StoreLogger(const StoredLogger& stored)
        : TypedTestLogger<T>(stored.type, stored.dataType, stored.id, stored.interval)
    {
    }
};

// --- the reader's side -----------------------------------------------------------------------------

enum Case { kValid, kUnknown, kInverted, kWithoutData, kCaseCount };
const char* const kCaseNames[kCaseCount] = {"valid id and range", "unknown id", "inverted range",
                                            "range without data"};

// Expectations that are no answer: the reader does not make the call.
const std::string kNoIdentification = "n/a: the operation names no logger";
const std::string kNoRange = "n/a: the operation takes no range";
const std::string kNoArguments = "n/a: the operation takes neither a logger nor a range";

bool applies(const std::string& expected)
{
    return expected.compare(0, 4, "n/a:") != 0;
}

timespec at(int64_t seconds)
{
    timespec time{};
    time.tv_sec = static_cast<time_t>(seconds);
    return time;
}

// An identification and the unknown one that stands for it in the case of an unknown id.
struct Identification {
    Identification(const QString& known) : known(known), unknown(kUnknownId) {}
    Identification(const QString& known, const QString& unknown) : known(known), unknown(unknown) {}
    QString known;
    QString unknown;
};

// What the calls of one case get: the identification, the range, and for the reads by position
// the time counted back from and the count.
class Reader {
public:
    Reader(int32_t base, const QString& exportFolder) : mBase(base), mExportFolder(exportFolder) {}

    LoggerApiInterface& api() { return mApi; }
    LoggerApi& engine() { return mApi; }
    LoggerStateReceiver& receiver() { return mReceiver; }
    int32_t base() const { return mBase; }

    QString id(Case c, const Identification& id) const { return c == kUnknown ? id.unknown : id.known; }

    // All items; the same turned round; a range after the last item.
    timespec start(Case c) const
    {
        switch (c) {
        case kInverted: return at(mBase + kSpan);
        case kWithoutData: return at(mBase + kSpan + 1000);
        default: return at(mBase);
        }
    }
    timespec end(Case c) const
    {
        switch (c) {
        case kInverted: return at(mBase);
        case kWithoutData: return at(mBase + kSpan + 2000);
        default: return at(mBase + kSpan);
        }
    }

    // Back from the last item; from a time before the first item. A page that would run backward
    // has a negative count.
    timespec pageTime(Case c) const { return at(c == kWithoutData ? mBase - 1000 : mBase + kSpan); }
    int pageCount(Case c) const { return c == kInverted ? -1 : kItems; }

    // A file name of its own for each export.
    QString exportFile(int index, Case c) const
    {
        return QDir(mExportFolder).filePath(QStringLiteral("export-%1-%2.bin").arg(index).arg(c));
    }

private:
    int32_t mBase;
    QString mExportFolder;
    LoggerApi mApi;
    LoggerStateReceiver mReceiver;
};

// --- answers as text ---------------------------------------------------------------------------------

std::string items(int count)
{
    return "items " + std::to_string(count);
}

std::string value(long long number)
{
    return "value " + std::to_string(number);
}

std::string list(size_t count)
{
    return "list " + std::to_string(count);
}

const std::string kNull = "null";
const std::string kZeros = "zeros";

template <typename T> bool isAllZero(const T& record)
{
    const T zero{};
    return std::memcmp(&record, &zero, sizeof(T)) == 0;
}

template <typename T, typename I> std::string describe(const std::shared_ptr<LoggerResult<T, I>>& result)
{
    return result == nullptr ? kNull : items(result->mNumItems);
}

// The events of an alarm log come with the log's texts.
std::string describe(const PtrLoggerResultEvent& result)
{
    if (result == nullptr)
        return kNull;
    return items(result->mNumItems) + " texts " + std::to_string(result->mInfo.size());
}

template <int N> std::string describe(const std::shared_ptr<DataHistogram<N>>& histogram)
{
    if (histogram == nullptr)
        return kNull;
    if (isAllZero(*histogram))
        return kZeros;
    return "record total " + std::to_string(histogram->totalValues);
}

std::string describe(const std::shared_ptr<DataStatisticBase<float>>& statistic)
{
    if (statistic == nullptr)
        return kNull;
    if (isAllZero(*statistic))
        return kZeros;
    return "statistic " + QString::number(statistic->betweenLimits, 'f', 2).toStdString() + "/" +
           QString::number(statistic->missing, 'f', 2).toStdString() + "/" +
           QString::number(statistic->limitViolation, 'f', 2).toStdString();
}

std::string statistic(const char* betweenMissingViolation)
{
    return std::string("statistic ") + betweenMissingViolation;
}

std::string describe(const DataEventClass35& table)
{
    if (isAllZero(table))
        return kZeros;
    int classified = 0;
    for (const auto& row : table.counters)
        for (int counter : row)
            classified += counter;
    return "classes " + std::to_string(classified);
}

// The number of loggers read, and the items of each.
template <typename T> std::string describe(const LoggerResultList<T>& all)
{
    std::string text = "lists " + std::to_string(all.results.size());
    if (all.names.size() != all.results.size())
        text += " with " + std::to_string(all.names.size()) + " names";
    for (const auto& result : all.results)
        text += " [" + describe(result) + "]";
    return text;
}

template <typename T> std::string describe(const std::vector<T>& entries)
{
    return list(entries.size());
}

std::string describe(int number)
{
    return value(number);
}

// An export's file in items of its record, or none.
std::string exportedFile(const QString& fileName, size_t itemSize)
{
    const QFileInfo file(fileName);
    if (!file.exists())
        return "no file";
    if (file.size() % static_cast<qint64>(itemSize) != 0)
        return "file of " + std::to_string(file.size()) + " bytes";
    return "file of " + items(static_cast<int>(file.size() / static_cast<qint64>(itemSize)));
}

bool logLineSince(int mark, const QString& message)
{
    const QStringList lines = LogCapture::lines();
    for (int index = mark; index < lines.size(); ++index) {
        if (lines[index].endsWith(QLatin1Char('|') + message))
            return true;
    }
    return false;
}

// --- the table ---------------------------------------------------------------------------------------

// The slot of a virtual operation in the table of virtual functions, read from its member pointer
// as the Itanium C++ ABI of GCC and Clang lays it out: the pointer word holds 1 plus the byte
// offset of the slot, and on ARM the offset itself with the low bit of the adjustment set. -1 for
// a function that is not virtual.
template <typename Member> std::ptrdiff_t slotOf(Member member)
{
    static_assert(sizeof(Member) == 2 * sizeof(std::ptrdiff_t), "a member pointer of two words");
    std::ptrdiff_t words[2];
    std::memcpy(words, &member, sizeof(words));
    const auto slotSize = static_cast<std::ptrdiff_t>(sizeof(void*));
#if defined(__arm__) || defined(__aarch64__)
    return (words[1] & 1) != 0 ? words[0] / slotSize : -1;
#else
    return (words[0] & 1) != 0 ? (words[0] - 1) / slotSize : -1;
#endif
}

using Expected = std::array<std::string, kCaseCount>;
using Call = std::function<std::string(Reader&, int index, Case)>;

struct Operation {
    std::string name;
    std::ptrdiff_t slot;
    Call call;
    Expected expected;
};

// A read by identification and time range, with the arguments that follow the range.
template <typename Member, typename... More>
Operation byRange(const char* name, Member member, const Identification& id, const Expected& expected,
                  More... more)
{
    const Call call = [member, id, more...](Reader& reader, int, Case c) {
        return describe((reader.api().*member)(reader.id(c, id), reader.start(c), reader.end(c), more...));
    };
    return {name, slotOf(member), call, expected};
}

// A page: count items counted back from time, none skipped.
template <typename Member>
Operation byPage(const char* name, Member member, const Identification& id, const Expected& expected)
{
    const Call call = [member, id](Reader& reader, int, Case c) {
        return describe((reader.api().*member)(reader.id(c, id), reader.pageTime(c), 0, reader.pageCount(c)));
    };
    return {name, slotOf(member), call, expected};
}

// The last items up to time.
template <typename Member>
Operation byLastItems(const char* name, Member member, const Identification& id, const Expected& expected)
{
    const Call call = [member, id](Reader& reader, int, Case c) {
        return describe((reader.api().*member)(reader.id(c, id), reader.pageTime(c), kMaxItems));
    };
    return {name, slotOf(member), call, expected};
}

// An export of records T into a file.
template <typename T, typename Member>
Operation byExport(const char* name, Member member, const Identification& id, const Expected& expected)
{
    const Call call = [member, id](Reader& reader, int index, Case c) {
        const QString fileName = reader.exportFile(index, c);
        (reader.api().*member)(reader.id(c, id), reader.start(c), reader.end(c), fileName);
        return exportedFile(fileName, sizeof(T));
    };
    return {name, slotOf(member), call, expected};
}

// Any other call; the function gets the member pointer to call through.
template <typename Member, typename Function>
Operation byCall(const char* name, Member member, const Expected& expected, Function function)
{
    const Call call = [member, function](Reader& reader, int index, Case c) {
        return function(reader, index, c, member);
    };
    return {name, slotOf(member), call, expected};
}

// Answers of a read by time of a logger's six items, of a page of them and of the last of them.
const Expected kTimeRead = {items(kItems), kNull, kNull, items(0)};
const Expected kPageRead = {items(kItems), kNull, kNull, items(0)};
const Expected kLastItemsRead = {items(kItems), kNull, kNoRange, items(0)};
const Expected kArrayStatistic = {statistic("66.67/0.00/33.33"), kNull, kNull, statistic("0.00/100.00/0.00")};

const std::string kExported = "file of " + items(kItems);
const Expected kExport = {kExported, "no file", "no file", "no file"};

// The overloads, by their parameters.
using ItqById = PtrLoggerResultItq (LoggerApiInterface::*)(int, timespec, timespec);
using VtqById = PtrLoggerResultVtq (LoggerApiInterface::*)(int, timespec, timespec);
using DtqById = PtrLoggerResultDtq (LoggerApiInterface::*)(int, timespec, timespec);
using ItqByName = PtrLoggerResultItq (LoggerApiInterface::*)(const QString&, timespec, timespec);
using VtqByName = PtrLoggerResultVtq (LoggerApiInterface::*)(const QString&, timespec, timespec);
using DtqByName = PtrLoggerResultDtq (LoggerApiInterface::*)(const QString&, timespec, timespec);
using OperatorByTime = PtrLoggerResultOperator (LoggerApiInterface::*)(timespec, int, int);
using OperatorByRange = PtrLoggerResultOperator (LoggerApiInterface::*)(timespec, timespec, int);
using OperatorByRangeAndCount = PtrLoggerResultOperator (LoggerApiInterface::*)(timespec, timespec, int, int);
using PqEventsByTime = PtrLoggerResultPqEvent (LoggerApiInterface::*)(const QString&, timespec, int);
using PqEventsByRange = PtrLoggerResultPqEvent (LoggerApiInterface::*)(const QString&, timespec, timespec,
                                                                       int);
using RseEventsByTime = PtrLoggerResultRseEvent (LoggerApiInterface::*)(const QString&, timespec, int);
using RseEventsByRange = PtrLoggerResultRseEvent (LoggerApiInterface::*)(const QString&, timespec, timespec,
                                                                         int);
using SignalEventsByTime = PtrLoggerResultSignalEvent (LoggerApiInterface::*)(const QString&, timespec, int);
using SignalEventsByRange = PtrLoggerResultSignalEvent (LoggerApiInterface::*)(const QString&, timespec,
                                                                               timespec, int);

// A read by catalogue id: the id of the logger of that data type, or one that no logger has.
template <typename Member>
Operation byBaseTypeId(const char* name, Member member, LoggerDataType dataType, const QString& id)
{
    const Call call = [member, dataType, id](Reader& reader, int, Case c) {
        const int baseTypeId = c == kUnknown
                                   ? kUnknownBaseTypeId
                                   : reader.engine().getBaseTypeId(LoggerType::CYCLIC, dataType, id);
        return describe((reader.api().*member)(baseTypeId, reader.start(c), reader.end(c)));
    };
    return {name, slotOf(member), call, kTimeRead};
}

// The register and unregister of a receiver of the card's state words, as the log of the card
// client tells them.
std::string registerReceiver(Reader& reader, bool unregister)
{
    const int mark = LogCapture::lines().size();
    reader.api().registerLoggerstate(&reader.receiver());
    const bool connected = logLineSince(mark, QStringLiteral("Receiver connected: LoggerStateReceiver"));
    const int unregisterMark = LogCapture::lines().size();
    reader.api().unregisterLoggerstate(&reader.receiver());
    const bool disconnected = logLineSince(unregisterMark, QStringLiteral("Receiver disconnected"));
    if (unregister)
        return disconnected ? "disconnected" : "not disconnected";
    return connected ? "connected" : "not connected";
}

// The items whose every channel is the expected one in its new form, with the time kept.
template <typename Sample, typename Value>
std::string convertedItems(const Sample* items, int count, int32_t base, Value voltage, Value current)
{
    int converted = 0;
    for (int index = 0; index < count; ++index) {
        bool same = items[index].utc.tv_sec == base + index * kStep;
        for (int channel = 0; channel < 11; ++channel)
            same = same && items[index].values[channel] == (channel < 7 ? voltage : current);
        converted += same ? 1 : 0;
    }
    return "converted " + std::to_string(converted);
}

// Scales that are powers of two, so that the conversions are exact both ways.
constexpr float kVoltageScale = 1.0f / 128.0f;
constexpr float kCurrentScale = 1.0f / 1024.0f;

// The table in five parts of 20 operations, one part for each reader.
const Operation kOperations1To20[] = {
    // 1 to 10: state receivers, quotas and the catalogue.
    byCall("registerLoggerstate(receiver)", &LoggerApiInterface::registerLoggerstate,
           {"connected", kNoArguments, kNoArguments, kNoArguments},
           [](Reader& reader, int, Case, auto) { return registerReceiver(reader, false); }),
    byCall("unregisterLoggerstate(receiver)", &LoggerApiInterface::unregisterLoggerstate,
           {"disconnected", kNoArguments, kNoArguments, kNoArguments},
           [](Reader& reader, int, Case, auto) { return registerReceiver(reader, true); }),
    // The unknown identification of a quota is a family without one.
    byCall("getMaximalLoggerSize(type, dataType)", &LoggerApiInterface::getMaximalLoggerSize,
           {"percent 20", "percent 0", kNoRange, kNoRange},
           [](Reader& reader, int, Case c, auto member) {
               const LoggerDataType dataType = c == kUnknown ? LoggerDataType::NONE : LoggerDataType::MEAN;
               return "percent " +
                      QString::number((reader.api().*member)(LoggerType::CYCLIC, dataType)).toStdString();
           }),
    byCall("getUsedLoggerSize(type, dataType)", &LoggerApiInterface::getUsedLoggerSize,
           {"percent above 0", "percent 0", kNoRange, kNoRange},
           [](Reader& reader, int, Case c, auto member) {
               const LoggerDataType dataType = c == kUnknown ? LoggerDataType::NONE : LoggerDataType::MEAN;
               const double used = (reader.api().*member)(LoggerType::CYCLIC, dataType);
               return used > 0.0 ? std::string("percent above 0")
                                 : "percent " + QString::number(used).toStdString();
           }),
    byCall(
        "getTimeRange(type, dataType, id, start, end)", &LoggerApiInterface::getTimeRange,
        {"true from +0 to +" + std::to_string(kSpan), "false, start and end unchanged", kNoRange, kNoRange},
        [](Reader& reader, int, Case c, auto member) {
            timespec start = at(1);
            timespec end = at(2);
            const bool found = (reader.api().*member)(LoggerType::CYCLIC, LoggerDataType::MEAN,
                                                      reader.id(c, kMeanId), start, end);
            if (!found) {
                return start.tv_sec == 1 && end.tv_sec == 2 ? std::string("false, start and end unchanged")
                                                            : std::string("false, start and end changed");
            }
            return "true from +" + std::to_string(start.tv_sec - reader.base()) + " to +" +
                   std::to_string(end.tv_sec - reader.base());
        }),
    // The unknown identification of a family is a value that names none.
    byCall("getMeasIDs(type)", &LoggerApiInterface::getMeasIDs,
           {list(static_cast<size_t>(identificationsOfAllFamilies())), list(0), kNoRange, kNoRange},
           [](Reader& reader, int, Case c, auto member) {
               return describe((reader.api().*member)(c == kUnknown ? kUnknownFamily : LoggerType::NONE));
           }),
    byCall("getMeanMeasTypes(id)", &LoggerApiInterface::getMeanMeasTypes,
           {list(1), list(0), kNoRange, kNoRange},
           [](Reader& reader, int, Case c, auto member) {
               return describe((reader.api().*member)(reader.id(c, kMeanId)));
           }),
    byCall("getMeterMeasTypes(id)", &LoggerApiInterface::getMeterMeasTypes,
           {list(1), list(0), kNoRange, kNoRange},
           [](Reader& reader, int, Case c, auto member) {
               return describe((reader.api().*member)(reader.id(c, kDtqId)));
           }),
    byCall("getHarmonicsMeasTypes(id)", &LoggerApiInterface::getHarmonicsMeasTypes,
           {list(1), list(0), kNoRange, kNoRange},
           [](Reader& reader, int, Case c, auto member) {
               return describe((reader.api().*member)(reader.id(c, kHarmonics51Id)));
           }),
    byCall("getStatisticMeasTypes(id)", &LoggerApiInterface::getStatisticMeasTypes,
           {list(1), list(0), kNoRange, kNoRange},
           [](Reader& reader, int, Case c, auto member) {
               return describe((reader.api().*member)(reader.id(c, kFrequencySourceId)));
           }),

    // 11 to 20: reads by time.
    byBaseTypeId("getItqValues(baseTypeId, start, end)",
                 static_cast<ItqById>(&LoggerApiInterface::getItqValues), LoggerDataType::ITQ, kItqId),
    byBaseTypeId("getVtqValues(baseTypeId, start, end)",
                 static_cast<VtqById>(&LoggerApiInterface::getVtqValues), LoggerDataType::VTQ, kVtqId),
    byBaseTypeId("getDtqValues(baseTypeId, start, end)",
                 static_cast<DtqById>(&LoggerApiInterface::getDtqValues), LoggerDataType::DTQ, kDtqId),
    byRange("getItqValues(id, start, end)", static_cast<ItqByName>(&LoggerApiInterface::getItqValues), kItqId,
            kTimeRead),
    byRange("getVtqValues(id, start, end)", static_cast<VtqByName>(&LoggerApiInterface::getVtqValues), kVtqId,
            kTimeRead),
    byRange("getDtqValues(id, start, end)", static_cast<DtqByName>(&LoggerApiInterface::getDtqValues), kDtqId,
            kTimeRead),
    byRange("getMeanValues(id, start, end)", &LoggerApiInterface::getMeanValues, kMeanId, kTimeRead),
    byRange("getRms_1_2_Values(id, start, end)", &LoggerApiInterface::getRms_1_2_Values, kHalfCycleId,
            kTimeRead),
    byRange("getDigital_1_2_Values(id, start, end)", &LoggerApiInterface::getDigital_1_2_Values, kDigitalId,
            kTimeRead),
    byRange("getFrequency_1_2_Values(id, start, end)", &LoggerApiInterface::getFrequency_1_2_Values,
            kHalfCycleId, kTimeRead),
};

const Operation kOperations21To40[] = {
    // 21 to 32: half cycles over an event, signal voltages, samples, aggregates and pages.
    // The event at or before the time of the id spans all half-cycle items; before the first
    // event there is none.
    byCall("getAllRms_1_2_Values(id, timeId)", &LoggerApiInterface::getAllRms_1_2_Values,
           {"lists 1 [" + items(kItems) + "]", "lists 0", kNoRange, "lists 0"},
           [](Reader& reader, int, Case c, auto member) {
               return describe((reader.api().*member)(reader.id(c, kPqEventId),
                                                      reader.engine().getTimeId(reader.pageTime(c))));
           }),
    byCall("getAllDigital_1_2_Values(id, timeId)", &LoggerApiInterface::getAllDigital_1_2_Values,
           {"lists 1 [" + items(kItems) + "]", "lists 0", kNoRange, "lists 0"},
           [](Reader& reader, int, Case c, auto member) {
               return describe((reader.api().*member)(reader.id(c, kPqEventId),
                                                      reader.engine().getTimeId(reader.pageTime(c))));
           }),
    byRange("getSignalVoltages(id, start, end)", &LoggerApiInterface::getSignalVoltages, kSignalVoltagesId,
            kTimeRead),
    // A float logger whose read fails answers a result without items, not null.
    byRange("getSamplesValues(id, start, end, unused)", &LoggerApiInterface::getSamplesValues, kSamplesId,
            {items(kItems), kNull, items(0), items(0)}, false),
    byRange("getSamples16Values(id, start, end, unused)", &LoggerApiInterface::getSamples16Values,
            kSamples16Id, kTimeRead, false),
    byRange("getAggregatedVtqValues(id, start, end, interval, maxItems)",
            &LoggerApiInterface::getAggregatedVtqValues, kVtqId,
            {items(kAggregatedBins), kNull, kNull, items(0)}, kAggregationInterval, -1),
    byRange("getAggregatedDtqValues(id, start, end, interval, maxItems)",
            &LoggerApiInterface::getAggregatedDtqValues, kDtqId,
            {items(kAggregatedBins), kNull, kNull, items(0)}, kAggregationInterval, -1),
    byPage("getSelectedDtqValues(id, time, offset, count)", &LoggerApiInterface::getSelectedDtqValues, kDtqId,
           kPageRead),
    byPage("getSelectedVtqValues(id, time, offset, count)", &LoggerApiInterface::getSelectedVtqValues, kVtqId,
           kPageRead),
    byPage("getSelectedMeanValues(id, time, offset, count)", &LoggerApiInterface::getSelectedMeanValues,
           kMeanId, kPageRead),
    byRange("getAggregatedMeanValues(id, start, end, interval, maxItems)",
            &LoggerApiInterface::getAggregatedMeanValues, kMeanId,
            {items(kAggregatedBins), kNull, kNull, items(0)}, kAggregationInterval, -1),
    byRange("getFilteredMeanValues(id, start, end, qualityMask)", &LoggerApiInterface::getFilteredMeanValues,
            kMeanId, {items(kItems / 2), kNull, kNull, items(0)}, kMarkedQuality),

    // 33 to 36: the operator log. Its unknown identification is a catalogue id that no logger has:
    // the last items of none are none, a read by time of none is null.
    byCall("getOperatorEvents(time, maxItems, baseTypeId)",
           static_cast<OperatorByTime>(&LoggerApiInterface::getOperatorEvents),
           {items(kItems), items(0), kNoRange, items(0)},
           [](Reader& reader, int, Case c, auto member) {
               return describe((reader.api().*member)(reader.pageTime(c), kMaxItems,
                                                      c == kUnknown ? kUnknownBaseTypeId : -1));
           }),
    byCall("getOperatorEvents(start, end, baseTypeId)",
           static_cast<OperatorByRange>(&LoggerApiInterface::getOperatorEvents), kTimeRead,
           [](Reader& reader, int, Case c, auto member) {
               return describe((reader.api().*member)(reader.start(c), reader.end(c),
                                                      c == kUnknown ? kUnknownBaseTypeId : -1));
           }),
    byCall("getOperatorEvents(start, end, maxItems, baseTypeId)",
           static_cast<OperatorByRangeAndCount>(&LoggerApiInterface::getOperatorEvents), kTimeRead,
           [](Reader& reader, int, Case c, auto member) {
               return describe((reader.api().*member)(reader.start(c), reader.end(c), kMaxItems,
                                                      c == kUnknown ? kUnknownBaseTypeId : -1));
           }),
    byCall("getSelectedOperatorEvents(time, offset, count)", &LoggerApiInterface::getSelectedOperatorEvents,
           {items(kItems), kNoIdentification, kNull, items(0)},
           [](Reader& reader, int, Case c, auto member) {
               return describe((reader.api().*member)(reader.pageTime(c), 0, reader.pageCount(c)));
           }),

    // 37 to 50: events.
    byLastItems("getEvents(id, time, maxItems)", &LoggerApiInterface::getEvents, kAlarmId,
                {items(kItems) + " texts 3", kNull, kNoRange, items(0) + " texts 3"}),
    byPage("getSelectedEvents(id, time, offset, count)", &LoggerApiInterface::getSelectedEvents, kAlarmId,
           {items(kItems) + " texts 3", kNull, kNull, items(0) + " texts 3"}),
    byLastItems("getPqEvents(id, time, maxItems)",
                static_cast<PqEventsByTime>(&LoggerApiInterface::getPqEvents), kPqEventId, kLastItemsRead),
    byLastItems("getRseEvents(id, time, maxItems)",
                static_cast<RseEventsByTime>(&LoggerApiInterface::getRseEvents), kPqEventId, kLastItemsRead),
};

const Operation kOperations41To60[] = {
    // A range turned round counts the items between its ends negatively.
    byRange("getNumPqEvents(id, start, end)", &LoggerApiInterface::getNumPqEvents, kPqEventId,
            {value(kItems), value(-1), value(-(kItems - 2)), value(0)}),
    byRange("getPqEvents(id, start, end, maxItems)",
            static_cast<PqEventsByRange>(&LoggerApiInterface::getPqEvents), kPqEventId, kTimeRead, -1),
    byRange("getPqEventClasses(id, start, end, maxItems)", &LoggerApiInterface::getPqEventClasses, kPqEventId,
            {"classes " + std::to_string(kItems), kZeros, kZeros, kZeros}, -1),
    byRange("getRseEvents(id, start, end, maxItems)",
            static_cast<RseEventsByRange>(&LoggerApiInterface::getRseEvents), kPqEventId, kTimeRead, -1),
    byPage("getSelectedPqEvents(id, time, offset, count)", &LoggerApiInterface::getSelectedPqEvents,
           kPqEventId, kPageRead),
    byPage("getSelectedRseEvents(id, time, offset, count)", &LoggerApiInterface::getSelectedRseEvents,
           kPqEventId, kPageRead),
    byLastItems("getSignalEvents(id, time, maxItems)",
                static_cast<SignalEventsByTime>(&LoggerApiInterface::getSignalEvents), kSignalEventId,
                kLastItemsRead),
    byRange("getSignalEvents(id, start, end, maxItems)",
            static_cast<SignalEventsByRange>(&LoggerApiInterface::getSignalEvents), kSignalEventId, kTimeRead,
            -1),
    byPage("getSelectedSignalEvents(id, time, offset, count)", &LoggerApiInterface::getSelectedSignalEvents,
           kSignalEventId, kPageRead),
    byRange("getDisturbanceValues(id, start, end, maxItems)", &LoggerApiInterface::getDisturbanceValues,
            kDisturbId, kTimeRead, kMaxItems),

    // 51 and 52: files. A reader opens the catalogue once and counts no data file it reads.
    byCall("getNumberOfOpenedFiles()", &LoggerApiInterface::getNumberOfOpenedFiles,
           {value(1), kNoArguments, kNoArguments, kNoArguments},
           [](Reader& reader, int, Case, auto member) { return describe((reader.api().*member)()); }),
    // The unknown identification of a file list is a filter that no logger has.
    byCall("getFileList(type, dataType, filter)", &LoggerApiInterface::getFileList,
           {list(1), list(0), kNoRange, kNoRange},
           [](Reader& reader, int, Case c, auto member) {
               return describe(
                   (reader.api().*member)(LoggerType::CYCLIC, LoggerDataType::MEAN, reader.id(c, kMeanId)));
           }),

    // 53 to 60: harmonics and their arrays.
    byRange("getHarmonics(id, start, end, complexAmplitude, connection)", &LoggerApiInterface::getHarmonics,
            kHarmonics51Id, kTimeRead, false, LoggerApiInterface::CONNECTION_ANY),
    byRange("getHarmonicsAbsolute(id, start, end)", &LoggerApiInterface::getHarmonicsAbsolute,
            Identification(kHarmonics51Id, kUnknownArray51Id), kTimeRead),
    byRange("getArray41(id, start, end)", &LoggerApiInterface::getArray41, kHarmonics41Id, kTimeRead),
    byRange("getPercentile3_41(id, start, end)", &LoggerApiInterface::getPercentile3_41, kPercentile41Id,
            kTimeRead),
    byRange("getPercentile3_51(id, start, end)", &LoggerApiInterface::getPercentile3_51, kPercentile51Id,
            kTimeRead),
    byRange("getComplexArray(id, start, end)", &LoggerApiInterface::getComplexArray, kComplexId, kTimeRead),
    byRange("getPrevailingArray(id, start, end)", &LoggerApiInterface::getPrevailingArray, kPrevailingId,
            kTimeRead),
    byRange("getContributionArray(id, start, end)", &LoggerApiInterface::getContributionArray,
            kContributionId, kTimeRead),
};

const Operation kOperations61To80[] = {
    // 61 to 67: exports. The statistic of the system frequency is exported by the name of its
    // statistic logger, and the half-cycle logger "frequency" as the frequency derived from it.
    byExport<DataStatisticBase<long>>("writeMeasuredValuesToFile(id, start, end, fileName)",
                                      &LoggerApiInterface::writeMeasuredValuesToFile,
                                      QStringLiteral("statisticloggerfrequency"), kExport),
    byExport<DataXtq<float>>("writeDisturbValuesToFile(id, start, end, fileName)",
                             &LoggerApiInterface::writeDisturbValuesToFile, kHalfCycleId, kExport),
    byExport<DataPqEvent>("writePqEventValuesToFile(id, start, end, fileName)",
                          &LoggerApiInterface::writePqEventValuesToFile, kPqEventId, kExport),
    byExport<DataComplexArray>("writeComplexValuesToFile(id, start, end, fileName)",
                               &LoggerApiInterface::writeComplexValuesToFile, kComplexId, kExport),
    byExport<DataXtqArrayExtended<float, 357>>("writePrevailingValuesToFile(id, start, end, fileName)",
                                               &LoggerApiInterface::writePrevailingValuesToFile,
                                               kPrevailingId, kExport),
    byExport<DataXtqArrayExtended<float, 123>>("writeContributionValuesToFile(id, start, end, fileName)",
                                               &LoggerApiInterface::writeContributionValuesToFile,
                                               kContributionId, kExport),
    byExport<DataPercentileBase<3, 51>>("writePercentileValuesToFile(id, start, end, fileName)",
                                        &LoggerApiInterface::writePercentileValuesToFile, kPercentile51Id,
                                        kExport),

    // 68 to 78: statistics and histograms.
    byRange("getStatisticValues(id, start, end)", &LoggerApiInterface::getStatisticValues, kFrequencySourceId,
            kTimeRead),
    // Six records of nine values within the limits and one outside; a range without records, or
    // a logger that cannot be read, has no share to tell.
    byRange("calculateStatistic(id, start, end, interval)", &LoggerApiInterface::calculateStatistic,
            kFrequencySourceId, {statistic("90.00/0.00/10.00"), kZeros, kZeros, kZeros}, 1),
    byCall("getFrequencyDatas(id, start, end, interval)", &LoggerApiInterface::getFrequencyDatas,
           {items(kItems) + " interval 1", kNull, kNull, items(0) + " interval 1"},
           [](Reader& reader, int, Case c, auto member) {
               double interval = -1.0;
               const auto result = (reader.api().*member)(reader.id(c, kFrequencySourceId), reader.start(c),
                                                          reader.end(c), interval);
               return result == nullptr
                          ? describe(result)
                          : describe(result) + " interval " + QString::number(interval).toStdString();
           }),
    byCall("getMainsSignallingDatas(id, start, end, interval)", &LoggerApiInterface::getMainsSignallingDatas,
           {items(kItems) + " interval 1", kNull, kNull, items(0) + " interval 1"},
           [](Reader& reader, int, Case c, auto member) {
               double interval = -1.0;
               const auto result = (reader.api().*member)(reader.id(c, kSignallingSourceId), reader.start(c),
                                                          reader.end(c), interval);
               return result == nullptr
                          ? describe(result)
                          : describe(result) + " interval " + QString::number(interval).toStdString();
           }),
    byRange("getFrequencyHistogram(id, start, end, cumulative)", &LoggerApiInterface::getFrequencyHistogram,
            kFrequencySourceId, {"record total " + std::to_string(10 * kItems), kNull, kNull, kZeros}, false),
    byRange("getMainsSignallingHistogram(id, start, end, cumulative)",
            &LoggerApiInterface::getMainsSignallingHistogram, kSignallingSourceId,
            {"record total " + std::to_string(10 * kItems), kNull, kNull, kZeros}, false),
    // One of six records lies below 49.5 Hz; 50 Hz +- 1 %.
    byRange("getFrequencyStatistic(id, start, end, nominal, lowerPercent, upperPercent)",
            &LoggerApiInterface::getFrequencyStatistic, kFrequencySourceId,
            {statistic("83.33/0.00/16.67"), kNull, kNull, kZeros}, 50.0f, 99.0f, 101.0f),
    byRange("getMainsSignallingStatistic(id, start, end, nominal, lowerPercent, upperPercent)",
            &LoggerApiInterface::getMainsSignallingStatistic, kSignallingSourceId,
            {statistic("100.00/0.00/0.00"), kNull, kNull, kZeros}, 10.0f, 0.0f, 50.0f),
    // Two of six values above 110 % of 230 V; without values in the range, all that the range
    // expects is missing.
    byRange("getMeanStatistic(id, start, end, nominal, lowerPercent, upperPercent)",
            &LoggerApiInterface::getMeanStatistic, kMeanId, kArrayStatistic, kVoltage, 90.0f, 110.0f),
    // Orders 3 and 5 against 5 %: one of twelve values above. No record in the range gives no
    // statistic at all.
    byCall("getHarmonicsStatistic(id, start, end, orders, limits, count, fromComplex)",
           &LoggerApiInterface::getHarmonicsStatistic, {statistic("91.67/0.00/8.33"), kNull, kNull, kNull},
           [](Reader& reader, int, Case c, auto member) {
               int orders[] = {3, 5};
               float limits[] = {5.0f, 5.0f};
               return describe((reader.api().*member)(reader.id(c, kHarmonics51Id), reader.start(c),
                                                      reader.end(c), orders, limits, 2, false));
           }),
    byRange("getVtqStatistic(id, start, end, nominal, lowerPercent, upperPercent)",
            &LoggerApiInterface::getVtqStatistic, kVtqId, kArrayStatistic, kVoltage, 90.0f, 110.0f),

    // 79 and 80: the sample conversions, in place on what the sample reads gave.
    byCall("convertFloatTo16Bit(items, count, scaleVoltage, scaleCurrent)",
           &LoggerApiInterface::convertFloatTo16Bit,
           {"converted " + std::to_string(kItems), kNoArguments, kNoArguments, kNoArguments},
           [](Reader& reader, int, Case c, auto member) {
               const PtrLoggerResultSamples samples =
                   reader.api().getSamplesValues(kSamplesId, reader.start(c), reader.end(c), false);
               if (samples == nullptr)
                   return std::string("no samples to convert");
               std::vector<DataSamplesBase<float, int>> buffer(samples->mItems,
                                                               samples->mItems + samples->mNumItems);
               const auto converted =
                   (reader.api().*member)(buffer.data(), samples->mNumItems, kVoltageScale, kCurrentScale);
               if (static_cast<void*>(converted) != static_cast<void*>(buffer.data()))
                   return std::string("converted elsewhere");
               return convertedItems(converted, samples->mNumItems, reader.base(),
                                     static_cast<short>(kSampleVoltage / kVoltageScale),
                                     static_cast<short>(kSampleCurrent / kCurrentScale));
           }),
    byCall("convert16BitToFloat(items, count, scaleVoltage, scaleCurrent)",
           &LoggerApiInterface::convert16BitToFloat,
           {"converted " + std::to_string(kItems), kNoArguments, kNoArguments, kNoArguments},
           [](Reader& reader, int, Case c, auto member) {
               const PtrLoggerResultSamples16 samples =
                   reader.api().getSamples16Values(kSamples16Id, reader.start(c), reader.end(c), false);
               if (samples == nullptr)
                   return std::string("no samples to convert");
               // The float form needs the room of its wider items.
               std::vector<DataSamplesBase<float, int>> buffer(static_cast<size_t>(samples->mNumItems));
               std::memcpy(static_cast<void*>(buffer.data()), samples->mItems,
                           sizeof(DataSamplesBase<short, short>) * static_cast<size_t>(samples->mNumItems));
               auto* narrow = reinterpret_cast<DataSamplesBase<short, short>*>(buffer.data());
               const auto converted =
                   (reader.api().*member)(narrow, samples->mNumItems, kVoltageScale, kCurrentScale);
               if (converted != buffer.data())
                   return std::string("converted elsewhere");
               return convertedItems(converted, samples->mNumItems, reader.base(),
                                     kSample16Voltage * kVoltageScale, kSample16Current * kCurrentScale);
           }),
};

const Operation kOperations81To100[] = {
    // 81: the loggers of the process, of which a reader has none.
    byCall("getNumLoggers()", &LoggerApiInterface::getNumLoggers,
           {value(0), kNoArguments, kNoArguments, kNoArguments},
           [](Reader& reader, int, Case, auto member) { return describe((reader.api().*member)()); }),

    // 82 to 90: pages of the arrays and meters.
    byPage("getSelectedMeanMinMaxArray7(id, time, offset, count)",
           &LoggerApiInterface::getSelectedMeanMinMaxArray7, kMean7Id, kPageRead),
    byPage("getSelectedMeanMinMaxArray12(id, time, offset, count)",
           &LoggerApiInterface::getSelectedMeanMinMaxArray12, kMean12Id, kPageRead),
    byPage("getSelectedMeanMinMaxArray14(id, time, offset, count)",
           &LoggerApiInterface::getSelectedMeanMinMaxArray14, kMean14Id, kPageRead),
    byPage("getSelectedMeanMinMaxArray16(id, time, offset, count)",
           &LoggerApiInterface::getSelectedMeanMinMaxArray16, kMean16Id, kPageRead),
    byPage("getSelectedMeanMinMaxArray20(id, time, offset, count)",
           &LoggerApiInterface::getSelectedMeanMinMaxArray20, kMean20Id, kPageRead),
    byPage("getSelectedMeanMinMaxArray23(id, time, offset, count)",
           &LoggerApiInterface::getSelectedMeanMinMaxArray23, kMean23Id, kPageRead),
    byPage("getSelectedMeanMinMaxArray24(id, time, offset, count)",
           &LoggerApiInterface::getSelectedMeanMinMaxArray24, kMean24Id, kPageRead),
    byPage("getSelectedSystemMeter(id, time, offset, count)", &LoggerApiInterface::getSelectedSystemMeter,
           kSystemMeterId, kPageRead),
    byPage("getSelectedQuadMeter(id, time, offset, count)", &LoggerApiInterface::getSelectedQuadMeter,
           kQuadMeterId, kPageRead),

    // 91 to 100: reads by time of the arrays and meters, and the statistic of one value of the
    // 14-value records.
    byRange("getMeanMinMaxArray7Values(id, start, end)", &LoggerApiInterface::getMeanMinMaxArray7Values,
            kMean7Id, kTimeRead),
    byRange("getMeanMinMaxArray12Values(id, start, end)", &LoggerApiInterface::getMeanMinMaxArray12Values,
            kMean12Id, kTimeRead),
    byRange("getMeanMinMaxArray14Values(id, start, end)", &LoggerApiInterface::getMeanMinMaxArray14Values,
            kMean14Id, kTimeRead),
    byRange("getMeanMinMaxArray16Values(id, start, end)", &LoggerApiInterface::getMeanMinMaxArray16Values,
            kMean16Id, kTimeRead),
    byRange("getMeanMinMaxArray20Values(id, start, end)", &LoggerApiInterface::getMeanMinMaxArray20Values,
            kMean20Id, kTimeRead),
    byRange("getMeanMinMaxArray23Values(id, start, end)", &LoggerApiInterface::getMeanMinMaxArray23Values,
            kMean23Id, kTimeRead),
    byRange("getMeanMinMaxArray24Values(id, start, end)", &LoggerApiInterface::getMeanMinMaxArray24Values,
            kMean24Id, kTimeRead),
    byRange("getQuadMeterValues(id, start, end)", &LoggerApiInterface::getQuadMeterValues, kQuadMeterId,
            kTimeRead),
    byRange("getSystemMeterValues(id, start, end)", &LoggerApiInterface::getSystemMeterValues, kSystemMeterId,
            kTimeRead),
    byCall("getMeanArray14Statistic(id, index, start, end, nominal, lowerPercent, upperPercent)",
           &LoggerApiInterface::getMeanArray14Statistic, kArrayStatistic,
           [](Reader& reader, int, Case c, auto member) {
               return describe((reader.api().*member)(reader.id(c, kMean14Id), 0u, reader.start(c),
                                                      reader.end(c), kVoltage, 90.0f, 110.0f));
           }),
};
static_assert(std::size(kOperations1To20) == kOperationsPerGroup &&
                  std::size(kOperations21To40) == kOperationsPerGroup &&
                  std::size(kOperations41To60) == kOperationsPerGroup &&
                  std::size(kOperations61To80) == kOperationsPerGroup &&
                  std::size(kOperations81To100) == kOperationsPerGroup,
              "one entry per operation of LoggerApiInterface, 100 in all");

// Operation index + 1 of the interface.
const Operation& operationAt(int index)
{
    static const Operation* const parts[kGroups] = {kOperations1To20, kOperations21To40, kOperations41To60,
                                                    kOperations61To80, kOperations81To100};
    return parts[index / kOperationsPerGroup][index % kOperationsPerGroup];
}

// --- the answers file ----------------------------------------------------------------------------------

using Answers = std::map<std::pair<int, int>, std::string>; // (operation index, case) to answer

bool saveAnswers(const QString& fileName, const Answers& answers)
{
    QFile file(fileName);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    for (const auto& answer : answers) {
        const QByteArray line = QByteArray::number(answer.first.first) + '\t' +
                                QByteArray::number(answer.first.second) + '\t' +
                                QByteArray::fromStdString(answer.second) + '\n';
        if (file.write(line) != line.size())
            return false;
    }
    return file.flush();
}

Answers loadAnswers(const QString& fileName)
{
    Answers answers;
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        return answers;
    for (const QByteArray& line : file.readAll().split('\n')) {
        const QList<QByteArray> fields = line.split('\t');
        if (fields.size() == 3)
            answers[{fields[0].toInt(), fields[1].toInt()}] = fields[2].toStdString();
    }
    return answers;
}

// --- the writer ----------------------------------------------------------------------------------------

// Starts a typed logger of records T, writes its six items and brings the catalogue up to date.
template <typename T>
bool writeTyped(const StoredLogger& stored, int32_t base, std::vector<std::unique_ptr<LoggerBase>>& loggers,
                int subType = 0)
{
    auto logger = std::make_unique<StoreLogger<T>>(stored);
    logger->setSubType(subType);
    if (!logger->startLogger() || logger->getLoggerState() != LOGGER_STATE_LOGGER_INITIALIZED) {
        ADD_FAILURE() << stored.id.toStdString()
                      << " did not start: " << LoggerDb::getInstance().getLastError().toStdString() << "\n"
                      << LogCapture::text().toStdString();
        return false;
    }
    for (int k = 0; k < kItems; ++k) {
        const T item = itemOf<T>(base, k);
        if (!logger->writeLoggerItem(&item)) {
            ADD_FAILURE() << stored.id.toStdString() << " refused item " << k << ": "
                          << LoggerDb::getInstance().getLastError().toStdString();
            return false;
        }
    }
    // Readers order the files by the ranges that the catalogue holds.
    if (!logger->flush() || !logger->updateAccess()) {
        ADD_FAILURE() << stored.id.toStdString() << " could not store its items";
        return false;
    }
    loggers.push_back(std::move(logger));
    return true;
}

bool writeAlarms(int32_t base, std::vector<std::unique_ptr<LoggerBase>>& loggers)
{
    auto alarms = std::make_unique<LoggerEventAlarm>();
    alarms->setLoggerName(kAlarmId.toStdString());
    if (!alarms->initialize() || !alarms->updateEventStrings(kAlarmTexts)) {
        ADD_FAILURE() << "the alarm log did not start: "
                      << LoggerDb::getInstance().getLastError().toStdString();
        return false;
    }
    for (int k = 0; k < kItems; ++k) {
        DataEvent alarm = itemOf<DataEvent>(base, k);
        alarm.eventData.words[0] = static_cast<uint32_t>(k);
        const QString text = QString::fromStdString(kAlarmTexts[static_cast<size_t>(k) % kAlarmTexts.size()]);
        if (!alarms->logEventItem(alarm, text)) {
            ADD_FAILURE() << "alarm " << k << " refused";
            return false;
        }
    }
    if (!alarms->flush() || !alarms->updateAccess()) {
        ADD_FAILURE() << "the alarm log could not store its alarms";
        return false;
    }
    loggers.push_back(std::move(alarms));
    return true;
}

bool writeOperatorEntries(int32_t base)
{
    if (!LoggerOperatorInterface::initialize() || !LoggerOperatorInterface::startLogger()) {
        ADD_FAILURE() << "the operator log did not start: "
                      << LoggerDb::getInstance().getLastError().toStdString();
        return false;
    }
    for (int k = 0; k < kItems; ++k) {
        DataOperator entry{};
        LoggerOperatorInterface::createDefault(entry);
        entry.utc = DataTimespec{base + k * kStep, 0};
        entry.operation = k;
        LoggerOperatorInterface::setUser(QStringLiteral("interface"), entry);
        LoggerOperatorInterface::setIp(QStringLiteral("192.168.1.20"), entry);
        if (!LoggerOperatorInterface::logEvent(entry)) {
            ADD_FAILURE() << "operator entry " << k << " refused";
            return false;
        }
    }
    return LoggerOperatorInterface::flush();
}

bool writeLogger(const StoredLogger& stored, int32_t base, std::vector<std::unique_ptr<LoggerBase>>& loggers)
{
    switch (stored.record) {
    case Record::Vtq: return writeTyped<DataXtq<float>>(stored, base, loggers);
    case Record::Dtq: return writeTyped<DataXtq<double>>(stored, base, loggers);
    case Record::Itq: return writeTyped<DataXtq<int>>(stored, base, loggers);
    case Record::Mean: return writeTyped<DataMean>(stored, base, loggers);
    case Record::Mean7: return writeTyped<DataMeanMinMaxArray<float, 7>>(stored, base, loggers);
    case Record::Mean12: return writeTyped<DataMeanMinMaxArray<float, 12>>(stored, base, loggers);
    case Record::Mean14: return writeTyped<DataMeanMinMaxArray<float, 14>>(stored, base, loggers);
    case Record::Mean16: return writeTyped<DataMeanMinMaxArray<float, 16>>(stored, base, loggers);
    case Record::Mean20: return writeTyped<DataMeanMinMaxArray<float, 20>>(stored, base, loggers);
    case Record::Mean23: return writeTyped<DataMeanMinMaxArray<float, 23>>(stored, base, loggers);
    case Record::Mean24: return writeTyped<DataMeanMinMaxArray<float, 24>>(stored, base, loggers);
    case Record::QuadMeter: return writeTyped<DataQuadMeter>(stored, base, loggers);
    case Record::SystemMeter: return writeTyped<DataSystemMeter>(stored, base, loggers);
    case Record::FrequencyHistogram: return writeTyped<DataHistogram<2650>>(stored, base, loggers);
    case Record::SignallingHistogram: return writeTyped<DataHistogram<200>>(stored, base, loggers);
    case Record::Harmonics51: return writeTyped<DataHarmonics>(stored, base, loggers);
    // The header word of its files says that the arrays hold 41 orders.
    case Record::Harmonics41: return writeTyped<DataXtqArray<float, 41>>(stored, base, loggers, 1);
    case Record::Percentile41: return writeTyped<DataPercentileBase<3, 41>>(stored, base, loggers);
    case Record::Percentile51: return writeTyped<DataPercentileBase<3, 51>>(stored, base, loggers);
    case Record::Complex: return writeTyped<DataComplexArray>(stored, base, loggers);
    case Record::Prevailing: return writeTyped<DataXtqArrayExtended<float, 357>>(stored, base, loggers);
    case Record::Contribution: return writeTyped<DataXtqArrayExtended<float, 123>>(stored, base, loggers);
    case Record::Statistic: return writeTyped<DataStatisticBase<long>>(stored, base, loggers);
    case Record::Alarm: return writeAlarms(base, loggers);
    case Record::Operator: return writeOperatorEntries(base);
    case Record::PqEvent: return writeTyped<DataPqEvent>(stored, base, loggers);
    case Record::SignalEvent: return writeTyped<DataSignalEvent>(stored, base, loggers);
    case Record::HalfCycleRms: return writeTyped<DataXtq<float>>(stored, base, loggers);
    case Record::Digital: return writeTyped<DataXtq<int>>(stored, base, loggers);
    case Record::Samples: return writeTyped<DataSamplesBase<float, int>>(stored, base, loggers);
    case Record::Samples16: return writeTyped<DataSamplesBase<short, short>>(stored, base, loggers);
    case Record::SignalVoltages: return writeTyped<DataSignalVoltages>(stored, base, loggers);
    case Record::Disturb: return writeTyped<DataDisturb>(stored, base, loggers);
    }
    return false;
}

int32_t baseSecond()
{
    return static_cast<int32_t>(intVariable(kBaseVariable, 0));
}

} // namespace

// --- the children ------------------------------------------------------------------------------------

// Brings the writer up on the parent's store, writes six items into a logger of every record type,
// prints "written loggers=<n> ms=<t>" and stops its loggers when the parent closes its standard
// input.
TEST(InterfaceWideChild, WritesEveryRecordTypeOfTheReadApi)
{
    if (!ChildTestProcess::isChild())
        GTEST_SKIP() << "runs only as the child of InterfaceWideProcessTest";
    ASSERT_TRUE(LogCapture::install());
    const int32_t base = baseSecond();
    ASSERT_GT(base, 0);
    ReaderStore store;
    ASSERT_TRUE(store.startAsWriter()) << LoggerDb::getInstance().getLastError().toStdString();
    QElapsedTimer clock;
    clock.start();
    std::vector<std::unique_ptr<LoggerBase>> loggers;
    for (const StoredLogger& stored : kStoredLoggers)
        ASSERT_TRUE(writeLogger(stored, base, loggers)) << stored.id.toStdString();
    ChildTestProcess::watchForStop();
    std::cout << "written loggers=" << std::size(kStoredLoggers) << " ms=" << clock.elapsed() << std::endl;

    EXPECT_TRUE(waitUntil([] { return ChildTestProcess::stopRequested(); }, kWriterLifetimeMs))
        << "not stopped within " << kWriterLifetimeMs << " ms";
    for (const auto& logger : loggers)
        logger->stopLogger();
}

// Calls each operation of the group that QZLOGGER_INTERFACE_WIDE_GROUP names in every case that
// applies to it, writes the answers into the file that QZLOGGER_INTERFACE_WIDE_ANSWERS names and
// prints "read group=<g> calls=<n> ms=<t>".
TEST(InterfaceWideChild, CallsTheOperationsOfOneGroup)
{
    if (!ChildTestProcess::isChild())
        GTEST_SKIP() << "runs only as the child of InterfaceWideProcessTest";
    ASSERT_TRUE(LogCapture::install());
    const int32_t base = baseSecond();
    ASSERT_GT(base, 0);
    const int group = intVariable(kGroupVariable, -1);
    ASSERT_GE(group, 0);
    ASSERT_LT(group, kGroups);
    const QString answersFile = qEnvironmentVariable(kAnswersVariable);
    ASSERT_FALSE(answersFile.isEmpty());
    // The exports go to the child's own temporary folder, which the parent removes.
    const QString exportFolder = QDir(QDir::tempPath()).filePath(QStringLiteral("exports"));
    ASSERT_TRUE(QDir().mkpath(exportFolder));

    ReaderStore store;
    ASSERT_TRUE(store.start()) << LoggerDb::getInstance().getLastError().toStdString();
    ASSERT_TRUE(LoggerDb::getInstance().checkValidity())
        << LoggerDb::getInstance().getLastError().toStdString();
    Reader reader(base, exportFolder);
    QElapsedTimer clock;
    clock.start();
    Answers answers;
    for (int index = group * kOperationsPerGroup; index < (group + 1) * kOperationsPerGroup; ++index) {
        const Operation& operation = operationAt(index);
        for (int c = 0; c < kCaseCount; ++c) {
            if (applies(operation.expected[static_cast<size_t>(c)]))
                answers[{index, c}] = operation.call(reader, index, static_cast<Case>(c));
        }
    }
    ASSERT_TRUE(saveAnswers(answersFile, answers));
    std::cout << "read group=" << group << " calls=" << answers.size() << " ms=" << clock.elapsed()
              << std::endl;
}

// --- the table -----------------------------------------------------------------------------------------

TEST(InterfaceWideTable, NamesEveryOperationOfTheInterfaceOnceInTheOrderOfItsSlots)
{
    std::set<std::string> names;
    for (int index = 0; index < kOperationCount; ++index) {
        const Operation& operation = operationAt(index);
        EXPECT_EQ(operation.slot, kFirstOperationSlot + index)
            << "operation " << index + 1 << ", " << operation.name;
        EXPECT_TRUE(names.insert(operation.name).second) << operation.name << " twice";
        EXPECT_TRUE(applies(operation.expected[kValid])) << operation.name << " is never called";
        EXPECT_TRUE(operation.call != nullptr) << operation.name;
    }
}

// --- the store -----------------------------------------------------------------------------------------

class InterfaceWideProcessTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(LogCapture::install());
        ASSERT_TRUE(mAnswersDirectory.isValid());
        ASSERT_TRUE(mStore.start()) << mStore.errorString().toStdString();
        // Both writer and reader are children; this process holds no writer's lock.
        LoggerDb::getInstance().close();
        mStore.handOver();
        // A whole minute, two minutes or more ahead: the typed path takes only items later than the
        // time its logger was initialized at, and the aggregation grid lies on whole minutes.
        const int64_t now = LoggerBase::getSystemTime().tv_sec;
        mBase = static_cast<int32_t>(((now + 120) / 60 + 1) * 60);
    }

    std::unique_ptr<ChildTestProcess> child(const QString& test, int group)
    {
        auto process = std::make_unique<ChildTestProcess>(test);
        mStore.exportTo(*process);
        process->setVariable(QString::fromLatin1(kBaseVariable), QString::number(mBase));
        process->setVariable(QString::fromLatin1(kGroupVariable), QString::number(group));
        process->setVariable(QString::fromLatin1(kAnswersVariable), answersFile());
        return process;
    }

    QString answersFile() const { return mAnswersDirectory.filePath(QStringLiteral("answers")); }

    // Starts the writer, waits until it has written every logger, runs the reader of the group to
    // its end, stops the writer and compares each answer of the group with the table.
    void callGroup(int group)
    {
        QElapsedTimer clock;
        clock.start();
        auto writer = child(QStringLiteral("InterfaceWideChild.WritesEveryRecordTypeOfTheReadApi"), group);
        // Nobody reads the writer's pipe while the reader runs.
        writer->sendStandardErrorToFile();
        ASSERT_TRUE(writer->start());
        const QByteArray written = writer->waitForLine("written ", kWriteDeadlineMs);
        ASSERT_FALSE(written.isEmpty()) << writer->report().toStdString();
        std::cout << "writer: " << written.toStdString() << std::endl;
        EXPECT_EQ(field(written, "loggers").toInt(), static_cast<int>(std::size(kStoredLoggers)));

        auto reader = child(QStringLiteral("InterfaceWideChild.CallsTheOperationsOfOneGroup"), group);
        EXPECT_TRUE(reader->run(kReadDeadlineMs)) << reader->report().toStdString();
        EXPECT_TRUE(reader->passed()) << reader->report().toStdString();
        for (const QByteArray& line : reader->standardOutput().split('\n')) {
            if (line.startsWith("read "))
                std::cout << "reader: " << line.toStdString() << std::endl;
        }
        EXPECT_TRUE(writer->waitForFinished(60000)) << writer->report().toStdString();
        EXPECT_TRUE(writer->passed()) << writer->report().toStdString();
        std::cout << "group " << group << ": " << clock.elapsed() << " ms" << std::endl;

        const Answers answers = loadAnswers(answersFile());
        int compared = 0;
        for (int index = group * kOperationsPerGroup; index < (group + 1) * kOperationsPerGroup; ++index) {
            const Operation& operation = operationAt(index);
            for (int c = 0; c < kCaseCount; ++c) {
                const std::string& expected = operation.expected[static_cast<size_t>(c)];
                const auto answer = answers.find({index, c});
                if (!applies(expected)) {
                    EXPECT_EQ(answer, answers.end()) << operation.name << ", " << kCaseNames[c] << ": called";
                    continue;
                }
                ++compared;
                if (answer == answers.end()) {
                    ADD_FAILURE() << "operation " << index + 1 << ", " << operation.name << ", "
                                  << kCaseNames[c] << ": no answer";
                    continue;
                }
                EXPECT_EQ(answer->second, expected)
                    << "operation " << index + 1 << ", " << operation.name << ", " << kCaseNames[c];
            }
        }
        EXPECT_EQ(static_cast<int>(answers.size()), compared);
    }

    QTemporaryDir mAnswersDirectory;
    WriterStore mStore;
    int32_t mBase = 0;
};

TEST_F(InterfaceWideProcessTest, StateReceiversQuotasCatalogueQueriesAndReadsByTimeAnswerInEveryCase)
{
    callGroup(0);
}

TEST_F(InterfaceWideProcessTest, HalfCyclesSamplesAggregatesPagesAndTheOperatorLogAnswerInEveryCase)
{
    callGroup(1);
}

TEST_F(InterfaceWideProcessTest, EventsDisturbancesFileListsAndHarmonicArraysAnswerInEveryCase)
{
    callGroup(2);
}

TEST_F(InterfaceWideProcessTest, ExportsStatisticsHistogramsAndSampleConversionsAnswerInEveryCase)
{
    callGroup(3);
}

TEST_F(InterfaceWideProcessTest, LoggerCountPagesAndReadsOfArraysAndMetersAnswerInEveryCase)
{
    callGroup(4);
}
