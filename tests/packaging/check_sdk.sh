#!/usr/bin/env bash
# Makes the Windows SDK archive with cpack and checks it as a Windows team
# would use it: exactly the expected files; pkg-config leads a MinGW build to
# the unpacked folder; lib/qzwin32.lib defines exactly the flat functions; a
# host built with an MSVC-compatible compiler and linker
# (clang for x86_64-pc-windows-msvc, lld-link) links against qzwin32.lib and
# runs under Wine with bin/qzwin32.dll.
# Environment besides common.sh's: QZ_FLAT_LIST (the flat functions' names).
. "$(dirname "$0")/common.sh"

scratch_dir sdk
start_receiver
cpack --config "$QZ_BUILD_DIR/CPackConfig.cmake" -B "$scratch/packages" \
  >"$scratch/cpack.log" 2>&1 || abort "cpack failed" "$scratch/cpack.log"
top=qz-$QZ_VERSION-win64
archive=$scratch/packages/$top.zip
[ -f "$archive" ] || abort "no $top.zip; cpack made: $(ls "$scratch/packages")"
(cd "$scratch" && cmake -E tar xf "$archive") || abort "$top.zip does not unpack"
sdk=$scratch/$top
[ -d "$sdk" ] || abort "$top.zip has no folder $top"
list_tree "$scratch" | grep "^$top/" | sed "s:^$top/::" |
  check_files "$top.zip" "$(expected_windows_files)"

# MinGW through pkg-config, wherever the archive was unpacked.
build_with_pkg_config "$sdk/lib/pkgconfig" "$scratch/pc_host.exe"
run_consumer "$sdk/bin" "$scratch/pc_host.exe"

# The names an MSVC linker resolves through qzwin32.lib.
names=$(llvm-nm "$sdk/lib/qzwin32.lib" | awk '$2 == "T" && $3 !~ /^__imp_/ { print $3 }')
echo "$names" | check_files lib/qzwin32.lib "$(grep -v '^[[:space:]]*\(#\|$\)' "$QZ_FLAT_LIST")"

host=$scratch/msvc
mkdir -p "$host"
# No Windows SDK here: the headers need only the compiler's own <stddef.h>
# and <stdint.h>.
clang --target=x86_64-pc-windows-msvc -ffreestanding -std=c99 -Wall -Werror \
  -I "$sdk/include" -c "$consumer/msvc_host.c" -o "$host/host.obj" \
  >"$host.log" 2>&1 || abort "clang (MSVC target) did not compile the host" "$host.log"
lld-link /nologo /subsystem:console /entry:mainCRTStartup /nodefaultlib /out:"$host/host.exe" \
  "$host/host.obj" "$sdk/lib/qzwin32.lib" >>"$host.log" 2>&1 ||
  abort "lld-link did not link the host against lib/qzwin32.lib" "$host.log"
WINEPATH=$(winepath_of "$sdk/bin") timeout 120 "$QZ_EMULATOR" "$host/host.exe" >>"$host.log" 2>&1
rc=$?
[ "$rc" -eq 0 ] || { fault "the MSVC-linked host exited with $rc"; cat "$host.log"; }
finish
