#!/usr/bin/env bash
# Checks sources with clang-tidy and the project's .clang-tidy; prints every finding once and ends
# with status 1 when there is one. Arguments: folders (all of the libraries and the program without).
#
# What is for Windows alone is left out: its headers are not here.
#
# Nearly all of the time goes into headers, so the sources of a folder are checked as one unit. Where
# two have a name of their own alike, the unit is cut in two. A folder of headers alone is one unit of them.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

[ $# -gt 0 ] || set -- classlib expr object script dataset analysis reference connect host capi cli
command -v clang-tidy >/dev/null || { echo "tidy: no clang-tidy; run scripts/setup.sh" >&2; exit 2; }
# Configured only, for the flags of every source.
export database=build/tidy/compile_commands.json
cmake --preset release -B build/tidy -DKT_UNITY=OFF -DKT_TESTS=OFF -DKT_BENCH=OFF -DKT_PYTHON=OFF >/dev/null

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export work

# flags_of SOURCE: those of its compilation that a parser needs, ready for `eval`.
flags_of() {
  local compiled=$1
  [[ $1 != *.h ]] || compiled=expr/Kt_Expr.cpp
  grep -F -- "-c $PWD/$compiled\"" "$database" | head -1 | grep -oE -- ' (-I|-D|-isystem |-std=)[^ ]+' |
    sed 's/\\"/"/g; s/\\\\/\\/g' | tr '\n' ' '
}

# check_sources SOURCE...: with the flags of the first; they lie in one folder.
check_sources() {
  local unit half=$(($# / 2)) status=0
  unit=$(mktemp "$work/unit_XXXXXX.cpp")
  eval "local flags=($(flags_of "$1"))"
  printf "#include \"$PWD/%s\"\n" "$@" >"$unit"
  if [ $# -gt 1 ] && ! clang++ "${flags[@]}" -fsyntax-only "$unit" 2>/dev/null; then
    check_sources "${@:1:half}"
    check_sources "${@:half + 1}"
    return
  fi
  clang-tidy -quiet "$unit" --config-file=.clang-tidy -- "${flags[@]}" >"$unit.log" 2>&1 || status=$?
  # What is not even parsed is a finding too.
  [ "$status" -eq 0 ] || grep -q ': error:' "$unit.log" || echo "$1:1:1: error: not checked"
  cat "$unit.log"
}
check_folder() {
  mapfile -t sources < <(find "$1" -maxdepth 1 -name '*.cpp' ! -name '*_Windows.cpp' | sort)
  [ ${#sources[@]} -gt 0 ] || mapfile -t sources < <(find "$1" -maxdepth 1 -name '*.h' | sort)
  [ ${#sources[@]} -eq 0 ] || check_sources "${sources[@]}"
}
export -f flags_of check_sources check_folder

find "$@" -type d | xargs -P "$(nproc)" -I '{}' bash -c 'check_folder {}' >"$work/log"
findings=$(grep -E '^[^ ]+:[0-9]+:[0-9]+: (warning|error):' "$work/log" | grep -v "^$work/" |
  sed "s|^$PWD/||" | sort -u || true)
[ -n "$findings" ] || { echo "tidy: no findings"; exit 0; }
echo "$findings"
echo "tidy: $(wc -l <<<"$findings") findings"
exit 1
