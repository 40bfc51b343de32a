// What the read API computes from items, against plain loops over the same arrays and next to the
// read of those items, in one run on the same card:
//
// - one day of 1-second mean values (86,400 DataMean items) aggregated to 144 ten-minute bins by
//   LoggerAggregator, as getAggregatedMeanValues does it (a fresh aggregator, in place), against
//   a loop that computes the same bins in one pass;
// - one week of 10-minute complex harmonics (1008 DataComplexArray records) turned into
//   amplitudes by LoggerApi::calculateAmplitude: all 7 channels in per cent as getHarmonics gives
//   them and absolute, and the one channel in per cent that one getHarmonics call computes,
//   against a loop of square roots of the same squares;
// - the read of those items through LoggerApi: getMeanValues of the day and getComplexArray of
//   the week, from loggers written through the writer's path when the program starts.
//
// The items that the computations work on are the ones read back from the store. Before anything
// is timed, each plain loop is checked once against the library to the bit; a pair that differs
// ends both of its runs with an error. The library's aggregation works in place, so each of its
// iterations gets a fresh copy of the day, made while the timer is paused.
//
// A successful read by time pauses 50 ms on purpose after it has read; that pause is timed apart
// and left out of the read time. A read that ended in the 200 ms pause of a failed lookup ends
// the run with an error.
//
// The ratios at the end are taken from CPU time: library / plain loop, and computation / read.
//
// QZLOGGER_SDCARD_SIMULATOR names the simulator; without it the one built alongside is used.

#include "BenchSupport.h"
#include "LoggerAggregator.h"
#include "LoggerApi.h"
#include "LoggerDataItems.h"
#include "LoggerDb.h"
#include "LoggerHeader.h"
#include "LoggerResult.h"
#include "LoggerTestSeams.h"
#include "TestLogger.h"
#include "WriterStore.h"

#include <QCoreApplication>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <complex>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

using Complex = std::complex<float>;
using Clock = std::chrono::steady_clock;

constexpr int32_t kMidnight = 1767225600; // 2026-01-01 00:00:00 UTC
constexpr int kDay = 86400;
constexpr int kTenMinutes = 600;
constexpr int kDayItems = kDay;                      // one mean value a second
constexpr int kDayBins = kDay / kTenMinutes;         // 144
constexpr int kWeekRecords = 7 * kDay / kTenMinutes; // 1008
constexpr int kOrders = 51;
constexpr int kComputedOrders = 50; // order 50 is never computed from the complex values
constexpr int kChannels = 7;        // u1, u2, u3, i1, i2, i3, in
constexpr int kFirstCurrentChannel = 3;
constexpr float kMaxLoad = 40.0f;                 // maximum load current in the headers of the complex files
constexpr unsigned long kFailedLookupPause = 200; // ms before a failed lookup answers null
constexpr unsigned long kReadPause = 50;          // ms after a read by time that found files
constexpr int kReadsPerRun = 10;                  // each read rests 50 ms: a fixed count keeps the run short
constexpr double kComputationSeconds = 0.2;       // timed per run of a computation

const QString kMeanId = QStringLiteral("aggr.mean_1s.bench_computed.u1");
const QString kComplexId = QStringLiteral("aggr.mean_10min.harm_complex.values_0");

timespec at(int64_t seconds)
{
    timespec time{};
    time.tv_sec = static_cast<time_t>(seconds);
    return time;
}

const timespec kDayStart = at(kMidnight);
const timespec kDayEnd = at(kMidnight + kDay);
const timespec kWeekEnd = at(kMidnight + 7 * kDay);

// A day of means around 230 V: each stamped at the end of its second, so that a ten-minute bin
// holds 600 of them, with a slow swing, some noise and a spread of minimum and maximum.
std::vector<DataMean> meanDay()
{
    std::mt19937 random(20260101u);
    std::normal_distribution<float> noise(0.0f, 0.4f);
    std::uniform_real_distribution<float> spread(0.05f, 1.5f);
    std::vector<DataMean> items(kDayItems);
    for (int index = 0; index < kDayItems; ++index) {
        DataMean& item = items[static_cast<size_t>(index)];
        const float mean =
            230.0f + 3.0f * std::sin(static_cast<float>(index) * 6.2831853f / kDay) + noise(random);
        item.utc = DataTimespec{kMidnight + 1 + index, 0};
        item.quality = 0;
        item.min = mean - spread(random);
        item.mean = mean;
        item.max = mean + spread(random);
    }
    return items;
}

