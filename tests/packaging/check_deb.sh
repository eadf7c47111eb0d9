#!/usr/bin/env bash
# Builds the Debian packages the Debian way (dpkg-buildpackage with debhelper,
# from a copy of the source tree), checks them with lintian (no error or
# warning may remain), checks their files, versions, dependencies, symbols and
# hardening, builds an outside project against them unpacked (dpkg -x), then
# installs them for real with dpkg into a throw-away copy of this system (an
# overlay over / in private mount and network namespaces, see
# deb_install_test.sh) where a host is built against them and the collector's
# service is checked and started.
. "$(dirname "$0")/common.sh"

scratch_dir deb
start_receiver
arch=$(dpkg-architecture -qDEB_HOST_ARCH)
multiarch=$(dpkg-architecture -qDEB_HOST_MULTIARCH)
libdir=usr/lib/$multiarch

# debian/changelog carries the version a second time: it must be the project's.
changelog_version=$(dpkg-parsechangelog -l "$QZ_SOURCE_DIR/debian/changelog" -S Version)
[ "$changelog_version" = "$QZ_VERSION" ] ||
  fault "debian/changelog is at $changelog_version, the project at $QZ_VERSION"

# The tree as a clone has it (no build folders), built without tests.
src=$scratch/src/qz
mkdir -p "$src"
if git -C "$QZ_SOURCE_DIR" rev-parse --is-inside-work-tree >/dev/null 2>&1; then
  (cd "$QZ_SOURCE_DIR" && git ls-files -co --exclude-standard -z | grep -zv '^build/' |
    xargs -0 tar -cf - --no-recursion) | tar -xf - -C "$src"
else
  (cd "$QZ_SOURCE_DIR" && tar -cf - --exclude=./build .) | tar -xf - -C "$src"
fi
(cd "$src" && DEB_BUILD_OPTIONS="nocheck parallel=${QZ_JOBS:-$(nproc)}" \
  dpkg-buildpackage -us -uc -b) >"$scratch/build.log" 2>&1 ||
  abort "dpkg-buildpackage failed (a symbol that appeared or disappeared needs its line in debian/libqz1.symbols)" "$scratch/build.log"
out=$scratch/src
deb() { echo "$out/${1}_${QZ_VERSION}_$arch.deb"; }
packages=("libqz$major" libqz-dev "libqz$major-dbgsym" qz-collector qz-collector-dbgsym)
for package in "${packages[@]}"; do
  [ -f "$(deb "$package")" ] || abort "no $package package; made: $(cd "$out" && ls ./*.deb)"
done

# lintian: errors and warnings fail; information and pedantic notes are shown.
command -v lintian >/dev/null || abort "no lintian (Debian: lintian)"
lintian --pedantic -I -E "$out/qz_${QZ_VERSION}_$arch.changes" >"$scratch/lintian.log" 2>&1
grep -v '^running with root privileges' "$scratch/lintian.log"
grep -q '^[EW]: ' "$scratch/lintian.log" && fault "lintian reports errors or warnings"

deb_files() {
  dpkg-deb --fsys-tarfile "$1" | tar -t | grep -v '/$' | sed 's:^\./::'
}
docs() { printf '%s\n' "usr/share/doc/$1/changelog.gz" "usr/share/doc/$1/copyright"; }
deb_files "$(deb "libqz$major")" | check_files "libqz$major" "$(docs "libqz$major"
  printf '%s\n' "$libdir/libqz.so.$major" "$libdir/libqz.so.$QZ_VERSION")"
deb_files "$(deb libqz-dev)" | check_files libqz-dev "$(docs libqz-dev
  expected_development_files | sed "s:^lib/:$libdir/:; s:^include/:usr/include/:"
  echo "$libdir/libqz.so")"
deb_files "$(deb qz-collector)" | check_files qz-collector "$(docs qz-collector
  printf '%s\n' usr/bin/qz-collector etc/qz-collector/qz-collector.conf \
    lib/systemd/system/qz-collector.service usr/lib/sysusers.d/qz-collector.conf \
    usr/share/man/man1/qz-collector.1.gz usr/share/lintian/overrides/qz-collector)"

# The symbols file, an ldconfig trigger rather than calls in maintainer
# scripts, and a shlibs line that lets later versions in.
control() { dpkg-deb --ctrl-tarfile "$(deb "$1")" | tar -xOf - "./$2" 2>/dev/null; }
control "libqz$major" symbols | head -n 1 | grep -qx "libqz.so.$major libqz$major #MINVER#" ||
  fault "libqz$major has no symbols file for libqz.so.$major"
control "libqz$major" triggers | grep -qx 'activate-noawait ldconfig' ||
  fault "libqz$major does not trigger ldconfig"
shlibs=$(control "libqz$major" shlibs)
[ "$shlibs" = "libqz $major libqz$major (>= $QZ_VERSION)" ] ||
  fault "libqz$major's shlibs reads '$shlibs'"
[ "$(dpkg-deb -f "$(deb libqz-dev)" Depends)" = "libqz$major (= $QZ_VERSION)" ] ||
  fault "libqz-dev does not depend on libqz$major (= $QZ_VERSION) alone"

root=$scratch/root
for package in "${packages[@]}"; do
  dpkg -x "$(deb "$package")" "$root" || abort "dpkg -x $package failed"
done
# Stripped, its debugging information in the dbgsym package under its build
# ID, and built with the hardening flags (read-only relocations, bound now,
# fortified calls).
for binary in "$libdir/libqz.so.$QZ_VERSION" usr/bin/qz-collector; do
  file=$root/$binary
  readelf -S "$file" | grep -q '\.debug_info' && fault "$binary is not stripped"
  id=$(readelf -n "$file" | sed -n 's/.*Build ID: \([0-9a-f]*\).*/\1/p')
  [ -f "$root/usr/lib/debug/.build-id/${id:0:2}/${id:2}.debug" ] ||
    fault "no dbgsym package has the debugging information of $binary (build ID $id)"
  readelf -lW "$file" | grep -q GNU_RELRO || fault "$binary lacks RELRO"
  readelf -dW "$file" | grep -q 'FLAGS.*\bNOW\b' || fault "$binary is not linked with -z now"
  readelf -sW --dyn-syms "$file" | grep -q '__[a-z_]*_chk@' || fault "$binary calls no fortified function"
done

# The outside project against the unpacked tree.
build_consumer "$root/usr" "$scratch/cmake"
run_consumer "$root/$libdir" "$scratch/cmake/qz_consumer"
run_consumer "$root/$libdir" "$scratch/cmake/qz_consumer_c"
# qz.pc names /usr; the unpacked tree stands in for it.
build_with_pkg_config "$root/$libdir/pkgconfig" "$scratch/pc_host" --define-variable=prefix="$root/usr"
run_consumer "$root/$libdir" "$scratch/pc_host"

# Installed with dpkg, as apt would, into a throw-away copy of this system.
if [ "$(id -u)" -ne 0 ]; then
  fault "installing the packages needs root (for the private namespaces)"
else
  timeout 300 unshare --mount --net --propagation private \
    bash "$here/deb_install_test.sh" "$scratch/overlay" "$consumer" "libqz$major (>= $QZ_VERSION)" \
    "$(deb "libqz$major")" "$(deb libqz-dev)" "$(deb "libqz$major-dbgsym")" "$(deb qz-collector)" \
    >"$scratch/install.log" 2>&1 || fault "the installed packages failed their checks: $(cat "$scratch/install.log")"
fi
finish
