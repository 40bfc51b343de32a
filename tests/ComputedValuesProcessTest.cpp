// The computed values of a week, from another process. A writer process stores, through the typed
// loggers as a host program does, one week of 1-second mean values, 10-minute harmonics both as
// amplitudes and as the complex values of the device's complex logger, 10-minute frequency and
// mains-signalling histograms filled with the public HistogramCalculator, and 10-minute statistic
// records. A reader process asks LoggerApi for the aggregated mean values, the harmonic amplitudes,
// the merged histograms and the statistics, and writes what it got into a file. The test process,
// which holds the store (WriterStore), generates the same week once more from the same seed and
// compares every answer with a reference written here from the rules alone (the shared references
// of tests/support and the statistics below); nothing of the library computes the reference.
//
// The week is rough on purpose: it begins and ends a few seconds late and early, has holes of
// seconds, minutes and more than an hour, a forward clock jump marked 0x8, repeated time stamps
// (which the typed path drops: a repeat from the source is not a new value), values that are not
// numbers or infinite, items excluded by 0x20000, lost 10-minute records and periods with values
// missing inside them.
//
// Where the rules fix the precision, answers are compared to the bit: the aggregated records, the
// stored harmonics, the per cent amplitudes given the magnitudes, the merge of histograms without
// missing values. The tolerances elsewhere stand beside their comparisons.

#include "AggregationReference.h"
#include "AmplitudeReference.h"
#include "ChildTestProcess.h"
#include "HistogramCalculator.h"
#include "HistogramReference.h"
#include "LogCapture.h"
#include "LoggerApi.h"
#include "LoggerApiInterface.h"
#include "LoggerBase.h"
#include "LoggerDataItems.h"
#include "LoggerDb.h"
#include "LoggerResult.h"
#include "LoggerState.h"
#include "LoggerTemplate.h"
#include "MeanItemFiles.h"
#include "TypedTestLogger.h"
#include "WaitUntil.h"
#include "WriterStore.h"

#include <QByteArray>
#include <QDataStream>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QString>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <functional>
#include <initializer_list>
#include <iostream>
#include <limits>
#include <map>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

using qzlogger::HistogramCalculator;
using Complex = std::complex<float>;
using FrequencyHistogram = DataHistogram<2650>;
using SignallingHistogram = DataHistogram<200>;
using StoredStatistic = DataStatisticBase<long>;
using Statistic = DataStatisticBase<float>;

constexpr uint32_t kSeed = 20261124u;
constexpr int32_t kDay = 86400;
constexpr int32_t kWeek = 7 * kDay;
constexpr int32_t kPeriod = 600; // one 10-minute record
constexpr int kPeriods = kWeek / kPeriod;
constexpr int kOrders = 51;
constexpr int kChannels = 7;

constexpr uint32_t kClockChanged = 0x8;
constexpr uint32_t kExcluded = 0x20000;

const QString kMeanId = QStringLiteral("aggr.mean_1s.rms.u1");
const QString kAmplitudesU2Id = QStringLiteral("aggr.mean_10min.harm_amp_10min.u2");
const QString kMagnitudesI1Id = QStringLiteral("aggr.mean_10min.harm.select_magn_i1");
const QString kComplexId = QStringLiteral("aggr.mean_10min.harm_complex.values_0");
const QString kFrequencyId = QStringLiteral("aggr.histogram_10min.frequency");
const QString kSignallingId = QStringLiteral("aggr.histogram_10min.mains_signalling.u1");
const QString kStatisticId = QStringLiteral("aggr.statistic_10min.rms.u1");

// Seconds between the values of each logger, as its measured type holds them.
constexpr double kMeanInterval = 1.0;
constexpr double kRecordInterval = 600.0;
constexpr int32_t kFrequencyValueSeconds = 10;
constexpr int32_t kSignallingValueSeconds = 3;

// The maximum load current in the headers of the complex logger's files.
constexpr float kMaxLoad = 40.0f;
constexpr float kCurrentScale = 0.25f;

// The orders and limits of the harmonics statistics, in per cent of the fundamental.
constexpr int kStatisticOrders[] = {3, 5, 7};
constexpr float kStatisticLimits[] = {5.0f, 6.0f, 5.0f};
constexpr int kStatisticCount = 3;

// The limits of the other statistics: nominal value, lower and upper per cent. They keep clear of
// the values and class bounds, so that the order of the limits' double operations cannot decide.
struct Limits {
    float nominal;
    float lowerPercent;
    float upperPercent;
};
constexpr Limits kMeanLimits{230.0f, 90.0f, 110.0f};
constexpr Limits kFrequencyLimits{50.0f, 99.1f, 100.9f};
constexpr Limits kSignallingLimits{10.0f, 2.1f, 4.9f};

// The channels read from the complex values: an identification, the channel it names, a name.
struct Channel {
    const char* id;
    unsigned int index;
    const char* name;
};
const Channel kChannelsRead[] = {{"aggr.mean_10min.harm_10min.u1", 0, "u1"},
                                 {"aggr.mean_10min.harm_10min.u3", 2, "u3"},
                                 {"aggr.mean_10min.harm_10min.i2", 4, "i2"}};

constexpr const char* kWeekStartVariable = "QZLOGGER_COMPUTED_VALUES_WEEK_START";
constexpr const char* kAnswersVariable = "QZLOGGER_COMPUTED_VALUES_ANSWERS";
constexpr const char* kGroupVariable = "QZLOGGER_COMPUTED_VALUES_GROUP";
constexpr const char* kValuesGroup = "values";
constexpr const char* kStatisticsGroup = "statistics";

// Deadlines: writing the week takes a few seconds optimized and up to a minute under the
// sanitizers; a writer that is never told to stop ends by itself, and fails.
constexpr int kWriteDeadlineMs = 240000;
constexpr int kReadDeadlineMs = 300000;
constexpr int kWriterLifetimeMs = 600000;

timespec at(int64_t seconds, int64_t nanoseconds = 0)
{
    timespec time{};
    time.tv_sec = static_cast<time_t>(seconds);
    time.tv_nsec = static_cast<long>(nanoseconds);
    return time;
}

bool notAfter(const DataTimespec& a, const timespec& b)
{
    return a.tv_sec < b.tv_sec || (a.tv_sec == b.tv_sec && a.tv_nsec <= b.tv_nsec);
}

bool inRange(const DataTimespec& utc, const timespec& start, const timespec& end)
{
    const bool fromStart =
        start.tv_sec < utc.tv_sec || (start.tv_sec == utc.tv_sec && start.tv_nsec <= utc.tv_nsec);
    return fromStart && notAfter(utc, end);
}

template <typename T>
std::vector<T> itemsIn(const std::vector<T>& items, const timespec& start, const timespec& end)
{
    std::vector<T> inside;
    for (const T& item : items) {
        if (inRange(item.utc, start, end))
            inside.push_back(item);
    }
    return inside;
}

// The ranges that are read: the whole week, one calendar day of it with lost records, and a part
// whose ends lie on no bin boundary, the start half a second into a second.
struct Range {
    const char* name;
    timespec start;
    timespec end;
};

Range weekRange(int32_t start)
{
    return {"week", at(start), at(static_cast<int64_t>(start) + kWeek)};
}

Range dayRange(int32_t start)
{
    return {"day", at(static_cast<int64_t>(start) + 2 * kDay), at(static_cast<int64_t>(start) + 3 * kDay)};
}

// 1 day 03:17:23.5 to 5 days 18:44:07.
constexpr int32_t kPartStartSeconds = kDay + 11843;
constexpr int32_t kPartEndSeconds = 5 * kDay + 67447;

Range partRange(int32_t start)
{
    return {"part", at(static_cast<int64_t>(start) + kPartStartSeconds, 500000000),
            at(static_cast<int64_t>(start) + kPartEndSeconds)};
}

// --- the week --------------------------------------------------------------------------------------

struct Week {
    std::vector<DataMean> offeredMeans; // as the host offers them, repeats included
    std::vector<DataMean> storedMeans;  // what the typed path keeps: each later than the one before
    std::vector<DataHarmonics> voltageAmplitudes;
    std::vector<DataHarmonics> currentMagnitudes;
    std::vector<DataComplexArray> complexValues;
    std::vector<FrequencyHistogram> frequency;
    std::vector<SignallingHistogram> signalling;
    std::vector<StoredStatistic> statistics;
};