// A week of complex harmonics every ten minutes: voltages of 230 V and currents of about 20 A
// on order 1, the other orders a few per cent of that and falling with the order, each at a
// phase of its own.
std::vector<DataComplexArray> complexWeek()
{
    std::mt19937 random(20260105u);
    std::uniform_real_distribution<float> phase(-3.14159265f, 3.14159265f);
    std::uniform_real_distribution<float> share(0.0f, 0.05f);
    std::vector<DataComplexArray> records(kWeekRecords);
    for (int index = 0; index < kWeekRecords; ++index) {
        DataComplexArray& record = records[static_cast<size_t>(index)];
        record = DataComplexArray{};
        record.utc = DataTimespec{kMidnight + kTenMinutes * (index + 1), 0};
        record.quality = static_cast<uint32_t>(index);
        for (int channel = 0; channel < kChannels; ++channel) {
            const float fundamental = channel < kFirstCurrentChannel ? 230.0f : 20.0f;
            for (int order = 0; order < kOrders; ++order) {
                const float magnitude =
                    order == 1 ? fundamental * (1.0f + share(random))
                               : fundamental * share(random) / static_cast<float>(order == 0 ? 4 : order);
                record.values[channel * kOrders + order] = std::polar(magnitude, phase(random));
            }
        }
    }
    return records;
}

// --- the plain loops -----------------------------------------------------------------------------

// The end of the ten-minute bin that holds a time: the next whole ten minutes of UTC seconds, or
// the time itself where it lies on one, as a mean value is stamped at the end of the time it covers.
int32_t binEndOf(const DataTimespec& utc)
{
    const int32_t rest = utc.tv_sec % kTenMinutes;
    if (rest == 0 && utc.tv_nsec == 0)
        return utc.tv_sec;
    return utc.tv_sec - rest + kTenMinutes;
}

// The ten-minute records of time-ordered 1-second means in one pass: the bin's end, minimum and
// maximum of the items' own, the mean as a double sum over the count, and the mark of a bin with
// fewer than 600 values. The number of records written.
int plainTenMinuteBins(const DataMean* items, int count, DataMean* bins)
{
    int written = 0;
    int index = 0;
    while (index < count) {
        const int32_t end = binEndOf(items[index].utc);
        float min = items[index].min;
        float max = items[index].max;
        double sum = 0.0;
        int values = 0;
        for (; index < count; ++index) {
            const DataMean& item = items[index];
            if (item.utc.tv_sec > end || (item.utc.tv_sec == end && item.utc.tv_nsec > 0))
                break;
            if (item.min < min)
                min = item.min;
            if (item.max > max)
                max = item.max;
            sum += item.mean;
            ++values;
        }
        DataMean& bin = bins[written++];
        bin.utc = DataTimespec{end, 0};
        bin.quality = values < kTenMinutes ? LoggerAggregator::kQualityIncomplete : 0u;
        bin.min = min;
        bin.mean = static_cast<float>(sum / values);
        bin.max = max;
    }
    return written;
}

// The amplitudes of one channel of a complex record: the square root of the sum of the squares,
// taken in double so that it rounds as the C library's hypotenuse does for finite parts, then in
// per cent of the fundamental (voltages) or of the maximum load (currents), the quotient in
// single precision and the per cent in double. Order 50 stays as target has it.
void plainAmplitudes(const DataComplexArray& source, DataHarmonics& target, int channel, float maxLoad,
                     bool percent)
{
    target.utc = source.utc;
    target.quality = source.quality;
    const Complex* values = source.values + channel * kOrders;
    float magnitudes[kComputedOrders];
    for (int order = 0; order < kComputedOrders; ++order) {
        const double re = values[order].real();
        const double im = values[order].imag();
        magnitudes[order] = static_cast<float>(std::sqrt(re * re + im * im));
    }
    if (!percent) {
        std::memcpy(target.values, magnitudes, sizeof(magnitudes));
        return;
    }
    const bool byFundamental = channel < kFirstCurrentChannel || maxLoad == 0.0f;
    const float fundamental = magnitudes[1] == 0.0f ? 1.0f : magnitudes[1];
    for (int order = 0; order < kComputedOrders; ++order) {
        const float divisor = !byFundamental ? maxLoad : order == 0 ? 1.0f : fundamental;
        target.values[order] = static_cast<float>(magnitudes[order] / divisor * 100.0);
    }
}

