#!/usr/bin/env bash
# Sets up a fresh Debian 12 machine, builds the store with its tests and runs them (among them
# the check that a host program builds against the installed package), runs the tests once more
# under AddressSanitizer and UndefinedBehaviorSanitizer, and fuzzes the data-file layer for a
# minute.
set -euo pipefail
top="$(cd "$(dirname "$0")/.." && pwd)"
"$top/scripts/setup-debian.sh"

jobs="$(nproc)"
build="$top/build"
asan="$top/build-sanitize"

echo "== build and test"
cmake -S "$top" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQZLOGGER_BUILD_TESTS=ON -DQZLOGGER_BUILD_BENCHMARKS=ON
cmake --build "$build" -j"$jobs"
(cd "$build" && ctest -j"$jobs" --output-on-failure --timeout 300)

echo "== sanitizers"
cmake -S "$top" -B "$asan" -DCMAKE_BUILD_TYPE=Debug -DQZLOGGER_SANITIZE=ON \
  -DQZLOGGER_BUILD_BENCHMARKS=OFF -DQZLOGGER_BUILD_EXAMPLES=OFF
cmake --build "$asan" -j"$jobs"
(cd "$asan" && ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
  ctest -j"$jobs" --output-on-failure --timeout 600)

echo "== fuzzing"
"$top/scripts/run-fuzz.sh" 60
