#!/usr/bin/env bash
# Sets up a fresh Debian 12 machine, builds the store and runs its main job.
set -euo pipefail
top="$(cd "$(dirname "$0")/.." && pwd)"
"$top/scripts/setup-debian.sh"

build="$top/build"
cmake -S "$top" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQZLOGGER_BUILD_TESTS=OFF -DQZLOGGER_BUILD_BENCHMARKS=OFF
cmake --build "$build" -j"$(nproc)" --target qzlogger_day_of_means
"$build/examples/qzlogger_day_of_means" "$@"
