#!/usr/bin/env bash
# Installs what is missing, builds, packs the example show into the archive
# beside the player, and plays it (the player first asks about full screen).
set -euo pipefail
cd "$(dirname "$0")"
./scripts/deps.sh
./scripts/build.sh
./scripts/pack-example.sh build/vxplay.cfl
if [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ]; then
  echo "play.sh: no display (DISPLAY and WAYLAND_DISPLAY are unset); the show is packed in build/vxplay.cfl:" >&2
  build/tools/vxtool list build/vxplay.cfl
  exit 0
fi
exec build/vxplay
