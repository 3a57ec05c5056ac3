#!/usr/bin/env bash
# Installs what this machine lacks (tools/install_tools.sh), then builds and
# runs every test:
#  1. the optimised build and the sanitizer build (AddressSanitizer +
#     UndefinedBehaviorSanitizer) of the whole suite, natively (Linux x86-64),
#     and the ThreadSanitizer build (clang) of the plugin with the tests that
#     call it from several threads at once;
#  2. each other platform's library with the test suite built for it, run on
#     that platform as tools/runners.sh chooses for this machine: Linux arm64
#     and Linux ARM (32-bit) under qemu-user; Linux X86 natively through its own loader where the
#     kernel runs i386 programs, and under qemu-i386 always; Windows x86-64
#     under wine64; Windows 32-bit under wine, whose 32-bit loader runs
#     natively or under qemu-i386 through a binfmt_misc registration made for
#     the run. Each library's exports and run-time needs are checked with its
#     target's binutils;
#  3. the macOS universal library, built here and checked, its x86_64 slice
#     run by the suite natively and its arm64 slice under qemu-aarch64 through
#     the substitute host's Mach-O loader;
#  4. the Windows arm64 library, built here and checked, run by the suite
#     under qemu-aarch64 through the substitute host's PE loader;
#  5. where clang with libFuzzer is installed, the fuzz targets built over
#     instrumented code with ASan and UBSan (the fuzz preset), each replaying
#     its corpus and then fuzzing for a bounded time; an input that fails is
#     written into the target's corpus folder, to be committed as a
#     regression case (ZTK_FUZZ_SECONDS scales the times, 0 replays only);
#  6. dist/ZTKStrings.xojo_plugin holding the eight libraries, its tree checked.
# Every platform is tried even when another fails; the last lines give each
# one's result and time. ZTK_FORCE_QEMU=1 takes the qemu paths even where
# i386 programs run natively. Names given as arguments (dev, asan-ubsan,
# tsan, library, linux-arm64, linux-arm, linux-x86, windows-x64, windows-x86, macos,
# windows-arm64, fuzz, package) run only those steps.
set -uo pipefail
cd "$(dirname "$0")/.."
bash tools/install_tools.sh
jobs=$(nproc 2>/dev/null || echo 2)
# shellcheck source=tools/runners.sh
. tools/runners.sh

ztk_choose_runners
ztk_print_runners
trap ztk_binfmt_undo EXIT

results=()
passed=0 failed=0 skipped=0
record() {  # name, outcome, seconds
  results+=("$(printf '%-12s %s (%dm%02ds)' "$1" "$2" $(($3 / 60)) $(($3 % 60)))")
  case "$2" in
    passed*) passed=$((passed + 1)) ;;
    NOT\ RUN*) skipped=$((skipped + 1)) ;;
    *) failed=$((failed + 1)) ;;
  esac
}

build() {
  cmake --preset "$1" >/dev/null && cmake --build --preset "$1" -j "$jobs"
}

native_suite() {
  local preset=$1 start=$SECONDS
  echo "== $preset"
  if ! build "$preset"; then
    record "$preset" "FAILED to build" $((SECONDS - start))
    return
  fi
  if ctest --preset "$preset" -j "$jobs"; then
    record "$preset" "passed" $((SECONDS - start))
  else
    record "$preset" "FAILED" $((SECONDS - start))
  fi
}

# A wine prefix per platform, made once before the test programs start in
# parallel (two first starts at once race on wine's server). A prefix made by
# another wine, or before wine's 32-bit half was there, cannot start programs
# ("could not load kernel32.dll"), so it is made again when that changes.
make_wine_prefix() {
  local prefix=$PWD/$1 loader=$2 made
  made="$(wine --version 2>/dev/null) $(dpkg -s wine32:i386 >/dev/null 2>&1 && echo with || echo without) wine32, $loader"
  [ "$(cat "$prefix/made-by" 2>/dev/null)" = "$made" ] && return 0
  rm -rf "$prefix"
  local start=$SECONDS
  WINEDEBUG=-all WINEPREFIX="$prefix" "$loader" wineboot --init >/dev/null 2>&1 || true
  WINEDEBUG=-all WINEPREFIX="$prefix" wineserver --wait || true
  echo "$made" >"$prefix/made-by"
  echo "   wine prefix $1 made in $((SECONDS - start)) s"
}

