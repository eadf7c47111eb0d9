#!/usr/bin/env bash
# Builds the Python wheel (target qz_python_wheel) and checks it as a Python
# user meets it: the files and the platform tag; on Linux, pip installs it into
# a fresh virtual environment (no network, no index), where the example host
# posts a run through the package's own copy of the library, the package's
# tests pass (range and NUL checks, context managers), and, without that copy,
# the package falls back to an installed libqz.so.1.
# Environment besides common.sh's: QZ_WHEEL_PYTHON (Debian's python3, with
# the build, setuptools, wheel and venv modules), QZ_WHEEL (the wheel's path).
. "$(dirname "$0")/common.sh"

scratch_dir python
cmake --build "$QZ_BUILD_DIR" --target qz_python_wheel >"$scratch/wheel.log" 2>&1 ||
  abort "the wheel did not build" "$scratch/wheel.log"
[ -f "$QZ_WHEEL" ] || abort "no $(basename "$QZ_WHEEL"); made: $(ls "$(dirname "$QZ_WHEEL")")"
if [ "$QZ_OS" = "Win32" ]; then
  library=qzwin32.dll
else
  library=libqz.so.$major
fi
info=qz-$QZ_VERSION.dist-info
"$QZ_WHEEL_PYTHON" -m zipfile -l "$QZ_WHEEL" | awk 'NR > 1 { print $1 }' |
  check_files "$(basename "$QZ_WHEEL")" "$(printf '%s\n' qz/__init__.py qz/_version.py qz/py.typed \
    "qz/$library" "$info/METADATA" "$info/WHEEL" "$info/top_level.txt" "$info/RECORD")"
"$QZ_WHEEL_PYTHON" -m zipfile -e "$QZ_WHEEL" "$scratch/unpacked" || abort "the wheel does not unpack"
grep -qx 'Root-Is-Purelib: false' "$scratch/unpacked/$info/WHEEL" ||
  fault "the wheel says it is pure Python, yet it carries $library"
cmp -s "$scratch/unpacked/qz/$library" "$QZ_BUILD_DIR/bin/$library" ||
  fault "the wheel's $library is not the library of this build"
# Windows Python does not run here: the wheel's files are what is checked.
[ "$QZ_OS" = "Win32" ] && finish && exit

start_receiver
venv=$scratch/venv
"$QZ_WHEEL_PYTHON" -m venv "$venv" >"$scratch/venv.log" 2>&1 || abort "no virtual environment" "$scratch/venv.log"
"$venv/bin/python" -m pip install --no-index --no-deps --disable-pip-version-check "$QZ_WHEEL" \
  >>"$scratch/venv.log" 2>&1 || abort "pip did not install the wheel" "$scratch/venv.log"
site=$("$venv/bin/python" -c 'import sysconfig; print(sysconfig.get_paths()["platlib"])')

# Run from a folder of its own, without the source tree or QZ_LIBRARY, as a user would.
python_run() {
  (cd "$scratch" && env -u QZ_LIBRARY -u PYTHONPATH timeout 120 \
    sh "$QZ_SOURCE_DIR/tests/support/private_storage.sh" "$venv/bin/python" "$@")
}
[ "$(python_run -c 'import qz; print(qz.__version__, qz.library_path())')" = \
  "$QZ_VERSION $site/qz/$library" ] || fault "the package does not load its own $library"
before=$(received)
python_run "$QZ_SOURCE_DIR/examples/python/host.py" "$endpoint" >"$scratch/host.log" 2>&1 ||
  { fault "the example host failed"; cat "$scratch/host.log"; }
[ "$(received)" -gt "$before" ] || fault "the example host posted nothing"
QZ_TEST_ENDPOINT=$endpoint python_run "$QZ_SOURCE_DIR/python/tests/test_qz.py" -v \
  >"$scratch/unittest.log" 2>&1 || { fault "the package's tests failed"; cat "$scratch/unittest.log"; }

# Without its own copy, the package takes the system's (here: the loader's path).
mkdir -p "$scratch/system"
cp "$QZ_BUILD_DIR/bin/$library" "$scratch/system/$library"
rm "$site/qz/$library"
[ "$(LD_LIBRARY_PATH=$scratch/system python_run -c 'import qz; print(qz.library_path())')" = "$library" ] ||
  fault "without its own copy the package does not load the installed $library"
finish
