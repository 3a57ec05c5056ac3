#!/usr/bin/env bash
# Builds the plugin, packages ZTKStrings.xojo_plugin, and shows it working:
# the ztk tool loads the built library into the substitute host through
# REALPluginMain and calls methods through their registered pointers.
set -euo pipefail
cd "$(dirname "$0")/.."
jobs=$(nproc 2>/dev/null || echo 2)
cmake --preset dev >/dev/null
cmake --build --preset dev -j "$jobs" --target ZTKStrings ztk xojo_plugin
ztk=build/dev/tools/ztk
show() {
  printf '$ ztk %s\n' "$*"
  "$ztk" "$@"
  printf '\n'
}
echo "== package"
cmake -E tar tf build/dev/ZTKStrings.xojo_plugin
echo "== the registered methods"
"$ztk" list
echo "== calls through the substitute host"
show EncodingToHexZTK "Hello"
show DecodingFromHexZTK 48656C6C6F
show EncodingToURLZTK "a b+c/d" 1
show EncodingToHTMLZTK "<café & 'crème'>"
show DecodingFromHTMLZTK "&lt;&eacute;&#x20AC;&gt;"
show EncodingToQuotedPrintableZTK "naïve = true"
show --hex StringXORZTK "secret" "key" 0
show HexstringZTK "ABCDEFGHIJ" 2 4 "| " $' |\n' " " "."
show JaroWinklerDistanceZTK MARTHA MARHTA
show LevenshteinDistanceZTK kitten sitting
show StrZTK 0.3
show SQLReplaceBooleanZTK "UPDATE t SET a = true WHERE b = FALSE;"
show RemoveHTMLTagsZTK "<p>Hello <b>World</b></p>"
show --verbose CountOccurancesZTK banana a
