#!/usr/bin/env bash
# Builds the release preset and runs all tests. Arguments go to the configure step, for example
# -DKT_WERROR=ON. Ends with the summary of ctest.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

scripts/setup.sh
cmake --preset release "$@"
cmake --build --preset release
ctest --preset release