# Runs a Windows suite with the prefix's wine server and services already up
# and kept up: test programs started together otherwise race to start them,
# and one can meet the server going away ("recvmsg: Connection reset by
# peer"). They are started with no terminal or pipe of ours, so that ctest
# does not wait for them, and stopped after the suite.
wine_ctest() {
  local preset=$1 loader=$2 prefix=$PWD/build/wine-$1 rc=0
  WINEDEBUG=-all WINEPREFIX="$prefix" wineserver -p </dev/null >/dev/null 2>&1 || true
  WINEDEBUG=-all WINEPREFIX="$prefix" "$loader" wineboot </dev/null >/dev/null 2>&1 || true
  ctest --preset "$preset" -j "$jobs" || rc=1
  WINEDEBUG=-all WINEPREFIX="$prefix" wineserver -k </dev/null >/dev/null 2>&1 || true
  return $rc
}

cross_suite() {
  local preset=$1 tools=$2 lib start=$SECONDS how=""
  echo "== $preset"
  case "$preset" in
    windows-*) lib=build/$preset/ZTKStrings.dll ;;
    *) lib=build/$preset/ZTKStrings.so ;;
  esac
  if ! build "$preset"; then
    record "$preset" "FAILED to build" $((SECONDS - start))
    return
  fi
  if ! bash tools/check_library.sh "$lib" "$tools"; then
    record "$preset" "FAILED the library check" $((SECONDS - start))
    return
  fi
  local ok=1
  case "$preset" in
    linux-arm64)
      how="qemu-aarch64"
      ctest --preset "$preset" -j "$jobs" || ok=0
      ;;
    linux-arm)
      # Twice: on qemu's default CPU, which reports NEON, and on one without
      # it (Cortex-R5F: ARMv7 with VFP only), where only the plain level may run.
      how="qemu-arm, with NEON and without"
      bash tools/check_neon_objects.sh "build/$preset" || ok=0
      ctest --preset "$preset" -j "$jobs" || ok=0
      QEMU_CPU=cortex-r5f ctest --preset "$preset" -j "$jobs" || ok=0
      ;;
    linux-x86)
      # The qemu path runs on every machine, so that it stays alive where
      # native execution would hide it.
      if [ "$ZTK_RUN_LINUX_X86" = native ]; then
        how="native + qemu-i386"
        ZTK_LINUX_X86_VIA=native ctest --preset "$preset" -j "$jobs" || ok=0
      else
        how="qemu-i386"
      fi
      ZTK_LINUX_X86_VIA=qemu ctest --preset "$preset" -j "$jobs" || ok=0
      ;;
    windows-x64)
      if [ "$ZTK_RUN_WINDOWS_X64" = none ]; then
        record "$preset" "NOT RUN: $ZTK_WHY_WINDOWS_X64" $((SECONDS - start))
        return
      fi
      how="wine64"
      make_wine_prefix "build/wine-$preset" "$ZTK_WINE64"
      wine_ctest "$preset" "$ZTK_WINE64" || ok=0
      ;;
    windows-x86)
      case "$ZTK_RUN_WINDOWS_X86" in
        none)
          record "$preset" "NOT RUN: $ZTK_WHY_WINDOWS_X86" $((SECONDS - start))
          return
          ;;
        binfmt)
          if ! ztk_binfmt_register; then
            record "$preset" "NOT RUN: qemu-i386 could not be registered with binfmt_misc" $((SECONDS - start))
            return
          fi
          how="wine, 32-bit loader under qemu-i386"
          ;;
        native) how="wine" ;;
      esac
      make_wine_prefix "build/wine-$preset" wine
      wine_ctest "$preset" wine || ok=0
      ztk_binfmt_undo
      ;;
  esac
  if [ $ok = 1 ]; then
    record "$preset" "passed ($how)" $((SECONDS - start))
  else
    record "$preset" "FAILED ($how)" $((SECONDS - start))
  fi
}

