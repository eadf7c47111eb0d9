#!/usr/bin/env bash
# Builds the fuzz targets of fuzz/ (clang, libFuzzer, AddressSanitizer and
# UndefinedBehaviorSanitizer) in build/fuzz and runs each for a while.
#   bash scripts/fuzz.sh [SECONDS] [TARGET...]   default: 60 s each, every target
#   bash scripts/fuzz.sh --build                 configure and build only
# Each target starts from its corpus in fuzz/corpus/<target> plus what earlier
# runs found (build/fuzz/corpus/<target>). The summary gives executions and
# coverage per target; an input that crashes, hangs (30 s) or runs out of
# memory is kept in build/fuzz/artifacts/ and fails the script. Once its cause
# is fixed, copy it into fuzz/corpus/<target>/ so that the test command replays
# it from then on.
# Environment: QZ_BUILD_ROOT (default <repo>/build), QZ_JOBS (build jobs,
# default 2), QZ_FUZZ_JOBS (targets run at once, default 1), QZ_FUZZ_WORKERS
# (processes per target sharing its corpus, default 1; executions add up),
# QZ_FUZZ_RUNS (stop each process after this many executions, even before its
# time is up).
set -u

cd "$(dirname "${BASH_SOURCE[0]}")/.."
ROOT=$(pwd)
# shellcheck source=scripts/packages.sh
. "$ROOT/scripts/packages.sh"

DIR=${QZ_BUILD_ROOT:-$ROOT/build}/fuzz
JOBS=${QZ_JOBS:-2}
RUNNERS=${QZ_FUZZ_JOBS:-1}
RUNS=${QZ_FUZZ_RUNS:--1}
WORKERS=${QZ_FUZZ_WORKERS:-1}
TARGETS=(text utf8 offline_record collector_body report_text flat)

build() {
  mkdir -p "$DIR"
  qz_require_packages clang-14 libfuzzer-14-dev cmake make pkg-config libcurl4-openssl-dev libssl-dev \
    libboost-dev libxml2-dev libsqlite3-dev libpq-dev || return 1
  # The core and the collector are instrumented for coverage too; only the
  # targets link libFuzzer's main.
  cmake -S "$ROOT" -B "$DIR" -DCMAKE_C_COMPILER=clang-14 -DCMAKE_CXX_COMPILER=clang++-14 \
    "-DCMAKE_C_FLAGS=-O1 -g" "-DCMAKE_CXX_FLAGS=-O1 -g" -DQZ_WERROR=ON -DQZ_BUILD_TESTS=OFF \
    -DQZ_BUILD_FUZZ=ON -DQZ_SANITIZER=fuzzer-no-link,address,undefined >"$DIR/configure.log" 2>&1 || {
    cat "$DIR/configure.log" >&2
    return 1
  }
  cmake --build "$DIR" -j "$JOBS" --target qz_fuzz
}

# A smaller quarantine than ASan's default keeps the targets fast; freed
# memory is still poisoned long enough to catch a late use.
export ASAN_OPTIONS=${ASAN_OPTIONS:-quarantine_size_mb=16:detect_leaks=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1}

# Options of one target beyond the common ones.
target_options() {
  case $1 in
    # Its 64 calls fit in 512 bytes when their texts are short, and huge
    # texts are made by repetition; longer inputs only made each execution
    # several times slower.
    flat) echo "-max_len=512" ;;
  esac
}

# The last value of a libFuzzer statistic in a log.
stat_of() { sed -n "s/^stat::$1: *//p" "$2" | tail -n 1; }
last_of() { grep -oE "$1: [0-9]+" "$2" | tail -n 1 | cut -d' ' -f2; }

