#!/usr/bin/env bash
# Installs what is missing, builds everything, runs every test.
# Exits non-zero when any test fails.
set -euo pipefail
cd "$(dirname "$0")"
./scripts/deps.sh
./scripts/build.sh -DVX_WERROR=ON
ctest --test-dir build --output-on-failure -j"$(nproc)"
