#!/usr/bin/env bash
# One question, "rows, pieces and worth of each region where more than five pieces were ordered", to
# ever more rows, on every executor: files in memory, SQLite, PostgreSQL on one server and on shards
# (examples/cluster), Dask over files. And on the shards the same of each item, whose rows lie on all of
# them: as kt asks a table, where each shard adds up its own rows, and as a query that it passes on, for
# which the server that is asked fetches the rows. Wall-clock seconds, start of the program included, the
# smaller of two runs; in brackets the peak memory in MB of the program that is asked, where that holds the
# rows. All answers have to be equal. What is not installed is shown as "-"; EXECUTORS leaves some out.
#
#   ROWS="100000 1000000 10000000" SHARDS="1 2 4" EXECUTORS="files sqlite shards dask" bench/scale.sh [BUILD_FOLDER]
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=$(cd "${1:-$here/build/release}" && pwd)
kt=$build/bin/kt
python=/usr/bin/python3
files=16  # of Dask

folder=$(mktemp -d)
chmod 755 "$folder"
clean() {
  for cluster in "$folder"/cluster*; do
    [ ! -d "$cluster" ] || "$here/examples/cluster/cluster.sh" stop "$cluster"
  done
  rm -rf "$folder"
}
trap clean EXIT

question="SELECT region, count(*) AS n, sum(qty) AS qty, sum(price) AS price FROM orders
WHERE qty > 5 GROUP BY region ORDER BY region"

by_item="SELECT item, count(*) AS n, sum(qty) AS qty, sum(price) AS price FROM orders
WHERE qty > 5 GROUP BY item ORDER BY item"

make_csv() {  # ROWS, by the formulas of cluster.sh
  awk -v rows="$1" 'BEGIN {
    print "id,region,item,day,qty,price"
    for (day = 0; day < 1500; ++day)
      days[day] = strftime("%Y-%m-%d", 1577836800 + day * 86400, 1)
    for (i = 0; i < rows; ++i)
      printf "%d,r%d,item %d,%s,%d,%.6f\n", i, i % 8, i % 4999, days[i % 1500], i * 7 % 40,
        i * 37 % 10007 / 64 }'
}

# Prints "S.SS" or "S.SS (MB)" for a command whose answer has to be that of the first one.
measure() {  # memory|-, command
  local shown=$1 best="" round said
  shift
  for round in 1 2; do
    /usr/bin/time -o "$folder/time" -f '%e %M' "$@" >"$folder/answer" 2>"$folder/errors" ||
      { cat "$folder/errors" >&2; echo failed; return; }
    said=$(cat "$folder/time")
    if [ -z "$best" ] || [ "$(echo "${said% *} < ${best% *}" | bc)" = 1 ]; then best=$said; fi
  done
  # Numbers as numbers: 3.0 and 3 are one.
  awk -F, '/^(r[0-9]|item [0-9])/ { sub(/\r$/, ""); printf "%s %d %d %.6f\n", $1, $2, $3, $4 }' \
    "$folder/answer" >"$folder/plain"
  [ -f "$folder/expected" ] || cp "$folder/plain" "$folder/expected"
  cmp -s "$folder/plain" "$folder/expected" || { echo wrong; return; }
  [ "$shown" = memory ] && echo "${best% *} ($((${best#* } / 1024)))" || echo "${best% *}"
}
wants() { [[ " ${EXECUTORS:-files sqlite shards dask} " == *" $1 "* ]]; }
line() { printf '%-34s %s\n' "$1" "$2"; }

dask_totals() {
  cat <<'EOF'
import sys, distributed, ktscript.dask
if __name__ == "__main__":
    with distributed.LocalCluster(n_workers=2, threads_per_worker=1, host="127.0.0.1",
                                  dashboard_address=None, local_directory=sys.argv[2]) as cluster, \
            distributed.Client(cluster) as client:
        totals = ktscript.dask.group_totals(
            sys.argv[1], "region",
            {"n": ("count", "qty"), "qty": ("sum", "qty"), "price": ("sum", "price")},
            where="qty > 5", client=client)
        print(totals.to_csv())
EOF
}
dask_totals >"$folder/totals.py"

totals=(--filter 'qty > 5' --totals-only --sum qty,price --csv)
group=("${totals[@]}" --group region)
for rows in ${ROWS:-100000 1000000}; do
  rm -f "$folder"/orders* "$folder"/expected*
  echo "== $rows rows"
  if wants files || wants sqlite || wants dask; then make_csv "$rows" >"$folder/orders.csv"; fi
  if wants files; then
    line "kt, CSV" "$(measure memory "$kt" show "$folder/orders.csv" "${group[@]}")"
    "$kt" show "$folder/orders.csv" --save "$folder/orders.ktb" >/dev/null 2>&1
    line "kt, binary file" "$(measure memory "$kt" show "$folder/orders.ktb" "${group[@]}")"
  fi
  if wants sqlite; then
    "$python" - "$folder" <<'EOF'
import csv, sqlite3, sys
db = sqlite3.connect(f"{sys.argv[1]}/orders.db")
db.execute("CREATE TABLE orders(id INTEGER PRIMARY KEY, region TEXT, item TEXT, day DATE, qty INT, price REAL)")
with open(f"{sys.argv[1]}/orders.csv") as file:
    rows = csv.reader(file)
    next(rows)
    db.executemany("INSERT INTO orders VALUES (?,?,?,?,?,?)", rows)
db.commit()
EOF
    line "SQLite asked by kt" "$(measure - "$kt" show "sqlite:$folder/orders.db?query=$question" --csv)"
  fi

  for shards in ${SHARDS:-1 2 4}; do
    wants shards || break
    if ! url=$("$here/examples/cluster/cluster.sh" start "$shards" "$folder/cluster" "$rows"); then
      line "PostgreSQL, $shards" -
      continue
    fi
    line "PostgreSQL, $shards shard(s), asked by kt" \
      "$(measure - "$kt" show "$url&query=$question" --csv)"
    mv "$folder/expected" "$folder/expected_regions"
    [ ! -f "$folder/expected_items" ] || mv "$folder/expected_items" "$folder/expected"
    line "  by item, rows fetched from shards" "$(measure - "$kt" show "$url&query=$by_item" --csv)"
    line "  by item, sums of the shards" \
      "$(measure - "$kt" show "$url&table=orders" "${totals[@]}" --group item)"
    mv "$folder/expected" "$folder/expected_items"
    mv "$folder/expected_regions" "$folder/expected"
    "$here/examples/cluster/cluster.sh" stop "$folder/cluster"
    rm -rf "$folder/cluster"
  done

  if ! wants dask; then
    continue
  elif "$python" -c 'import distributed, dask.dataframe' 2>/dev/null; then
    split -n "l/$files" -d --additional-suffix=.csv "$folder/orders.csv" "$folder/orders-part"
    for part in "$folder"/orders-part*; do
      [ "$part" = "$folder/orders-part00.csv" ] || sed -i '1i id,region,item,day,qty,price' "$part"
    done
    line "Dask, two workers, $files files" "$(PYTHONPATH=$build/python measure - \
      "$python" "$folder/totals.py" "$folder/orders-part*.csv" "$folder")"
    rm -f "$folder"/orders-part*
  else
    line Dask -
  fi
done