run_target() {
  local target=$1 seconds=$2
  local corpus=$DIR/corpus/$target
  mkdir -p "$corpus" "$DIR/artifacts" "$DIR/logs"
  cp -n "$ROOT/fuzz/corpus/$target/"* "$corpus/" 2>/dev/null
  # Runs add inputs without end; thousands of files are merged down to those
  # that still add coverage, since every worker rereads the folder.
  if [ "$(ls "$corpus" | wc -l)" -gt 5000 ]; then
    rm -rf "$corpus.merged" && mkdir "$corpus.merged"
    # shellcheck disable=SC2046
    "$DIR/bin/qz_fuzz_$target" -merge=1 -timeout=30 -rss_limit_mb=2048 $(target_options "$target") \
      "$corpus.merged" "$corpus" >"$DIR/logs/$target.merge.log" 2>&1 &&
      rm -rf "$corpus" && mv "$corpus.merged" "$corpus"
  fi
  local began=$SECONDS worker pids=() rc=0 pin=()
  for ((worker = 1; worker <= WORKERS; worker++)); do
    # Workers of the only target running each keep to a core of their own:
    # the threads of a process spread over two cores made the kernel flush
    # both cores' address caches whenever memory was unmapped.
    if [ "$WORKERS" -gt 1 ] && [ "$RUNNERS" -eq 1 ] && command -v taskset >/dev/null; then
      pin=(taskset -c $(((worker - 1) % $(nproc))))
    fi
    # Workers pick up each other's inputs every 10 s; rereading a large
    # folder every second took a tenth of a run.
    # shellcheck disable=SC2046
    "${pin[@]}" "$DIR/bin/qz_fuzz_$target" "$corpus" -max_total_time="$seconds" -runs="$RUNS" -timeout=30 \
      -reload=10 -rss_limit_mb=2048 -print_final_stats=1 -artifact_prefix="$DIR/artifacts/$target-" \
      $(target_options "$target") >"$DIR/logs/$target.$worker.log" 2>&1 &
    pids+=($!)
  done
  for worker in "${pids[@]}"; do
    wait "$worker" || rc=1
  done
  # Executions and speed add up over the workers; coverage is the best any
  # of them reached (they share the corpus).
  local runs=0 speed=0 cov=0 features=0 log value
  for ((worker = 1; worker <= WORKERS; worker++)); do
    log=$DIR/logs/$target.$worker.log
    value=$(stat_of number_of_executed_units "$log") && runs=$((runs + ${value:-0}))
    value=$(stat_of average_exec_per_sec "$log") && speed=$((speed + ${value:-0}))
    value=$(last_of cov "$log") && [ "${value:-0}" -gt "$cov" ] && cov=$value
    value=$(last_of ft "$log") && [ "${value:-0}" -gt "$features" ] && features=$value
  done
  local status=ok
  [ "$rc" -eq 0 ] || status="FAILED (see $DIR/logs/$target.*.log)"
  printf '%-15s %6s s %12s executions %8s/s  coverage %5s edges %6s features  %5s inputs  %s\n' \
    "$target" "$((SECONDS - began))" "$runs" "$speed" "$cov" "$features" "$(ls "$corpus" | wc -l)" "$status"
  return $rc
}

if [ "${1:-}" = "--build" ]; then
  build
  exit $?
fi

seconds=${1:-60}
shift $(($# > 0 ? 1 : 0))
if [ $# -gt 0 ]; then
  TARGETS=("$@")
fi
mkdir -p "$DIR"
build >"$DIR/build.log" 2>&1 || {
  tail -n 40 "$DIR/build.log" >&2
  echo "qz: building the fuzz targets failed" >&2
  exit 1
}

failed=0
pids=()
for target in "${TARGETS[@]}"; do
  if [ ! -x "$DIR/bin/qz_fuzz_$target" ]; then
    echo "qz: no fuzz target $target (targets: text utf8 offline_record collector_body report_text flat)" >&2
    failed=1
    continue
  fi
  run_target "$target" "$seconds" &
  pids+=($!)
  if [ ${#pids[@]} -ge "$RUNNERS" ]; then
    wait "${pids[0]}" || failed=1
    pids=("${pids[@]:1}")
  fi
done
for pid in "${pids[@]}"; do
  wait "$pid" || failed=1
done
ls "$DIR/artifacts/" 2>/dev/null | sed 's/^/qz: kept for inspection: /'
exit $failed
