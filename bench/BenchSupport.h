#pragma once

// What the benchmark programs share: the names under which their reporters keep runs, the
// peak memory they print, the process's system calls and context switches per operation, and
// blocks of mean items with rising stamps.

#include "LoggerDataItems.h"

#include <benchmark/benchmark.h>

#include <QByteArray>
#include <QtGlobal>

#include <cstddef>
#include <cstdint>
#include <cstdio>
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

// What the whole process (every thread) did in the kernel so far: the read and write system
// calls the kernel counts in /proc/self/io (syscr, syscw; open, close and futex calls are not
// among them), and the context switches, voluntary and forced. A thread that is woken and goes
// back to sleep shows as a voluntary switch, which is how a wake-up per operation shows.
struct ProcessKernelCounts {
    long long readWriteCalls = 0;
    long long contextSwitches = 0;

    static ProcessKernelCounts now()
    {
        ProcessKernelCounts counts;
        if (FILE* io = std::fopen("/proc/self/io", "r")) {
            char name[32];
            long long value = 0;
            while (std::fscanf(io, "%31s %lld", name, &value) == 2) {
                if (std::string(name) == "syscr:" || std::string(name) == "syscw:")
                    counts.readWriteCalls += value;
            }
            std::fclose(io);
        }
        rusage usage{};
        getrusage(RUSAGE_SELF, &usage);
        counts.contextSwitches = usage.ru_nvcsw + usage.ru_nivcsw;
        return counts;
    }
};

// Sets the counters "rw_calls" and "ctx_switches" of a run, per iteration, from the counts
// taken before its loop. The counts are taken outside the timed loop.
inline void setKernelCountsPerIteration(benchmark::State& state, const ProcessKernelCounts& before)
{
    const ProcessKernelCounts after = ProcessKernelCounts::now();
    state.counters["rw_calls"] =
        benchmark::Counter(static_cast<double>(after.readWriteCalls - before.readWriteCalls),
                           benchmark::Counter::kAvgIterations);
    state.counters["ctx_switches"] =
        benchmark::Counter(static_cast<double>(after.contextSwitches - before.contextSwitches),
                           benchmark::Counter::kAvgIterations);
}

// The CPU time of the calling thread so far, split into user and system time, in microseconds.
// The kernel splits the thread's exact run time by where its clock ticks fell, so the split is
// good over many operations, not for one.
struct ThreadCpuTime {
    double userMicros = 0.0;
    double systemMicros = 0.0;

    static ThreadCpuTime now()
    {
        rusage usage{};
        getrusage(RUSAGE_THREAD, &usage);
        ThreadCpuTime time;
        time.userMicros =
            static_cast<double>(usage.ru_utime.tv_sec) * 1e6 + static_cast<double>(usage.ru_utime.tv_usec);
        time.systemMicros =
            static_cast<double>(usage.ru_stime.tv_sec) * 1e6 + static_cast<double>(usage.ru_stime.tv_usec);
        return time;
    }
};

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
