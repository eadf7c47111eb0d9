#!/usr/bin/env bash
# Runs every test of the library in five builds:
#   asan     native, AddressSanitizer + UndefinedBehaviorSanitizer (benchmarks compiled too)
#   tsan     native, ThreadSanitizer
#   win      Windows x64 cross-build (MinGW-w64), tests run under Wine, with the
#            install, SDK archive, Python wheel and version resource tests
#   release  native, no sanitizers: also the Python and C# example hosts, which
#            cannot load a sanitizer-instrumented libqz.so, and the tests of the
#            installed library, the Debian packages, the Python wheel and the
#            NuGet package (which takes the win stage's qzwin32.dll)
#   fuzz     clang build of the fuzz targets of fuzz/ (libFuzzer, AddressSanitizer,
#            UndefinedBehaviorSanitizer); each replays its corpus once
# Usage: bash scripts/test.sh [asan|tsan|release|win|fuzz]...  (no argument: all five)
# Environment: QZ_BUILD_ROOT (default <repo>/build), QZ_JOBS (default nproc),
# QZ_STAGE_TIMEOUT (seconds per stage, default 1500), QZ_CTEST_TIMEOUT
# (seconds per test program when the test itself sets none, default 600).
# Every stage runs even when an earlier one fails; the exit status is non-zero
# if any failed. Re-running is incremental.
set -u

cd "$(dirname "${BASH_SOURCE[0]}")/.."
ROOT=$(pwd)
# shellcheck source=scripts/packages.sh
. "$ROOT/scripts/packages.sh"

BUILD_ROOT=${QZ_BUILD_ROOT:-$ROOT/build}
JOBS=${QZ_JOBS:-$(nproc 2>/dev/null || echo 2)}
STAGE_TIMEOUT=${QZ_STAGE_TIMEOUT:-1500}
CTEST_TIMEOUT=${QZ_CTEST_TIMEOUT:-600}
WINE_LOADER=/usr/lib/wine/wine64
ALL_STAGES=(asan tsan win release fuzz)

PACKAGES=(
  cmake make g++ pkg-config binutils googletest libbenchmark-dev libspdlog-dev libcurl4-openssl-dev libssl-dev
  g++-mingw-w64-x86-64 g++-mingw-w64-x86-64-posix mingw-w64-x86-64-dev
  wine wine64 python3 openssl ca-certificates mono-mcs mono-runtime
  python3-build python3-setuptools python3-wheel python3-venv
  libboost-dev libxml2-dev libsqlite3-dev libpq-dev postgresql chromium strace
  dpkg-dev debhelper lintian systemd iproute2 llvm clang lld clang-14 libfuzzer-14-dev tzdata
)

# Exit codes of a stage, read by the summary.
readonly RC_TESTS=1 RC_BUILD=2

configure_and_build() {
  local dir=$1
  shift
  cmake -S "$ROOT" -B "$dir" -DQZ_WERROR=ON "$@" || return $RC_BUILD
  cmake --build "$dir" -j "$JOBS" || return $RC_BUILD
}

run_ctest() {
  local dir=$1
  shift
  "$@" ctest --test-dir "$dir" --output-on-failure --no-tests=error \
    --timeout "$CTEST_TIMEOUT" || return $RC_TESTS
}

stage_asan() {
  local dir=$BUILD_ROOT/asan bench=OFF
  if [ -f "$ROOT/bench/CMakeLists.txt" ]; then
    bench=ON
  fi
  configure_and_build "$dir" -DCMAKE_BUILD_TYPE=Debug \
    -DQZ_SANITIZER=address,undefined -DQZ_BUILD_BENCH=$bench || return
  ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:strict_string_checks=1:detect_stack_use_after_return=1} \
    UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1} \
    run_ctest "$dir"
}

stage_tsan() {
  local dir=$BUILD_ROOT/tsan
  configure_and_build "$dir" "-DCMAKE_CXX_FLAGS=-O1 -g" -DQZ_SANITIZER=thread || return
  # Some kernels randomise the address space more than ThreadSanitizer allows
  # ("unexpected memory mapping"); then the tests run with randomisation off.
  local wrapper=() probe=$dir/tsan-probe
  if [ ! -x "$probe" ]; then
    printf '#include <thread>\nint main() { std::thread([] {}).join(); }\n' |
      g++ -x c++ -fsanitize=thread -o "$probe" - || return $RC_BUILD
  fi
  if ! "$probe" >/dev/null 2>&1; then
    if setarch "$(uname -m)" -R "$probe" >/dev/null 2>&1; then
      echo "qz: ThreadSanitizer needs address randomisation off here; using setarch -R"
      wrapper=(setarch "$(uname -m)" -R)
    else
      echo "qz: ThreadSanitizer does not run on this machine" >&2
      return $RC_TESTS
    fi
  fi
  TSAN_OPTIONS=${TSAN_OPTIONS:-second_deadlock_stack=1} run_ctest "$dir" "${wrapper[@]}"
}

stage_release() {
  # The subsystems' unit tests run in the other three stages; this one is for
  # what needs a plain library: hosts in other languages, packages, the collector.
  # The NuGet package takes the win stage's qzwin32.dll (its test is skipped
  # when that stage has not run).
  configure_and_build "$BUILD_ROOT/release" -DCMAKE_BUILD_TYPE=Release -DQZ_UNIT_TESTS=OFF \
    -DQZ_BUILD_STATIC=ON -DQZ_NUGET_WINDOWS_DLL="$BUILD_ROOT/win/bin/qzwin32.dll" || return
  run_ctest "$BUILD_ROOT/release"
}