// --- the library ---------------------------------------------------------------------------------

// A result of the day as a read gives it: its own array and the logger's interval.
PtrLoggerResultMean freshDay(const std::vector<DataMean>& day)
{
    PtrLoggerResultMean result = LoggerResult<DataMean>::create(static_cast<int>(day.size()));
    std::memcpy(result->mItems, day.data(), day.size() * sizeof(DataMean));
    result->mInterval = 1.0;
    return result;
}

// As getAggregatedMeanValues does it after its read: a fresh aggregator, the result in place.
void libraryTenMinuteBins(const PtrLoggerResultMean& result)
{
    LoggerAggregator aggregator(0);
    aggregator.aggregateMeanValues(result, kDayStart, kTenMinutes);
}

// The amplitudes of the first `channels` channels of every record, channel after channel within a
// record; those of channel c of record r go to out[r * 7 + c].
void libraryAmplitudes(LoggerApi& api, std::vector<DataComplexArray>& week, std::vector<DataHarmonics>& out,
                       float maxLoad, bool percent, int channels)
{
    for (size_t record = 0; record < week.size(); ++record)
        for (int channel = 0; channel < channels; ++channel)
            api.calculateAmplitude(week[record], out[record * kChannels + static_cast<size_t>(channel)],
                                   static_cast<unsigned int>(channel), maxLoad, percent);
}

void plainAmplitudesOfWeek(const std::vector<DataComplexArray>& week, std::vector<DataHarmonics>& out,
                           float maxLoad, bool percent, int channels)
{
    for (size_t record = 0; record < week.size(); ++record)
        for (int channel = 0; channel < channels; ++channel)
            plainAmplitudes(week[record], out[record * kChannels + static_cast<size_t>(channel)], channel,
                            maxLoad, percent);
}

// --- the store -----------------------------------------------------------------------------------

// The pauses of the read API as they happen, with the moment the last one began.
struct PauseLog {
    std::vector<unsigned long> pauses;
    Clock::time_point lastBegan;
};
PauseLog gPauses;

template <typename T> bool sameRecords(const T* a, const T* b, size_t count)
{
    return std::memcmp(a, b, count * sizeof(T)) == 0;
}

// The store with the two loggers written through the writer's path, the items read back once
// through LoggerApi, and the two pairs checked against each other.
struct BenchStore {
    WriterStore store;
    std::unique_ptr<TestLogger> meanLogger;
    std::unique_ptr<TestLogger> complexLogger;
    std::vector<DataMean> day;          // as read back
    std::vector<DataComplexArray> week; // as read back
    float maxLoad = 0.0f;               // Parameter1 of the complex read's header
    int meanFiles = 0;
    int complexFiles = 0;
    bool started = false;
    bool aggregationAgrees = false;
    bool absoluteAgrees = false;
    bool percentAgrees = false;
    std::string error;

    BenchStore()
    {
        if (!store.start()) {
            error = store.errorString().toStdString();
            return;
        }
        const std::vector<DataMean> writtenDay = meanDay();
        const std::vector<DataComplexArray> writtenWeek = complexWeek();
        meanLogger = startLogger(kMeanId, LoggerDataType::MEAN, sizeof(DataMean));
        complexLogger = startLogger(kComplexId, LoggerDataType::COMPLEX, sizeof(DataComplexArray));
        if (meanLogger == nullptr || complexLogger == nullptr || !write(*meanLogger, writtenDay, 3600) ||
            !write(*complexLogger, writtenWeek, kDayBins))
            return;
        if (!readBack(writtenDay, writtenWeek))
            return;
        check();
        started = true;
    }

