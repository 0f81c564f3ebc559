#!/usr/bin/env bash
# Configures and builds into build/ (extra arguments go to the configure step).
set -euo pipefail
cd "$(dirname "$0")/.."
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo "$@" >/dev/null
cmake --build build -j"$(nproc)"