stage_win() {
  local dir=$BUILD_ROOT/win
  configure_and_build "$dir" -DCMAKE_TOOLCHAIN_FILE="$ROOT/cmake/mingw-w64-x86_64.cmake" \
    -DCMAKE_BUILD_TYPE=Release || return
  # One private prefix per build tree, created once and reused.
  export WINEPREFIX=$dir/wineprefix WINEDEBUG=-all
  # No Mono or Gecko installers: they would ask for a display and are not needed.
  export WINEDLLOVERRIDES="mscoree,mshtml="
  # Global: the exit trap runs after this function has returned.
  WINESERVER=wineserver
  if [ -x /usr/lib/wine/wineserver ]; then
    WINESERVER=/usr/lib/wine/wineserver
  fi
  trap '"$WINESERVER" -k >/dev/null 2>&1' EXIT
  trap 'exit 143' TERM INT
  # A persistent server, and Wine's own services started up front, save every
  # test program their start. The services keep the output files they were
  # given open until the end: never ctest's pipe, or ctest waits for them.
  # The server needs the prefix folder; wineboot fills it.
  mkdir -p "$WINEPREFIX"
  "$WINESERVER" -p 2>/dev/null
  local init=()
  if [ ! -f "$WINEPREFIX/system.reg" ]; then
    echo "qz: creating Wine prefix $WINEPREFIX"
    init=(--init)
  fi
  timeout 300 "$WINE_LOADER" wineboot "${init[@]}" </dev/null >"$dir/wineboot.log" 2>&1 || {
    echo "qz: starting Wine failed:" >&2
    cat "$dir/wineboot.log" >&2
    return $RC_TESTS
  }
  run_ctest "$dir"
}

stage_fuzz() {
  # The same build as scripts/fuzz.sh, which runs the targets for longer.
  QZ_BUILD_ROOT=$BUILD_ROOT QZ_JOBS=$JOBS bash "$ROOT/scripts/fuzz.sh" --build || return $RC_BUILD
  ASAN_OPTIONS=${ASAN_OPTIONS:-quarantine_size_mb=16:detect_leaks=1} \
    UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1} \
    run_ctest "$BUILD_ROOT/fuzz"
}

if [ "${1:-}" = "--stage" ]; then
  mkdir -p "$BUILD_ROOT/logs"
  # The process group that timeout made, for the caller to end on an interrupt.
  read -r -a proc_stat </proc/$$/stat && echo "${proc_stat[4]}" >"$BUILD_ROOT/logs/stage.pgid"
  "stage_$2" </dev/null
  exit $?
fi

stages=("$@")
if [ ${#stages[@]} -eq 0 ]; then
  stages=("${ALL_STAGES[@]}")
fi
for stage in "${stages[@]}"; do
  case " ${ALL_STAGES[*]} " in
    *" $stage "*) ;;
    *) echo "usage: bash scripts/test.sh [${ALL_STAGES[*]}]..." >&2; exit 2 ;;
  esac
done

if ! qz_require_packages "${PACKAGES[@]}"; then
  echo "qz: installing the packages failed" >&2
  exit 1
fi

mkdir -p "$BUILD_ROOT/logs"
stop_stage() {
  local pgid
  if pgid=$(cat "$BUILD_ROOT/logs/stage.pgid" 2>/dev/null) && [ -n "$pgid" ]; then
    kill -TERM -- "-$pgid" 2>/dev/null
  fi
  echo "qz: interrupted" >&2
  exit 130
}
trap stop_stage INT TERM
started=$(date +%s)
failed=0 passed_tests=0 failed_tests=0
results=()
for stage in "${stages[@]}"; do
  log=$BUILD_ROOT/logs/$stage.log
  echo "==== qz: stage $stage ($(date '+%H:%M:%S')) ===="
  t0=$(date +%s)
  # timeout runs the stage in a process group of its own and ends the whole
  # group, so a hung test or Wine goes too; an interrupt here ends it the same
  # way. In the background, because a trap waits for a foreground job to end.
  rm -f "$BUILD_ROOT/logs/stage.pgid"
  (
    timeout -k 30 "$STAGE_TIMEOUT" bash "$ROOT/scripts/test.sh" --stage "$stage" 2>&1 | tee "$log"
    exit "${PIPESTATUS[0]}"
  ) &
  wait $!
  rc=$?
  seconds=$(($(date +%s) - t0))
  counts=$(grep -E '^[0-9]+% tests passed, [0-9]+ tests? failed out of [0-9]+' "$log" | tail -n 1)
  if [ -n "$counts" ]; then
    total=$(echo "$counts" | sed -E 's/.* out of ([0-9]+).*/\1/')
    bad=$(echo "$counts" | sed -E 's/.*passed, ([0-9]+) tests? failed.*/\1/')
    passed_tests=$((passed_tests + total - bad))
    failed_tests=$((failed_tests + bad))
  fi
  case $rc in
    0) status="passed" ;;
    "$RC_TESTS") status="FAILED (tests)" ;;
    "$RC_BUILD") status="FAILED (build)" ;;
    124 | 137) status="FAILED (timed out after ${STAGE_TIMEOUT} s)" ;;
    *) status="FAILED (exit $rc)" ;;
  esac
  [ "$rc" -eq 0 ] || failed=1
  results+=("$(printf '%-7s %-40s %5d s  %s' "$stage" "$status" "$seconds" "${counts:-no test results}")")
done

echo
echo "==== qz: test summary ===="
printf '%s\n' "${results[@]}"
echo "total time $(($(date +%s) - started)) s; logs in $BUILD_ROOT/logs"
echo "tests: $passed_tests passed, $failed_tests failed"
exit $failed
