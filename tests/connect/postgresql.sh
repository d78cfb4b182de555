#!/usr/bin/env bash
# A PostgreSQL server of one's own in a folder: on a socket in it and a free port of the loopback,
# with the user kt (password 'secret word', asked for on the port) and the database shop.
#
#   postgresql.sh start FOLDER    prints "socket=... port=... pid=..."; 77 when there is no server
#   postgresql.sh stop FOLDER
#   postgresql.sh again FOLDER    after a stop, or while it runs: as it was started
#
# KT_POSTGRESQL_OPTIONS has further options of the server, "-c work_mem=64MB"; KT_POSTGRESQL_FILE_KB how large its files
# may grow, as on a disk that is full.
set -euo pipefail
command=$1
folder=$2

programs=$(ls -d /usr/lib/postgresql/*/bin 2>/dev/null | sort -V | tail -1 || true)
[ -x "$programs/initdb" ] || { echo "no PostgreSQL server is installed" >&2; exit 77; }

# The server refuses to run as root.
as_user=()
if [ "$(id -u)" -eq 0 ]; then
  id postgres >/dev/null 2>&1 || { echo "there is no user postgres" >&2; exit 77; }
  as_user=(runuser -u postgres --)
fi
run() { (cd / && "${as_user[@]}" "$@"); }

if [ "$command" = stop ]; then
  # Of this server alone, by the pid in its folder.
  [ ! -f "$folder/data/postmaster.pid" ] ||
    run "$programs/pg_ctl" stop -s -m immediate -w -D "$folder/data"
  exit 0
fi

if [ "$command" = again ]; then
  run "$programs/pg_ctl" restart -s -m immediate -w -t 60 -D "$folder/data" \
    -l "$folder/data/server.log" >/dev/null 2>&1 </dev/null
  exit
fi

mkdir -p "$folder"
chmod 755 "$folder"
[ "$(id -u)" -ne 0 ] || chown postgres "$folder"
echo "secret word" >"$folder/password"
chmod 644 "$folder/password"
run "$programs/initdb" -D "$folder/data" -U kt --pwfile="$folder/password" --encoding=UTF8 \
  --locale=C --auth-local=trust --auth-host=scram-sha-256 --no-sync >"$folder/initdb.log" 2>&1
[ -z "${KT_POSTGRESQL_FILE_KB:-}" ] || ulimit -f "$KT_POSTGRESQL_FILE_KB"
for _ in 1 2 3 4 5; do
  port=$((20000 + (RANDOM * 32768 + RANDOM) % 12000))
  if run "$programs/pg_ctl" start -s -w -t 60 -D "$folder/data" -l "$folder/data/server.log" \
    -o "-c listen_addresses=127.0.0.1 -p $port -c unix_socket_directories='$folder' -c fsync=off \
      ${KT_POSTGRESQL_OPTIONS:-}" \
    >/dev/null 2>&1 </dev/null; then
    "$programs/createdb" -h "$folder" -p "$port" -U kt shop
    echo "socket=$folder port=$port pid=$(head -1 "$folder/data/postmaster.pid")"
    exit 0
  fi
done
cat "$folder/data/server.log" >&2
exit 1
