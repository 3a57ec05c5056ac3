#!/usr/bin/env bash
# Runs one test program of a cross-built platform on this machine, the way
# tools/runners.sh chooses (the cross presets name this script as their
# emulator). usage: run_on.sh PLATFORM PROGRAM [ARGS...]
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
# shellcheck source=tools/runners.sh
. "$here/runners.sh"
platform=$1
shift
[ -n "${ZTK_RUN_LINUX_X86:-}" ] || ztk_choose_runners
# Under qemu-i386 (Debian 12's 7.2) a 32-bit program's first pthread_create
# never returns, so the tests that start threads skip themselves there; the
# native 32-bit runs, where the kernel allows them, cover those tests.
ZTK_QEMU_I386_THREADS="threads cannot be started under qemu-i386 (the first pthread_create never returns)"

case "$platform" in
  linux-arm64) exec qemu-aarch64 -L /usr/aarch64-linux-gnu "$@" ;;
  linux-arm) exec qemu-arm -L /usr/arm-linux-gnueabihf "$@" ;;
  linux-x86)
    case "${ZTK_LINUX_X86_VIA:-$ZTK_RUN_LINUX_X86}" in
      native) exec "$ZTK_I686_SYSROOT/lib/ld-linux.so.2" --library-path "$ZTK_I686_SYSROOT/lib" "$@" ;;
      *)
        export ZTK_SKIP_THREADS="$ZTK_QEMU_I386_THREADS"
        exec qemu-i386 -L "$ZTK_I686_SYSROOT" "$@"
        ;;
    esac
    ;;
  windows-x64) exec "$ZTK_WINE64" "$@" ;;
  windows-x86)
    [ "$ZTK_RUN_WINDOWS_X86" != binfmt ] || export ZTK_SKIP_THREADS="$ZTK_QEMU_I386_THREADS"
    exec wine "$@"
    ;;
esac
echo "run_on.sh: unknown platform $platform" >&2
exit 2
