#!/bin/sh
# Fails unless the shared library exports exactly its interface: the members of
# the public classes and the flat C functions of FLAT_LIST, each present and
# nothing else.
# The public headers must declare the same classes and functions.
# On Windows it also fails when the DLL imports anything but system DLLs.
# Usage: check_exports.sh LIBRARY INCLUDE_DIR Posix|Win32 NM_OR_OBJDUMP FLAT_LIST
# FLAT_LIST holds the flat functions' names, one a line ('#' starts a comment).
set -u

lib=$1 include=$2 os=$3 tool=$4 flat_list=$5
fail=0

expected_classes="API BinaryInfo Configuration ExceptionInfo ExtendedKey ExtendedKeys FlowController StringBuf"
expected_classes=$(echo $expected_classes | tr ' ' '\n' | sort)
expected_flat=$(grep -v '^[[:space:]]*\(#\|$\)' "$flat_list" | tr -d ' \t\r' | sort) ||
  { echo "no list of flat functions at $flat_list"; exit 1; }

if [ ! -f "$lib" ]; then
  echo "no library at $lib"
  exit 1
fi

# Prints the lines of $1 missing from $2, each after the label $3.
missing() {
  echo "$1" | while read -r name; do
    [ -n "$name" ] && ! echo "$2" | grep -qxF "$name" && echo "$3 $name"
  done
}

classes=$(sed -n 's/.*class QZ_API \([A-Za-z_][A-Za-z0-9_]*\).*/\1/p' "$include"/*.h | sort -u)
# Names called like functions in the flat header (comments and directives removed).
flat=$(sed -e 's://.*$::' -e '/^[[:space:]]*#/d' "$include/qz_flat.h" 2>/dev/null |
  tr '\n' ' ' | sed -e 's:/\*[^*]*\*\+\([^/*][^*]*\*\+\)*/: :g' |
  grep -oE '[A-Za-z_][A-Za-z0-9_]*[[:space:]]*\(' | tr -d '( \t' | sort -u)
header_faults=$(
  missing "$expected_classes" "$classes" "public headers lack the class"
  missing "$classes" "$expected_classes" "public headers declare an unexpected class"
  missing "$expected_flat" "$flat" "qz_flat.h lacks"
  missing "$flat" "$expected_flat" "qz_flat.h declares an unexpected function"
)
if [ -n "$header_faults" ]; then
  echo "$header_faults"
  fail=1
fi
class_alt=$(echo "$expected_classes" | paste -sd '|' -)

if [ "$os" = "Win32" ]; then
  dump=$("$tool" -p "$lib") || { echo "$tool -p failed"; exit 1; }
  symbols=$(echo "$dump" | awk '
    /^\[Ordinal\/Name Pointer\] Table/ { on = 1; next }
    on && /^[[:space:]]*$/ { on = 0 }
    on && /^[[:space:]]*\[ *[0-9]+\]/ { print $NF }')
  # Only system DLLs may be needed at run time: the C and C++ runtimes are linked in.
  allowed_dlls='^(KERNEL32|msvcrt|ADVAPI32|WINHTTP|ole32|OLEAUT32|IPHLPAPI|SHELL32|NETAPI32|RPCRT4|WS2_32|PSAPI|USER32|CRYPT32|api-ms-win-.*)\.dll$'
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

plain="" exported_classes=""
for symbol in $symbols; do
  case $symbol in
    _Z*)
      name=$(echo "$symbol" | c++filt)
      # Members, and the vtables, type information and thunks of the public classes.
      class=$(echo "$name" | sed -nE "s/^([a-z -]+ (for|to) )?qz::($class_alt)(::|<| |\$).*/\3/p")
      if [ -z "$class" ]; then
        echo "exported but not interface: $name ($symbol)"
        fail=1
      fi
      exported_classes="$exported_classes
$class"
      ;;
    *)
      plain="$plain
$symbol"
      ;;
  esac
done

library_faults=$(
  missing "$expected_classes" "$exported_classes" "nothing exported of the class"
  missing "$expected_flat" "$plain" "flat function not exported:"
  missing "$plain" "$expected_flat" "exported but not a flat function:"
)
if [ -n "$library_faults" ]; then
  echo "$library_faults"
  fail=1
fi

echo "$count exports checked; classes: $(echo "$expected_classes" | paste -sd ' ' -);" \
  "flat functions: $(echo "$expected_flat" | grep -c .)"
exit $fail