class WeekRandom {
public:
    explicit WeekRandom(uint32_t seed) : mRandom(seed) {}
    double uniform(double low, double high)
    {
        return std::uniform_real_distribution<double>(low, high)(mRandom);
    }
    double normal(double mean, double deviation)
    {
        return std::normal_distribution<double>(mean, deviation)(mRandom);
    }
    bool chance(double p) { return std::bernoulli_distribution(p)(mRandom); }
    int below(int n) { return std::uniform_int_distribution<int>(0, n - 1)(mRandom); }

private:
    std::mt19937 mRandom;
};

bool contains(std::initializer_list<int> list, int value)
{
    return std::find(list.begin(), list.end(), value) != list.end();
}

// Seconds of the week (1 to kWeek, the value of second s stamped at the end of it) without a value.
std::vector<bool> meanHoles(WeekRandom& random)
{
    std::vector<bool> hole(static_cast<size_t>(kWeek) + 1, false);
    const auto cut = [&hole](int32_t first, int32_t count) {
        for (int32_t second = first; second < first + count && second <= kWeek; ++second)
            hole[static_cast<size_t>(second)] = true;
    };
    cut(1, 7);                                // the week begins late: the first bin is partial
    cut(kDay + 2 * 3600 + 3 * 60 + 4, 300);   // five minutes inside a bin
    cut(2 * kDay + 8 * 3600, 37);             // the clock jumps forward; the next value says so
    cut(3 * kDay + 13 * 3600 + 123, 75 * 60); // more than an hour: bins without a value
    cut(kWeek - 4, 5);                        // and ends early
    for (int gap = 0; gap < 20; ++gap)        // a few seconds here and there on day 5
        cut(5 * kDay + 1 + random.below(kDay - 10), 1 + random.below(3));
    return hole;
}

constexpr int32_t kClockJumpSecond = 2 * kDay + 8 * 3600 + 37;
constexpr int32_t kDriftFirst = 4 * kDay + 10 * 3600; // an hour stamped a quarter second late
constexpr int32_t kDriftEnd = kDriftFirst + 3600;

void generateMeans(int32_t start, WeekRandom& random, Week& week)
{
    const std::vector<bool> hole = meanHoles(random);
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float infinity = std::numeric_limits<float>::infinity();
    // The repeats: after these seconds the source offers the same stamp once more, with values
    // that would show in every aggregate and statistic if they were taken.
    std::vector<int32_t> repeats;
    for (int count = 0; count < 12; ++count)
        repeats.push_back(1 + random.below(kWeek - 1));
    for (int32_t second = 1; second <= kWeek; ++second) {
        if (hole[static_cast<size_t>(second)])
            continue;
        DataMean item{};
        item.utc = DataTimespec{start + second, second >= kDriftFirst && second < kDriftEnd ? 250000000 : 0};
        double mean = random.normal(230.0, 4.0);
        if (random.chance(0.003))
            mean = 230.0 * random.uniform(0.8, 1.2);
        item.mean = static_cast<float>(mean);
        item.min = static_cast<float>(mean - random.uniform(0.0, 3.0));
        item.max = static_cast<float>(mean + random.uniform(0.0, 3.0));
        if (random.chance(0.0005))
            item.quality |= kExcluded;
        if (random.chance(0.01))
            item.quality |= 0x1; // a bit of the measuring side, passed through
        if (second == kClockJumpSecond)
            item.quality |= kClockChanged;
        // The first value of the part range is excluded: a statistic skips it.
        if (second == kPartStartSeconds + 1)
            item.quality |= kExcluded;
        if (contains({50000, 150001, 250002, 350003, 450004, 550005}, second))
            item.mean = nan;
        if (contains({60000, 160000, 260000}, second))
            item.max = infinity;
        if (contains({70000, 170000, 270000}, second))
            item.min = -infinity;
        if (second == 300010 || second == 310010)
            item.mean = infinity;
        if (second == 300100) // beside an infinite mean in the same bin: not a number
            item.mean = -infinity;
        week.offeredMeans.push_back(item);
        if (std::find(repeats.begin(), repeats.end(), second) != repeats.end()) {
            DataMean repeat = item;
            repeat.min = -1e6f;
            repeat.mean = 1e6f;
            repeat.max = 2e6f;
            repeat.quality = 0x4;
            week.offeredMeans.push_back(repeat);
        }
    }
    // The typed path keeps an item only where it is later than the one before.
    for (const DataMean& item : week.offeredMeans) {
        if (!week.storedMeans.empty()) {
            const DataTimespec& last = week.storedMeans.back().utc;
            if (notAfter(item.utc, last))
                continue;
        }
        week.storedMeans.push_back(item);
    }
}

DataTimespec periodEnd(int32_t start, int period)
{
    return DataTimespec{start + (period + 1) * kPeriod, 0};
}

void generateHarmonics(int32_t start, WeekRandom& random, Week& week)
{
    for (int period = 0; period < kPeriods; ++period) {
        if (contains({150, 151, 640}, period))
            continue; // lost records
        DataHarmonics voltage{};
        voltage.utc = periodEnd(start, period);
        voltage.quality = period % 97 == 0 ? kExcluded : (period % 7 == 0 ? 0x2u : 0u);
        voltage.values[0] = static_cast<float>(random.uniform(0.0, 0.5));
        voltage.values[1] = 100.0f;
        for (int order = 2; order < kOrders; ++order)
            voltage.values[order] = static_cast<float>(random.uniform(0.0, 8.0));
        // Values equal to their limits are between them.
        if (period % 50 == 3)
            voltage.values[3] = 5.0f;
        if (period % 70 == 5)
            voltage.values[5] = 6.0f;
        if (period == 333)
            voltage.values[7] = std::numeric_limits<float>::quiet_NaN();
        week.voltageAmplitudes.push_back(voltage);

        DataHarmonics current{};
        current.utc = voltage.utc;
        current.quality = static_cast<uint32_t>(period % 3);
        current.values[1] = static_cast<float>(20.0 + random.uniform(0.0, 5.0));
        for (int order = 0; order < kOrders; ++order) {
            if (order != 1)
                current.values[order] = static_cast<float>(random.uniform(0.0, 3.0));
        }
        week.currentMagnitudes.push_back(current);
    }
}

Complex polar(double magnitude, double angle)
{
    return Complex(static_cast<float>(magnitude * std::cos(angle)),
                   static_cast<float>(magnitude * std::sin(angle)));
}

void generateComplexValues(int32_t start, WeekRandom& random, Week& week)
{
    const double pi = std::acos(-1.0);
    for (int period = 0; period < kPeriods; ++period) {
        if (contains({400, 777}, period))
            continue;
        DataComplexArray item{};
        item.utc = periodEnd(start, period);
        item.quality = period % 131 == 0 ? kExcluded : static_cast<uint32_t>(period & 0x3);
        item.extension.words[0] = static_cast<uint32_t>(period);
        item.extension.words[1] = ~static_cast<uint32_t>(period);
        for (int channel = 0; channel < kChannels; ++channel) {
            for (int order = 0; order < kOrders; ++order) {
                double magnitude = 0.0;
                if (channel < 3)
                    magnitude = order == 0   ? random.uniform(0.0, 0.5)
                                : order == 1 ? random.normal(230.0, 2.0)
                                             : 230.0 * random.uniform(0.0, 0.07);
                else if (channel < 6)
                    magnitude = order == 0   ? random.uniform(0.0, 0.1)
                                : order == 1 ? 15.0 + random.uniform(0.0, 10.0)
                                             : random.uniform(0.0, 2.0);
                else
                    magnitude = random.uniform(0.0, 1.0);
                item.values[channel * kOrders + order] = polar(magnitude, random.uniform(-pi, pi));
            }
        }
        if (period == 10) // a voltage without fundamental: per cent of 1.0
            item.values[2 * kOrders + 1] = Complex(0.0f, 0.0f);
        if (period == 20)
            item.values[0 * kOrders + 5] = Complex(std::numeric_limits<float>::quiet_NaN(), 1.0f);
        if (period == 30)
            item.values[4 * kOrders + 3] = Complex(std::numeric_limits<float>::infinity(), 0.0f);
        week.complexValues.push_back(item);
    }
}

// The host's side of a histogram: the values of one period counted by the calculator, and the
// record filled from it as the calculator's own example does.
template <int N>
DataHistogram<N> hostRecord(HistogramCalculator& calculator,
                            const std::vector<std::pair<int32_t, float>>& values)
{
    calculator.clear();
    for (const auto& value : values)
        calculator.add(value.second, at(value.first), false);
    DataHistogram<N> record{};
    record.utcStart = DataTimespec{values.front().first, 0};
    record.utc = DataTimespec{values.back().first, 0};
    record.lowerLimit = calculator.getLowerLimit();
    record.upperLimit = calculator.getUpperLimit();
    record.totalValues = static_cast<int32_t>(calculator.getTotalValues());
    record.maxValues = calculator.calculateMaxDataElements();
    record.missingValues = record.maxValues - record.totalValues;
    calculator.calculatePercent(record.percent);
    return record;
}

