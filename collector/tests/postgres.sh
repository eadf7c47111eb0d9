#!/usr/bin/env bash
# A throw-away PostgreSQL 15 server on loopback for the collector's tests.
#   postgres.sh start DIR [durable]  initdb in a new temporary folder, start on
#                                    a free port; DIR/conninfo gets the
#                                    connection string. Without "durable" the
#                                    server never syncs (fast); with it, it
#                                    syncs as a production server does, but
#                                    commits do not wait for the sync unless
#                                    the session asks (synchronous_commit off).
#   postgres.sh crash DIR            stop it at once, as a power cut would
#   postgres.sh restart DIR          start it again on the same folder and port
#   postgres.sh stop DIR             stop it and remove its folder
# PostgreSQL refuses to run as root; as root the server runs as "postgres".
set -eu
command=$1
state=$2
mode=${3:-}
BIN=${QZ_POSTGRES_BIN:-/usr/lib/postgresql/15/bin}
as_server=()
if [ "$(id -u)" -eq 0 ]; then
  as_server=(runuser -u postgres --)
fi

stop() {
  if [ -f "$state/datadir" ]; then
    local data
    data=$(cat "$state/datadir")
    "${as_server[@]}" "$BIN/pg_ctl" -D "$data/db" -m immediate -w -t 30 stop >/dev/null 2>&1 || true
    rm -rf "$data"
  fi
  rm -f "$state/datadir" "$state/conninfo" "$state/options"
}

run() {
  local data
  data=$(cat "$state/datadir")
  "${as_server[@]}" "$BIN/pg_ctl" -D "$data/db" -l "$data/server.log" -w -t 60 -o "$(cat "$state/options")" \
    start >/dev/null || { cat "$data/server.log" >&2; exit 1; }
}

case $command in
  start)
    mkdir -p "$state"
    stop
    data=$(mktemp -d /tmp/qz-postgres-XXXXXX)
    echo "$data" >"$state/datadir"
    chmod 755 "$data"
    if [ ${#as_server[@]} -gt 0 ]; then chown postgres "$data"; fi
    # A free port: bind to port 0 and read what the kernel chose.
    port=$(python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')
    "${as_server[@]}" "$BIN/initdb" -D "$data/db" -U qz -A trust --no-sync -E UTF8 --locale=C.UTF-8 \
      >"$data/initdb.log" 2>&1 || { cat "$data/initdb.log" >&2; exit 1; }
    options="-p $port -k $data -c listen_addresses=127.0.0.1 -c max_connections=200"
    if [ "$mode" = durable ]; then
      options="$options -c synchronous_commit=off"
    else
      options="$options -c fsync=off -c synchronous_commit=off -c full_page_writes=off"
    fi
    echo "$options" >"$state/options"
    run
    echo "host=127.0.0.1 port=$port user=qz" >"$state/conninfo"
    cat "$state/conninfo"
    ;;
  crash)
    "${as_server[@]}" "$BIN/pg_ctl" -D "$(cat "$state/datadir")/db" -m immediate -w -t 30 stop >/dev/null
    ;;
  restart)
    run
    ;;
  stop)
    stop
    ;;
  *)
    echo "usage: postgres.sh start|crash|restart|stop DIR [durable]" >&2
    exit 2
    ;;
esac