wanted() { [ $# -eq 0 ] || [[ " $* " == *" $step "* ]]; }
step=dev; wanted "$@" && native_suite dev
step=asan-ubsan; wanted "$@" && native_suite asan-ubsan
# ThreadSanitizer (clang): the plugin and the host built with it, and the
# tests that call every method from several threads at once; any report
# fails the step.
step=tsan
if wanted "$@"; then
  if command -v clang++ >/dev/null; then
    native_suite tsan
  else
    record tsan "NOT RUN: clang is not installed" 0
  fi
fi
step=library
if wanted "$@"; then
  start=$SECONDS
  if build dev >/dev/null && bash tools/check_library.sh build/dev/ZTKStrings.so ""; then
    record library "passed (Linux x86-64 exports and needs)" $((SECONDS - start))
  else
    record library "FAILED (Linux x86-64 exports and needs)" $((SECONDS - start))
  fi
fi
for row in linux-arm64:aarch64-linux-gnu- linux-arm:arm-linux-gnueabihf- linux-x86:i686-linux-gnu- \
           windows-x64:x86_64-w64-mingw32- windows-x86:i686-w64-mingw32-; do
  step=${row%%:*}
  wanted "$@" && cross_suite "$step" "${row#*:}"
done
# The macOS universal library: built here by clang and lld, checked as
# Apple's loader would meet it, and run by the whole suite through the
# substitute host's Mach-O loader, its x86_64 slice natively and its arm64
# slice under qemu-aarch64. The negative control: the suite must fail
# against a truncated copy.
step=macos
if wanted "$@"; then
  echo "== macos"
  start=$SECONDS
  lib=build/macos-x86_64/ZTKStrings.dylib
  if ! build macos-x86_64 || ! build macos-arm64; then
    record macos "FAILED to build" $((SECONDS - start))
  elif ! cmp -s "$lib" build/macos-arm64/ZTKStrings.dylib; then
    record macos "FAILED: the two builds of the library differ" $((SECONDS - start))
  elif ! python3 tools/check_macos_library.py "$lib" cmake/macos/libSystem.tbd; then
    record macos "FAILED the library check" $((SECONDS - start))
  else
    ok=1
    ctest --preset macos-x86_64 -j "$jobs" || ok=0
    ctest --preset macos-arm64 -j "$jobs" || ok=0
    # The x86_64 slice alone, cut in half (a cut universal file can still
    # hold that slice whole).
    truncated=build/macos-x86_64/truncated.dylib
    /usr/lib/llvm-14/bin/llvm-lipo -thin x86_64 -output "$truncated" build/macos-x86_64/ZTKStrings_probe.dylib
    head -c $(($(stat -c %s "$truncated") / 2)) "$truncated" >"$truncated.part" && mv "$truncated.part" "$truncated"
    if ZTK_TEST_PLUGIN=$truncated build/macos-x86_64/tests/codecs_tests --gtest_brief=1 >/dev/null 2>&1; then
      echo "   negative control: the suite passed against a truncated library"
      ok=0
    else
      echo "   negative control: the suite fails against a truncated library, as it must"
    fi
    if [ $ok = 1 ]; then
      record macos "passed (Mach-O loader: x86_64 natively, arm64 under qemu-aarch64)" $((SECONDS - start))
    else
      record macos "FAILED" $((SECONDS - start))
    fi
  fi
fi
# The Windows arm64 library: built here by clang and lld-link, checked as
# Windows' loader would meet it, and run by the whole suite through the
# substitute host's PE loader in the aarch64 test programs under
# qemu-aarch64. The negative control: the suite must fail against a
# truncated copy.
step=windows-arm64
if wanted "$@"; then
  echo "== windows-arm64"
  start=$SECONDS
  lib=build/windows-arm64/ZTKStrings.dll
  if ! build windows-arm64; then
    record windows-arm64 "FAILED to build" $((SECONDS - start))
  elif ! python3 tools/check_windows_library.py "$lib" cmake/windows-arm64/imports; then
    record windows-arm64 "FAILED the library check" $((SECONDS - start))
  elif /usr/lib/llvm-14/bin/llvm-objdump -d "$lib" | grep -qE '\b[xw]18\b'; then
    # Windows keeps x18 for the thread block, and the host calls the
    # library's methods without one: no instruction may name it.
    record windows-arm64 "FAILED: the library uses x18" $((SECONDS - start))
  else
    ok=1
    ctest --preset windows-arm64 -j "$jobs" || ok=0
    truncated=build/windows-arm64/truncated.dll
    head -c $(($(stat -c %s build/windows-arm64/ZTKStrings_probe.dll) / 2)) build/windows-arm64/ZTKStrings_probe.dll >"$truncated"
    if ZTK_TEST_PLUGIN=$PWD/$truncated tools/run_on.sh linux-arm64 build/windows-arm64/tests/codecs_tests --gtest_brief=1 \
      >/dev/null 2>&1; then
      echo "   negative control: the suite passed against a truncated library"
      ok=0
    else
      echo "   negative control: the suite fails against a truncated library, as it must"
    fi
    if [ $ok = 1 ]; then
      record windows-arm64 "passed (PE loader, arm64 under qemu-aarch64)" $((SECONDS - start))
    else
      record windows-arm64 "FAILED" $((SECONDS - start))
    fi
  fi
fi
step=fuzz
if wanted "$@"; then
  echo "== fuzz"
  start=$SECONDS
  if ! command -v clang++ >/dev/null || ! echo 'extern "C" int LLVMFuzzerTestOneInput(const char *, unsigned long) { return 0; }' |
    clang++ -x c++ -fsanitize=fuzzer - -o /tmp/ztk-fuzz-probe.$$ 2>/dev/null; then
    record fuzz "NOT RUN: no clang with libFuzzer here" $((SECONDS - start))
  elif ! build fuzz >/dev/null; then
    record fuzz "FAILED to build" $((SECONDS - start))
  else
    scale=${ZTK_FUZZ_SECONDS:-60} ok=1 work=$(mktemp -d)
    # target:seconds at a scale of 60
    for row in methods:60 kernels:60 codecs:20 bitwise:20 frame:20; do
      target=${row%%:*} seconds=$((${row#*:} * scale / 60))
      corpus=fuzz/corpus/$target
      mkdir -p "$work/$target"
      cp "$corpus"/* "$work/$target"/ 2>/dev/null || true
      log=build/fuzz/$target.log
      # Failing inputs land in the committed corpus folder; new interesting
      # inputs only in the scratch copy.
      if (cd build/fuzz && fuzz/"${target}_fuzz" -runs=0 "../../$corpus" >"$target-replay.log" 2>&1) &&
        { [ "$seconds" = 0 ] || build/fuzz/fuzz/"${target}_fuzz" -dict=fuzz/methods.dict -max_len=4096 -max_total_time="$seconds" \
          -timeout=20 -rss_limit_mb=3072 -print_final_stats=1 -artifact_prefix="$corpus/" "$work/$target" >"$log" 2>&1; }; then
        echo "   $target: $(grep -E '^#[0-9]+[[:space:]]+DONE' "$log" | tail -1 | sed -E 's/ +/ /g')"
      else
        ok=0
        echo "   $target: FAILED (build/fuzz/$target.log, build/fuzz/$target-replay.log; inputs in $corpus/)"
        tail -20 "$log" 2>/dev/null
      fi
    done
    rm -rf "$work"
    if [ $ok = 1 ]; then
      record fuzz "passed (libFuzzer, ${scale}-second scale)" $((SECONDS - start))
    else
      record fuzz "FAILED" $((SECONDS - start))
    fi
  fi
  rm -f /tmp/ztk-fuzz-probe.$$
fi
step=package
if wanted "$@"; then
  echo "== package"
  start=$SECONDS
  if bash tools/package.sh; then
    record package "passed" $((SECONDS - start))
  else
    record package "FAILED" $((SECONDS - start))
  fi
fi

echo "== results"
printf '   %s\n' "${results[@]}"
summary=$(printf '%s; ' "${results[@]}" | sed -E 's/ +/ /g; s/; $//')
echo "summary: $summary"
echo "suites: $passed passed, $failed failed, $skipped skipped"
[ "$failed" = 0 ]
