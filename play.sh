#!/usr/bin/env bash
# Installs what is missing, builds, packs the example show into the archive
# beside the player, and shows what the archive holds.
set -euo pipefail
cd "$(dirname "$0")"
./scripts/deps.sh
./scripts/build.sh
./scripts/pack-example.sh build/vxplay.cfl
build/tools/vxtool list build/vxplay.cfl
