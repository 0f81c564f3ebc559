#!/usr/bin/env bash
# Packs every file of examples/show/ into the archive given (replacing it).
set -euo pipefail
cd "$(dirname "$0")/.."
out="$1"
case "$out" in /*) ;; *) out="$PWD/$out" ;; esac
mapfile -t names < <(cd examples/show && find . -type f ! -name '.*' -printf '%P\n' | LC_ALL=C sort)
build/tools/vxtool pack "$out" --force -C examples/show "${names[@]}"
