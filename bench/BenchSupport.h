#pragma once

// What the benchmark programs share: the names under which their reporters keep runs, the
// peak memory they print, and blocks of mean items with rising stamps.

#include "LoggerDataItems.h"

#include <benchmark/benchmark.h>

#include <QByteArray>
#include <QtGlobal>

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>
#include <sys/resource.h>
#include <vector>

// The name under which a benchmark's ratio reporter keeps a run: the run's own name for a
// single run, and the same name for the median of repetitions, so that ratios are printed both
// for a plain run and with --benchmark_repetitions. False for the other aggregates.
inline bool runNameForRatio(const benchmark::BenchmarkReporter::Run& run, std::string& name)
{
    if (run.run_type == benchmark::BenchmarkReporter::Run::RT_Aggregate && run.aggregate_name != "median")
        return false;
    name = run.run_name.str();
    return true;
}

#ifdef QZLOGGER_BENCH_SDCARD_SIMULATOR
// The start of a program that runs on a store: the card simulator built alongside unless
// QZLOGGER_SDCARD_SIMULATOR names another, and Google Benchmark's own options. False where an
// option is not understood, which has been reported then.
inline bool initializeStoreBench(int* argc, char** argv)
{
    if (!qEnvironmentVariableIsSet("QZLOGGER_SDCARD_SIMULATOR"))
        qputenv("QZLOGGER_SDCARD_SIMULATOR", QZLOGGER_BENCH_SDCARD_SIMULATOR);
    benchmark::Initialize(argc, argv);
    return !benchmark::ReportUnrecognizedArguments(*argc, argv);
}
#endif

// Peak resident memory of this process so far, in kilobytes.
inline long peakResidentKb()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

// A block of mean items whose stamps are moved on before every write, one millisecond per item
// from kFirstSecond, so that every block lies behind the one before, as the logger's order check
// wants it.
class RisingBlock {
public:
    static constexpr int32_t kFirstSecond = 1763802000; // 2025-11-22, mid-day in any zone

    explicit RisingBlock(int items) : mItems(static_cast<size_t>(items))
    {
        for (size_t index = 0; index < mItems.size(); ++index) {
            mItems[index].quality = static_cast<uint32_t>(index);
            mItems[index].min = 229.5f;
            mItems[index].mean = 230.0f;
            mItems[index].max = 230.5f;
        }
    }

    const char* next()
    {
        for (DataMean& item : mItems) {
            item.utc = DataTimespec{static_cast<int32_t>(kFirstSecond + mNumber / 1000),
                                    static_cast<int32_t>((mNumber % 1000) * 1000000)};
            ++mNumber;
        }
        return reinterpret_cast<const char*>(mItems.data());
    }

    // The stamp of the last item of the block that next() gave last.
    timespec lastStamp() const { return mItems.back().utc; }

    int items() const { return static_cast<int>(mItems.size()); }
    size_t bytes() const { return mItems.size() * sizeof(DataMean); }

private:
    std::vector<DataMean> mItems;
    int64_t mNumber = 0;
};