void generateHistograms(int32_t start, WeekRandom& random, Week& week)
{
    std::vector<int> frequencyClasses(2650, 0);
    HistogramCalculator frequency(frequencyClasses.data(), 2650);
    frequency.setParameters(45.0f, 55.0f, at(kFrequencyValueSeconds));
    std::vector<int> signallingClasses(200, 0);
    HistogramCalculator signalling(signallingClasses.data(), 200);
    signalling.setParameters(0.0f, 10.0f, at(kSignallingValueSeconds));

    for (int period = 0; period < kPeriods; ++period) {
        const int32_t periodStart = start + period * kPeriod;
        if (!contains({300, 1001}, period)) {
            std::vector<std::pair<int32_t, float>> values;
            for (int32_t index = 1; index <= kPeriod / kFrequencyValueSeconds; ++index) {
                if ((period % 113 == 5 && index >= 17 && index <= 19) || (period % 211 == 7 && index <= 2))
                    continue; // values missing inside the period, or at its start
                double value = random.normal(50.0, 0.04);
                if (random.chance(0.01))
                    value = 50.0 + random.uniform(-0.8, 0.8);
                if (period == 500 && index == 30)
                    value = 44.0; // below the first class
                if (period == 501 && index == 31)
                    value = 57.0; // above the last
                values.emplace_back(periodStart + index * kFrequencyValueSeconds, static_cast<float>(value));
            }
            week.frequency.push_back(hostRecord<2650>(frequency, values));
            // A quality of the measuring side now and then; a merge keeps its first record's.
            week.frequency.back().quality = period % 17 == 0 ? 0x40u : 0u;
        }
        if (!contains({302, 850}, period)) {
            std::vector<std::pair<int32_t, float>> values;
            for (int32_t index = 1; index <= kPeriod / kSignallingValueSeconds; ++index) {
                if (period % 89 == 3 && index >= 50 && index < 60)
                    continue;
                const double value = random.chance(0.3) ? random.uniform(0.0, 11.0)
                                                        : 3.0 * std::pow(random.uniform(0.0, 1.0), 2.0);
                values.emplace_back(periodStart + index * kSignallingValueSeconds, static_cast<float>(value));
            }
            week.signalling.push_back(hostRecord<200>(signalling, values));
            week.signalling.back().quality = period % 19 == 0 ? 0x40u : 0u;
        }
    }
}

void generateStatistics(int32_t start, WeekRandom& random, Week& week)
{
    for (int period = 0; period < kPeriods; ++period) {
        if (contains({100, 101, 102, 500}, period))
            continue;
        StoredStatistic record{};
        record.utcStart = DataTimespec{start + period * kPeriod + 1, 0};
        record.utc = periodEnd(start, period);
        record.limitViolation = random.chance(0.05) ? random.below(kPeriod + 1) : random.below(21);
        record.missing = std::min(random.below(4), kPeriod - record.limitViolation);
        record.betweenLimits = kPeriod - record.limitViolation - record.missing;
        record.quality = period % 50 == 0 ? kExcluded : 0u;
        // The record after a lost one was written after a clock change: its gap is no loss.
        if (period == 501)
            record.quality |= kClockChanged;
        week.statistics.push_back(record);
    }
}

Week generateWeek(int32_t start)
{
    WeekRandom random(kSeed);
    Week week;
    generateMeans(start, random, week);
    generateHarmonics(start, random, week);
    generateComplexValues(start, random, week);
    generateHistograms(start, random, week);
    generateStatistics(start, random, week);
    return week;
}

int32_t weekStart()
{
    return static_cast<int32_t>(intVariable(kWeekStartVariable, 0));
}

// --- the writer's loggers --------------------------------------------------------------------------

// A CYCLIC logger of one record type as the writer's own loggers are: an identification, the
// interval of its values, a cache of a period's items.
template <typename T> class WeekLogger : public TypedTestLogger<T> {
public:
    WeekLogger(LoggerDataType dataType, const QString& id, double interval, int cacheCapacity)
        : TypedTestLogger<T>(LoggerType::CYCLIC, dataType, id, interval)
    {
        this->setCacheCapacity(cacheCapacity);
        this->setCacheTimeout(1000);
    }

    // Offers the items from next on whose time is not after until; false where one was refused.
    bool writeUntil(const std::vector<T>& items, size_t& next, const DataTimespec& until)
    {
        for (; next < items.size() && notAfter(items[next].utc, until); ++next) {
            if (!this->writeLoggerItem(&items[next]))
                return false;
        }
        return true;
    }
};

// --- what the reader answers -----------------------------------------------------------------------

// One answer of the reader: whether it was null, the last error, the result's interval and its
// items as they lay in memory. A single record (a merged histogram, a statistic) is one item.
struct Answer {
    bool present = false;
    QString error;
    double interval = 0.0;
    int numItems = 0;
    QByteArray bytes;
};

template <typename T> Answer answerOf(const std::shared_ptr<LoggerResult<T>>& result)
{
    Answer answer;
    answer.error = LoggerApiInterface::getLastError();
    if (result == nullptr)
        return answer;
    answer.present = true;
    answer.interval = result->mInterval;
    answer.numItems = result->mNumItems;
    if (result->mNumItems > 0)
        answer.bytes = QByteArray(reinterpret_cast<const char*>(result->mItems),
                                  static_cast<int>(sizeof(T)) * result->mNumItems);
    return answer;
}

template <typename T> Answer answerOf(const std::shared_ptr<T>& record)
{
    Answer answer;
    answer.error = LoggerApiInterface::getLastError();
    if (record == nullptr)
        return answer;
    answer.present = true;
    answer.numItems = 1;
    answer.bytes = QByteArray(reinterpret_cast<const char*>(record.get()), static_cast<int>(sizeof(T)));
    return answer;
}

template <typename T> std::vector<T> itemsOf(const Answer& answer)
{
    std::vector<T> items(static_cast<size_t>(std::max(answer.numItems, 0)));
    if (answer.bytes.size() == static_cast<int>(sizeof(T) * items.size()) && !items.empty())
        std::memcpy(static_cast<void*>(items.data()), answer.bytes.constData(), sizeof(T) * items.size());
    return items;
}

// Empty where the answer holds numItems records of T, else what is wrong.
template <typename T> std::string shapeOf(const Answer& answer)
{
    if (!answer.present)
        return "null: " + answer.error.toStdString();
    if (answer.bytes.size() != static_cast<int>(sizeof(T)) * answer.numItems)
        return std::to_string(answer.bytes.size()) + " bytes for " + std::to_string(answer.numItems) +
               " records";
    return std::string();
}

using Answers = std::map<std::string, Answer>;

bool saveAnswers(const QString& fileName, const Answers& answers)
{
    QFile file(fileName);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    QDataStream out(&file);
    out << static_cast<qint32>(answers.size());
    for (const auto& entry : answers) {
        out << QByteArray::fromStdString(entry.first) << entry.second.present << entry.second.error
            << entry.second.interval << static_cast<qint32>(entry.second.numItems) << entry.second.bytes;
    }
    return out.status() == QDataStream::Ok && file.flush();
}

Answers loadAnswers(const QString& fileName)
{
    Answers answers;
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        return answers;
    QDataStream in(&file);
    qint32 count = 0;
    in >> count;
    for (qint32 index = 0; index < count && in.status() == QDataStream::Ok; ++index) {
        QByteArray name;
        Answer answer;
        qint32 numItems = 0;
        in >> name >> answer.present >> answer.error >> answer.interval >> numItems >> answer.bytes;
        answer.numItems = numItems;
        answers[name.toStdString()] = answer;
    }
    return answers;
}

std::string rangeName(const char* what, const Range& range, const char* suffix = "")
{
    return std::string(what) + "/" + range.name + suffix;
}

// --- the references of the statistics ---------------------------------------------------------------

// The statistics written once more from their rules, step by step as they are stated: counting
// items against limits, counts derived from a histogram, and the sum of stored records. Times are
// whole nanoseconds (RefTime); the counts are exact.

bool isZero(const RefTime& time)
{
    return time.sec == 0 && time.nsec == 0;
}

