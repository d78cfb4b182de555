#!/usr/bin/env bash
# Reads the sources as other platforms do, without making anything but for --run:
#
#   libc++    Clang with its own standard library: libraries, program, hosts' layers
#   Windows   the cross compiler of mingw-w64: all but PostgreSQL, spreadsheets, and what stands in files
#             of their own for POSIX. scripts/windows.sh builds and runs it.
#
# platforms.sh            everything; installs what it needs
# platforms.sh --run      builds everything with libc++, by the preset libcxx, and runs the tests; with
#                         names (--run script_tests capi_test) these test programs only
# platforms.sh --quick    the files that name what differs between platforms, with what is installed
# platforms.sh FILE...    these
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

# The newest libc++ that the system's packages have goes with a Clang of its own.
newest_libcxx() {
  apt-cache search --names-only '^libc\+\+-[0-9]+-dev$' 2>/dev/null |
    sed -n 's/^libc++-\([0-9]*\)-dev .*/\1/p' | sort -n | tail -1
}

# run_libcxx <test program...>: the tests with libc++. GoogleTest is built with it, of fmt the
# headers do; all else is C.
run_libcxx() {
  local version compiler libraries=$PWD/build/libcxx-libraries
  version=$(newest_libcxx)
  version=${version:-14}
  scripts/setup.sh "clang-$version" "libc++-$version-dev" "libc++abi-$version-dev" googletest
  compiler="-DCMAKE_CXX_COMPILER=clang++-$version"
  if [ ! -e "$libraries/done-$version" ]; then
    cmake -S /usr/src/googletest -B build/libcxx-googletest -G Ninja "$compiler" \
      -DCMAKE_CXX_FLAGS=-stdlib=libc++ -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX="$libraries"
    cmake --build build/libcxx-googletest --target install
    touch "$libraries/done-$version"
  fi
  cmake --preset libcxx "$compiler"
  cmake --build --preset libcxx ${1+--target "$@"}
  if [ $# -eq 0 ]; then exec ctest --preset libcxx; fi
  local program
  for program in "$@"; do "build/libcxx/tests/$program" --gtest_brief=1; done
}

quick=
case ${1-} in
  --run)
    run_libcxx "${@:2}"
    exit
    ;;
  --quick)
    quick=1
    # Numbers as text, the system's calls, and what libraries came to have at different times.
    mapfile -t files < <(git grep -lE \
      '<charconv>|__int128|(from|to)_chars|<(sys/|unistd|pthread|fcntl)|_WIN32|__linux__|<filesystem>' \
      -- 'classlib/*.cpp' 'expr/*.cpp' 'object/*.cpp' 'script/*.cpp' 'dataset/*.cpp' 'host/*.cpp' \
      'capi/*.cpp')
    mapfile -t -O "${#files[@]}" files < <(git ls-files 'host/*.h')
    ;;
  '')
    mapfile -t files < <(git ls-files 'classlib/*.cpp' 'expr/*.cpp' 'object/*.cpp' 'script/*.cpp' \
      'dataset/*.cpp' 'reference/*.cpp' 'connect/*.cpp' 'host/*.cpp' 'host/*.h' 'capi/*.cpp' \
      'analysis/*.cpp' 'cli/*.cpp')
    version=$(newest_libcxx)
    scripts/setup.sh "clang-${version:-14}" "libc++-${version:-14}-dev" "libc++abi-${version:-14}-dev" \
      libfast-float-dev g++-mingw-w64-x86-64-posix
    ;;
  *) files=("$@") ;;
esac

# As for static libraries: imports and exports of Windows are for what is linked.
flags=(-std=c++20 -fsyntax-only -I. -DKT_STATIC -DKT_BUILDING_CAPI -DKT_VERSION='"0"'
  -DKT_CLI_VERSION='"0"' -DKT_CLIENTS_LINKED)
pq=()
! command -v pg_config >/dev/null || pq=(-isystem "$(pg_config --includedir)")
status=0

# check <name> <files to leave out> <command...>: tells how many of the files the compiler takes, and
# what it says of the others.
check() {
  local name=$1 without=$2 log own=() file
  shift 2
  for file in "${files[@]}"; do
    [[ $file =~ $without ]] || own+=("$file")
  done
  [ ${#own[@]} -gt 0 ] || return 0
  if ! command -v "$1" >/dev/null; then
    echo "platforms: $name: no $1"
    return
  fi
  log=$(mktemp)
  if printf '%s\0' "${own[@]}" |
    xargs -0 -P "$(nproc)" -I{} "$@" "${flags[@]}" -x c++ {} >"$log" 2>&1; then
    echo "platforms: $name: all ${#own[@]} files"
  else
    grep -E ': (fatal )?error: ' "$log" | sort -u || true
    echo "platforms: $name: not all of ${#own[@]} files"
    status=1
  fi
  rm -f "$log"
}

libcxx=$(find /usr/lib/llvm-*/include/c++/v1 -maxdepth 0 2>/dev/null | sort -V | tail -1 || true)
version=${libcxx#/usr/lib/llvm-}
version=${version%%/*}
if [ -n "$libcxx" ] && command -v "clang++-$version" >/dev/null; then
  check "Clang $version, libc++" '_Windows\.cpp$' "clang++-$version" -stdlib=libc++ "${pq[@]}"
else
  echo "platforms: Clang, libc++: not installed"
fi

# These headers are the same everywhere; those of the C library are not.
headers=$(mktemp -d)
trap 'rm -rf "$headers"' EXIT
for name in unicode fast_float CLI fmt nlohmann sqlite3.h; do
  [ ! -e "/usr/include/$name" ] || ln -s "/usr/include/$name" "$headers/$name"
done
posix='^cli/(Kt_Console|Kt_OpenFile|data/Kt_Save|show/Kt_Terminal)\.cpp$'
clients='^connect/(Kt_Xlsx(Load|Save)|detail/Kt_(Pg|Postgresql|Xlsx|Xml|Zip)[A-Za-z]*)\.cpp$'
check "Windows, mingw-w64" "$posix|$clients" x86_64-w64-mingw32-g++-posix \
  -isystem "$headers"
exit $status
