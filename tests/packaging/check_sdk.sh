#!/usr/bin/env bash
# Makes the Windows SDK archive with cpack and checks it as a Windows team
# would use it: exactly the expected files; the DLL stripped, its debugging
# information in bin/qzwin32.debug, which the DLL names; README.txt's MinGW
# commands, run as written in the unpacked folder, build hosts that need no
# DLL beyond qzwin32.dll and the system's and post a run under Wine; the CMake
# package leads an outside project there; lib/qzwin32.lib defines exactly the
# flat functions; hosts built with an MSVC-compatible compiler and linker
# (clang for x86_64-pc-windows-msvc, lld-link) link against qzwin32.lib and
# run under Wine with bin/qzwin32.dll: a C host, and the C++ host of every
# public member with the classes the headers give Visual C++, whose answers
# and batches must be those of the same host built with MinGW and the DLL's
# own classes. (README.txt's cl commands need MSVC and the Windows SDK, which
# are not here: these hosts stand in for them.)
# Environment besides common.sh's: QZ_FLAT_LIST (the flat functions' names),
# QZ_MEMBERS_HOST (the MinGW build of tests/hosts/MembersHost.cpp).
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

dll=$sdk/bin/qzwin32.dll
objdump=x86_64-w64-mingw32-objdump
$objdump -h "$dll" | grep -q '\.debug_' && fault "bin/qzwin32.dll carries its debugging sections"
$objdump -h "$sdk/bin/qzwin32.debug" | grep -q '\.debug_info' || fault "bin/qzwin32.debug holds no debugging information"
x86_64-w64-mingw32-objcopy --dump-section .gnu_debuglink="$scratch/debuglink" "$dll" "$scratch/dll.copy" 2>/dev/null
link=$(tr -d '\0' <"$scratch/debuglink" 2>/dev/null | head -c 13)
[ "${link:0:13}" = qzwin32.debug ] || fault "bin/qzwin32.dll does not name qzwin32.debug (.gnu_debuglink: '$link')"
echo "bin/qzwin32.dll: $(stat -c %s "$dll") bytes"

# README.txt's MinGW commands, exactly as written, in the unpacked folder.
grep -E '^    x86_64-w64-mingw32-' "$sdk/README.txt" >"$scratch/commands"
[ "$(wc -l <"$scratch/commands")" -eq 3 ] || fault "README.txt has not the three MinGW commands: $(cat "$scratch/commands")"
while read -r command; do
  (cd "$sdk" && PKG_CONFIG_PATH= bash -c "$command") >"$scratch/command.log" 2>&1 ||
    { fault "README.txt's command failed: $command"; cat "$scratch/command.log"; continue; }
  program=$sdk/$(echo "$command" | sed -E 's/.* -o ([^ ]+).*/\1/')
  dlls=$($objdump -p "$program" | sed -n 's/.*DLL Name: //p' | tr 'A-Z' 'a-z' | sort | tr '\n' ' ')
  [ "$dlls" = "kernel32.dll msvcrt.dll qzwin32.dll " ] ||
    fault "$(basename "$program") needs: $dlls(expected kernel32.dll msvcrt.dll qzwin32.dll)"
  before=$(received)
  WINEPATH=$(winepath_of "$sdk/bin") timeout 120 "$QZ_EMULATOR" "$program" "$endpoint" >"$scratch/run.log" 2>&1 ||
    { fault "$(basename "$program") failed under Wine"; cat "$scratch/run.log"; }
  [ "$(received)" -gt "$before" ] || fault "$(basename "$program") posted nothing"
done <"$scratch/commands"

