#!/usr/bin/env bash
# Builds the example show's folder (the generated pictures, sequence, tune and
# movie, plus the scripts of examples/show/) in build/example-show/ and packs
# all of it into the archive given (replacing it), with the tools of the
# build folder given (default build/).
set -euo pipefail
cd "$(dirname "$0")/.."
out="$1"
bin="${2:-build}"
case "$out" in /*) ;; *) out="$PWD/$out" ;; esac
show="$bin/example-show"
rm -rf "$show"
mkdir -p "$show"
if [ -x "$bin/tools/showgen/vx_showgen" ]; then
  "$bin/tools/showgen/vx_showgen" "$show"
fi
cp -R examples/show/. "$show/"
mapfile -t names < <(cd "$show" && find . -type f ! -name '.*' -printf '%P\n' | LC_ALL=C sort)
"$bin/tools/vxtool" pack "$out" --force -C "$show" "${names[@]}"
