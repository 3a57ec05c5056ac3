#!/usr/bin/env bash
# Builds and runs every test:
#  1. the optimised build and the sanitizer build (AddressSanitizer +
#     UndefinedBehaviorSanitizer) of the whole suite, natively (Linux x86-64);
#  2. each other platform's library with the test suite built for it, run on
#     that platform: Linux arm64 under qemu-user, Linux X86 natively through
#     its own loader, Windows x86-64 and 32-bit under wine; each library's
#     exports and run-time needs checked with its target's binutils;
#  3. dist/ZTKStrings.xojo_plugin holding the five libraries, its tree checked.
set -euo pipefail
cd "$(dirname "$0")/.."
jobs=$(nproc 2>/dev/null || echo 2)

for preset in dev asan-ubsan; do
  echo "== $preset"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" -j "$jobs"
  ctest --preset "$preset" -j "$jobs"
done
bash tools/check_library.sh build/dev/ZTKStrings.so ""

# Creates the wine prefix once, before parallel test programs start (two first
# starts at once race on wine's server). A prefix made before wine's 32-bit
# half was installed (or by another wine) cannot start programs afterwards
# ("could not load kernel32.dll"), so it is made again when wine changes.
make_wine_prefix() {
  local prefix=$PWD/$1 made
  made="$(wine --version 2>/dev/null) $(dpkg -s wine32:i386 >/dev/null 2>&1 && echo with || echo without) wine32"
  [ "$(cat "$prefix/made-by" 2>/dev/null)" = "$made" ] || rm -rf "$prefix"
  WINEDEBUG=-all WINEPREFIX="$prefix" wineboot --init >/dev/null 2>&1 || true
  WINEDEBUG=-all WINEPREFIX="$prefix" wineserver --wait || true
  echo "$made" >"$prefix/made-by"
}

for row in linux-arm64:aarch64-linux-gnu- linux-x86:i686-linux-gnu- windows-x64:x86_64-w64-mingw32- \
           windows-x86:i686-w64-mingw32-; do
  preset=${row%%:*}
  tools=${row#*:}
  echo "== $preset"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" -j "$jobs"
  case "$preset" in
    windows-*) lib=build/$preset/ZTKStrings.dll ;;
    *) lib=build/$preset/ZTKStrings.so ;;
  esac
  bash tools/check_library.sh "$lib" "$tools"
  if [ "$preset" = windows-x86 ] && ! dpkg -s wine32:i386 >/dev/null 2>&1; then
    echo "== $preset: NOT RUN: wine cannot run 32-bit Windows programs here (no wine32:i386)"
    continue
  fi
  [[ "$preset" != windows-* ]] || make_wine_prefix "build/wine-$preset"
  ctest --preset "$preset" -j "$jobs"
done

echo "== package"
bash tools/package.sh
