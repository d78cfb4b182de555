#!/usr/bin/env bash
# scripts/tsan.sh [PROGRAM...]: builds the tests with the thread sanitizer and runs them: all, or those
# of the programs that are named (host_tests capi_test). Tests that replace malloc are not among
# them: the sanitizer needs its own.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

cmake --preset tsan
if [ $# -eq 0 ]; then
  cmake --build --preset tsan
else
  cmake --build --preset tsan --target "$@"
fi

ulimit -S -s 2048  # it follows 65,535 nested calls at most, and the engine nests as its stack allows
if [ $# -eq 0 ]; then exec ctest --preset tsan; fi
for program in "$@"; do "build/tsan/tests/$program"; done
