#!/usr/bin/env bash
# How long a table of a local PostgreSQL takes to become a dataset, beside psql, which writes it to a
# file. Starts a server of its own in a temporary folder. Wall-clock seconds, the smallest of ROUNDS (5)
# rounds in which all take turns; `kt` says how many rows it has, its start included. The server's
# own work is the same in all.
#
#   ROWS=1000000 ROUNDS=5 bench/postgres.sh [BUILD_FOLDER]
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
kt=$(cd "${1:-$here/build/release}" && pwd)/bin/kt
rows=${ROWS:-1000000}
rounds=${ROUNDS:-5}

folder=$(mktemp -d)
chmod 755 "$folder"
stop() {
  "$here/tests/connect/postgresql.sh" stop "$folder"
  rm -rf "$folder"
}
trap stop EXIT
said=$("$here/tests/connect/postgresql.sh" start "$folder")
socket=${said#socket=}
socket=${socket%% *}
port=${said#*port=}
port=${port%% *}
psql=(psql -X -q -v ON_ERROR_STOP=1 -h "$socket" -p "$port" -U kt shop)
url="postgresql://kt@:$port/shop?host=$socket"

"${psql[@]}" >/dev/null <<SQL
CREATE TABLE mixed AS SELECT i AS id, date '2020-01-01' + i % 1500 AS day,
  (ARRAY['north','south','east','west','n.e.','n.w.','s.e.','s.w.'])[i % 8 + 1] AS region,
  'item ' || i % 5000 AS item, i * 7 % 40 AS qty, (i * 37 % 100007) / 64.0::float8 AS price,
  NULLIF(i % 100, 0) / 100.0::float8 AS discount, i::int8 * 1000 AS code
  FROM generate_series(1, $rows) AS i;
CREATE TABLE numbers AS SELECT id, qty, price, discount FROM mixed;
CREATE TABLE amounts AS SELECT id, (price * 100)::int / 100.0::numeric AS amount,
  timestamp '2024-01-01' + id * interval '1 second' AS at FROM mixed;
CREATE TABLE names AS SELECT id, md5(id::text) AS name FROM mixed;
VACUUM ANALYZE;
SQL

seconds() {  # of a command
  local begin end
  begin=$(date +%s.%N)
  "$@" >/dev/null
  end=$(date +%s.%N)
  echo "$end - $begin" | bc
}
least() { sort -g | head -1; }

printf '%-9s %12s %12s %8s %8s %8s\n' table 'psql, text' 'psql, binary' kt 'kt/text' 'kt/binary'
for table in mixed numbers amounts names; do
  for ((round = 0; round < rounds; round++)); do
    seconds "${psql[@]}" -c "\\copy $table to '$folder/out.txt'" >>"$folder/$table.text"
    seconds "${psql[@]}" -c "\\copy $table to '$folder/out.bin' with (format binary)" \
      >>"$folder/$table.binary"
    seconds "$kt" eval "t.rowCount" --data "t=$url&table=$table" >>"$folder/$table.kt"
  done
  text=$(least <"$folder/$table.text")
  binary=$(least <"$folder/$table.binary")
  ours=$(least <"$folder/$table.kt")
  printf '%-9s %12.2f %12.2f %8.2f %8.2f %8.2f\n' "$table" "$text" "$binary" "$ours" \
    "$(echo "$ours / $text" | bc -l)" "$(echo "$ours / $binary" | bc -l)"
done
