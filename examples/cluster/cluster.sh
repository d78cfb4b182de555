#!/usr/bin/env bash
# A table of PostgreSQL that lies on several servers of this machine, in a folder:
#
#   cluster.sh start SHARDS FOLDER [ROWS]   prints the URL of the server that is asked
#   cluster.sh stop FOLDER
#
# `orders` is partitioned by region; each shard has some regions, as a foreign table of the server that
# is asked. That one has no rows: it sends filters, and groups by region, to the shards. 77 when no server
# of PostgreSQL is installed.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
server() { "$here/../../tests/connect/postgresql.sh" "$@"; }
command=$1

if [ "$command" = stop ]; then
  for part in "$2"/asked "$2"/shard*; do
    [ ! -d "$part" ] || server stop "$part"
  done
  exit 0
fi

shards=$2
folder=$3
rows=${4:-0}
regions=8
columns='id int, region text, item text, day date, qty int, price float8'
mkdir -p "$folder"

# Runs statements on the server in a folder that was said to be "socket=... port=... pid=...".
run() {
  local socket=${1#socket=} port=${1#*port=}
  psql -X -q -v ON_ERROR_STOP=1 -h "${socket%% *}" -p "${port%% *}" -U kt shop >/dev/null
}

asked=$(server start "$folder/asked")
{
  echo "CREATE EXTENSION postgres_fdw;"
  echo "CREATE TABLE orders($columns) PARTITION BY LIST (region);"
  # Groups are made by partition, where the rows are.
  echo "ALTER DATABASE shop SET enable_partitionwise_aggregate = on;"
} | run "$asked"

for ((shard = 0; shard < shards; shard++)); do
  said=$(server start "$folder/shard$shard")
  socket=${said#socket=} port=${said#*port=}
  here_regions=
  for ((region = shard; region < regions; region += shards)); do
    here_regions+="${here_regions:+, }'r$region'"
  done
  {
    echo "CREATE TABLE orders($columns);"
    echo "INSERT INTO orders SELECT i, 'r' || i % $regions, 'item ' || i % 4999,"
    echo "  date '2020-01-01' + i % 1500, i * 7 % 40, (i * 37 % 10007) / 64.0"
    echo "  FROM generate_series(0, $rows - 1) AS i WHERE i % $regions % $shards = $shard;"
    echo "ALTER TABLE orders ADD PRIMARY KEY (id); VACUUM ANALYZE orders;"
  } | run "$said"
  {
    echo "CREATE SERVER shard$shard FOREIGN DATA WRAPPER postgres_fdw OPTIONS (host '${socket%% *}',"
    echo "  port '${port%% *}', dbname 'shop', async_capable 'true', use_remote_estimate 'true',"
    echo "  fetch_size '10000', batch_size '1000', fdw_tuple_cost '0.2');"
    echo "CREATE USER MAPPING FOR kt SERVER shard$shard OPTIONS (user 'kt', password_required 'false');"
    echo "CREATE FOREIGN TABLE orders_$shard PARTITION OF orders FOR VALUES IN ($here_regions)"
    echo "  SERVER shard$shard OPTIONS (table_name 'orders');"
  } | run "$asked"
done
socket=${asked#socket=} port=${asked#*port=}
echo "postgresql://kt@:${port%% *}/shop?host=${socket%% *}"
