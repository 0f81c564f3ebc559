#!/usr/bin/env bash
# Installs what is missing, builds, packs the example show into the archive
# beside the player, and plays it: in a window (the player first asks about
# full screen), or, without a display, rendered off screen into out/.
set -euo pipefail
cd "$(dirname "$0")"
./scripts/deps.sh --play
./scripts/build.sh
./scripts/pack-example.sh build/vxplay.cfl
if [ -n "${DISPLAY:-}" ] || [ -n "${WAYLAND_DISPLAY:-}" ]; then
  exec build/vxplay
fi
echo "play.sh: no display (DISPLAY and WAYLAND_DISPLAY are unset): rendering the show off screen into out/" >&2
mkdir -p out
# --force: each run replaces the last one's frames, sound and video.
build/tools/vxtool render --archive build/vxplay.cfl --frames out/frames --wav out/show.wav --video out/show.mp4 --force
echo "frames: $PWD/out/frames/ (PNG, 30 per second of show)"
echo "sound:  $PWD/out/show.wav"
if [ -f out/show.mp4 ]; then
  echo "video:  $PWD/out/show.mp4"
else
  echo "video:  none (install ffmpeg for out/show.mp4: apt-get install ffmpeg)"
fi
