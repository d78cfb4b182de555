#!/usr/bin/env bash
# scripts/random_programs.sh [--sanitize] FIRST COUNT [JOBS]: runs the random programs of the seeds
# FIRST ... FIRST + COUNT - 1 as code and by the walk, in JOBS (2) processes at once, built as the
# release is or, with --sanitize, by Clang with the address and undefined-behaviour sanitizers and
# -O2 (no coverage, as fuzzing needs it, so that it runs several times as fast).
# Each piece of 5,000 that fails leaves its output beside the program; the run goes on.
# KT_RANDOM_BUILT=1 takes the program as it is.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

build=build/release
configure=(cmake --preset release)
if [ "${1:-}" = --sanitize ]; then
  shift
  build=build/random
  configure=(cmake --preset sanitize -B "$build" -DCMAKE_CXX_COMPILER=clang++
    -DCMAKE_CXX_FLAGS_DEBUG="-O2 -g1" -DBUILD_SHARED_LIBS=OFF -DKT_FUZZ=OFF -DKT_CLI=OFF -DKT_INSTALL=OFF)
fi
first=${1:?FIRST COUNT are missing}
count=${2:?COUNT is missing}
jobs=${3:-2}

if [ -z "${KT_RANDOM_BUILT:-}" ]; then
  "${configure[@]}"
  cmake --build "$build" --target script_tests
fi

export program=$build/tests/script_tests findings=$build/random_programs first last=$((first + count))
# Short stacks of allocations: they are most of what the sanitizer costs here.
export ASAN_OPTIONS=detect_stack_use_after_return=0:quarantine_size_mb=16:malloc_context_size=3
mkdir -p "$findings"

# run_piece SEED: the programs from there to the end of its piece; after one that differs those
# behind it.
run_piece() {
  local seed=$1 end=$(($1 + 5000)) at log
  [ "$end" -le "$last" ] || end=$last
  while [ "$seed" -lt "$end" ]; do
    log=$findings/$seed.txt
    if KT_RANDOM_SEED=$seed KT_RANDOM_PROGRAMS=$((end - seed)) "$program" --gtest_brief=1 \
      --gtest_filter=Compiled.RandomPrograms >"$log" 2>&1; then
      rm "$log"
      return 0
    fi
    at=$(grep -oE 'seed [0-9]+$' "$log" | head -1 | cut -d' ' -f2)
    echo "${at:-one from $seed on} fails: $log"
    [ -n "$at" ] || return 0  # it ended the process
    seed=$((at + 1))
  done
}
export -f run_piece

failed=$(seq "$first" 5000 $((last - 1)) | xargs -P "$jobs" -I{} bash -c 'run_piece {}' | tee /dev/stderr)
echo "random_programs: $count from seed $first, $(printf '%s' "$failed" | grep -c . || true) failed"
[ -z "$failed" ]
