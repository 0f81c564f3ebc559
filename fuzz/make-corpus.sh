#!/usr/bin/env bash
# Regenerates the seed corpora in fuzz/corpus/<target>/ with the project's own
# writers (vx_fuzz_corpus, built by fuzz/build.sh). Regression inputs
# ("regress-*") are kept; every other seed is rewritten.
set -euo pipefail
cd "$(dirname "$0")/.."
bin="$(./fuzz/build.sh "${1:-build-fuzz}")"
ASAN_OPTIONS=detect_leaks=0 "$bin/fuzz/vx_fuzz_corpus" fuzz/corpus examples/show
du -sh fuzz/corpus/* | sed 's|fuzz/corpus/||'