    ~BenchStore()
    {
        for (TestLogger* logger : {meanLogger.get(), complexLogger.get()})
            if (logger != nullptr)
                logger->stopLogger();
    }

    std::unique_ptr<TestLogger> startLogger(const QString& id, LoggerDataType dataType, int blockSize)
    {
        auto logger = std::make_unique<TestLogger>(id, blockSize, LoggerType::CYCLIC, dataType);
        // The complex files carry the maximum load current as their first scale.
        logger->setHeaderParameters(kMaxLoad, 0.25f);
        if (!logger->startLogger()) {
            error = "logger " + id.toStdString() +
                    " did not start: " + LoggerDb::getInstance().getLastError().toStdString();
            return nullptr;
        }
        logger->setHeaderParameters(kMaxLoad, 0.25f);
        return logger;
    }

    template <typename T> bool write(TestLogger& logger, const std::vector<T>& items, int perBlock)
    {
        for (size_t offset = 0; offset < items.size(); offset += static_cast<size_t>(perBlock)) {
            const int count =
                static_cast<int>(std::min(items.size() - offset, static_cast<size_t>(perBlock)));
            if (logger.writeDatas(reinterpret_cast<const char*>(items.data() + offset), count, true, true) ==
                nullptr) {
                error = "the write of " + logger.getConfiguratedMeasuredTypeId().toStdString() + " failed";
                return false;
            }
        }
        if (!logger.updateAccess()) {
            error = "the catalogue of " + logger.getConfiguratedMeasuredTypeId().toStdString() +
                    " was not brought up to date";
            return false;
        }
        return true;
    }

    // Each read once through LoggerApi: every item as written, and one pause, the one after a
    // read by time.
    bool readBack(const std::vector<DataMean>& writtenDay, const std::vector<DataComplexArray>& writtenWeek)
    {
        LoggerApi api;
        gPauses.pauses.clear();
        const PtrLoggerResultMean means = api.getMeanValues(kMeanId, kDayStart, kDayEnd);
        if (means == nullptr || means->mNumItems != kDayItems ||
            !sameRecords(means->mItems, writtenDay.data(), writtenDay.size())) {
            error = "getMeanValues did not give the day as written";
            return false;
        }
        if (gPauses.pauses != std::vector<unsigned long>{kReadPause}) {
            error = "getMeanValues did not pause once for 50 ms";
            return false;
        }
        day.assign(means->mItems, means->mItems + means->mNumItems);

        gPauses.pauses.clear();
        LoggerHeader header{};
        const PtrLoggerResultComplexArray complexValues =
            api.getComplexArrayWithHeader(kComplexId, kDayStart, kWeekEnd, header);
        if (complexValues == nullptr || complexValues->mNumItems != kWeekRecords ||
            !sameRecords(complexValues->mItems, writtenWeek.data(), writtenWeek.size())) {
            error = "getComplexArray did not give the week as written";
            return false;
        }
        if (gPauses.pauses != std::vector<unsigned long>{kReadPause}) {
            error = "getComplexArray did not pause once for 50 ms";
            return false;
        }
        week.assign(complexValues->mItems, complexValues->mItems + complexValues->mNumItems);
        maxLoad = header.Parameter1;
        if (maxLoad != kMaxLoad) {
            error = "the complex files do not carry the maximum load current";
            return false;
        }

        meanFiles = fileCount(api, LoggerDataType::MEAN, kMeanId);
        complexFiles = fileCount(api, LoggerDataType::COMPLEX, kComplexId);
        return true;
    }

    static int fileCount(LoggerApi& api, LoggerDataType dataType, const QString& id)
    {
        const auto type =
            api.readBaseType(LoggerType::CYCLIC, api.getBaseTypeId(LoggerType::CYCLIC, dataType, id));
        return type == nullptr ? 0 : type->getFileListSize();
    }

