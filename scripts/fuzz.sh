#!/usr/bin/env bash
# scripts/fuzz.sh [SECONDS] [TARGET...]: builds the fuzz preset and runs each target (all, when none
# is named) for SECONDS (30) over a copy of its kept corpus. Findings stay in build/fuzz/findings.
# KT_FUZZ_SEED=N tries the same inputs each time, so that what fails is due to a change.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

seconds=${1:-30}
shift || true

cmake --preset fuzz
cmake --build --preset fuzz

targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
  for program in build/fuzz/fuzz/*_fuzz; do
    [ -x "$program" ] || { echo "fuzz: no target was built" >&2; exit 1; }
    name=$(basename "$program")
    targets+=("${name%_fuzz}")
  done
fi

findings=build/fuzz/findings
mkdir -p "$findings"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# fuzz_target NAME: its output in one piece when it ends, since several run at once.
fuzz_target() {
  local target=$1
  # New inputs go to the copy: what is kept is chosen by hand.
  mkdir "$work/$target"
  cp -r "fuzz/corpus/$target/." "$work/$target/"
  local options=(-max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -max_len=16384
                 -print_final_stats=1 -verbosity=0 -artifact_prefix="$findings/$target-")
  # Every comma of a header makes a column, and columns cost more than anything else.
  [ "$target" != dataset_csv ] || options+=(-max_len=1024)
  [ ! -f "fuzz/$target.dict" ] || options+=(-dict="fuzz/$target.dict")
  [ -z "${KT_FUZZ_SEED:-}" ] || options+=(-seed="$KT_FUZZ_SEED")
  local status=0
  "build/fuzz/fuzz/${target}_fuzz" "${options[@]}" "$work/$target" >"$work/$target.log" 2>&1 ||
    status=$?
  { echo "fuzz: $target for $seconds seconds"; cat "$work/$target.log"; } >&2
  [ "$status" -eq 0 ] || echo "$target" >>"$work/failed"
}
export -f fuzz_target
export seconds findings work
printf '%s\n' "${targets[@]}" | xargs -P "$(nproc)" -I '{}' bash -c 'fuzz_target {}'
# Said last: a long log may be cut at its start.
if [ -f "$work/failed" ]; then
  while read -r target; do
    echo "fuzz: $target failed:"
    grep -v -E 'NEW_FUNC|# Uses:' "$work/$target.log" | tail -n 60
  done <"$work/failed" >&2
  exit 1
fi