struct ReferenceStatistic {
    RefTime utc;
    RefTime utcStart;
    uint32_t quality = 0;
    double betweenLimits = 0.0; // per cent
    double missing = 0.0;
    double limitViolation = 0.0;
    // The counts behind them, for the messages.
    long long between = 0;
    long long missingCount = 0;
    long long violation = 0;
    long long maxValues = 0;
};

class StatisticRules {
public:
    StatisticRules(double lower, double upper) : mLower(lower), mUpper(upper) {}

    static double limit(float percent, float nominal)
    {
        return static_cast<double>(percent) / 100.0 * static_cast<double>(nominal);
    }

    void setStartTime(const RefTime& time) { mStart = time; }
    void setInterval(const RefTime& interval) { mInterval = interval; }

    // "nothing where span does not exceed the interval. Otherwise missing = k x integer part of
    // ((span minus interval) in seconds / interval in seconds)"; max values and missing data
    // elements both go up by it.
    void missingValues(const RefTime& span, int perInterval)
    {
        if (!refBefore(mInterval, span))
            return;
        const long long missing = perInterval * static_cast<long long>(refSeconds(refMinus(span, mInterval)) /
                                                                       refSeconds(mInterval));
        mMaxValues += missing;
        mMissing += missing;
    }

    void setTimeChanged(const RefTime& time)
    {
        if (refBefore(mEnd, time))
            mEnd = time;
    }

    void addItem(const RefTime& time, float value, uint32_t quality)
    {
        takeFirstTime(time);
        RefTime gap = refMinus(time, mEnd);
        if ((quality & kClockChanged) != 0) {
            setTimeChanged(time);
            gap = mInterval;
        }
        if (isZero(mInterval))
            mInterval = gap;
        missingValues(gap, 1);
        mEnd = time;
        if ((quality & kExcluded) == 0) {
            const double asDouble = static_cast<double>(value);
            if (asDouble >= mLower && asDouble <= mUpper)
                ++mBetween;
            else
                ++mViolation;
        } else {
            ++mMissing;
        }
        ++mTotal;
        ++mMaxValues;
        mQuality |= quality;
    }

    // One record of several values in one counter pair: each value at most its limit is between.
    void addArray(const RefTime& time, const std::vector<float>& values, const float* limits,
                  uint32_t quality)
    {
        const int count = static_cast<int>(values.size());
        takeFirstTime(time);
        const RefTime gap = refMinus(time, mEnd);
        if (isZero(mInterval))
            mInterval = gap;
        missingValues(gap, count);
        mEnd = time;
        if ((quality & kExcluded) == 0) {
            for (int index = 0; index < count; ++index) {
                if (values[static_cast<size_t>(index)] <= limits[index])
                    ++mBetween;
                else
                    ++mViolation;
            }
        } else {
            ++mMissing; // one, not count
        }
        mTotal += count;
        mMaxValues += count;
        mQuality |= quality;
    }

    // The end time itself stays that of the last item.
    void setEndTime(const RefTime& time, int perInterval)
    {
        const RefTime span = refMinus(time, mEnd);
        if (isZero(mInterval))
            mInterval = span;
        missingValues(span, perInterval);
    }

    // The counts of a merged histogram: the classes below, between and above the limits, with the
    // frequency scale 2650 / (upper - lower) for every class count.
    template <int N> void fromHistogram(const DataHistogram<N>& histogram)
    {
        const double scale =
            2650.0 / (static_cast<double>(histogram.upperLimit) - static_cast<double>(histogram.lowerLimit));
        long long a =
            static_cast<long long>((mLower - static_cast<double>(histogram.lowerLimit)) * scale + 0.5);
        if (a < 0)
            a = 0;
        long long b = static_cast<long long>((mUpper - static_cast<double>(histogram.lowerLimit)) * scale);
        if (b < a)
            b = a;
        if (b > N - 1)
            b = N - 1;
        if (a > b)
            a = b;
        double below = 0.0;
        double between = 0.0;
        double above = 0.0;
        for (int index = 0; index < N; ++index) {
            const double share = static_cast<double>(histogram.percent[index]);
            if (index < a)
                below += share;
            else if (index <= b)
                between += share;
            else
                above += share;
        }
        const double f = static_cast<double>(histogram.maxValues) / 100.0;
        mViolation = static_cast<long long>(f * (below + above) + 0.5);
        mBetween = static_cast<long long>(f * between + 0.5);
        mTotal = static_cast<long long>(f * (below + between + above) + 0.5);
        mQuality = histogram.quality;
        mStart = refTime(histogram.utcStart);
        mEnd = refTime(histogram.utc);
        mMaxValues = histogram.maxValues;
        mMissing = histogram.missingValues;
    }

    ReferenceStatistic result() const
    {
        const double f = mMaxValues < 1 ? 1.0 : static_cast<double>(mMaxValues) / 100.0;
        ReferenceStatistic statistic;
        statistic.utc = mEnd;
        statistic.utcStart = mStart;
        statistic.quality = mQuality;
        statistic.betweenLimits = static_cast<double>(mBetween) / f;
        statistic.missing = static_cast<double>(mMissing) / f;
        statistic.limitViolation = static_cast<double>(mViolation) / f;
        statistic.between = mBetween;
        statistic.missingCount = mMissing;
        statistic.violation = mViolation;
        statistic.maxValues = mMaxValues;
        return statistic;
    }

private:
    void takeFirstTime(const RefTime& time)
    {
        if (isZero(mStart))
            mStart = time;
        if (isZero(mEnd))
            mEnd = time;
    }

    double mLower;
    double mUpper;
    RefTime mStart;
    RefTime mEnd;
    RefTime mInterval;
    uint32_t mQuality = 0;
    long long mTotal = 0;
    long long mMaxValues = 0;
    long long mMissing = 0;
    long long mBetween = 0;
    long long mViolation = 0;
};

RefTime refOf(const timespec& time)
{
    return refNormalised(time.tv_sec, time.tv_nsec);
}

RefTime refSecondsOf(double seconds)
{
    return refInterval(seconds);
}

// The statistic of the mean values of a range: the stored interval, the start of the range, and
// every item but a first one that is excluded.
ReferenceStatistic meanStatistic(const std::vector<DataMean>& stored, const Range& range)
{
    StatisticRules rules(StatisticRules::limit(kMeanLimits.lowerPercent, kMeanLimits.nominal),
                         StatisticRules::limit(kMeanLimits.upperPercent, kMeanLimits.nominal));
    rules.setStartTime(refOf(range.start));
    rules.setInterval(refSecondsOf(kMeanInterval));
    const std::vector<DataMean> items = itemsIn(stored, range.start, range.end);
    for (size_t index = 0; index < items.size(); ++index) {
        if (index == 0 && (items[index].quality & kExcluded) != 0)
            continue;
        rules.addItem(refTime(items[index].utc), items[index].mean, items[index].quality);
    }
    rules.setEndTime(refOf(range.end), 1);
    return rules.result();
}

// The statistic of chosen orders of harmonics records, each record one array against the limits.
ReferenceStatistic harmonicsStatistic(const std::vector<DataHarmonics>& records, const Range& range)
{
    StatisticRules rules(0.0, 0.0);
    rules.setInterval(refSecondsOf(kRecordInterval));
    for (const DataHarmonics& record : itemsIn(records, range.start, range.end)) {
        std::vector<float> values;
        for (int index = 0; index < kStatisticCount; ++index)
            values.push_back(record.values[kStatisticOrders[index]]);
        rules.addArray(refTime(record.utc), values, kStatisticLimits, record.quality);
    }
    rules.setEndTime(refOf(range.end), kStatisticCount);
    return rules.result();
}

template <int N> ReferenceStatistic histogramStatistic(const DataHistogram<N>& merged, const Limits& limits)
{
    StatisticRules rules(StatisticRules::limit(limits.lowerPercent, limits.nominal),
                         StatisticRules::limit(limits.upperPercent, limits.nominal));
    rules.fromHistogram<N>(merged);
    return rules.result();
}

