#!/usr/bin/env bash
# Builds for 64-bit Windows with mingw-w64 and runs the tests under Wine.
#
# windows.sh              everything: what it needs, the build, the tests
# windows.sh TEST...      builds and runs these test programs only (classlib_tests capi_test)
#
# Libraries that Debian has for Windows come from there; ICU, SQLite, fmt and GoogleTest are built once
# from Debian's sources into build/windows-libraries. Nothing is written outside of build/ but packages,
# and Wine's own files into a temporary folder.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
root=$PWD
libraries=$root/build/windows-libraries
sources=$libraries/sources

scripts/setup.sh g++-mingw-w64-x86-64-posix wine wine64 dpkg-dev googletest icu-devtools tcl \
  libfast-float-dev

# fetch <package>: its sources, unpacked; echoes their folder.
fetch() {
  local lists=$libraries/apt
  mkdir -p "$lists/parts" "$lists/lists/partial" "$sources/$1"
  if [ ! -e "$lists/updated" ]; then
    local file
    for file in /etc/apt/sources.list /etc/apt/sources.list.d/*.list; do
      [ ! -e "$file" ] || sed -n 's/^deb /deb-src /p' "$file" >"$lists/parts/$(basename "$file" .list).list"
    done
    for file in /etc/apt/sources.list.d/*.sources; do
      [ ! -e "$file" ] || sed 's/^Types:.*/Types: deb-src/' "$file" >"$lists/parts/$(basename "$file")"
    done
  fi
  local options=(-o Dir::Etc::SourceList=/dev/null -o "Dir::Etc::SourceParts=$lists/parts/"
    -o "Dir::State::Lists=$lists/lists" -o APT::Sandbox::User=root)
  [ -e "$lists/updated" ] || apt-get "${options[@]}" update -qq >&2
  touch "$lists/updated"
  (cd "$sources/$1" && apt-get "${options[@]}" source -qq "$1" >/dev/null 2>"$sources/$1.log") ||
    { cat "$sources/$1.log" >&2; return 1; }
  find "$sources/$1" -mindepth 1 -maxdepth 1 -type d
}

# library <name> <source folder> <options...>: builds and installs it.
library() {
  local name=$1 folder=$2
  shift 2
  echo "windows: building $name"
  cmake -S "$folder" -B "$libraries/build/$name" -G Ninja -Wno-dev \
    -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64.cmake" -DKT_WINDOWS_PREFIX="$libraries" \
    -DCMAKE_INSTALL_PREFIX="$libraries" -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_C_FLAGS_RELEASE=-O0 -DCMAKE_CXX_FLAGS_RELEASE=-O0 "$@" >"$libraries/$name.log"
  cmake --build "$libraries/build/$name" --target install >>"$libraries/$name.log" ||
    { tail -40 "$libraries/$name.log"; return 1; }
  touch "$libraries/$name.done"
}

has() { [ -e "$libraries/$1.done" ]; }

mkdir -p "$sources"
has googletest || library googletest /usr/src/googletest
has fmt || library fmt "$(fetch fmtlib)" -DFMT_TEST=OFF -DFMT_DOC=OFF
if ! has sqlite; then
  folder=$(fetch sqlite3)
  joined=$libraries/build/sqlite-source
  mkdir -p "$joined"
  (cd "$joined" && make -s -f "$folder/main.mk" TOP="$folder" BCC=cc NAWK=awk sqlite3.c) >/dev/null
  cp "$folder/VERSION" "$joined"
  library sqlite packaging/windows/sqlite -DSQLITE_SOURCE="$joined"
fi
has icu || library icu packaging/windows/icu -DICU_SOURCE="$(fetch icu)/source"
# Headers alone, the same on every system.
mkdir -p "$libraries/include" "$libraries/share/cmake"
cp -r /usr/include/CLI /usr/include/nlohmann /usr/include/fast_float "$libraries/include"
cp -r /usr/share/cmake/CLI11 /usr/share/cmake/nlohmann_json "$libraries/share/cmake"

cmake --preset mingw
cmake --build --preset mingw ${1+--target "$@"}

WINEPREFIX=$(mktemp -d)
export WINEPREFIX WINEDEBUG=-all LC_ALL=C.UTF-8  # names of files, too
trap 'wineserver -k 2>/dev/null || true; rm -rf "$WINEPREFIX"' EXIT
wine wineboot --init >/dev/null 2>&1 || true
wine reg add 'HKCU\Software\Wine' /v Version /d win10 /f >/dev/null
if [ $# -eq 0 ]; then
  ctest --preset mingw
else
  for program in "$@"; do wine "build/mingw/tests/$program.exe" --gtest_brief=1; done
fi
