#!/usr/bin/env bash
# scripts/compare-csv.sh [FILE...]: loads CSV and TSV files with kt and with pandas and compares
# records, types, every cell, counts, sums, minima and maxima. Without FILE: those of the Debian
# packages below, which are unpacked into build/compare-csv, not installed. Fails on a difference
# that scripts/compare_csv.py gives no reason for. KT names the program (build/release/bin/kt).
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

packages=(
  python3-statsmodels python3-vega-datasets python3-libpysal python3-sklearn python3-skbio
  python3-astropy r-cran-vroom r-cran-readr r-cran-data.table r-cran-palmerpenguins
  ieee-data distro-info-data gdal-data
)

scripts/setup.sh python3-pandas
kt=${KT:-build/release/bin/kt}
[ -x "$kt" ] || { cmake --preset release && cmake --build --preset release --target kt; }

# Debian's interpreter, which has Debian's pandas.
compare=(/usr/bin/python3 scripts/compare_csv.py --kt "$kt")
if [ $# -gt 0 ]; then
  exec "${compare[@]}" "$@"
fi

folder=build/compare-csv
mkdir -p "$folder"
missing=()
for package in "${packages[@]}"; do
  [ -d "$folder/$package" ] || missing+=("$package")
done
if [ ${#missing[@]} -gt 0 ]; then
  downloads=$(mktemp -d)
  trap 'rm -rf "$downloads"' EXIT
  chmod 755 "$downloads"  # apt reads as a user of its own
  echo "compare-csv: fetching ${missing[*]}"
  (cd "$downloads" && { apt-get download -qq "${missing[@]}" 2>/dev/null ||
    { apt-get update -qq && apt-get download -qq "${missing[@]}"; }; })
  for package in "${missing[@]}"; do
    dpkg -x "$downloads/$package"_*.deb "$folder/$package.part"
    mv "$folder/$package.part" "$folder/$package"
  done
fi
"${compare[@]}" --folder "$folder" --random 200