// The sum of the stored statistic records of a range: lost records between them count as missing
// values unless the record after the gap says the clock changed; the time from the range's start
// to the first record and from the last record to the range's end counts too.
ReferenceStatistic storedStatistic(const std::vector<StoredStatistic>& stored, const Range& range,
                                   double valueInterval)
{
    ReferenceStatistic statistic;
    const std::vector<StoredStatistic> records = itemsIn(stored, range.start, range.end);
    if (records.empty())
        return statistic;
    StoredStatistic sum = records.front();
    long long between = sum.betweenLimits;
    long long missing = sum.missing;
    long long violation = sum.limitViolation;
    RefTime last = refTime(sum.utc);
    for (size_t index = 1; index < records.size(); ++index) {
        const StoredStatistic& record = records[index];
        const double intervals = refSeconds(refMinus(refTime(record.utc), last)) / kRecordInterval;
        const long long n = static_cast<long long>(intervals + 0.5);
        if (n >= 2 && (record.quality & kClockChanged) == 0)
            missing += static_cast<long long>(static_cast<double>(n - 1) * (kRecordInterval / valueInterval));
        sum.utc = record.utc;
        between += record.betweenLimits;
        missing += record.missing;
        violation += record.limitViolation;
        sum.quality |= record.quality;
        last = refTime(record.utc);
    }
    double lead = refSeconds(refMinus(refTime(sum.utcStart), refOf(range.start))) / valueInterval;
    double trail = refSeconds(refMinus(refOf(range.end), refTime(sum.utc))) / valueInterval;
    lead = lead < 0.0 ? 0.0 : lead;
    trail = trail < 0.0 ? 0.0 : trail;
    const long long extra = static_cast<long long>(lead + trail + 0.5);
    const double all = static_cast<double>(between + violation + missing + extra);
    statistic.utc = refTime(sum.utc);
    statistic.utcStart = refTime(sum.utcStart);
    statistic.quality = sum.quality;
    statistic.betweenLimits = static_cast<double>(between) / all * 100.0;
    statistic.limitViolation = static_cast<double>(violation) / all * 100.0;
    statistic.missing = static_cast<double>(missing + extra) / all * 100.0;
    statistic.between = between;
    statistic.missingCount = missing + extra;
    statistic.violation = violation;
    statistic.maxValues = between + violation + missing + extra;
    return statistic;
}

// --- comparing ----------------------------------------------------------------------------------------

std::string bitsOf(float value)
{
    uint32_t bits = 0;
    std::memcpy(&bits, &value, sizeof(bits));
    char text[64];
    std::snprintf(text, sizeof(text), "%.9g (0x%08x)", static_cast<double>(value), bits);
    return text;
}

// Equal to the bit, or both not a number: the payload of a NaN that arithmetic made is not ours.
bool sameValue(float actual, float expected)
{
    if (std::isnan(expected))
        return std::isnan(actual);
    return std::memcmp(&actual, &expected, sizeof(float)) == 0;
}

bool near(float actual, double expected, double relative)
{
    if (std::isnan(actual) || std::isnan(expected))
        return std::isnan(actual) && std::isnan(expected);
    return std::fabs(static_cast<double>(actual) - expected) <= relative * std::fabs(expected) + 1e-30;
}

std::string timeText(const DataTimespec& time)
{
    return std::to_string(time.tv_sec) + "." + std::to_string(time.tv_nsec);
}

std::string timeText(const RefTime& time)
{
    return std::to_string(time.sec) + "." + std::to_string(time.nsec);
}

bool sameTime(const DataTimespec& actual, const RefTime& expected)
{
    return actual.tv_sec == expected.sec && actual.tv_nsec == expected.nsec;
}

// The aggregated mean values against the records of the grid rules, every field to the bit.
std::string compareAggregation(const Answer& answer, const std::vector<ReferenceRecord>& expected)
{
    const std::string shape = shapeOf<DataMean>(answer);
    if (!shape.empty())
        return shape;
    const std::vector<DataMean> records = itemsOf<DataMean>(answer);
    if (records.size() != expected.size())
        return std::to_string(records.size()) + " records instead of " + std::to_string(expected.size());
    for (size_t index = 0; index < records.size(); ++index) {
        const DataMean& got = records[index];
        const ReferenceRecord& want = expected[index];
        const std::string where =
            "record " + std::to_string(index) + " (bin end " + timeText(want.utc) + "): ";
        if (got.utc.tv_sec != want.utc.tv_sec || got.utc.tv_nsec != want.utc.tv_nsec)
            return where + "utc " + timeText(got.utc);
        if (got.quality != want.quality)
            return where + "quality " + std::to_string(got.quality) + " instead of " +
                   std::to_string(want.quality);
        if (!sameValue(got.min, want.min))
            return where + "min " + bitsOf(got.min) + " instead of " + bitsOf(want.min);
        if (!sameValue(got.max, want.max))
            return where + "max " + bitsOf(got.max) + " instead of " + bitsOf(want.max);
        if (!sameValue(got.mean, want.mean))
            return where + "mean " + bitsOf(got.mean) + " instead of " + bitsOf(want.mean);
    }
    return std::string();
}

// Records read as they were written, byte for byte, with the logger's interval.
template <typename T>
std::string compareStored(const Answer& answer, const std::vector<T>& expected, double interval)
{
    const std::string shape = shapeOf<T>(answer);
    if (!shape.empty())
        return shape;
    if (answer.numItems != static_cast<int>(expected.size()))
        return std::to_string(answer.numItems) + " records instead of " + std::to_string(expected.size());
    const std::vector<T> records = itemsOf<T>(answer);
    for (size_t index = 0; index < records.size(); ++index) {
        if (std::memcmp(&records[index], &expected[index], sizeof(T)) != 0)
            return "record " + std::to_string(index) + " at " + timeText(expected[index].utc) + " differs";
    }
    if (answer.interval != interval)
        return "interval " + std::to_string(answer.interval) + " instead of " + std::to_string(interval);
    return std::string();
}

// Magnitudes of one channel: time and quality of the complex item, orders 0 to 49 within one unit
// in the last place of the reference (the library's hypotenuse need not be correctly rounded),
// order 50 left as a fresh result has it.
std::string compareMagnitudes(const Answer& answer, const std::vector<DataComplexArray>& source,
                              unsigned int channel)
{
    const std::string shape = shapeOf<DataHarmonics>(answer);
    if (!shape.empty())
        return shape;
    if (answer.numItems != static_cast<int>(source.size()))
        return std::to_string(answer.numItems) + " records instead of " + std::to_string(source.size());
    const std::vector<DataHarmonics> records = itemsOf<DataHarmonics>(answer);
    for (size_t index = 0; index < records.size(); ++index) {
        const DataHarmonics& got = records[index];
        const DataComplexArray& item = source[index];
        const std::string where = "record " + std::to_string(index) + " at " + timeText(item.utc) + ": ";
        if (got.utc.tv_sec != item.utc.tv_sec || got.utc.tv_nsec != item.utc.tv_nsec ||
            got.quality != item.quality)
            return where + "time or quality";
        for (int order = 0; order < 50; ++order) {
            const float want =
                referenceMagnitude(item.values[channel * kOrders + static_cast<unsigned int>(order)]);
            const float value = got.values[order];
            const bool agrees = std::isnan(want) ? std::isnan(value) : ulpDistance(value, want) <= 1;
            if (!agrees)
                return where + "order " + std::to_string(order) + " " + bitsOf(value) + " instead of " +
                       bitsOf(want);
        }
        if (got.values[50] != 0.0f)
            return where + "order 50 " + bitsOf(got.values[50]);
    }
    return std::string();
}

// Per cent amplitudes of one channel against the scaling rules applied to the magnitudes that the
// same store gave for the same items (checked against the reference on their own), to the bit.
std::string comparePercent(const Answer& percent, const Answer& magnitudes, unsigned int channel,
                           float maxLoad)
{
    std::string shape = shapeOf<DataHarmonics>(percent);
    if (shape.empty())
        shape = shapeOf<DataHarmonics>(magnitudes);
    if (!shape.empty())
        return shape;
    if (percent.numItems != magnitudes.numItems)
        return std::to_string(percent.numItems) + " records, the magnitudes " +
               std::to_string(magnitudes.numItems);
    const std::vector<DataHarmonics> got = itemsOf<DataHarmonics>(percent);
    const std::vector<DataHarmonics> absolute = itemsOf<DataHarmonics>(magnitudes);
    for (size_t index = 0; index < got.size(); ++index) {
        const std::string where =
            "record " + std::to_string(index) + " at " + timeText(absolute[index].utc) + ": ";
        if (std::memcmp(&got[index].utc, &absolute[index].utc, sizeof(DataTimespec)) != 0 ||
            got[index].quality != absolute[index].quality)
            return where + "time or quality";
        const std::vector<float> want = referencePercent(
            std::vector<float>(absolute[index].values, absolute[index].values + 50), channel, maxLoad);
        for (int order = 0; order < 50; ++order) {
            if (!sameValue(got[index].values[order], want[static_cast<size_t>(order)]))
                return where + "order " + std::to_string(order) + " " + bitsOf(got[index].values[order]) +
                       " instead of " + bitsOf(want[static_cast<size_t>(order)]);
        }
        if (got[index].values[50] != 0.0f)
            return where + "order 50 " + bitsOf(got[index].values[50]);
    }
    if (percent.interval != 0.0)
        return "interval " + std::to_string(percent.interval);
    return std::string();
}

