#!/usr/bin/env bash
# Configures and builds the fuzz targets with clang into build-fuzz/ (or the
# folder given), everything instrumented with libFuzzer's coverage,
# AddressSanitizer and UndefinedBehaviorSanitizer. Prints the build folder.
set -euo pipefail
cd "$(dirname "$0")/.."
bin="${1:-build-fuzz}"
targets=(fuzz_archive fuzz_config fuzz_script fuzz_check fuzz_imageseq fuzz_image fuzz_swf fuzz_vxk fuzz_animseq
  vx_fuzz_corpus)
cmake -S . -B "$bin" -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DVX_FUZZ=ON -DVX_BENCH=OFF -DVX_WERROR=ON >/dev/null
mkdir -p "$bin"
if ! cmake --build "$bin" -j"$(nproc)" --target "${targets[@]}" >"$bin/fuzz-build.log" 2>&1; then
  tail -40 "$bin/fuzz-build.log" >&2
  echo "fuzz/build.sh: the build failed (whole log: $bin/fuzz-build.log)" >&2
  exit 1
fi
echo "$bin"
