#!/usr/bin/env bash
# Installs the Debian 12 packages the project builds and tests with, skipping
# those already installed. Runs apt-get as root, or through sudo otherwise.
#   deps.sh          what the build and every test need (./test.sh)
#   deps.sh --play   that, and ffmpeg, which ./play.sh needs off screen to
#                    turn the rendered frames and music into out/show.mp4
# scripts/fresh-check.sh proves the list on a fresh Debian 12 root.
set -euo pipefail

play=0
case "${1:-}" in
  "") ;;
  --play) play=1 ;;
  *) echo "deps: unknown option $1 (deps.sh [--play])" >&2; exit 2 ;;
esac

# xfonts-base: the X core fonts; SDL's X11 message box (the player's start-up
# question) cannot open without them, and the player then exits 10.
packages=(
  build-essential cmake pkg-config
  zlib1g-dev libsdl2-dev libx11-dev libepoxy-dev libmpg123-dev libmp3lame-dev libpng-dev libjpeg-dev libstb-dev
  libassimp-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  libgl1-mesa-dri libegl1-mesa-dev libgles-dev
  xvfb xdotool x11-utils xfonts-base python3 parallel
  clang libclang-rt-14-dev
)
if [ $play = 1 ]; then packages+=(ffmpeg); fi

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "Installing: ${missing[*]}" >&2
if [ "$(id -u)" -eq 0 ]; then
  sudo_cmd=()
elif command -v sudo >/dev/null 2>&1; then
  sudo_cmd=(sudo)
else
  echo "deps: missing packages (${missing[*]}) and no root rights to install them" >&2
  exit 1
fi
export DEBIAN_FRONTEND=noninteractive
"${sudo_cmd[@]}" apt-get update -qq
"${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