// A merged histogram against the merge rules: time range, quality, limits and counts exactly; the
// per cent to the bit where no missing values were booked, since the merge's precision is fixed
// (double, stored as float after each record). Booking missing values scales every class by
// maxValues / m, whose form is not fixed: there the per cent agree within two units in the last
// place (4.8e-7 relative), which a cumulative sum of non-negative classes carries on (1e-6).
template <int N>
std::string compareHistogram(const Answer& answer, const RefHistogram<N>& reference, bool cumulative)
{
    const std::string shape = shapeOf<DataHistogram<N>>(answer);
    if (!shape.empty())
        return shape;
    if (answer.numItems != 1)
        return std::to_string(answer.numItems) + " records";
    const DataHistogram<N> got = itemsOf<DataHistogram<N>>(answer).front();
    if (!sameTime(got.utc, reference.utc))
        return "utc " + timeText(got.utc) + " instead of " + timeText(reference.utc);
    if (!sameTime(got.utcStart, reference.utcStart))
        return "utcStart " + timeText(got.utcStart) + " instead of " + timeText(reference.utcStart);
    if (got.quality != reference.quality)
        return "quality " + std::to_string(got.quality) + " instead of " + std::to_string(reference.quality);
    if (!sameValue(got.lowerLimit, reference.lowerLimit) || !sameValue(got.upperLimit, reference.upperLimit))
        return "limits " + bitsOf(got.lowerLimit) + ".." + bitsOf(got.upperLimit);
    if (got.totalValues != reference.totalValues)
        return "totalValues " + std::to_string(got.totalValues) + " instead of " +
               std::to_string(reference.totalValues);
    if (got.maxValues != reference.maxValues)
        return "maxValues " + std::to_string(got.maxValues) + " instead of " +
               std::to_string(reference.maxValues);
    if (got.missingValues != reference.missingValues)
        return "missingValues " + std::to_string(got.missingValues) + " instead of " +
               std::to_string(reference.missingValues);
    for (int index = 0; index < N; ++index) {
        const float want = reference.percent[static_cast<size_t>(index)];
        const bool agrees = reference.missingBooked
                                ? near(got.percent[index], want, cumulative ? 1e-6 : 4.8e-7)
                                : sameValue(got.percent[index], want);
        if (!agrees)
            return "class " + std::to_string(index) + " " + bitsOf(got.percent[index]) + " instead of " +
                   bitsOf(want);
    }
    return std::string();
}

// A statistic against its reference: times and quality exactly, each per cent within 1e-6
// relative. The rules fix the counts but not the precision of the division that makes them per
// cent (a float or a double factor); one count more or less moves a per cent by more than 1e-6
// of itself for counts below a million, so the tolerance still tells every count apart.
std::string compareStatistic(const Answer& answer, const ReferenceStatistic& reference)
{
    const std::string shape = shapeOf<Statistic>(answer);
    if (!shape.empty())
        return shape;
    if (answer.numItems != 1)
        return std::to_string(answer.numItems) + " records";
    const Statistic got = itemsOf<Statistic>(answer).front();
    const std::string counts = " (reference counts: between " + std::to_string(reference.between) +
                               ", missing " + std::to_string(reference.missingCount) + ", violation " +
                               std::to_string(reference.violation) + " of " +
                               std::to_string(reference.maxValues) + ")";
    if (!sameTime(got.utc, reference.utc))
        return "utc " + timeText(got.utc) + " instead of " + timeText(reference.utc);
    if (!sameTime(got.utcStart, reference.utcStart))
        return "utcStart " + timeText(got.utcStart) + " instead of " + timeText(reference.utcStart);
    if (got.quality != reference.quality)
        return "quality " + std::to_string(got.quality) + " instead of " + std::to_string(reference.quality);
    const std::pair<const char*, std::pair<float, double>> fields[] = {
        {"betweenLimits", {got.betweenLimits, reference.betweenLimits}},
        {"missing", {got.missing, reference.missing}},
        {"limitViolation", {got.limitViolation, reference.limitViolation}}};
    for (const auto& field : fields) {
        if (!near(field.second.first, field.second.second, 1e-6)) {
            std::ostringstream text;
            text.precision(10);
            text << field.first << " " << field.second.first << " instead of " << field.second.second
                 << counts;
            return text.str();
        }
    }
    return std::string();
}

void requireAgreement(const Answers& answers, const std::string& name,
                      const std::function<std::string(const Answer&)>& compare)
{
    const auto found = answers.find(name);
    if (found == answers.end()) {
        ADD_FAILURE() << name << ": the reader gave no answer";
        return;
    }
    const std::string problem = compare(found->second);
    EXPECT_EQ(problem, "") << name;
}

} // namespace

// --- the children ----------------------------------------------------------------------------------

// Brings the writer up on the parent's store, writes the week through the typed loggers period by
// period as a host does, prints "written means=<offered> files=<f>", and stops its loggers when the
// parent closes its standard input.
TEST(ComputedValuesChild, WritesAWeekOfEveryKind)
{
    if (!ChildTestProcess::isChild())
        GTEST_SKIP() << "runs only as the child of ComputedValuesProcessTest";
    ASSERT_TRUE(LogCapture::install());
    const int32_t start = weekStart();
    ASSERT_GT(start, 0);
    ReaderStore store;
    ASSERT_TRUE(store.startAsWriter()) << LoggerDb::getInstance().getLastError().toStdString();
    const Week week = generateWeek(start);

    WeekLogger<DataMean> means(LoggerDataType::MEAN, kMeanId, kMeanInterval, kPeriod);
    WeekLogger<DataHarmonics> voltage(LoggerDataType::HARMONICS, kAmplitudesU2Id, kRecordInterval, 6);
    WeekLogger<DataHarmonics> current(LoggerDataType::HARMONICS, kMagnitudesI1Id, kRecordInterval, 6);
    WeekLogger<DataComplexArray> complexValues(LoggerDataType::COMPLEX, kComplexId, kRecordInterval, 6);
    WeekLogger<FrequencyHistogram> frequency(LoggerDataType::HISTOGRAM, kFrequencyId, kFrequencyValueSeconds,
                                             6);
    WeekLogger<SignallingHistogram> signalling(LoggerDataType::HISTOGRAM, kSignallingId,
                                               kSignallingValueSeconds, 6);
    WeekLogger<StoredStatistic> statistics(LoggerDataType::STATISTIC, kStatisticId, kRecordInterval, 6);
    LoggerBase* const loggers[] = {&means,     &voltage,    &current,   &complexValues,
                                   &frequency, &signalling, &statistics};
    // The maximum load goes into the headers of the complex logger's files, from its first on.
    complexValues.setHeaderParameters(kMaxLoad, kCurrentScale);
    for (LoggerBase* logger : loggers) {
        ASSERT_TRUE(logger->startLogger()) << logger->getLoggerName().toStdString();
        ASSERT_EQ(logger->getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED)
            << logger->getLoggerName().toStdString() << "\n"
            << LogCapture::text().toStdString();
    }
    complexValues.setHeaderParameters(kMaxLoad, kCurrentScale);

    QElapsedTimer clock;
    clock.start();
    size_t nextMean = 0, nextVoltage = 0, nextCurrent = 0, nextComplex = 0, nextFrequency = 0,
           nextSignalling = 0, nextStatistic = 0;
    for (int period = 0; period < kPeriods; ++period) {
        const DataTimespec until = periodEnd(start, period);
        ASSERT_TRUE(means.writeUntil(week.offeredMeans, nextMean, until)) << "period " << period;
        ASSERT_TRUE(voltage.writeUntil(week.voltageAmplitudes, nextVoltage, until));
        ASSERT_TRUE(current.writeUntil(week.currentMagnitudes, nextCurrent, until));
        ASSERT_TRUE(complexValues.writeUntil(week.complexValues, nextComplex, until));
        ASSERT_TRUE(frequency.writeUntil(week.frequency, nextFrequency, until));
        ASSERT_TRUE(signalling.writeUntil(week.signalling, nextSignalling, until));
        ASSERT_TRUE(statistics.writeUntil(week.statistics, nextStatistic, until));
    }
    ASSERT_EQ(nextMean, week.offeredMeans.size());
    ASSERT_EQ(nextStatistic, week.statistics.size());
    int files = 0;
    for (LoggerBase* logger : loggers) {
        ASSERT_TRUE(logger->flush()) << logger->getLoggerName().toStdString();
        // Readers order the files by the ranges that the catalogue holds.
        ASSERT_TRUE(logger->updateAccess()) << logger->getLoggerName().toStdString();
        files += logger->getFileListSize();
    }
    ChildTestProcess::watchForStop();
    std::cout << "written means=" << nextMean << " files=" << files << " ms=" << clock.elapsed() << std::endl;

    EXPECT_TRUE(waitUntil([] { return ChildTestProcess::stopRequested(); }, kWriterLifetimeMs))
        << "not stopped within " << kWriterLifetimeMs << " ms";
    for (LoggerBase* logger : loggers)
        logger->stopLogger();
}

