#!/bin/bash
# On 32-bit ARM only the kernels' neon.cpp sources are compiled for NEON. An
# inline function or template one of them shares with another source is
# emitted in both, and the linker keeps one copy: if it kept the NEON one, a
# CPU without NEON could run it. Fails when a function defined weakly in a NEON
# object is defined in any other object of the library's core.
# Usage: check_neon_objects.sh BUILD_DIR [NM]
set -euo pipefail
build=$1
nm=${2:-arm-linux-gnueabihf-nm}
objects=$(find "$build/CMakeFiles/ztk_core.dir" -name '*.o')
neon=$(printf '%s\n' $objects | grep '/neon\.cpp\.o$' || true)
[ -n "$neon" ] || { echo "no NEON objects under $build"; exit 1; }
others=$(printf '%s\n' $objects | grep -v '/neon\.cpp\.o$')
weak=$(for o in $neon; do "$nm" "$o" | awk '$2 == "W" {print $3}'; done | sort -u)
defined=$(for o in $others; do "$nm" --defined-only "$o" | awk '{print $3}'; done | sort -u)
shared=$(comm -12 <(printf '%s\n' "$weak") <(printf '%s\n' "$defined") || true)
if [ -n "$shared" ]; then
  echo "defined both in a NEON object and in another object:"
  printf '%s\n' "$shared" | c++filt
  exit 1
fi
echo "$(printf '%s\n' $neon | wc -l) NEON objects share no definition with the other $(printf '%s\n' $others | wc -l)"
