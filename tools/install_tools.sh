#!/usr/bin/env bash
# Installs from Debian what the test command needs and this machine lacks:
# CMake and GoogleTest, the cross compilers of every platform, qemu-user,
# wine (and its 32-bit half, which may fail without stopping anything: that
# platform is then reported as not run), clang with its sanitizer runtimes
# (libFuzzer, ThreadSanitizer), and for the
# macOS and Windows arm64 libraries clang's linkers (ld64.lld, lld-link),
# llvm-lipo, llvm-dlltool and libc++'s headers. Does nothing
# when all is there; needs root (or sudo) otherwise.
set -uo pipefail
cd "$(dirname "$0")/.."
export DEBIAN_FRONTEND=noninteractive

need=()
for pkg in cmake ninja-build g++ python3 libgtest-dev libbenchmark-dev googletest \
           g++-aarch64-linux-gnu g++-arm-linux-gnueabihf g++-i686-linux-gnu g++-mingw-w64-x86-64 g++-mingw-w64-i686 \
           qemu-user wine wine64 clang libclang-rt-14-dev lld-14 llvm-14 libc++-14-dev; do
  dpkg -s "$pkg" >/dev/null 2>&1 || need+=("$pkg")
done
sudo=""
[ "$(id -u)" = 0 ] || sudo=sudo
if [ ${#need[@]} -gt 0 ]; then
  echo "== installing ${need[*]}"
  ok=0
  # A mirror in the middle of a sync can fail an index: try again.
  for attempt in 1 2 3; do
    $sudo apt-get update -qq
    if $sudo apt-get install -y -qq "${need[@]}" >/dev/null; then
      ok=1
      break
    fi
    sleep 20
  done
  [ $ok = 1 ] || echo "install_tools: could not install ${need[*]}; the platforms that need them fail or are not run" >&2
fi

# 32-bit Windows programs need wine's i386 half; without it the Windows
# 32-bit suite is reported as not run.
dpkg -s wine32:i386 >/dev/null 2>&1 || $sudo bash tools/install_wine32.sh || true