    // Library and plain loop once on the same items, compared to the bit.
    void check()
    {
        const PtrLoggerResultMean library = freshDay(day);
        libraryTenMinuteBins(library);
        std::vector<DataMean> plain(kDayBins);
        const int bins = plainTenMinuteBins(day.data(), kDayItems, plain.data());
        aggregationAgrees = bins == kDayBins && library->mNumItems == bins &&
                            library->mInterval == static_cast<double>(kTenMinutes) &&
                            sameRecords(library->mItems, plain.data(), plain.size());
        if (!aggregationAgrees)
            std::fprintf(stderr, "the plain aggregation differs from the library: %d records against %d\n",
                         bins, library->mNumItems);

        LoggerApi api;
        for (const bool percent : {false, true}) {
            std::vector<DataHarmonics> libraryOut(week.size() * kChannels);
            std::vector<DataHarmonics> plainOut(week.size() * kChannels);
            std::memset(libraryOut.data(), 0, libraryOut.size() * sizeof(DataHarmonics));
            std::memset(plainOut.data(), 0, plainOut.size() * sizeof(DataHarmonics));
            libraryAmplitudes(api, week, libraryOut, maxLoad, percent, kChannels);
            plainAmplitudesOfWeek(week, plainOut, maxLoad, percent, kChannels);
            const bool same = sameRecords(libraryOut.data(), plainOut.data(), libraryOut.size());
            (percent ? percentAgrees : absoluteAgrees) = same;
            if (!same)
                std::fprintf(stderr, "the plain %s amplitudes differ from the library\n",
                             percent ? "per-cent" : "absolute");
        }
    }
};

BenchStore* gBenchStore = nullptr;

bool storeIsUp(benchmark::State& state)
{
    if (gBenchStore == nullptr || !gBenchStore->started) {
        state.SkipWithError("the store did not come up");
        return false;
    }
    return true;
}

// --- the runs ------------------------------------------------------------------------------------

void BM_LibraryAggregation(benchmark::State& state)
{
    if (!storeIsUp(state))
        return;
    if (!gBenchStore->aggregationAgrees) {
        state.SkipWithError("the plain aggregation does not give the library's records");
        return;
    }
    for (auto _ : state) {
        state.PauseTiming();
        PtrLoggerResultMean result = freshDay(gBenchStore->day);
        state.ResumeTiming();
        libraryTenMinuteBins(result);
        benchmark::DoNotOptimize(result->mItems);
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kDayItems);
}

void BM_PlainAggregation(benchmark::State& state)
{
    if (!storeIsUp(state))
        return;
    if (!gBenchStore->aggregationAgrees) {
        state.SkipWithError("the plain aggregation does not give the library's records");
        return;
    }
    const std::vector<DataMean>& day = gBenchStore->day;
    for (auto _ : state) {
        // A new array of records, as the library's result gets one.
        std::unique_ptr<DataMean[]> bins(new DataMean[kDayBins]);
        benchmark::DoNotOptimize(plainTenMinuteBins(day.data(), kDayItems, bins.get()));
        benchmark::DoNotOptimize(bins.get());
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kDayItems);
}

bool amplitudesAgree(benchmark::State& state)
{
    const bool percent = state.range(0) != 0;
    if (!(percent ? gBenchStore->percentAgrees : gBenchStore->absoluteAgrees)) {
        state.SkipWithError("the plain amplitudes do not give the library's values");
        return false;
    }
    return true;
}

void BM_LibraryAmplitudes(benchmark::State& state)
{
    if (!storeIsUp(state) || !amplitudesAgree(state))
        return;
    LoggerApi api;
    std::vector<DataComplexArray> week = gBenchStore->week;
    std::vector<DataHarmonics> out(week.size() * kChannels);
    const bool percent = state.range(0) != 0;
    const int channels = static_cast<int>(state.range(1));
    for (auto _ : state) {
        libraryAmplitudes(api, week, out, gBenchStore->maxLoad, percent, channels);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kWeekRecords * channels *
                            kComputedOrders);
}

