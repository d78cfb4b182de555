#!/usr/bin/env bash
# Builds and tests what editors need (editors/), with the program kt (KT_PROGRAM, build/release/bin/kt
# when it is not set). The first time npm fetches what the tests use. Ends with 77 when node is missing.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../editors"

for tool in node npm; do
  command -v "$tool" >/dev/null || { echo "editors: skipped, $tool is missing"; exit 77; }
done

root=$(cd .. && pwd)
export KT_PROGRAM=${KT_PROGRAM:-$root/build/release/bin/kt}
if [ -z "${RANDOM_SCRIPTS:-}" ]; then
  made=$(mktemp -d)
  trap 'rm -rf "$made"' EXIT
  export RANDOM_SCRIPTS=$made/random_scripts
  c++ -std=c++20 -O1 -I"$root" -o "$RANDOM_SCRIPTS" "$root/tests/editors/random_scripts.cpp"
fi

if [ ! node_modules/.package-lock.json -nt package-lock.json ]; then
  if ! npm ci --no-progress --loglevel=error; then
    [ -z "${CI:-}" ] || exit 1
    echo "editors: skipped, npm cannot fetch what the tests use"
    exit 77
  fi
fi

node --test --test-concurrency=1 tests/
