#!/usr/bin/env bash
# Checks a built plugin library with the binutils of its target: it exports
# exactly REALPluginMain, and needs nothing at run time beyond what every
# machine of its platform has (system DLLs on Windows; the C and C++ runtimes
# of the distribution on Linux).
# usage: check_library.sh LIBRARY TOOL-PREFIX   (e.g. aarch64-linux-gnu-, or "" for native)
set -euo pipefail
lib=$1
prefix=${2:-}
fail() { echo "check_library: $lib: $*" >&2; exit 1; }

case "$lib" in
  *.dll)
    dump=$("${prefix}objdump" -p "$lib")
    exports=$(printf '%s\n' "$dump" | sed -n '/\[Ordinal\/Name Pointer\] Table/,/^$/p' | grep -E '^\s+\[' |
      sed -E 's/^\s+\[ *[0-9]+\] //')
    imports=$(printf '%s\n' "$dump" | sed -n 's/^\s*DLL Name: //p' | tr 'A-Z' 'a-z')
    for dll in $imports; do
      case "$dll" in
        kernel32.dll | msvcrt.dll | ntdll.dll | advapi32.dll | user32.dll | ws2_32.dll | api-ms-win-*) ;;
        *) fail "imports $dll, which is not a system DLL" ;;
      esac
    done
    ;;
  *)
    exports=$("${prefix}nm" -D --defined-only "$lib" | awk '{print $3}')
    needed=$("${prefix}readelf" -d "$lib" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
    for so in $needed; do
      case "$so" in
        libc.so.* | libm.so.* | libstdc++.so.* | libgcc_s.so.* | ld-linux*) ;;
        *) fail "needs $so" ;;
      esac
    done
    ;;
esac
[ "$exports" = "REALPluginMain" ] || fail "exports '$(echo $exports)' instead of REALPluginMain alone"
echo "check_library: $lib exports REALPluginMain alone and needs only system libraries"
