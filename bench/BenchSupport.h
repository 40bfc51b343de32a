#pragma once

// What the benchmark programs share: the names under which their reporters keep runs, and the
// peak memory they print.

#include <benchmark/benchmark.h>

#include <string>
#include <sys/resource.h>

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

// Peak resident memory of this process so far, in kilobytes.
inline long peakResidentKb()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}
