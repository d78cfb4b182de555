#!/usr/bin/env bash
# A table on two servers of PostgreSQL: what runs on them, and changes that reach them. KT is the program
# kt; 77 when no server is installed.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
kt=${KT:-kt}
folder=$(mktemp -d)
chmod 755 "$folder"
trap './cluster.sh stop "$folder"; rm -rf "$folder"' EXIT
url=$(./cluster.sh start 2 "$folder" 20000)

group="SELECT region, count(*) AS orders, sum(qty) AS pieces FROM orders WHERE qty > 30 GROUP BY region"
echo "What each of the two servers is asked:"
"$kt" show "$url&query=EXPLAIN (VERBOSE, COSTS off) $group" --csv | grep -o 'Remote SQL: [^"]*'
echo
"$kt" show "$url&query=$group ORDER BY region"
echo
"$kt" run --allow-host "$folder/asked" correct.kts main "$url&"
"$kt" show "$url&query=SELECT region, sum(qty) AS pieces FROM orders WHERE item = 'item 7' GROUP BY region"

echo
echo "By what begins their names, which is on both servers:"
"$kt" show "$url&table=orders" --add "kind:string=left(item, 6)" --filter "qty > 30" --group kind \
  --totals-only --sum qty --explain 2>&1 | grep -v -e 'asked first:' -e 'statement:'
