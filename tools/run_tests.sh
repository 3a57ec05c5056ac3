#!/usr/bin/env bash
# Builds and runs every test: the optimised build, then the sanitizer build
# (AddressSanitizer + UndefinedBehaviorSanitizer) of the whole suite.
set -euo pipefail
cd "$(dirname "$0")/.."
jobs=$(nproc 2>/dev/null || echo 2)
for preset in dev asan-ubsan; do
  echo "== $preset"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" -j "$jobs"
  ctest --preset "$preset" -j "$jobs"
done
