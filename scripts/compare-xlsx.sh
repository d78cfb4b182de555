#!/usr/bin/env bash
# scripts/compare-xlsx.sh [FILE...]: reads and writes workbooks with kt and with openpyxl and compares
# every cell. Without FILE: those of a Debian package, which is unpacked into build/compare-xlsx, and
# 100 random ones. KT names the program (build/release/bin/kt).
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

scripts/setup.sh python3-openpyxl
kt=${KT:-build/release/bin/kt}
[ -x "$kt" ] || { cmake --preset release && cmake --build --preset release --target kt; }
compare=(/usr/bin/python3 scripts/compare_xlsx.py --kt "$kt")
if [ $# -gt 0 ]; then
  exec "${compare[@]}" "$@"
fi

folder=build/compare-xlsx
if [ ! -d "$folder" ]; then
  downloads=$(mktemp -d)
  trap 'rm -rf "$downloads"' EXIT
  chmod 755 "$downloads"  # apt reads as a user of its own
  (cd "$downloads" && { apt-get download -qq r-cran-readxl 2>/dev/null ||
    { apt-get update -qq && apt-get download -qq r-cran-readxl; }; })
  mkdir -p build
  dpkg -x "$downloads"/r-cran-readxl_*.deb "$folder.part"
  mv "$folder.part" "$folder"
fi
mapfile -t files < <(find "$folder" -name '*.xlsx' | sort)
"${compare[@]}" --random 100 "${files[@]}"