// Reads the computed values of the week from the store of the writer, the group that
// QZLOGGER_COMPUTED_VALUES_GROUP names, and writes every answer into the file that
// QZLOGGER_COMPUTED_VALUES_ANSWERS names; prints "read answers=<n> ms=<t>".
TEST(ComputedValuesChild, ReadsTheComputedValues)
{
    if (!ChildTestProcess::isChild())
        GTEST_SKIP() << "runs only as the child of ComputedValuesProcessTest";
    ASSERT_TRUE(LogCapture::install());
    const int32_t start = weekStart();
    ASSERT_GT(start, 0);
    const QString answersFile = qEnvironmentVariable(kAnswersVariable);
    ASSERT_FALSE(answersFile.isEmpty());
    const QString group = qEnvironmentVariable(kGroupVariable);
    ReaderStore store;
    ASSERT_TRUE(store.start()) << LoggerDb::getInstance().getLastError().toStdString();
    ASSERT_TRUE(LoggerDb::getInstance().checkValidity())
        << LoggerDb::getInstance().getLastError().toStdString();
    LoggerApi api;
    QElapsedTimer clock;
    clock.start();
    LoggerApiInterface::getLastError();

    const Range week = weekRange(start);
    const Range day = dayRange(start);
    const Range part = partRange(start);
    // The getter takes orders and limits as arrays of its caller.
    int orders[kStatisticCount];
    float limits[kStatisticCount];
    std::copy(std::begin(kStatisticOrders), std::end(kStatisticOrders), orders);
    std::copy(std::begin(kStatisticLimits), std::end(kStatisticLimits), limits);
    Answers answers;
    const auto histograms = [&](const Range& range) {
        for (const bool cumulative : {false, true}) {
            const char* suffix = cumulative ? "/cumulative" : "";
            answers[rangeName("frequency", range, suffix)] =
                answerOf(api.getFrequencyHistogram(kFrequencyId, range.start, range.end, cumulative));
            answers[rangeName("signalling", range, suffix)] =
                answerOf(api.getMainsSignallingHistogram(kSignallingId, range.start, range.end, cumulative));
        }
    };
    const auto complexChannel = [&](const Channel& channel, const Range& range) {
        const QString id = QString::fromLatin1(channel.id);
        answers[rangeName("percent", range, (std::string("/") + channel.name).c_str())] =
            answerOf(api.getHarmonics(id, range.start, range.end, true, LoggerApiInterface::CONNECTION_ANY));
        answers[rangeName("magnitudes", range, (std::string("/") + channel.name).c_str())] =
            answerOf(api.getHarmonicsAbsolute(id, range.start, range.end));
    };

    if (group == QLatin1String(kValuesGroup)) {
        for (const Range& range : {week, part}) {
            for (const int interval : {600, 7200}) {
                answers[rangeName("aggregated", range, ("/" + std::to_string(interval)).c_str())] =
                    answerOf(api.getAggregatedMeanValues(kMeanId, range.start, range.end, interval, -1));
            }
            answers[rangeName("stored", range, "/u2")] = answerOf(api.getHarmonics(
                kAmplitudesU2Id, range.start, range.end, false, LoggerApiInterface::CONNECTION_ANY));
        }
        // An array of 51 orders is read as stored also where magnitudes are asked for.
        answers[rangeName("stored", week, "/i1")] =
            answerOf(api.getHarmonicsAbsolute(kMagnitudesI1Id, week.start, week.end));
        for (const Channel& channel : kChannelsRead)
            complexChannel(channel, week);
        histograms(day);
        histograms(week);
    } else if (group == QLatin1String(kStatisticsGroup)) {
        for (const Range& range : {week, part}) {
            answers[rangeName("statistic/mean", range)] =
                answerOf(api.getMeanStatistic(kMeanId, range.start, range.end, kMeanLimits.nominal,
                                              kMeanLimits.lowerPercent, kMeanLimits.upperPercent));
            answers[rangeName("statistic/harmonics", range)] = answerOf(api.getHarmonicsStatistic(
                kAmplitudesU2Id, range.start, range.end, orders, limits, kStatisticCount, false));
            answers[rangeName("statistic/complex", range)] =
                answerOf(api.getHarmonicsStatistic(QString::fromLatin1(kChannelsRead[0].id), range.start,
                                                   range.end, orders, limits, kStatisticCount, true));
            answers[rangeName("statistic/stored", range)] = answerOf(api.calculateStatistic(
                kStatisticId, range.start, range.end, static_cast<int>(kMeanInterval)));
            complexChannel(kChannelsRead[0], range);
        }
        for (const Range& range : {day, week}) {
            answers[rangeName("statistic/frequency", range)] = answerOf(
                api.getFrequencyStatistic(kFrequencyId, range.start, range.end, kFrequencyLimits.nominal,
                                          kFrequencyLimits.lowerPercent, kFrequencyLimits.upperPercent));
            answers[rangeName("statistic/signalling", range)] = answerOf(api.getMainsSignallingStatistic(
                kSignallingId, range.start, range.end, kSignallingLimits.nominal,
                kSignallingLimits.lowerPercent, kSignallingLimits.upperPercent));
            histograms(range);
        }
        answers[rangeName("records", week)] =
            answerOf(api.getStatisticValues(kStatisticId, week.start, week.end));
    }
    ASSERT_FALSE(answers.empty()) << "no group " << group.toStdString();
    ASSERT_TRUE(saveAnswers(answersFile, answers));
    std::cout << "read answers=" << answers.size() << " ms=" << clock.elapsed() << std::endl;
}

// --- the store ---------------------------------------------------------------------------------------

class ComputedValuesProcessTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(LogCapture::install());
        ASSERT_TRUE(mAnswersDirectory.isValid());
        ASSERT_TRUE(mStore.start()) << mStore.errorString().toStdString();
        // Both writer and reader are children; this process holds no writer's lock.
        LoggerDb::getInstance().close();
        mStore.handOver();
        // The first midnight an hour or more ahead: the typed path takes only items later than the
        // time its logger was initialized at.
        const int64_t now = LoggerBase::getSystemTime().tv_sec;
        mWeekStart = static_cast<int32_t>(((now + 3600) / kDay + 1) * kDay);
    }

    std::unique_ptr<ChildTestProcess> child(const QString& test, const char* group)
    {
        auto process = std::make_unique<ChildTestProcess>(test);
        mStore.exportTo(*process);
        process->setVariable(QString::fromLatin1(kWeekStartVariable), QString::number(mWeekStart));
        process->setVariable(QString::fromLatin1(kAnswersVariable), answersFile());
        process->setVariable(QString::fromLatin1(kGroupVariable), QString::fromLatin1(group));
        return process;
    }

    QString answersFile() const { return mAnswersDirectory.filePath(QStringLiteral("answers")); }

    // Starts the writer, waits until it has written the week, runs the reader of the group to its
    // end, stops the writer and gives the reader's answers; the week as the parent generates it
    // goes to mWeek meanwhile.
    Answers writeAndRead(const char* group)
    {
        QElapsedTimer clock;
        clock.start();
        auto writer = child(QStringLiteral("ComputedValuesChild.WritesAWeekOfEveryKind"), group);
        // Nobody reads the writer's pipe while the reader runs.
        writer->sendStandardErrorToFile();
        EXPECT_TRUE(writer->start());
        mWeek = generateWeek(mWeekStart);
        const QByteArray written = writer->waitForLine("written ", kWriteDeadlineMs);
        EXPECT_FALSE(written.isEmpty()) << writer->report().toStdString();
        if (written.isEmpty())
            return Answers();
        std::cout << "writer: " << written.toStdString() << " (" << clock.elapsed() << " ms from start)"
                  << std::endl;
        EXPECT_EQ(field(written, "means").toULongLong(), mWeek.offeredMeans.size());

        auto reader = child(QStringLiteral("ComputedValuesChild.ReadsTheComputedValues"), group);
        EXPECT_TRUE(reader->run(kReadDeadlineMs)) << reader->report().toStdString();
        EXPECT_TRUE(reader->passed()) << reader->report().toStdString();
        for (const QByteArray& line : reader->standardOutput().split('\n')) {
            if (line.startsWith("read "))
                std::cout << "reader: " << line.toStdString() << std::endl;
        }
        EXPECT_TRUE(writer->waitForFinished(60000)) << writer->report().toStdString();
        EXPECT_TRUE(writer->passed()) << writer->report().toStdString();
        return loadAnswers(answersFile());
    }

    QTemporaryDir mAnswersDirectory;
    WriterStore mStore;
    int32_t mWeekStart = 0;
    Week mWeek;
};

