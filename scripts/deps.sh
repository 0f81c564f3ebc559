#!/usr/bin/env bash
# Installs the Debian 12 packages the project builds and tests with, skipping
# those already installed. Runs apt-get as root, or through sudo otherwise.
set -euo pipefail

packages=(
  build-essential cmake pkg-config
  zlib1g-dev libsdl2-dev libepoxy-dev libmpg123-dev libmp3lame-dev libpng-dev libjpeg-dev libstb-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  libgl1-mesa-dri libegl1-mesa-dev libgles-dev
  xvfb xdotool x11-utils python3
  clang libclang-rt-14-dev
)

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
