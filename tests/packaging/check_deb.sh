#!/usr/bin/env bash
# Makes the Debian packages with cpack, checks their names, versions,
# dependencies and files, unpacks them into a scratch root (dpkg -x, as if
# installed there) and builds and runs the outside project against that root.
. "$(dirname "$0")/common.sh"

scratch_dir deb
start_receiver
cpack --config "$QZ_BUILD_DIR/CPackConfig.cmake" -G DEB -B "$scratch/packages" \
  >"$scratch/cpack.log" 2>&1 || abort "cpack -G DEB failed" "$scratch/cpack.log"
runtime=$scratch/packages/libqz${major}_${QZ_VERSION}_amd64.deb
dev=$scratch/packages/libqz-dev_${QZ_VERSION}_amd64.deb
for deb in "$runtime" "$dev"; do
  [ -f "$deb" ] || abort "no $(basename "$deb"); cpack made: $(ls "$scratch/packages")"
  [ "$(dpkg-deb -f "$deb" Version)" = "$QZ_VERSION" ] || fault "$(basename "$deb") is not version $QZ_VERSION"
done

# Files under usr/, as dpkg would install them.
deb_files() {
  dpkg-deb --fsys-tarfile "$1" | tar -t | grep -v '/$' | sed -n 's:^\./usr/::p'
}
deb_files "$runtime" | check_files "libqz$major" "$(printf '%s\n' "lib/libqz.so.$major" "lib/libqz.so.$QZ_VERSION")"
deb_files "$dev" | check_files libqz-dev "$(expected_development_files; echo lib/libqz.so)"

# Every library that libqz.so needs comes from a package the runtime package
# depends on, so apt installs them with it.
root=$scratch/root
dpkg -x "$runtime" "$root" && dpkg -x "$dev" "$root" || abort "dpkg -x failed"
depends=$(dpkg-deb -f "$runtime" Depends)
for needed in $(readelf -d "$root/usr/lib/libqz.so.$QZ_VERSION" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p'); do
  # Any installed package that holds a library of that name (other
  # architectures' too) will do.
  packages=$(dpkg -S "*/$needed" 2>/dev/null | sed 's/[:,].*//' | sort -u)
  found=
  for package in $packages; do
    echo ", $depends" | grep -q ", $package\( \|,\|$\)" && found=$package
  done
  [ -n "$found" ] || fault "libqz$major needs $needed (from: $packages), but depends only on: $depends"
done
dpkg-deb -f "$dev" Depends | grep -qF "libqz$major (= $QZ_VERSION)" ||
  fault "libqz-dev does not depend on libqz$major (= $QZ_VERSION)"

build_consumer "$root/usr" "$scratch/cmake"
run_consumer "$root/usr/lib" "$scratch/cmake/qz_consumer"
run_consumer "$root/usr/lib" "$scratch/cmake/qz_consumer_c"
# qz.pc names /usr; pkg-config finds the tree where it was unpacked.
build_with_pkg_config "$root/usr/lib/pkgconfig" "$scratch/pc_host" --define-prefix
run_consumer "$root/usr/lib" "$scratch/pc_host"
finish
