#!/usr/bin/env bash
# Installs what the build, the tests and the checks need on a Debian-like system; does nothing when
# all of it is there. Arguments: further packages.
set -euo pipefail

packages=(
  g++ cmake ninja-build pkg-config
  libicu-dev                                                   # class library
  libcli11-dev nlohmann-json3-dev libfmt-dev libedit-dev       # kt
  libsqlite3-dev libpq-dev                                     # connectors
  libzip-dev libexpat1-dev libxlsxwriter-dev                   # spreadsheets
  libgtest-dev libgmock-dev dpkg-dev                           # tests
  postgresql                                                   # its server, for tests
  unicode-data iso-codes                                       # data of the cookbook
  python3-dev pybind11-dev python3-numpy python3-pandas python3-pytest  # the Python module
  python3-dask python3-distributed                             # its partitions on many machines
  libbenchmark-dev lua5.4 liblua5.4-dev libmuparser-dev        # benchmarks
  clang clang-format clang-tidy libclang-rt-dev                # fuzzing, format and lint checks
  zsh fish                                                     # tests of completions
  vim libtree-sitter-dev                                       # tests of editors/
  "$@"
)
# Those may come from elsewhere.
command -v node >/dev/null || packages+=(nodejs)
command -v npm >/dev/null || packages+=(npm)

if ! command -v dpkg-query >/dev/null; then
  echo "setup: not a Debian system; install the like of: ${packages[*]}" >&2
  exit 0
fi

missing=()
for package in "${packages[@]}"; do
  state=$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null || true)
  [ "$state" = installed ] || missing+=("$package")
done
if [ ${#missing[@]} -eq 0 ]; then
  echo "setup: everything is installed"
  exit 0
fi

as_root=()
[ "$(id -u)" -eq 0 ] || as_root=(sudo)
echo "setup: installing ${missing[*]}"
"${as_root[@]}" apt-get update -qq
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
  apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
echo "setup: done"
