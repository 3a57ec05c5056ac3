#!/usr/bin/env bash
# The plugin beside Python's and PHP's built-ins, sabyenc, jellyfish and
# python-Levenshtein, in one run, on the same inputs: installs what it needs
# from Debian, builds the benchmark preset and prints the tables the README
# shows. Extra arguments go to peers.py (--repetitions N).
set -euo pipefail
cd "$(dirname "$0")/.."
need=()
command -v php >/dev/null || need+=(php-cli)
php -r 'exit(function_exists("mb_convert_encoding") ? 0 : 1);' 2>/dev/null || need+=(php-mbstring)
/usr/bin/python3 -c 'import sabyenc3' 2>/dev/null || need+=(python3-sabyenc)
/usr/bin/python3 -c 'import jellyfish' 2>/dev/null || need+=(python3-jellyfish)
/usr/bin/python3 -c 'import Levenshtein' 2>/dev/null || need+=(python3-levenshtein)
if ((${#need[@]})); then
  sudo=""
  [ "$(id -u)" = 0 ] || sudo=sudo
  $sudo apt-get update -q >/dev/null || true  # a mirror in mid-sync fails one index; the others still serve
  $sudo apt-get install -y -q "${need[@]}" >/dev/null
fi
cmake --preset release-bench >/dev/null
cmake --build --preset release-bench --target byte_methods_bench text_methods_bench analysis_bench peer_inputs >/dev/null
# One CPU for the plugin and the peers alike: the virtual CPUs of a shared
# machine may differ in speed by half or more (a busy neighbour on the same
# core), so the one that runs a short probe fastest is taken.
pin=()
if command -v taskset >/dev/null; then
  best="" best_ns=""
  for cpu in $(seq 0 $(($(nproc) - 1))); do
    ns=$(taskset -c "$cpu" build/release-bench/bench/byte_methods_bench \
      --benchmark_filter='^DecodingFromQuotedPrintable/dense/1048576$' --benchmark_min_time=0.05 \
      --benchmark_repetitions=3 --benchmark_report_aggregates_only=true --benchmark_format=csv 2>/dev/null |
      awk -F, '/_median/ {print int($3)}')
    if [ -n "$ns" ] && { [ -z "$best_ns" ] || [ "$ns" -lt "$best_ns" ]; }; then best=$cpu best_ns=$ns; fi
  done
  [ -n "$best" ] && pin=(taskset -c "$best")
fi
"${pin[@]}" /usr/bin/python3 bench/peers.py build/release-bench "$@"
