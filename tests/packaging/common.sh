# Sourced by the packaging tests. Environment (set by ctest):
#   QZ_SOURCE_DIR, QZ_BUILD_DIR, QZ_VERSION, QZ_OS (Posix or Win32), QZ_CC
#   Win32 only: QZ_EMULATOR (Wine's loader), QZ_TOOLCHAIN (the CMake toolchain file)
set -u

here=$(cd "$(dirname "$0")" && pwd)
consumer=$here/consumer
major=${QZ_VERSION%%.*}
faults=0

fault() {
  echo "FAIL: $*"
  faults=$((faults + 1))
}

# Ends the test now, showing a command's log.
abort() {
  echo "FAIL: $1"
  [ -n "${2:-}" ] && [ -f "$2" ] && cat "$2"
  exit 1
}

finish() {
  if [ "$faults" -eq 0 ]; then
    echo "passed"
  fi
  [ "$faults" -eq 0 ]
}

# A fresh scratch folder for this test under the build tree.
scratch_dir() {
  scratch=$QZ_BUILD_DIR/packaging-tests/$1
  rm -rf "$scratch"
  mkdir -p "$scratch"
}

# The public headers as installed under include/qz: the source's and the
# generated version.h.
expected_headers() {
  for header in "$QZ_SOURCE_DIR"/include/qz/*.h; do
    echo "include/qz/$(basename "$header")"
  done
  echo include/qz/version.h
}

# What a developer builds against, besides the headers and the library itself.
expected_development_files() {
  expected_headers
  printf '%s\n' lib/cmake/qz/qzConfig.cmake lib/cmake/qz/qzConfigVersion.cmake \
    lib/cmake/qz/qzTargets.cmake lib/cmake/qz/qzTargets-CONFIG.cmake lib/pkgconfig/qz.pc
}

# The Windows install tree, which is also the SDK archive's content.
expected_windows_files() {
  expected_development_files
  printf '%s\n' bin/qzwin32.dll bin/qzwin32.debug lib/libqzwin32.dll.a lib/qzwin32.lib README.txt \
    examples/c/host.c examples/cpp/host_example.cpp examples/csharp/Host.cs \
    examples/csharp/Qz.cs examples/csharp/Qz.dll.config examples/python/host.py \
    examples/python/qz/__init__.py examples/python/qz/py.typed
}

# Compares a list of files (stdin) with the expected one ($2), both relative
# paths; the configuration in a CMake package file's name does not matter.
check_files() {
  local label=$1 expected=$2 actual
  actual=$(sed -E 's/qzTargets-[a-z]+\.cmake$/qzTargets-CONFIG.cmake/' | sort)
  expected=$(echo "$expected" | sort)
  for file in $(comm -23 <(echo "$expected") <(echo "$actual")); do
    fault "$label lacks $file"
  done
  for file in $(comm -13 <(echo "$expected") <(echo "$actual")); do
    fault "$label holds an unexpected $file"
  done
}

# Files and links under a folder, relative to it.
list_tree() {
  (cd "$1" && find . ! -type d | sed 's:^\./::')
}

# A loopback receiver (tests/support/receiver.py) for the consumers' runs,
# ended with the test. Sets $endpoint (host:port/path, plain HTTP).
start_receiver() {
  receiver_dir=$scratch/receiver
  python3 "$QZ_SOURCE_DIR/tests/support/receiver.py" start --state-dir "$receiver_dir" \
    >"$scratch/receiver.log" 2>&1 || abort "the receiver did not start" "$scratch/receiver.log"
  trap 'python3 "$QZ_SOURCE_DIR/tests/support/receiver.py" stop --state-dir "$receiver_dir" >/dev/null 2>&1' EXIT
  local port
  read -r _ port _ <"$receiver_dir/ports"
  endpoint=127.0.0.1:$port/qz/Publish
  export no_proxy=127.0.0.1,localhost NO_PROXY=127.0.0.1,localhost
}

# The number of batches the receiver has got.
received() {
  python3 -c 'import sys, urllib.request
print(urllib.request.urlopen("http://" + sys.argv[1].split("/")[0] + "/__control/count", timeout=30).read().decode().strip())' "$endpoint"
}

# Runs a consumer program with the library's folder $1 on the loader's path
# (under Wine for Windows) and the receiver's endpoint as its argument; checks
# that it printed the version, exited 0 and posted. On Linux its stored
# batches, if any, stay in a temporary folder.
run_consumer() {
  local dll_dir=$1 program=$2 out rc before after
  before=$(received) || abort "the receiver does not answer"
  if [ "$QZ_OS" = "Win32" ]; then
    out=$(WINEPATH=$(winepath_of "$dll_dir") timeout 120 "$QZ_EMULATOR" "$program" "$endpoint" 2>&1)
  else
    out=$(LD_LIBRARY_PATH=$dll_dir timeout 120 \
      sh "$QZ_SOURCE_DIR/tests/support/private_storage.sh" "$program" "$endpoint" 2>&1)
  fi
  rc=$?
  out=$(echo "$out" | tr -d '\r')
  if [ "$rc" -ne 0 ] || [ "$out" != "qz $QZ_VERSION" ]; then
    fault "$(basename "$program") exited with $rc and printed: $out (expected: qz $QZ_VERSION)"
  elif ! after=$(received) || [ "$after" -le "$before" ]; then
    fault "$(basename "$program") posted nothing to the receiver"
  fi
}

# Wine reaches the host's files through drive Z:.
winepath_of() {
  echo "Z:$1" | tr '/' '\\'
}

# Configures and builds the outside project against the installed qz under $1
# (through find_package), in the folder $2; further arguments go to its
# configure step.
build_consumer() {
  local prefix=$1 dir=$2 toolchain=()
  shift 2
  if [ "$QZ_OS" = "Win32" ]; then
    toolchain=(-DCMAKE_TOOLCHAIN_FILE="$QZ_TOOLCHAIN")
  fi
  cmake -S "$consumer" -B "$dir" "${toolchain[@]}" -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_PREFIX_PATH="$prefix" "$@" >"$dir.log" 2>&1 &&
    cmake --build "$dir" >>"$dir.log" 2>&1 || abort "the outside project did not build" "$dir.log"
}

# Builds the C host with the flags that pkg-config gives for qz.pc in $1, into
# $2; further arguments are pkg-config options.
build_with_pkg_config() {
  local pc_dir=$1 out=$2 flags
  shift 2
  flags=$(PKG_CONFIG_PATH="" PKG_CONFIG_LIBDIR="$pc_dir" pkg-config "$@" \
    --cflags --libs "qz >= $QZ_VERSION") || abort "pkg-config does not find qz $QZ_VERSION in $pc_dir"
  # shellcheck disable=SC2086
  "$QZ_CC" -std=c99 -Wall -Werror -o "$out" "$consumer/host.c" $flags >"$out.log" 2>&1 ||
    abort "the C host did not build with: $flags" "$out.log"
}
