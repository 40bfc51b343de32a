#!/usr/bin/env bash
# Builds the benchmarks and runs them against their plain-I/O baselines.
set -euo pipefail
top="$(cd "$(dirname "$0")/.." && pwd)"
"$top/scripts/setup-debian.sh"
build="$top/build"
cmake -S "$top" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build "$build" -j"$(nproc)" --target qzlogger_bench_datafile qzlogger_bench_writepath qzlogger_bench_readframe qzlogger_bench_quota qzlogger_bench_pagedread qzlogger_bench_computed qzlogger_bench_dump
"$build/bench/qzlogger_bench_datafile" "$@"
"$build/bench/qzlogger_bench_writepath" "$@"
"$build/bench/qzlogger_bench_readframe" "$@"
"$build/bench/qzlogger_bench_quota" "$@"
"$build/bench/qzlogger_bench_pagedread" "$@"
"$build/bench/qzlogger_bench_computed" "$@"
"$build/bench/qzlogger_bench_dump" "$@"
