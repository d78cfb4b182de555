#!/usr/bin/env bash
# Checks sources with clang-tidy and the project's .clang-tidy; prints every finding once and ends
# with status 1 when there is one. Needs a configured build/release. Arguments: files or folders
# (all of the libraries and the program without).
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

[ $# -gt 0 ] || set -- classlib expr object script dataset reference cli
command -v clang-tidy >/dev/null || { echo "tidy: no clang-tidy; run scripts/setup.sh" >&2; exit 2; }
database=build/release/compile_commands.json
if [ ! -f "$database" ]; then
  echo "tidy: configure first: cmake --preset release" >&2
  exit 2
fi

findings=$(mktemp)
trap 'rm -f "$findings"' EXIT
# Headers are checked with every source that includes them: one line for each finding is enough.
find "$@" -name '*.cpp' -print0 | sort -z |
  xargs -0 -P "$(nproc)" -n 4 clang-tidy -quiet -p build/release 2>/dev/null |
  grep -E '^[^ ]+:[0-9]+:[0-9]+: (warning|error):' | sed "s|^$PWD/||; s|^\\./||" | sort -u \
  >"$findings" || true
cat "$findings"
echo "tidy: $(wc -l <"$findings") findings"
[ ! -s "$findings" ]
