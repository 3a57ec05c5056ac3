#!/usr/bin/env bash
# Which functions of src/ a fuzz corpus of methods_fuzz reaches, by clang's
# source-based coverage: builds the replay form of the target and the test
# build of the plugin with coverage counters (build/fuzz-coverage), replays the
# corpus through every kind of host the inputs ask for, merges the profiles of
# all plugin copies, and prints the summary and the functions of src/ never run.
# Usage: tools/fuzz_coverage.sh [CORPUS_DIR]   (default fuzz/corpus/methods)
set -euo pipefail
cd "$(dirname "$0")/.."
corpus=$(realpath "${1:-fuzz/corpus/methods}")
dir=build/fuzz-coverage
flags="-fprofile-instr-generate -fcoverage-mapping"
cmake -S . -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_COMPILER=clang++ \
  -DCMAKE_CXX_FLAGS="$flags" -DCMAKE_SHARED_LINKER_FLAGS="$flags" -DCMAKE_MODULE_LINKER_FLAGS="$flags" \
  -DCMAKE_EXE_LINKER_FLAGS="$flags" -DZTK_BUILD_TESTS=OFF -DZTK_BUILD_FUZZERS=ON >/dev/null
cmake --build "$dir" --target methods_fuzz ZTKStrings_probe >/dev/null
profiles=$(mktemp -d)
# %m: one profile for each module, the plugin copies (identical files) included.
LLVM_PROFILE_FILE="$profiles/%p-%m.profraw" "$dir/fuzz/methods_fuzz" "$corpus" >/dev/null
llvm-profdata merge -sparse "$profiles"/*.profraw -o "$profiles/all.profdata"
plugin="$dir/ZTKStrings_probe.so"
echo "== coverage of src/ (all plugin copies together)"
llvm-cov report "$plugin" -instr-profile="$profiles/all.profdata" "$PWD/src" | tail -1
echo "== functions of src/ never run"
llvm-cov export "$plugin" -instr-profile="$profiles/all.profdata" -format=text "$PWD/src" |
  python3 -c '
import json, sys
data = json.load(sys.stdin)["data"][0]
never = sorted({(f["filenames"][0].split("/src/", 1)[-1], f["name"]) for f in data["functions"] if f["count"] == 0})
for path, name in never:
    print(f"src/{path}: {name}")
print(f"({len(never)} functions)")
' | c++filt
rm -rf "$profiles"
