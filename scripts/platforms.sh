#!/usr/bin/env bash
# Reads the sources as other platforms do, without making anything: Clang with its own standard
# library, and the cross compiler for Windows. What is not installed is left out and told.
# Arguments: files, in place of all sources of libraries, program and hosts' layers.
#   apt-get install libc++-dev libc++abi-dev libfast-float-dev g++-mingw-w64-x86-64-posix
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

if [ $# -eq 0 ]; then
  mapfile -t files < <(git ls-files 'classlib/*.cpp' 'expr/*.cpp' 'object/*.cpp' 'script/*.cpp' \
    'dataset/*.cpp' 'reference/*.cpp' 'capi/*.cpp' 'host/*.h')
else
  files=("$@")
fi
flags=(-std=c++20 -fsyntax-only -I. -DKT_VERSION='"0"' -Wall -Wextra)
status=0

# check <name> <command...>: tells how many of the files the compiler takes, and what it says of the
# others.
check() {
  local name=$1 log
  shift
  log=$(mktemp)
  if ! command -v "$1" >/dev/null; then
    echo "platforms: $name: no $1"
    return
  fi
  if printf '%s\0' "${files[@]}" |
    xargs -0 -P "$(nproc)" -I{} "$@" "${flags[@]}" -x c++ {} >"$log" 2>&1; then
    echo "platforms: $name: all ${#files[@]} files"
  else
    grep -E ': (fatal )?error: ' "$log" | sort | uniq || true
    echo "platforms: $name: not all files"
    status=1
  fi
  rm -f "$log"
}

if [ -d /usr/include/c++/v1 ]; then
  check "Clang, libc++" clang++ -stdlib=libc++ -Wno-unknown-warning-option
else
  echo "platforms: Clang, libc++: no libc++"
fi

# These headers are the same everywhere; those of the C library are not.
headers=$(mktemp -d)
trap 'rm -rf "$headers"' EXIT
for folder in unicode fast_float; do
  [ ! -d "/usr/include/$folder" ] || ln -s "/usr/include/$folder" "$headers/$folder"
done
check "Windows, mingw-w64" x86_64-w64-mingw32-g++-posix -isystem "$headers"
exit $status
