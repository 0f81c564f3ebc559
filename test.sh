#!/usr/bin/env bash
# Installs what is missing, builds everything, packs the example show beside
# the player (the end-to-end tests play it), and runs every test.
# Exits non-zero when any test fails.
set -euo pipefail
cd "$(dirname "$0")"
./scripts/deps.sh
./scripts/build.sh -DVX_WERROR=ON
./scripts/pack-example.sh build/vxplay.cfl >/dev/null
ctest --test-dir build --output-on-failure -j"$(nproc)"
