// Decoding and texture building at scene-texture sizes, and the matrix
// helpers the scene graph calls per node.
#include <benchmark/benchmark.h>

#include "platform/d3dx/D3DXMath.h"
#include "platform/d3dx/D3DXTexture.h"
#include "platform/d3dx/ImageDecoder.h"
#include "platform/gfx/recording/RecordingDevice.h"
#include "tests/platform/d3dx/TestImages.h"

namespace {

std::vector<D3DCOLOR> noisePixels(int width, int height) {
  // A gradient with low-amplitude noise: compresses like a photograph, not
  // like a flat colour.
  std::vector<D3DCOLOR> pixels(std::size_t(width) * height);
  std::uint32_t s = 1;
  for (std::size_t i = 0; i < pixels.size(); ++i) {
    s = s * 214013u + 2531011u;
    const std::uint32_t x = std::uint32_t(i % width) & 0xFF, y = std::uint32_t(i / width) & 0xFF;
    pixels[i] = D3DCOLOR_ARGB(255, (x + (s >> 28)) & 0xFF, (y + ((s >> 24) & 15)) & 0xFF, ((x + y) / 2) & 0xFF);
  }
  return pixels;
}

void decodeFile(benchmark::State& state, const Bytes& file) {
  for (auto _ : state) {
    DecodedImage image;
    benchmark::DoNotOptimize(decodeImage(file.data(), file.size(), image));
  }
  state.SetItemsProcessed(state.iterations() * 512 * 512);
}

void BM_DecodePng512(benchmark::State& state) { decodeFile(state, makePng(512, 512, noisePixels(512, 512))); }
void BM_DecodeJpeg512(benchmark::State& state) { decodeFile(state, makeJpeg(512, 512, noisePixels(512, 512), false, 90)); }
void BM_DecodeTga512(benchmark::State& state) { decodeFile(state, makeTga(512, 512, noisePixels(512, 512), 32)); }

// The scene texture cache's call: 512 x 512 JPEG, full chain, optionally DXT5.
void BM_CreateTextureJpeg512(benchmark::State& state) {
  const Bytes file = makeJpeg(512, 512, noisePixels(512, 512), false, 90);
  RecordingDevice* device = RecordingDevice::createOffscreen(64, 64);
  const D3DFORMAT format = state.range(0) ? D3DFMT_DXT5 : D3DFMT_UNKNOWN;
  for (auto _ : state) {
    IDirect3DTexture9* texture = nullptr;
    D3DXCreateTextureFromFileInMemoryEx(device, file.data(), UINT(file.size()), 0, 0, 0, 0, format, D3DPOOL_DEFAULT,
                                        D3DX_DEFAULT, D3DX_DEFAULT, 0, nullptr, nullptr, &texture);
    texture->Release();
    device->log().clear();
  }
  device->Release();
}

void BM_MatrixMultiply(benchmark::State& state) {
  D3DXMATRIX a, b, out;
  D3DXMatrixRotationYawPitchRoll(&a, 0.1f, 0.2f, 0.3f);
  D3DXMatrixTranslation(&b, 1, 2, 3);
  for (auto _ : state) {
    D3DXMatrixMultiply(&out, &a, &b);
    benchmark::DoNotOptimize(out);
    benchmark::ClobberMemory();
  }
}

void BM_MatrixInverse(benchmark::State& state) {
  D3DXMATRIX a, out;
  D3DXMatrixRotationYawPitchRoll(&a, 0.1f, 0.2f, 0.3f);
  a._41 = 5;
  for (auto _ : state) {
    benchmark::DoNotOptimize(D3DXMatrixInverse(&out, nullptr, &a));
    benchmark::ClobberMemory();
  }
}

void BM_QuaternionSlerp(benchmark::State& state) {
  D3DXQUATERNION a, b, out;
  D3DXQuaternionRotationYawPitchRoll(&a, 0.1f, 0.2f, 0.3f);
  D3DXQuaternionRotationYawPitchRoll(&b, 1.1f, -0.2f, 0.7f);
  float t = 0;
  for (auto _ : state) {
    D3DXQuaternionSlerp(&out, &a, &b, t);
    t = t > 1 ? 0 : t + 0.001f;
    benchmark::DoNotOptimize(out);
  }
}

}  // namespace

BENCHMARK(BM_DecodePng512)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DecodeJpeg512)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DecodeTga512)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CreateTextureJpeg512)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MatrixMultiply);
BENCHMARK(BM_MatrixInverse);
BENCHMARK(BM_QuaternionSlerp);
