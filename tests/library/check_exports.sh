#!/bin/sh
# Fails when the shared library exports anything beyond its interface: members of
# the classes declared QZ_API in the public headers and the flat C functions.
# On Windows it also fails when the DLL imports anything but system DLLs.
# Usage: check_exports.sh LIBRARY INCLUDE_DIR Posix|Win32 NM_OR_OBJDUMP
set -u

lib=$1 include=$2 os=$3 tool=$4
fail=0

if [ ! -f "$lib" ]; then
  echo "no library at $lib"
  exit 1
fi

classes=$(sed -n 's/.*class QZ_API \([A-Za-z_][A-Za-z0-9_]*\).*/\1/p' "$include"/*.h | sort -u)
if [ -z "$classes" ]; then
  echo "no exported classes declared in $include"
  exit 1
fi
class_alt=$(echo "$classes" | paste -sd '|' -)

# Names called like functions in the flat header (comments and directives removed);
# a keyword caught this way can do no harm, no symbol carries its name.
flat=""
if [ -f "$include/qz_flat.h" ]; then
  flat=$(sed -e 's://.*$::' -e '/^[[:space:]]*#/d' "$include/qz_flat.h" |
    tr '\n' ' ' | sed -e 's:/\*[^*]*\*\+\([^/*][^*]*\*\+\)*/: :g' |
    grep -oE '[A-Za-z_][A-Za-z0-9_]*[[:space:]]*\(' | tr -d '( \t' | sort -u)
fi

if [ "$os" = "Win32" ]; then
  dump=$("$tool" -p "$lib") || { echo "$tool -p failed"; exit 1; }
  symbols=$(echo "$dump" | awk '
    /^\[Ordinal\/Name Pointer\] Table/ { on = 1; next }
    on && /^[[:space:]]*$/ { on = 0 }
    on && /^[[:space:]]*\[ *[0-9]+\]/ { print $NF }')
  # Only system DLLs may be needed at run time: the C and C++ runtimes are linked in.
  allowed_dlls='^(KERNEL32|msvcrt|ADVAPI32|WINHTTP|ole32|OLEAUT32|IPHLPAPI|SHELL32|NETAPI32|RPCRT4|WS2_32|PSAPI|USER32|api-ms-win-.*)\.dll$'
  for dll in $(echo "$dump" | sed -n 's/^[[:space:]]*DLL Name: *//p'); do
    if ! echo "$dll" | grep -qiE "$allowed_dlls"; then
      echo "imports a non-system DLL: $dll"
      fail=1
    fi
  done
else
  symbols=$("$tool" -D --defined-only "$lib" | awk 'NF >= 3 { print $3 }' | sed 's/@.*//') ||
    { echo "$tool -D failed"; exit 1; }
fi

count=$(echo "$symbols" | grep -c .)
if [ "$count" -eq 0 ]; then
  echo "the library exports nothing"
  exit 1
fi

for symbol in $symbols; do
  case $symbol in
    _Z*)
      name=$(echo "$symbol" | c++filt)
      # Members, and the vtables, type information and thunks of the public classes.
      if ! echo "$name" | grep -qE "^([a-z -]+ (for|to) )?qz::($class_alt)(::|<| |\$)"; then
        echo "exported but not interface: $name ($symbol)"
        fail=1
      fi
      ;;
    *)
      if ! echo "$flat" | grep -qxF "$symbol"; then
        echo "exported but not a flat function: $symbol"
        fail=1
      fi
      ;;
  esac
done

echo "$count exports checked; classes: $(echo "$classes" | paste -sd ' ' -)"
exit $fail
