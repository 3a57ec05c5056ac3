#!/usr/bin/env bash
# Assembles dist/ZTKStrings.xojo_plugin from the libraries built under build/:
# ZTKStrings/Build Resources/<Xojo platform folder>/<library>, and an empty
# Version.info at the archive's root. Then lists the archive and checks the tree.
set -euo pipefail
cd "$(dirname "$0")/.."
# preset, Xojo's folder name (case matters), library file
platforms=(
  "dev|Linux x86-64|ZTKStrings.so"
  "linux-arm64|Linux arm64|ZTKStrings.so"
  "linux-arm|Linux ARM|ZTKStrings.so"
  "linux-x86|Linux X86|ZTKStrings.so"
  "windows-x64|Windows x86-64|ZTKStrings.dll"
  "windows-x86|Windows|ZTKStrings.dll"
  "macos-x86_64|Mac Universal|ZTKStrings.dylib"
  "windows-arm64|Windows arm64|ZTKStrings.dll"
)
stage=build/package/stage
rm -rf build/package && mkdir -p "$stage/ZTKStrings/Build Resources" dist
: > "$stage/Version.info"
expected=("Version.info")
for row in "${platforms[@]}"; do
  IFS='|' read -r preset folder file <<< "$row"
  lib="build/$preset/$file"
  [ -f "$lib" ] || { echo "package: $lib is not built (cmake --preset $preset)" >&2; exit 1; }
  mkdir -p "$stage/ZTKStrings/Build Resources/$folder"
  cp "$lib" "$stage/ZTKStrings/Build Resources/$folder/"
  expected+=("ZTKStrings/Build Resources/$folder/$file")
done
rm -f dist/ZTKStrings.xojo_plugin
(cd "$stage" && cmake -E tar cf ../../../dist/ZTKStrings.xojo_plugin --format=zip Version.info ZTKStrings)

listing=$(cmake -E tar tf dist/ZTKStrings.xojo_plugin)
echo "$listing"
for entry in "${expected[@]}"; do
  grep -qxF "$entry" <<< "$listing" || { echo "package: $entry missing from the archive" >&2; exit 1; }
done
[ "$(head -n 1 <<< "$listing")" = "Version.info" ] || { echo "package: Version.info is not at the root" >&2; exit 1; }
echo "package: dist/ZTKStrings.xojo_plugin holds $(( ${#expected[@]} - 1 )) libraries"
