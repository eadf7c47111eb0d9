#!/usr/bin/env bash
# Installs the build into a scratch prefix and uses it as a product's build
# would: the installed files must be exactly the expected ones (on Linux the
# library with its SONAME and links), and a project outside the source tree
# builds and runs against them through find_package (with the static library
# too when the build has it) and through pkg-config; each host posts a short
# run to a receiver.
. "$(dirname "$0")/common.sh"

scratch_dir install
start_receiver
prefix=$scratch/prefix
cmake --install "$QZ_BUILD_DIR" --prefix "$prefix" >"$scratch/install.log" 2>&1 ||
  abort "cmake --install failed" "$scratch/install.log"

if [ "$QZ_OS" = "Win32" ]; then
  expected=$(expected_windows_files)
  dll_dir=$prefix/bin
  exe=.exe
else
  expected=$(expected_development_files
    printf '%s\n' lib/libqz.so "lib/libqz.so.$major" "lib/libqz.so.$QZ_VERSION")
  dll_dir=$prefix/lib
  exe=
  [ "$(readlink "$prefix/lib/libqz.so")" = "libqz.so.$major" ] ||
    fault "lib/libqz.so does not point to libqz.so.$major"
  [ "$(readlink "$prefix/lib/libqz.so.$major")" = "libqz.so.$QZ_VERSION" ] ||
    fault "lib/libqz.so.$major does not point to libqz.so.$QZ_VERSION"
  soname=$(readelf -d "$prefix/lib/libqz.so.$QZ_VERSION" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p')
  [ "$soname" = "libqz.so.$major" ] || fault "the SONAME is '$soname', not libqz.so.$major"
fi
if [ "$QZ_STATIC" = ON ]; then
  expected+=$'\nlib/libqz.a'
fi
if [ "$QZ_COLLECTOR" = ON ]; then
  expected+=$'\nbin/qz-collector'
fi
list_tree "$prefix" | check_files "the install tree" "$expected"

build_consumer "$prefix" "$scratch/cmake" -DQZ_CONSUMER_STATIC="$QZ_STATIC"
run_consumer "$dll_dir" "$scratch/cmake/qz_consumer$exe"
run_consumer "$dll_dir" "$scratch/cmake/qz_consumer_c$exe"
if [ "$QZ_STATIC" = ON ]; then
  run_consumer "" "$scratch/cmake/qz_consumer_static$exe"
fi

# qz.pc leads to the installed tree.
build_with_pkg_config "$prefix/lib/pkgconfig" "$scratch/pc_host$exe"
run_consumer "$dll_dir" "$scratch/pc_host$exe"
finish
