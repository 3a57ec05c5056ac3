#!/usr/bin/env bash
# The plugin beside Python's and PHP's built-ins and sabyenc, in one run, on
# the same inputs: installs what it needs from Debian, builds the benchmark
# preset and prints the table the README shows. Extra arguments go to peers.py
# (--repetitions N).
set -euo pipefail
cd "$(dirname "$0")/.."
need=()
command -v php >/dev/null || need+=(php-cli)
/usr/bin/python3 -c 'import sabyenc3' 2>/dev/null || need+=(python3-sabyenc)
if ((${#need[@]})); then
  sudo=""
  [ "$(id -u)" = 0 ] || sudo=sudo
  $sudo apt-get update -q >/dev/null
  $sudo apt-get install -y -q "${need[@]}" >/dev/null
fi
cmake --preset release-bench >/dev/null
cmake --build --preset release-bench --target byte_methods_bench peer_inputs >/dev/null
# One CPU for the plugin and the peers alike: the two virtual CPUs of a shared
# machine may differ in speed by half or more.
pin=()
command -v taskset >/dev/null && pin=(taskset -c 0)
"${pin[@]}" /usr/bin/python3 bench/peers.py build/release-bench "$@"