void BM_PlainAmplitudes(benchmark::State& state)
{
    if (!storeIsUp(state) || !amplitudesAgree(state))
        return;
    const std::vector<DataComplexArray>& week = gBenchStore->week;
    std::vector<DataHarmonics> out(week.size() * kChannels);
    const bool percent = state.range(0) != 0;
    const int channels = static_cast<int>(state.range(1));
    for (auto _ : state) {
        plainAmplitudesOfWeek(week, out, gBenchStore->maxLoad, percent, channels);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kWeekRecords * channels *
                            kComputedOrders);
}

// One read by time per iteration, timed up to the pause that follows it. Every pause must be
// the one after a read: a failed lookup would pause 200 ms and answer null.
template <typename Read> void timeReads(benchmark::State& state, int items, size_t itemSize, Read read)
{
    double pauseSeconds = 0.0;
    for (auto _ : state) {
        gPauses.pauses.clear();
        const Clock::time_point began = Clock::now();
        const int numItems = read();
        const Clock::time_point ended = Clock::now();
        if (numItems != items) {
            state.SkipWithError("the read did not give every item");
            break;
        }
        if (std::count(gPauses.pauses.begin(), gPauses.pauses.end(), kFailedLookupPause) > 0) {
            state.SkipWithError("the read took the pause of a failed lookup");
            break;
        }
        if (gPauses.pauses != std::vector<unsigned long>{kReadPause}) {
            state.SkipWithError("the read paused otherwise than once for 50 ms after it read");
            break;
        }
        state.SetIterationTime(std::chrono::duration<double>(gPauses.lastBegan - began).count());
        pauseSeconds += std::chrono::duration<double>(ended - gPauses.lastBegan).count();
    }
    state.counters["pause_ms"] = benchmark::Counter(
        1000.0 * pauseSeconds / static_cast<double>(std::max<int64_t>(state.iterations(), 1)));
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * items);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * items *
                            static_cast<int64_t>(itemSize));
}

void BM_GetMeanValues(benchmark::State& state)
{
    if (!storeIsUp(state))
        return;
    LoggerApi api;
    state.counters["files"] = gBenchStore->meanFiles;
    timeReads(state, kDayItems, sizeof(DataMean), [&] {
        const PtrLoggerResultMean result = api.getMeanValues(kMeanId, kDayStart, kDayEnd);
        return result == nullptr ? -1 : result->mNumItems;
    });
}

void BM_GetComplexArray(benchmark::State& state)
{
    if (!storeIsUp(state))
        return;
    LoggerApi api;
    state.counters["files"] = gBenchStore->complexFiles;
    timeReads(state, kWeekRecords, sizeof(DataComplexArray), [&] {
        const PtrLoggerResultComplexArray result = api.getComplexArray(kComplexId, kDayStart, kWeekEnd);
        return result == nullptr ? -1 : result->mNumItems;
    });
}

// All seven channels in per cent and absolute, and the one channel in per cent that one call of
// getHarmonics computes from the complex values.
void amplitudeArguments(benchmark::internal::Benchmark* benchmark)
{
    benchmark->ArgNames({"percent", "channels"});
    benchmark->Args({1, kChannels})->Args({0, kChannels})->Args({1, 1});
    benchmark->MinTime(kComputationSeconds)->Unit(benchmark::kMicrosecond);
}

BENCHMARK(BM_PlainAggregation)->MinTime(kComputationSeconds)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_LibraryAggregation)->MinTime(kComputationSeconds)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_PlainAmplitudes)->Apply(amplitudeArguments);
BENCHMARK(BM_LibraryAmplitudes)->Apply(amplitudeArguments);
BENCHMARK(BM_GetMeanValues)->Iterations(kReadsPerRun)->UseManualTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_GetComplexArray)->Iterations(kReadsPerRun)->UseManualTime()->Unit(benchmark::kMicrosecond);

