#!/usr/bin/env bash
# Installs what is missing, builds everything, packs the example show beside
# the player (the end-to-end tests play it), and runs every test; then builds
# the fuzz targets with clang (build-fuzz/) and runs each once over its
# committed corpus (a regression run of seconds, not a fuzzing campaign).
# Exits non-zero when any test fails.
set -euo pipefail
cd "$(dirname "$0")"
./scripts/deps.sh
./scripts/build.sh -DVX_WERROR=ON
./scripts/pack-example.sh build/vxplay.cfl >/dev/null
ctest --test-dir build --output-on-failure -j"$(nproc)"
./fuzz/build.sh build-fuzz >/dev/null
ctest --test-dir build-fuzz -L fuzz --output-on-failure -j"$(nproc)"
