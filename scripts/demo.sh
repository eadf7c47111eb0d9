#!/usr/bin/env bash
# Builds the library natively (build/demo, or $QZ_BUILD_ROOT/demo) and runs the
# demo: a local receiver prints every batch it gets, and an example host
# application reports a run with sessions and features to it.
# Installs the Debian packages it needs when they are missing.
set -eu

cd "$(dirname "${BASH_SOURCE[0]}")/.."
ROOT=$(pwd)
# shellcheck source=scripts/packages.sh
. "$ROOT/scripts/packages.sh"

BUILD_ROOT=${QZ_BUILD_ROOT:-$ROOT/build}
BUILD=$BUILD_ROOT/demo
JOBS=${QZ_JOBS:-$(nproc 2>/dev/null || echo 2)}

qz_require_packages cmake make g++ pkg-config libcurl4-openssl-dev libssl-dev ca-certificates python3 openssl

cmake -S "$ROOT" -B "$BUILD" -DCMAKE_BUILD_TYPE=Release -DQZ_BUILD_TESTS=OFF >/dev/null
cmake --build "$BUILD" -j "$JOBS" --target qz_about qz_host_example

echo
"$BUILD/bin/qz_about"
echo

# The receiver answers 204 and prints each request; it picks free ports and
# writes them to its state folder.
STATE=$BUILD/receiver
rm -rf "$STATE"
mkdir -p "$STATE"
python3 "$ROOT/tests/support/receiver.py" serve --print --state-dir "$STATE" &
RECEIVER=$!
trap 'kill $RECEIVER 2>/dev/null || true; wait $RECEIVER 2>/dev/null || true' EXIT
for _ in $(seq 100); do
  [ -s "$STATE/ports" ] && break
  sleep 0.1
done
if [ ! -s "$STATE/ports" ]; then
  echo "demo: the receiver did not start" >&2
  exit 1
fi
read -r _ HTTP_PORT HTTPS_PORT _ <"$STATE/ports"

echo "demo: the example host posts over HTTP to port $HTTP_PORT"
"$BUILD/bin/qz_host_example" "127.0.0.1:$HTTP_PORT/Tessary.Web.Services.Messaging/MessagingServiceV3.svc/Publish"
sleep 0.5
echo
echo "demo: and once more over HTTPS (self-signed certificate) to port $HTTPS_PORT"
"$BUILD/bin/qz_host_example" "127.0.0.1:$HTTPS_PORT/Tessary.Web.Services.Messaging/MessagingServiceV3.svc" --https
sleep 0.5
