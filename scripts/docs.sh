#!/usr/bin/env bash
# Builds the API reference from the public headers' comments into
# $QZ_BUILD_ROOT/docs/html (default build/docs/html). Fails on any Doxygen
# warning, printing them.
set -eu
cd "$(dirname "${BASH_SOURCE[0]}")/.."
ROOT=$(pwd)
BUILD_ROOT=${QZ_BUILD_ROOT:-$ROOT/build}
OUT=$BUILD_ROOT/docs
command -v doxygen >/dev/null || { echo "qz: doxygen is not installed (apt-get install doxygen)" >&2; exit 1; }
version=$(sed -n 's/^project(qz VERSION \([0-9.]*\).*/\1/p' "$ROOT/CMakeLists.txt")
rm -rf "$OUT/html"
mkdir -p "$OUT"
if ! QZ_DOCS_ROOT=$ROOT QZ_DOCS_OUT=$OUT QZ_VERSION=$version doxygen "$ROOT/docs/Doxyfile"; then
  echo "qz: the API reference has warnings:" >&2
  cat "$OUT/warnings.log" >&2
  exit 1
fi
if [ -s "$OUT/warnings.log" ]; then
  cat "$OUT/warnings.log" >&2
  exit 1
fi
echo "qz: API reference in $OUT/html/index.html"
