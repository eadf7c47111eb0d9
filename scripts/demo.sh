#!/usr/bin/env bash
# Builds the library and the collector natively (build/demo, or
# $QZ_BUILD_ROOT/demo) and runs the demo: qz-collector listens on the
# library's default collection endpoint (https://localhost:8443, a
# self-signed certificate made on first start) and stores into SQLite; the
# example host application reports a run with sessions and features to it
# through the library's defaults; then the report is printed and the page
# shown where to open (the report's own listener, https://localhost:8444/).
# Installs the Debian packages it needs when they are missing.
set -eu

cd "$(dirname "${BASH_SOURCE[0]}")/.."
ROOT=$(pwd)
# shellcheck source=scripts/packages.sh
. "$ROOT/scripts/packages.sh"

BUILD_ROOT=${QZ_BUILD_ROOT:-$ROOT/build}
BUILD=$BUILD_ROOT/demo
JOBS=${QZ_JOBS:-$(nproc 2>/dev/null || echo 2)}
PORT=8443
REPORT_PORT=8444

qz_require_packages cmake make g++ pkg-config libcurl4-openssl-dev ca-certificates openssl \
  libboost-dev libssl-dev libxml2-dev libsqlite3-dev libpq-dev

cmake -S "$ROOT" -B "$BUILD" -DCMAKE_BUILD_TYPE=Release -DQZ_BUILD_TESTS=OFF >/dev/null
cmake --build "$BUILD" -j "$JOBS" --target qz_about qz_host_example qz-collector

echo
"$BUILD/bin/qz_about"
echo

# The collector keeps its database, certificate and key in one folder; a
# second demo run adds to the same database.
STATE=$BUILD/collector
mkdir -p "$STATE"
rm -f "$STATE/ports"
"$BUILD/bin/qz-collector" --db "$STATE/qz-collector.db" --create --https-port "$PORT" \
  --report-listen "127.0.0.1:$REPORT_PORT" --ports-file "$STATE/ports" --verbose &
COLLECTOR=$!
trap 'kill $COLLECTOR 2>/dev/null || true; wait $COLLECTOR 2>/dev/null || true' EXIT
for _ in $(seq 100); do
  [ -s "$STATE/ports" ] && break
  kill -0 $COLLECTOR 2>/dev/null || break
  sleep 0.1
done
if [ ! -s "$STATE/ports" ]; then
  echo "demo: the collector did not start (is port $PORT or $REPORT_PORT in use?)" >&2
  exit 1
fi

echo "demo: the example host reports a run to the library's default endpoint, https://localhost:$PORT"
# The library's default endpoint is on loopback: no proxy for it.
no_proxy=localhost,127.0.0.1 NO_PROXY=localhost,127.0.0.1 "$BUILD/bin/qz_host_example"
echo

"$BUILD/bin/qz-collector" report --db "$STATE/qz-collector.db"
"$BUILD/bin/qz-collector" report --db "$STATE/qz-collector.db" --html "$STATE/report.html"
echo
echo "demo: the same report as a page: $STATE/report.html"
if [ -t 0 ]; then
  echo "demo: and live at https://localhost:$REPORT_PORT/ (self-signed certificate); Ctrl-C stops the collector"
  wait $COLLECTOR || true
fi
