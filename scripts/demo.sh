#!/usr/bin/env bash
# Builds the release kt and counts the words of a long text: the GNU GPL as Debian installs it, or
# the file given as argument.
set -euo pipefail
invoked_from=$PWD
cd "$(dirname "${BASH_SOURCE[0]}")/.."

text=${1:-/usr/share/common-licenses/GPL-3}
case $text in /*) ;; *) text=$invoked_from/$text ;; esac

# What the build says is of interest only when it fails; the report is what this script is for.
log=$(mktemp)
trap 'rm -f "$log"' EXIT
quiet() { "$@" >"$log" 2>&1 || { cat "$log" >&2; return 1; }; }

scripts/setup.sh
echo "Building build/release ..."
quiet cmake --preset release
quiet cmake --build --preset release --target kt

echo "\$ kt run examples/wordfreq/wordfreq.kts main $text"
build/release/bin/kt run examples/wordfreq/wordfreq.kts main "$text"
