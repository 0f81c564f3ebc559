#!/usr/bin/env bash
# Builds the whole test suite with AddressSanitizer and UndefinedBehaviorSanitizer
# into build-asan/ (or the folder given) and runs it. Run before resolving any
# change to a parser.
#
# Tests that drive Mesa's OpenGL driver run without the leak checker: the
# driver keeps small allocations (some made from its JIT-compiled code, which
# no suppression can name) until the process ends. Every other test runs with
# it, and every test runs with the address and undefined-behaviour checks.
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/deps.sh
bin="${1:-build-asan}"
cmake -S . -B "$bin" -DCMAKE_BUILD_TYPE=Debug -DVX_SANITIZE=ON -DVX_BENCH=OFF -DVX_WERROR=ON >/dev/null
cmake --build "$bin" -j"$(nproc)"
./scripts/pack-example.sh "$bin/vxplay.cfl" "$bin" >/dev/null
gl='^(Gl|Window|PeekMessageA|D3DXShaderDriver|D3DXShaderGl|ImageBlitterGl|RenderTest|RenderMusicTest|vxplay|[A-Za-z]*GlTest|SharedShadersTest|CubeMapTest|ConvertRenderTest|ExampleShow)'
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
status=0
ASAN_OPTIONS=detect_leaks=1 ctest --test-dir "$bin" --output-on-failure -j"$(nproc)" -E "$gl" || status=1
ASAN_OPTIONS=detect_leaks=0 ctest --test-dir "$bin" --output-on-failure -j"$(nproc)" -R "$gl" || status=1
exit $status
