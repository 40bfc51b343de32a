#pragma once

#include <benchmark/benchmark.h>

#include <string>

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
