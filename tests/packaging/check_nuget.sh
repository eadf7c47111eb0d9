#!/usr/bin/env bash
# Makes the NuGet package (target qz_nuget) and checks it as a .NET user meets
# it: exactly the expected files, the version, native libraries of the right
# kind (the Windows one stripped); the assembly's imports read back (all
# through "qzwin32", every flat function, C long in both widths, a text
# holding NUL refused); and Mono runs the example host from the package's
# assembly with nothing of the library but libqz.so.1 at hand, posting a run.
# Skipped (exit 77) without QZ_NUGET_WINDOWS_DLL: the test command's win stage
# builds it before the release stage.
# Environment besides common.sh's: QZ_NUPKG, QZ_NUGET_WINDOWS_DLL, QZ_MONO, QZ_MCS.
. "$(dirname "$0")/common.sh"

if [ ! -f "$QZ_NUGET_WINDOWS_DLL" ]; then
  echo "skipped: no qzwin32.dll for the package ('$QZ_NUGET_WINDOWS_DLL'; run the win stage first)"
  exit 77
fi
scratch_dir nuget
cmake --build "$QZ_BUILD_DIR" --target qz_nuget >"$scratch/pack.log" 2>&1 ||
  abort "the NuGet package was not made" "$scratch/pack.log"
nupkg=$QZ_NUPKG
[ -f "$nupkg" ] || abort "no $(basename "$nupkg")"
package=$scratch/package
mkdir -p "$package" && (cd "$package" && cmake -E tar xf "$nupkg") || abort "$(basename "$nupkg") does not unpack"
list_tree "$package" | check_files "$(basename "$nupkg")" "$(printf '%s\n' '[Content_Types].xml' _rels/.rels \
  Qz.nuspec lib/net45/Qz.dll lib/net45/Qz.dll.config runtimes/linux-x64/native/libqz.so.1 \
  runtimes/win-x64/native/qzwin32.dll)"
grep -q "<version>$QZ_VERSION</version>" "$package/Qz.nuspec" || fault "Qz.nuspec is not version $QZ_VERSION"
linux=$package/runtimes/linux-x64/native/libqz.so.1
windows=$package/runtimes/win-x64/native/qzwin32.dll
readelf -h "$linux" 2>/dev/null | grep -q 'Machine:.*X86-64' || fault "libqz.so.1 is no x86-64 ELF library"
readelf -d "$linux" | grep -q 'SONAME.*\[libqz\.so\.1\]' || fault "libqz.so.1 has another SONAME"
x86_64-w64-mingw32-objdump -f "$windows" 2>/dev/null | grep -q 'pei-x86-64' || fault "qzwin32.dll is no x86-64 Windows DLL"
x86_64-w64-mingw32-objdump -h "$windows" | grep -q '\.debug_' && fault "qzwin32.dll carries its debugging sections"

# The imports, read from the assembly by reflection (its NUL check calls the
# library: libqz.so.1 alone, as below).
native=$scratch/native
mkdir -p "$native"
cp "$linux" "$native/"
"$QZ_MCS" -nologo -warnaserror+ -out:"$scratch/BindingCheck.exe" "$here/BindingCheck.cs" \
  >"$scratch/check.log" 2>&1 || abort "BindingCheck.cs does not build" "$scratch/check.log"
imports=$(LD_LIBRARY_PATH=$native timeout 120 "$QZ_MONO" "$scratch/BindingCheck.exe" "$package/lib/net45/Qz.dll" 2>"$scratch/check.log") ||
  { fault "the binding let a text holding NUL through"; cat "$scratch/check.log"; }
echo "$imports" | awk '$2 != "qzwin32" { print "FAIL: " $1 " is imported from " $2 }'
echo "$imports" | awk '$2 != "qzwin32"' | grep -q . && fault "imports not from qzwin32"
echo "$imports" | awk '{ print $1 }' | sort -u |
  check_files "the assembly's imports" "$(grep -v '^[[:space:]]*\(#\|$\)' "$QZ_FLAT_LIST")"
for function in SetEndpointTimeout AddExtendedKeysLong SetFlowControllerRetryTimeout; do
  for width in Int32 Int64; do
    echo "$imports" | grep -q "^$function qzwin32 .*\b$width$" ||
      fault "$function has no import with a C long of $width"
  done
done
grep -q '<dllmap dll="qzwin32" target="libqz.so.1" os="!windows"/>' "$package/lib/net45/Qz.dll.config" ||
  fault "Qz.dll.config does not map qzwin32 to libqz.so.1 outside Windows"

# Mono with the package's assembly and libqz.so.1 alone (what the run-time
# package libqz1 installs): no libqz.so, no LD_LIBRARY_PATH to the build.
start_receiver
app=$scratch/app
mkdir -p "$app"
cp "$package/lib/net45/Qz.dll" "$package/lib/net45/Qz.dll.config" "$app/"
"$QZ_MCS" -nologo -warnaserror+ -r:"$app/Qz.dll" -out:"$app/QzHost.exe" "$QZ_SOURCE_DIR/examples/csharp/Host.cs" \
  >"$scratch/host.log" 2>&1 || abort "the example host does not build against the package's Qz.dll" "$scratch/host.log"
before=$(received)
LD_LIBRARY_PATH=$native timeout 120 sh "$QZ_SOURCE_DIR/tests/support/private_storage.sh" \
  "$QZ_MONO" "$app/QzHost.exe" "$endpoint" >>"$scratch/host.log" 2>&1 ||
  { fault "the example host failed under Mono"; cat "$scratch/host.log"; }
[ "$(received)" -gt "$before" ] || fault "the example host posted nothing"
finish
