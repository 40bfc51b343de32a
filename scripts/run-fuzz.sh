#!/usr/bin/env bash
# Builds the data-file fuzz target with clang, replays the seed corpus through it and fuzzes for
# a bounded time. A report of a sanitizer or of the target's own checks fails the run; the input
# that caused it is kept in build-fuzz/findings.
#
#   scripts/run-fuzz.sh [SECONDS]        replay the corpus, then fuzz SECONDS (default 60)
#   scripts/run-fuzz.sh coverage [DIR]   line coverage of the data-file layer over the seed
#                                        corpus, or over the inputs in DIR
#
# The fuzzing works on a scratch copy of the corpus: the repository's folder is only read. New
# inputs worth keeping are added to it by hand (see docs/fuzzing.md).
set -euo pipefail
top="$(cd "$(dirname "$0")/.." && pwd)"
corpus="$top/tests/fuzz/corpus/datafile"
jobs="$(nproc)"

mode="fuzz"
if [ "${1:-}" = "coverage" ]; then
  mode="coverage"
  shift
fi

configure() {
  local build="$1"
  shift
  cmake -S "$top" -B "$build" -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DQZLOGGER_BUILD_FUZZERS=ON -DQZLOGGER_BUILD_BENCHMARKS=OFF -DQZLOGGER_BUILD_EXAMPLES=OFF "$@" > /dev/null
  cmake --build "$build" -j"$jobs" --target DataFileFuzzer
}

# The target's private data roots go below a scratch folder that is removed on every way out.
scratch="$(mktemp -d -p "$( [ -d /dev/shm ] && echo /dev/shm || echo "${TMPDIR:-/tmp}" )" qzlogger-fuzz-run-XXXXXX)"
trap 'rm -rf "$scratch"' EXIT
export QZLOGGER_FUZZ_TMPDIR="$scratch"

if [ "$mode" = "coverage" ]; then
  inputs="${1:-$corpus}"
  build="$top/build-fuzz-coverage"
  configure "$build" -DCMAKE_CXX_FLAGS="-fprofile-instr-generate -fcoverage-mapping"
  fuzzer="$build/tests/fuzz/DataFileFuzzer"
  LLVM_PROFILE_FILE="$scratch/replay.profraw" "$fuzzer" -runs=0 "$inputs" 2>&1 | tail -n 2
  llvm-profdata merge -sparse "$scratch/replay.profraw" -o "$scratch/replay.profdata"
  llvm-cov report "$fuzzer" -instr-profile="$scratch/replay.profdata" \
    "$top/source/LoggerFileSystem.cpp" "$top/source/LoggerFileIo.cpp"
  exit 0
fi

seconds="${1:-60}"
build="$top/build-fuzz"
configure "$build"
fuzzer="$build/tests/fuzz/DataFileFuzzer"
findings="$build/findings"
mkdir -p "$findings"

echo "== replay of the seed corpus"
# Each input named on the command line runs once; nothing is written to the corpus folder.
if ! "$fuzzer" -artifact_prefix="$findings/" "$corpus"/* > "$build/replay.log" 2>&1; then
  tail -n 60 "$build/replay.log"
  echo "an input of the seed corpus fails: see $build/replay.log" >&2
  exit 1
fi
echo "$(ls "$corpus" | wc -l) inputs replayed"

echo "== fuzzing for $seconds s"
mkdir -p "$scratch/corpus"
cp "$corpus"/* "$scratch/corpus/"
if ! "$fuzzer" -max_total_time="$seconds" -max_len=4096 -timeout=10 -print_final_stats=1 \
  -artifact_prefix="$findings/" "$scratch/corpus" > "$build/fuzz.log" 2>&1; then
  tail -n 60 "$build/fuzz.log"
  echo "the fuzz target reported a finding; its input is in $findings" >&2
  exit 1
fi
grep -E "DONE|^Done|stat::" "$build/fuzz.log"
