#!/usr/bin/env bash
# What the library costs the application that carries it. Builds the Release
# benchmarks (Linux and, cross-built, Windows), starts the loopback receiver,
# and prints one Markdown table of figures:
#   - each host call timed alone (bursts of 20 with pauses), p50/p99/p99.9 with
#     1 and 2 host threads, heap allocations and bytes per call, beside the
#     yardstick (spdlog's asynchronous logger), on Linux and for qzwin32.dll
#     under Wine;
#   - instructions per FeatureTick on the host thread (callgrind, repeatable);
#   - Wine server requests per FeatureTick (SetEvent and all requests);
#   - a 20-message batch built and converted to UTF-8;
#   - stored batches: the time per send draining 100, 1,000 and 20,000 of
#     them, and the time to store one more, with and without a storage limit;
#   - processor time of a started run left idle.
# Usage: bash scripts/bench.sh [--quick]     (--quick: fewer bursts, 10 s idle)
# Environment: QZ_BUILD_ROOT (default <repo>/build), QZ_JOBS (default 2),
# QZ_BENCH_BURSTS (default 1000), QZ_BENCH_IDLE_SECONDS (default 60).
set -u

cd "$(dirname "${BASH_SOURCE[0]}")/.."
ROOT=$(pwd)
# shellcheck source=scripts/packages.sh
. "$ROOT/scripts/packages.sh"

BUILD_ROOT=${QZ_BUILD_ROOT:-$ROOT/build}
JOBS=${QZ_JOBS:-2}
BURSTS=${QZ_BENCH_BURSTS:-1000}
IDLE_SECONDS=${QZ_BENCH_IDLE_SECONDS:-60}
if [ "${1:-}" = "--quick" ]; then
  BURSTS=200
  IDLE_SECONDS=10
fi
WINE_LOADER=/usr/lib/wine/wine64
WINESERVER=wineserver
[ -x /usr/lib/wine/wineserver ] && WINESERVER=/usr/lib/wine/wineserver

PACKAGES=(
  cmake make g++ pkg-config libbenchmark-dev libspdlog-dev libcurl4-openssl-dev libssl-dev
  g++-mingw-w64-x86-64-posix mingw-w64-x86-64-dev wine wine64 python3 valgrind
)
qz_require_packages "${PACKAGES[@]}" || { echo "qz: installing the packages failed" >&2; exit 1; }

NATIVE=$BUILD_ROOT/bench
WIN=$BUILD_ROOT/bench-win
OUT=$NATIVE/results
mkdir -p "$OUT"

build() {
  local dir=$1
  shift
  cmake -S "$ROOT" -B "$dir" -DCMAKE_BUILD_TYPE=Release -DQZ_BUILD_BENCH=ON -DQZ_BUILD_TESTS=OFF \
    -DQZ_WERROR=ON "$@" >"$dir.configure.log" 2>&1 || { cat "$dir.configure.log" >&2; return 1; }
}
echo "qz: building the benchmarks (Linux and Windows, Release)" >&2
mkdir -p "$NATIVE" "$WIN"
build "$NATIVE" && cmake --build "$NATIVE" -j "$JOBS" --target qz_latency qz_bench >&2 || exit 1
build "$WIN" -DCMAKE_TOOLCHAIN_FILE="$ROOT/cmake/mingw-w64-x86_64.cmake" &&
  cmake --build "$WIN" -j "$JOBS" --target qz_latency >&2 || exit 1

# The loopback endpoint; it keeps only the number of batches it received.
RECEIVER_DIR=$NATIVE/receiver
python3 "$ROOT/tests/support/receiver.py" start --state-dir "$RECEIVER_DIR" --count-only >/dev/null ||
  exit 1
export WINEPREFIX=$WIN/wineprefix WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
cleanup() {
  python3 "$ROOT/tests/support/receiver.py" stop --state-dir "$RECEIVER_DIR"
  "$WINESERVER" -k >/dev/null 2>&1
}
trap cleanup EXIT
trap 'exit 143' TERM INT
ENDPOINT=127.0.0.1:$(awk '{print $2}' "$RECEIVER_DIR/ports")/qz/Publish

# Linux: offline storage in a temporary folder, never the machine's own.
native() { sh "$ROOT/tests/support/private_storage.sh" "$NATIVE/bin/qz_latency" --endpoint "$ENDPOINT" "$@"; }
wine_run() { "$WINE_LOADER" "$WIN/bin/qz_latency.exe" --endpoint "$ENDPOINT" "$@"; }

load() { cut -d' ' -f1-3 /proc/loadavg; }
LOAD_BEFORE=$(load)

echo "qz: latency, Linux" >&2
native --bursts "$BURSTS" >"$OUT/linux.rows" || exit 1

echo "qz: latency, Windows build under Wine" >&2
mkdir -p "$WINEPREFIX"
"$WINESERVER" -p 2>/dev/null
if [ ! -f "$WINEPREFIX/system.reg" ]; then
  timeout 300 "$WINE_LOADER" wineboot --init </dev/null >"$WIN/wineboot.log" 2>&1
fi
# Wine's WMI tables are not safe for two threads at once, and a probe reads
# them: the probe runs on one thread there.
{
  wine_run --bursts "$BURSTS" --case clock,heap,guid,tick,tick-full,start-stop,session,exception 2>/dev/null
  wine_run --bursts "$BURSTS" --case probe --threads 1 2>/dev/null
} | tr -d '\r' >"$OUT/wine.rows" || exit 1
LOAD_AFTER=$(load)

