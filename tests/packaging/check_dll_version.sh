#!/usr/bin/env bash
# Reads qzwin32.dll's version resource back (windres decompiles it) and checks
# the numbers and texts Explorer and installers show.
# Usage: check_dll_version.sh DLL WINDRES VERSION
set -u
dll=$1 windres=$2 version=$3
IFS=. read -r major minor patch <<<"$version"
rc=$("$windres" -i "$dll" -O rc 2>&1) || { echo "$windres cannot read $dll: $rc"; exit 1; }
faults=0
expect() {
  if ! echo "$rc" | grep -qE "$1"; then
    echo "FAIL: the version resource lacks $2"
    faults=$((faults + 1))
  fi
}
numbers="$major, $minor, $patch, 0"
expect "^ *FILEVERSION $numbers\$" "FILEVERSION $numbers"
expect "^ *PRODUCTVERSION $numbers\$" "PRODUCTVERSION $numbers"
expect "VALUE \"FileVersion\", \"$version\"" "FileVersion $version"
expect "VALUE \"ProductVersion\", \"$version\"" "ProductVersion $version"
expect 'VALUE "CompanyName", "Tessary Solutions"' 'CompanyName "Tessary Solutions"'
expect 'VALUE "ProductName", "[^"]+"' "a ProductName"
expect 'VALUE "FileDescription", "[^"]+"' "a FileDescription"
expect 'VALUE "OriginalFilename", "qzwin32.dll"' 'OriginalFilename "qzwin32.dll"'
[ "$faults" -eq 0 ] || { echo "$rc"; exit 1; }
echo "passed: $(echo "$rc" | grep -c VALUE) values, version $version"
