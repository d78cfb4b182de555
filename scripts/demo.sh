#!/usr/bin/env bash
# Builds the release kt and reports on real data: the 34,924 characters of Unicode as Debian lists
# them. Makes a page for the browser, build/demo/letters.html, and ends with a database of SQLite.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

list=/usr/share/unicode/UnicodeData.txt
out=build/demo

# What the build says is of interest only when it fails; the report is what this script is for.
log=$(mktemp)
trap 'rm -f "$log"' EXIT
quiet() { "$@" >"$log" 2>&1 || { cat "$log" >&2; return 1; }; }

scripts/setup.sh
[ -r "$list" ] || { echo "demo: $list is missing; it comes with the package unicode-data" >&2; exit 1; }
echo "Building build/release ..."
quiet cmake --preset release
quiet cmake --build --preset release --target kt

# Writes a step: what it is for, the command, what the command prints.
PATH=$PWD/build/release/bin:$PATH
step() {
  printf '\n==== %s\n$' "$1"
  shift
  for word; do
    case $word in
      *\'*) printf ' "%s"' "$word" ;;
      *[!A-Za-z0-9_./=:,-]*) printf " '%s'" "$word" ;;
      *) printf ' %s' "$word" ;;
    esac
  done
  printf '\n'
  "$@"
}

mkdir -p "$out"
{ echo 'code;name;category;combining;direction;decomposition;decimal;digit;value;mirrored;oldname;comment;upper;lower;title'
  cat "$list"; } >"$out/list.txt"

step 'The list has semicolons and 15 columns; as CSV with the four that matter:' \
  kt show "$out/list.txt" --separator ';' --columns code,name,category,value \
  --save "$out/characters.csv"
step 'A script loads, filters, groups and saves it:' \
  kt run examples/report/report.kts main "$out/characters.csv" 500 "$out"
step 'The ten scripts with the most letters and digits, without writing a script:' \
  kt show "$out/letters.csv" --group script --max namelength --totals-only --sort rows:d --rows 10
step 'The same as a cross table of script and kind:' \
  kt show "$out/letters.csv" --pivot script:kind:code:count --sort total:d --rows 10
step 'And as bars:' \
  kt show "$out/letters.csv" --group script --totals-only --sort rows:d --chart rows --bars 10 \
  --width 80
step 'Rows as they are, of those that a filter leaves:' \
  kt show "$out/letters.csv" --filter "script = 'GREEK' && kind = 'capital'" --rows 5
step 'A page for the browser:' \
  kt show "$out/letters.csv" --pivot script:kind:code:count --sort total:d --rows 50 \
  --chart total --bars 20 --title 'Letters and digits by script' --html "$out/letters.html"

python3 - "$out/letters.csv" "$out/letters.db" <<'PY'
import csv, os, sqlite3, sys
if os.path.exists(sys.argv[2]):
    os.remove(sys.argv[2])
shop = sqlite3.connect(sys.argv[2])
shop.execute("CREATE TABLE letters(id INTEGER PRIMARY KEY, code TEXT, name TEXT, script TEXT, kind TEXT)")
with open(sys.argv[1], newline="", encoding="utf-8") as rows:
    shop.executemany("INSERT INTO letters(code, name, script, kind) VALUES (:code, :name, :script, :kind)",
                     csv.DictReader(rows))
shop.commit()
PY
letters="sqlite:$out/letters.db?table=letters"
kinds=(kt show "$letters" --filter "script = 'GREEK' || script = 'Greek'" --group kind --totals-only --count name)
step 'The same letters in a database of SQLite, filtered and counted there:' "${kinds[@]}" --explain
step 'A script edits the table and saves its changes in one transaction:' \
  kt run --allow-dir "$out" examples/database/correct.kts main "$letters"
step 'What the database says now:' "${kinds[@]}"