# Wine server requests of the measuring thread, from a server that traces every
# request: 2080 ticks (warm-up included) with a BinaryInfo and two properties.
echo "qz: Wine server requests per FeatureTick" >&2
"$WINESERVER" -k >/dev/null 2>&1
sleep 1
"$WINESERVER" -f -d1 2>"$OUT/wine-server.trace" &
server=$!
sleep 1
wine_run --case tick-full --threads 1 --bursts 100 >/dev/null 2>"$OUT/wine-server.stderr"
"$WINESERVER" -k >/dev/null 2>&1
wait $server
ticks=2080
thread=$(sed -n 's/.*tick-full measured on thread \([0-9a-f]*\).*/\1/p' "$OUT/wine-server.stderr" | head -n 1)
# A request shows as "tid: name( ... )" and its reply as "tid: name() = ...".
requests() { grep -cE "^$thread: $1\\( " "$OUT/wine-server.trace"; }
set_events=$(requests event_op)
all_requests=$(requests '[a-z_]+')
sleeps=$(requests select)

echo "qz: instructions per FeatureTick (callgrind)" >&2
rm -f "$OUT"/callgrind.out.*
# The full form only: the shorter overloads call it.
valgrind --tool=callgrind --callgrind-out-file="$OUT/callgrind.out" \
  --toggle-collect='qz::API::FeatureTick(*, *, *, *)' \
  "$NATIVE/bin/qz_latency" --endpoint "$ENDPOINT" --case tick-full --threads 1 --bursts 50 \
  --pause-us 100 >/dev/null 2>"$OUT/callgrind.log"
callgrind_ticks=$((50 * 20 + 80))
instructions=$(sed -n 's/^summary: //p' "$OUT/callgrind.out")

echo "qz: 20-message batch" >&2
"$NATIVE/bin/qz_bench" --benchmark_filter='BM_Batch20ToUtf8' --benchmark_repetitions=5 \
  --benchmark_report_aggregates_only=true --benchmark_format=csv 2>/dev/null >"$OUT/batch.csv"
batch=$(awk -F, '$1 ~ /_median"?$/ {printf "%.1f µs, %.0f MB/s (UTF-8)", $4, $6 / 1e6}' "$OUT/batch.csv")

# Stored batches on the system's temporary folder (a real disk: stores sync).
echo "qz: stored batches" >&2
"$NATIVE/bin/qz_bench" --benchmark_filter='BM_DrainStoredBatches' --benchmark_repetitions=3 \
  --benchmark_report_aggregates_only=true --benchmark_format=csv 2>/dev/null >"$OUT/drain.csv"
"$NATIVE/bin/qz_bench" --benchmark_filter='BM_StoreBesideStoredBatches' --benchmark_format=csv \
  2>/dev/null >"$OUT/store.csv"

echo "qz: idle run, $IDLE_SECONDS s" >&2
idle=$(native --idle "$IDLE_SECONDS" | sed 's/^idle: //')

cpu=$(grep -m1 'model name' /proc/cpuinfo | cut -d: -f2 | sed 's/^ //')
echo
echo "qz $(git -C "$ROOT" describe --always --dirty 2>/dev/null), $(date -u '+%Y-%m-%d %H:%M UTC'), $(nproc) cores ($cpu), $(uname -sr); load average $LOAD_BEFORE before, $LOAD_AFTER after the latency runs"
echo
echo "| Call | Threads | p50 µs | p99 µs | p99.9 µs | Allocations | Bytes |"
echo "| --- | --- | --- | --- | --- | --- | --- |"
sed 's/^| /| Linux: /' "$OUT/linux.rows"
sed 's/^| /| Wine: /' "$OUT/wine.rows"
echo
echo "| Other figures | |"
echo "| --- | --- |"
echo "| Instructions per FeatureTick, BinaryInfo + 2 properties (callgrind, host thread) | $((instructions / callgrind_ticks)) |"
echo "| Wine server requests per FeatureTick, BinaryInfo + 2 properties: SetEvent / all but waits / waits (pauses included) | $(awk -v e="$set_events" -v a="$all_requests" -v w="$sleeps" -v t=$ticks 'BEGIN {printf "%.3f / %.3f / %.3f", e / t, (a - w) / t, w / t}') |"
echo "| 20-message batch built and converted to UTF-8 | $batch |"
echo "| Idle started run (Linux) | $idle |"
echo
echo "| Stored batches | Send one, elapsed | Send one, processor |"
echo "| --- | --- | --- |"
# Medians of three drains of the whole folder; the first send's search included.
awk -F, '$1 ~ /_median"?$/ {
  match($1, /stored:[0-9]+/); n = substr($1, RSTART + 7, RLENGTH - 7)
  printf "| %s | %.0f µs | %.0f µs |\n", n, $12, $11 }' "$OUT/drain.csv"
echo
echo "| Stored batches | Limit | Store one more, elapsed | Store one more, processor |"
echo "| --- | --- | --- | --- |"
awk -F, 'NR > 1 {
  match($1, /stored:[0-9]+/); n = substr($1, RSTART + 7, RLENGTH - 7)
  limit = $1 ~ /limit:1/ ? "yes" : "no"
  printf "| %s | %s | %.2f ms | %.2f ms |\n", n, limit, $3 / 1000, $11 / 1000 }' "$OUT/store.csv"