// Keeps wall-clock and CPU time of each run, in microseconds, and prints the ratios at the end.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs) {
            std::string name;
            if (run.error_occurred || run.iterations <= 0 || !runNameForRatio(run, name))
                continue;
            const double toMicroseconds = 1e6 / benchmark::GetTimeUnitMultiplier(run.time_unit);
            // The minimum time of a run is part of its name; the figures are found without it.
            const size_t minTime = name.find("/min_time:");
            if (minTime != std::string::npos)
                name.erase(minTime, name.find('/', minTime + 1) - minTime);
            mMicroseconds[name] =
                Times{run.GetAdjustedRealTime() * toMicroseconds, run.GetAdjustedCPUTime() * toMicroseconds};
        }
        ConsoleReporter::ReportRuns(runs);
    }

    void printRatios() const
    {
        std::printf("\nCPU time; library / plain loop, target at most 1.5:\n");
        const Times* read =
            find("BM_GetMeanValues/iterations:" + std::to_string(kReadsPerRun) + "/manual_time");
        pair("aggregation of " + std::to_string(kDayItems) + " 1-second means to " +
                 std::to_string(kDayBins) + " ten-minute bins",
             "BM_LibraryAggregation", "BM_PlainAggregation", read, "getMeanValues of the day");
        read = find("BM_GetComplexArray/iterations:" + std::to_string(kReadsPerRun) + "/manual_time");
        const std::string records = std::to_string(kWeekRecords) + " complex records, ";
        pair("amplitudes in per cent of " + records + "7 channels", amplitudes("Library", 1, kChannels),
             amplitudes("Plain", 1, kChannels), read, "getComplexArray of the week");
        pair("absolute amplitudes of " + records + "7 channels", amplitudes("Library", 0, kChannels),
             amplitudes("Plain", 0, kChannels), read, "getComplexArray of the week");
        pair("amplitudes in per cent of " + records + "one channel, as one getHarmonics call",
             amplitudes("Library", 1, 1), amplitudes("Plain", 1, 1), read, "getComplexArray of the week");
        std::printf("The reads without the %lu ms pause after each, timed apart; the computations are to "
                    "stay far below them.\n",
                    kReadPause);
    }

private:
    struct Times {
        double real = 0.0;
        double cpu = 0.0;
    };

    static std::string amplitudes(const char* who, int percent, int channels)
    {
        return std::string("BM_") + who + "Amplitudes/percent:" + std::to_string(percent) +
               "/channels:" + std::to_string(channels);
    }

    const Times* find(const std::string& name) const
    {
        const auto found = mMicroseconds.find(name);
        return found == mMicroseconds.end() ? nullptr : &found->second;
    }

    void pair(const std::string& what, const std::string& library, const std::string& plain,
              const Times* read, const char* readName) const
    {
        const Times* ours = find(library);
        const Times* baseline = find(plain);
        if (ours == nullptr || baseline == nullptr || baseline->cpu <= 0.0)
            return;
        std::printf("  %s:\n    library %.1f us, plain %.1f us; ratio %.3f\n", what.c_str(), ours->cpu,
                    baseline->cpu, ours->cpu / baseline->cpu);
        if (read != nullptr && read->cpu > 0.0 && read->real > 0.0)
            std::printf(
                "    %s: %.1f us CPU, %.1f us wall-clock; library / read %.3f (CPU), %.3f (wall-clock)\n",
                readName, read->cpu, read->real, ours->cpu / read->cpu, ours->cpu / read->real);
    }

    std::map<std::string, Times> mMicroseconds;
};

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    if (!initializeStoreBench(&argc, argv))
        return 1;
    setReadPauseObserverForTesting([](unsigned long milliseconds) {
        gPauses.pauses.push_back(milliseconds);
        gPauses.lastBegan = Clock::now();
    });
    int status = 0;
    {
        const auto store = std::make_unique<BenchStore>();
        if (!store->started) {
            std::fprintf(stderr, "the store did not come up: %s\n", store->error.c_str());
            status = 1;
        } else {
            gBenchStore = store.get();
            std::printf("the day: %d mean items in %d files; the week: %d complex records in %d files\n",
                        kDayItems, store->meanFiles, kWeekRecords, store->complexFiles);
            RatioReporter reporter;
            benchmark::RunSpecifiedBenchmarks(&reporter);
            reporter.printRatios();
            gBenchStore = nullptr;
        }
    }
    benchmark::Shutdown();
    setReadPauseObserverForTesting(nullptr);
    return status;
}
