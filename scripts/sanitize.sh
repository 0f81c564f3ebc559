#!/usr/bin/env bash
# Builds the whole test suite with AddressSanitizer and UndefinedBehaviorSanitizer
# into build-asan/ and runs it. Run before resolving any change to a parser.
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/deps.sh
cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=Debug -DVX_SANITIZE=ON -DVX_BENCH=OFF -DVX_WERROR=ON >/dev/null
cmake --build build-asan -j"$(nproc)"
ASAN_OPTIONS=detect_leaks=1:abort_on_error=0 UBSAN_OPTIONS=print_stacktrace=1 \
  ctest --test-dir build-asan --output-on-failure -j"$(nproc)"