# <windows.h> first renames GetClassName and GetMessage; with either kind of
# classes the members keep their names and the renamed calls still compile.
for flat in "" -DQZ_USE_FLAT_ABI; do
  kind=${flat:+with QZ_USE_FLAT_ABI}
  printf '%s\n' '#include <windows.h>' '#include "qz/qz.h"' \
    'const QZChar* F(const qz::BinaryInfo& b, const qz::ExceptionInfo& e) {' \
    '  return b.GetClassName()[0] != 0 ? b.GetClassName() : e.GetMessage(); }' |
    # shellcheck disable=SC2086
    x86_64-w64-mingw32-g++-posix -std=c++17 -Wall -Wextra -Werror $flat -I "$sdk/include" \
      -fsyntax-only -x c++ - >"$scratch/windows_h.log" 2>&1 ||
    { fault "qz/qz.h after <windows.h> does not compile ${kind:-with the exported classes}"; cat "$scratch/windows_h.log"; }
done

# CMake, with the unpacked folder in CMAKE_PREFIX_PATH.
build_consumer "$sdk" "$scratch/cmake"
run_consumer "$sdk/bin" "$scratch/cmake/qz_consumer.exe"

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

# The C++ host of every member, compiled as Visual C++ would see it (_MSC_VER:
# the inline classes) without exceptions or run-time type information, with
# stand-ins for the two C++ library headers the classes include, and its
# entry point, heap and output from kernel32 (an import library made here).
hosts=$QZ_SOURCE_DIR/tests/hosts
cpp=$scratch/msvc_cpp
mkdir -p "$cpp"
printf 'LIBRARY kernel32.dll\nEXPORTS\n%s\n' "$(sed -n 's/.*__declspec(dllimport).* \([A-Za-z]*\)(.*/  \1/p' \
  "$hosts/HostRuntimeMsvc.cpp")" >"$cpp/kernel32.def"
llvm-dlltool -m i386:x86-64 -d "$cpp/kernel32.def" -l "$cpp/kernel32.lib" >"$cpp.log" 2>&1 ||
  abort "no kernel32.lib for the C++ host" "$cpp.log"
for source in MembersHost HostRuntimeMsvc; do
  clang++ --target=x86_64-pc-windows-msvc -std=c++17 -fms-extensions -fno-exceptions -fno-rtti \
    -ffreestanding -nostdinc++ -Wall -Wextra -Werror -isystem "$hosts/msvc" -I "$sdk/include" \
    -c "$hosts/$source.cpp" -o "$cpp/$source.obj" >>"$cpp.log" 2>&1 ||
    abort "clang (MSVC target) did not compile $source.cpp" "$cpp.log"
done
lld-link /nologo /subsystem:console /entry:mainCRTStartup /nodefaultlib /out:"$cpp/members_host.exe" \
  "$cpp/MembersHost.obj" "$cpp/HostRuntimeMsvc.obj" "$sdk/lib/qzwin32.lib" "$cpp/kernel32.lib" \
  >>"$cpp.log" 2>&1 || abort "lld-link did not link the C++ host against lib/qzwin32.lib" "$cpp.log"
dlls=$($objdump -p "$cpp/members_host.exe" | sed -n 's/.*DLL Name: //p' | tr 'A-Z' 'a-z' | sort | tr '\n' ' ')
[ "$dlls" = "kernel32.dll qzwin32.dll " ] || fault "the C++ host needs: $dlls(expected kernel32.dll qzwin32.dll)"
# Beside it the MinGW build with the DLL's classes, so that both load the SDK's DLL.
cp "$QZ_MEMBERS_HOST" "$cpp/members_host_mingw.exe"
WINEPATH=$(winepath_of "$sdk/bin") QZ_RECEIVER_DIR=$receiver_dir timeout 280 \
  python3 "$QZ_SOURCE_DIR/examples/compare_hosts.py" "$QZ_EMULATOR" "$cpp/members_host_mingw.exe" -- \
  "$QZ_EMULATOR" "$cpp/members_host.exe" >"$cpp/compare.log" 2>&1 ||
  { fault "the C++ host built for MSVC differs from the MinGW one"; grep -v '^host: ' "$cpp/compare.log"; }
tail -n 2 "$cpp/compare.log"
finish
