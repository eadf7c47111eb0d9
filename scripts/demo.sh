#!/usr/bin/env bash
# Builds the library natively (build/demo, or $QZ_BUILD_ROOT/demo) and runs the demo.
# Installs the Debian packages it needs when they are missing.
set -eu

cd "$(dirname "${BASH_SOURCE[0]}")/.."
ROOT=$(pwd)
# shellcheck source=scripts/packages.sh
. "$ROOT/scripts/packages.sh"

BUILD_ROOT=${QZ_BUILD_ROOT:-$ROOT/build}
BUILD=$BUILD_ROOT/demo
JOBS=${QZ_JOBS:-$(nproc 2>/dev/null || echo 2)}

qz_require_packages cmake make g++ pkg-config libcurl4-openssl-dev ca-certificates

cmake -S "$ROOT" -B "$BUILD" -DCMAKE_BUILD_TYPE=Release -DQZ_BUILD_TESTS=OFF >/dev/null
cmake --build "$BUILD" -j "$JOBS" --target qz_about

echo
"$BUILD/bin/qz_about"