TEST_F(ComputedValuesProcessTest, AggregatesAmplitudesAndMergedHistogramsOfAWeekEqualTheReference)
{
    const Answers answers = writeAndRead(kValuesGroup);
    ASSERT_FALSE(answers.empty());
    const Range week = weekRange(mWeekStart);
    const Range day = dayRange(mWeekStart);
    const Range part = partRange(mWeekStart);

    // The week reaches the corners of the rules: repeats dropped, values that are not numbers,
    // bins without values and bins with fewer values than expected.
    EXPECT_EQ(mWeek.offeredMeans.size() - mWeek.storedMeans.size(), 12u);
    int incomplete = 0;
    int emptyBins = 0;
    for (const Range& range : {week, part}) {
        for (const int interval : {600, 7200}) {
            const std::vector<DataMean> items = itemsIn(mWeek.storedMeans, range.start, range.end);
            const std::vector<ReferenceRecord> expected = referenceAggregation(
                items, kMeanInterval, range.start, interval, nullptr, nullptr, &emptyBins);
            for (const ReferenceRecord& record : expected)
                incomplete += record.quality != 0 ? 1 : 0;
            requireAgreement(answers,
                             rangeName("aggregated", range, ("/" + std::to_string(interval)).c_str()),
                             [&](const Answer& answer) { return compareAggregation(answer, expected); });
        }
        requireAgreement(answers, rangeName("stored", range, "/u2"), [&](const Answer& answer) {
            return compareStored(answer, itemsIn(mWeek.voltageAmplitudes, range.start, range.end),
                                 kRecordInterval);
        });
    }
    EXPECT_GT(incomplete, 10);
    EXPECT_GT(emptyBins, 0);
    requireAgreement(answers, rangeName("stored", week, "/i1"), [&](const Answer& answer) {
        return compareStored(answer, mWeek.currentMagnitudes, kRecordInterval);
    });

    for (const Channel& channel : kChannelsRead) {
        const std::string suffix = std::string("/") + channel.name;
        requireAgreement(answers, rangeName("magnitudes", week, suffix.c_str()), [&](const Answer& answer) {
            return compareMagnitudes(answer, mWeek.complexValues, channel.index);
        });
        const auto magnitudes = answers.find(rangeName("magnitudes", week, suffix.c_str()));
        ASSERT_NE(magnitudes, answers.end());
        requireAgreement(answers, rangeName("percent", week, suffix.c_str()), [&](const Answer& answer) {
            return comparePercent(answer, magnitudes->second, channel.index, kMaxLoad);
        });
    }

    for (const Range& range : {day, week}) {
        for (const bool cumulative : {false, true}) {
            const char* suffix = cumulative ? "/cumulative" : "";
            const RefHistogram<2650> frequency = refMerge<2650>(
                mWeek.frequency, refOf(range.start), refOf(range.end), kFrequencyValueSeconds, cumulative);
            EXPECT_TRUE(frequency.missingBooked);
            requireAgreement(answers, rangeName("frequency", range, suffix), [&](const Answer& answer) {
                return compareHistogram<2650>(answer, frequency, cumulative);
            });
            const RefHistogram<200> signalling = refMerge<200>(
                mWeek.signalling, refOf(range.start), refOf(range.end), kSignallingValueSeconds, cumulative);
            requireAgreement(answers, rangeName("signalling", range, suffix), [&](const Answer& answer) {
                return compareHistogram<200>(answer, signalling, cumulative);
            });
        }
    }
}

TEST_F(ComputedValuesProcessTest, StatisticsOfAWeekEqualTheReference)
{
    const Answers answers = writeAndRead(kStatisticsGroup);
    ASSERT_FALSE(answers.empty());
    const Range week = weekRange(mWeekStart);
    const Range day = dayRange(mWeekStart);
    const Range part = partRange(mWeekStart);

    // No mean value lies on a limit: 110 / 100 x 230 in double precision is a little above 253, so
    // whether a value of 253 lies between the limits would hang on the order of the operations.
    for (const DataMean& item : mWeek.storedMeans) {
        ASSERT_NE(item.mean, 207.0f) << item.utc.tv_sec;
        ASSERT_NE(item.mean, 253.0f) << item.utc.tv_sec;
    }
    for (const Range& range : {week, part}) {
        const ReferenceStatistic mean = meanStatistic(mWeek.storedMeans, range);
        // Every counter of the rules is reached.
        EXPECT_GT(mean.violation, 0);
        EXPECT_GT(mean.missingCount, 0);
        requireAgreement(answers, rangeName("statistic/mean", range),
                         [&](const Answer& answer) { return compareStatistic(answer, mean); });

        const ReferenceStatistic harmonics = harmonicsStatistic(mWeek.voltageAmplitudes, range);
        EXPECT_GT(harmonics.violation, 0);
        requireAgreement(answers, rangeName("statistic/harmonics", range),
                         [&](const Answer& answer) { return compareStatistic(answer, harmonics); });

        // From the per cent amplitudes of the channel, as the same store gave them for the range and
        // as the other test compares them with the reference.
        const auto percent = answers.find(rangeName("percent", range, "/u1"));
        const auto magnitudes = answers.find(rangeName("magnitudes", range, "/u1"));
        ASSERT_NE(percent, answers.end());
        ASSERT_NE(magnitudes, answers.end());
        ASSERT_EQ(
            compareMagnitudes(magnitudes->second, itemsIn(mWeek.complexValues, range.start, range.end), 0),
            "");
        ASSERT_EQ(comparePercent(percent->second, magnitudes->second, 0, kMaxLoad), "");
        const ReferenceStatistic fromComplex =
            harmonicsStatistic(itemsOf<DataHarmonics>(percent->second), range);
        requireAgreement(answers, rangeName("statistic/complex", range),
                         [&](const Answer& answer) { return compareStatistic(answer, fromComplex); });

        const ReferenceStatistic stored = storedStatistic(mWeek.statistics, range, kMeanInterval);
        requireAgreement(answers, rangeName("statistic/stored", range),
                         [&](const Answer& answer) { return compareStatistic(answer, stored); });
    }

    for (const Range& range : {day, week}) {
        // From the merged histogram of the range, as the same store gave it and as the other test
        // compares it with the merge rules.
        const auto frequency = answers.find(rangeName("frequency", range));
        ASSERT_NE(frequency, answers.end());
        ASSERT_EQ(shapeOf<FrequencyHistogram>(frequency->second), "");
        const ReferenceStatistic fromFrequency = histogramStatistic<2650>(
            itemsOf<FrequencyHistogram>(frequency->second).front(), kFrequencyLimits);
        EXPECT_GT(fromFrequency.violation, 0);
        EXPECT_GT(fromFrequency.between, 0);
        requireAgreement(answers, rangeName("statistic/frequency", range),
                         [&](const Answer& answer) { return compareStatistic(answer, fromFrequency); });

        const auto signalling = answers.find(rangeName("signalling", range));
        ASSERT_NE(signalling, answers.end());
        ASSERT_EQ(shapeOf<SignallingHistogram>(signalling->second), "");
        const ReferenceStatistic fromSignalling = histogramStatistic<200>(
            itemsOf<SignallingHistogram>(signalling->second).front(), kSignallingLimits);
        EXPECT_GT(fromSignalling.violation, 0);
        EXPECT_GT(fromSignalling.between, 0);
        requireAgreement(answers, rangeName("statistic/signalling", range),
                         [&](const Answer& answer) { return compareStatistic(answer, fromSignalling); });
    }

    requireAgreement(answers, rangeName("records", week), [&](const Answer& answer) {
        return compareStored(answer, mWeek.statistics, kRecordInterval);
    });
}
