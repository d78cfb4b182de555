#!/usr/bin/env bash
# bench/compare.sh [DIRECTORY]: runs every pair NAME.kts and NAME.lua of the directory (default:
# bench/workloads) in kt and in Lua 5.4 and prints the ratio of their times.
#
# The two take turns, so a slow spell of the machine hits both; the smallest processor time of all
# rounds counts, start-up included. A slow run is no failure, a different result is. The last line is
# the geometric mean of the ratios.
#
# Environment: KT (path of kt, default build/release/bin/kt), LUA (lua5.4), ROUNDS (5).
set -euo pipefail
export LC_ALL=C  # times have a decimal point
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

directory=${1:-$root/bench/workloads}
kt=${KT:-$root/build/release/bin/kt}
lua=${LUA:-lua5.4}
rounds=${ROUNDS:-5}

command -v "$kt" >/dev/null || { echo "compare: no kt at $kt; build it or set KT" >&2; exit 2; }
command -v "$lua" >/dev/null || { echo "compare: no $lua; run scripts/setup.sh" >&2; exit 2; }

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

# timed COMMAND...: output in $output, processor time in milliseconds in $elapsed.
timed() {
  local status=0 TIMEFORMAT='%3U %3S'
  { time "$@" > "$scratch/output" 2>&1; } 2> "$scratch/time" || status=$?
  output=$(cat "$scratch/output")
  [ "$status" -eq 0 ] || { output="exit status $status: $output"; return 1; }
  elapsed=$(awk '{ printf "%d", ($1 + $2) * 1000 + 0.5 }' "$scratch/time")
}

failed=0
# compare_pair NAME: one line of the table.
compare_pair() {
  local name=$1 kt_best='' lua_best='' kt_output round
  for ((round = 0; round < rounds; round++)); do
    timed "$kt" run "$directory/$name.kts" || { echo "$name: kt: $output"; failed=1; return; }
    kt_output=$output
    [ -n "$kt_best" ] && ((kt_best <= elapsed)) || kt_best=$elapsed
    timed "$lua" "$directory/$name.lua" || { echo "$name: lua: $output"; failed=1; return; }
    [ -n "$lua_best" ] && ((lua_best <= elapsed)) || lua_best=$elapsed
    if [ "$kt_output" != "$output" ]; then
      echo "$name: different results: kt '$kt_output', lua '$output'"
      failed=1
      return
    fi
  done
  awk -v name="$name" -v kt="$kt_best" -v lua="$lua_best" \
    'BEGIN { printf "%-16s %10.3f %10.3f %8.2f\n", name, kt / 1e3, lua / 1e3, kt / lua }' |
    tee -a "$scratch/rows"
}

printf '%-16s %10s %10s %8s\n' workload "kt s" "lua s" kt/lua
pairs=0
for script in "$directory"/*.kts; do
  name=$(basename "$script" .kts)
  [ -f "$directory/$name.lua" ] || continue
  pairs=$((pairs + 1))
  compare_pair "$name"
done
[ "$pairs" -gt 0 ] || { echo "compare: no NAME.kts with a NAME.lua in $directory" >&2; exit 2; }
[ ! -s "$scratch/rows" ] || awk '{ sum += log($4) } END {
  printf "%-16s %30.2f\n", "geometric mean", exp(sum / NR) }' "$scratch/rows"
exit "$failed"
