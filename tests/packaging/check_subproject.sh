#!/usr/bin/env bash
# Builds the outside project with qz as a part of it, the two ways CMake
# offers: add_subdirectory of the source tree and FetchContent from a local
# path. Inside another project qz builds only the library (no collector,
# tests, demo or examples, and none of their dependencies are looked for),
# keeps its programs in its own binary folder, and gives qz::qz (and
# qz::qz_static when asked for). Each host posts a short run to a receiver.
. "$(dirname "$0")/common.sh"

scratch_dir subproject
start_receiver
for way in subdirectory fetchcontent; do
  dir=$scratch/$way
  # No build type: the quickest compile; the packages test the optimised one.
  cmake -S "$consumer" -B "$dir" -DQZ_CONSUME=$way -DQZ_SOURCE="$QZ_SOURCE_DIR" \
    -DQZ_CONSUMER_STATIC=ON -DQZ_BUILD_STATIC=ON \
    -DCMAKE_DISABLE_FIND_PACKAGE_Python3=ON -DCMAKE_DISABLE_FIND_PACKAGE_benchmark=ON \
    >"$dir.log" 2>&1 || abort "$way: the outside project did not configure" "$dir.log"
  # The collector's libraries (libxml2, SQLite, libpq, Boost) were not
  # looked for.
  grep -q 'QZC_DEPS' "$dir/CMakeCache.txt" && fault "$way: qz looked for the collector's libraries"
  targets=$(cmake --build "$dir" --target help 2>&1)
  for unwanted in qz-collector qz_host_example qz_c_host qz_about qz_test_library gtest; do
    echo "$targets" | grep -qw -- "$unwanted" && fault "$way: qz brings the target $unwanted"
  done
  cmake --build "$dir" -j "${QZ_JOBS:-2}" >>"$dir.log" 2>&1 ||
    abort "$way: the outside project did not build" "$dir.log"
  [ -d "$dir/bin" ] || [ -d "$dir/lib" ] && fault "$way: qz set the outside project's output folders"
  for program in qz_consumer qz_consumer_c qz_consumer_static; do
    # The build tree's run path leads each program to its libqz.so.
    run_consumer "" "$dir/$program"
  done
done
finish
