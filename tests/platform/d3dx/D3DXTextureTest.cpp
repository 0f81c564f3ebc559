#include "platform/d3dx/D3DXTexture.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <cstring>

#include "TestImages.h"
#include "platform/gfx/recording/RecordingDevice.h"

namespace {

class D3DXTextureTest : public ::testing::Test {
 protected:
  void SetUp() override {
    device = RecordingDevice::createOffscreen(64, 64);
    baseline = device->liveResourceCount();
  }
  void TearDown() override {
    EXPECT_EQ(device->liveResourceCount(), baseline) << "leaked resources";
    device->Release();
  }

  // The scene's texture-cache call: sizes, levels and format from the file.
  HRESULT loadSceneTexture(const Bytes& file, D3DFORMAT format, IDirect3DTexture9** texture) {
    return D3DXCreateTextureFromFileInMemoryEx(device, file.data(), UINT(file.size()), 0, 0, 0, 0, format,
                                               D3DPOOL_DEFAULT, D3DX_DEFAULT, D3DX_DEFAULT, 0, nullptr, nullptr,
                                               texture);
  }

  RecordingDevice* device = nullptr;
  int baseline = 0;
};

// Level `level` of a 32-bit or L8 texture as ARGB (L8 read as grey, opaque).
std::vector<D3DCOLOR> readLevel(IDirect3DTexture9* texture, UINT level) {
  D3DSURFACE_DESC desc;
  EXPECT_EQ(texture->GetLevelDesc(level, &desc), D3D_OK);
  D3DLOCKED_RECT locked;
  EXPECT_EQ(texture->LockRect(level, &locked, nullptr, D3DLOCK_READONLY), D3D_OK);
  std::vector<D3DCOLOR> out;
  for (UINT y = 0; y < desc.Height; ++y) {
    const auto* row = static_cast<const std::uint8_t*>(locked.pBits) + std::size_t(y) * locked.Pitch;
    for (UINT x = 0; x < desc.Width; ++x) {
      if (desc.Format == D3DFMT_L8) {
        const D3DCOLOR l = row[x];
        out.push_back(0xFF000000u | (l << 16) | (l << 8) | l);
      } else {
        D3DCOLOR c;
        std::memcpy(&c, row + 4 * x, 4);
        out.push_back(c);
      }
    }
  }
  texture->UnlockRect(level);
  return out;
}

std::vector<D3DCOLOR> readSurface(IDirect3DSurface9* surface) {
  D3DSURFACE_DESC desc;
  surface->GetDesc(&desc);
  D3DLOCKED_RECT locked;
  EXPECT_EQ(surface->LockRect(&locked, nullptr, D3DLOCK_READONLY), D3D_OK);
  std::vector<D3DCOLOR> out;
  for (UINT y = 0; y < desc.Height; ++y)
    for (UINT x = 0; x < desc.Width; ++x) {
      D3DCOLOR c;
      std::memcpy(&c, static_cast<const std::uint8_t*>(locked.pBits) + std::size_t(y) * locked.Pitch + 4 * x, 4);
      out.push_back(c);
    }
  surface->UnlockRect();
  return out;
}

// Decodes one DXT5 block (16 bytes) into 16 ARGB texels.
void decodeDxt5Block(const std::uint8_t* block, D3DCOLOR* texels) {
  unsigned alpha[8] = {block[0], block[1]};
  for (int i = 2; i < 8; ++i)
    alpha[i] = alpha[0] > alpha[1] ? ((8 - i) * alpha[0] + (i - 1) * alpha[1]) / 7
                                   : (i < 6 ? ((6 - i) * alpha[0] + (i - 1) * alpha[1]) / 5 : (i == 6 ? 0 : 255));
  std::uint64_t alphaBits = 0;
  for (int i = 0; i < 6; ++i) alphaBits |= std::uint64_t(block[2 + i]) << (8 * i);
  auto expand = [](unsigned c) {
    const unsigned r = (c >> 11) & 31, g = (c >> 5) & 63, b = c & 31;
    return std::array<unsigned, 3>{(r << 3) | (r >> 2), (g << 2) | (g >> 4), (b << 3) | (b >> 2)};
  };
  const unsigned c0 = block[8] | (block[9] << 8), c1 = block[10] | (block[11] << 8);
  const auto e0 = expand(c0), e1 = expand(c1);
  std::array<unsigned, 3> colours[4] = {e0, e1, {}, {}};
  for (int k = 0; k < 3; ++k) {
    colours[2][k] = (2 * e0[k] + e1[k]) / 3;
    colours[3][k] = (e0[k] + 2 * e1[k]) / 3;
  }
  const std::uint32_t colourBits = block[12] | (block[13] << 8) | (block[14] << 16) | (std::uint32_t(block[15]) << 24);
  for (int i = 0; i < 16; ++i) {
    const auto& c = colours[(colourBits >> (2 * i)) & 3];
    texels[i] = D3DCOLOR_ARGB(alpha[(alphaBits >> (3 * i)) & 7], c[0], c[1], c[2]);
  }
}

void expectNear(D3DCOLOR actual, D3DCOLOR expected, int tolerance) {
  for (int shift = 0; shift < 32; shift += 8) {
    const int a = int((actual >> shift) & 0xFF), e = int((expected >> shift) & 0xFF);
    EXPECT_LE(std::abs(a - e), tolerance) << std::hex << actual << " vs " << expected;
  }
}

}  // namespace

TEST_F(D3DXTextureTest, SceneTextureGetsPowerOfTwoSizeFullChainAndFileFormat) {
  // 3 x 2 RGBA: the level-0 width rounds up to 4 (each texel the nearest
  // source texel), then 2 x 1 and 1 x 1 by 2 x 2 averages.
  const std::vector<D3DCOLOR> p = {0x80FF0000u, 0x4000FF00u, 0xFF0000FFu, 0x00000000u, 0xFFFFFFFFu, 0x20406080u};
  PngOptions rgba;
  rgba.alpha = true;
  const Bytes png = makePng(3, 2, p, rgba);
  IDirect3DTexture9* texture = nullptr;
  ASSERT_EQ(loadSceneTexture(png, D3DFMT_UNKNOWN, &texture), D3D_OK);
  ASSERT_NE(texture, nullptr);
  EXPECT_EQ(texture->GetLevelCount(), 3u);
  D3DSURFACE_DESC desc;
  texture->GetLevelDesc(0, &desc);
  EXPECT_EQ(desc.Width, 4u);
  EXPECT_EQ(desc.Height, 2u);
  EXPECT_EQ(desc.Format, D3DFMT_A8R8G8B8);
  EXPECT_EQ(desc.Pool, D3DPOOL_DEFAULT);

  const std::vector<D3DCOLOR> level0 = {p[0], p[0], p[1], p[2], p[3], p[3], p[4], p[5]};
  EXPECT_EQ(readLevel(texture, 0), level0);
  // (p0 + p0 + p3 + p3) / 4 and (p1 + p2 + p4 + p5) / 4, per channel, rounded.
  const std::vector<D3DCOLOR> level1 = {0x40800000u, 0x985098A0u};
  EXPECT_EQ(readLevel(texture, 1), level1);
  EXPECT_EQ(readLevel(texture, 2), std::vector<D3DCOLOR>{0x6C684C50u});
  texture->Release();
}

TEST_F(D3DXTextureTest, FileFormatsMapToTextureFormats) {
  const auto p = patternPixels(4, 4);
  PngOptions grey;
  grey.grey = true;
  const struct {
    Bytes file;
    D3DFORMAT format;
  } cases[] = {
      {makeJpeg(4, 4, p), D3DFMT_X8R8G8B8},
      {makeBmp(4, 4, p, 24), D3DFMT_X8R8G8B8},  // R8G8B8 files give X8R8G8B8 textures
      {makeTga(4, 4, p, 32), D3DFMT_A8R8G8B8},
      {makePng(4, 4, p, grey), D3DFMT_L8},
  };
  for (const auto& c : cases) {
    IDirect3DTexture9* texture = nullptr;
    D3DXIMAGE_INFO info{};
    ASSERT_EQ(D3DXCreateTextureFromFileInMemoryEx(device, c.file.data(), UINT(c.file.size()), 0, 0, 0, 0,
                                                  D3DFMT_UNKNOWN, D3DPOOL_MANAGED, D3DX_DEFAULT, D3DX_DEFAULT, 0,
                                                  &info, nullptr, &texture),
              D3D_OK);
    D3DSURFACE_DESC desc;
    texture->GetLevelDesc(0, &desc);
    EXPECT_EQ(desc.Format, c.format);
    EXPECT_EQ(texture->GetLevelCount(), 3u);
    EXPECT_EQ(info.Width, 4u);
    EXPECT_NE(info.Format, D3DFMT_UNKNOWN);
    texture->Release();
  }
  // The grey texture holds the grey levels themselves.
  IDirect3DTexture9* texture = nullptr;
  const Bytes file = makePng(4, 4, p, grey);
  ASSERT_EQ(D3DXCreateTextureFromFileInMemory(device, file.data(), UINT(file.size()), &texture), D3D_OK);
  const auto texels = readLevel(texture, 0);
  EXPECT_EQ(texels[5] & 0xFF, (p[5] >> 16) & 0xFF);
  texture->Release();
}

TEST_F(D3DXTextureTest, CompressedRequestGivesDxt5OrFallsBackToFileFormat) {
  // Four flat 4 x 4 quadrants: each DXT5 block reproduces its colour closely.
  const D3DCOLOR quadrant[4] = {0x80FF0000u, 0xFF00FF00u, 0x200000FFu, 0xFFFFFFFFu};
  std::vector<D3DCOLOR> p;
  for (int y = 0; y < 8; ++y)
    for (int x = 0; x < 8; ++x) p.push_back(quadrant[(y / 4) * 2 + x / 4]);
  const Bytes tga = makeTga(8, 8, p, 32);
  IDirect3DTexture9* texture = nullptr;
  ASSERT_EQ(loadSceneTexture(tga, D3DFMT_DXT5, &texture), D3D_OK);
  D3DSURFACE_DESC desc;
  texture->GetLevelDesc(0, &desc);
  EXPECT_EQ(desc.Format, D3DFMT_DXT5);
  EXPECT_EQ(texture->GetLevelCount(), 4u);
  D3DLOCKED_RECT locked;
  ASSERT_EQ(texture->LockRect(0, &locked, nullptr, D3DLOCK_READONLY), D3D_OK);
  for (int block = 0; block < 4; ++block) {
    D3DCOLOR texels[16];
    decodeDxt5Block(static_cast<const std::uint8_t*>(locked.pBits) + (block / 2) * locked.Pitch + (block % 2) * 16,
                    texels);
    for (D3DCOLOR t : texels) expectNear(t, quadrant[block], 8);
  }
  texture->UnlockRect(0);
  texture->Release();

  // A device that cannot make the compressed texture: the file's format.
  device->failCreation(D3DERR_NOTAVAILABLE, 1, "CreateTexture");
  ASSERT_EQ(loadSceneTexture(tga, D3DFMT_DXT5, &texture), D3D_OK);
  texture->GetLevelDesc(0, &desc);
  EXPECT_EQ(desc.Format, D3DFMT_A8R8G8B8);
  EXPECT_EQ(readLevel(texture, 0), p);
  texture->Release();
}

TEST_F(D3DXTextureTest, ExplicitSizesLevelsAndColourKey) {
  const std::vector<D3DCOLOR> p = {0xFF000000u, 0xFF102030u, 0xFF405060u, 0xFF000000u, 0xFF708090u, 0xFFA0B0C0u};
  const Bytes bmp = makeBmp(3, 2, p, 24);
  IDirect3DTexture9* texture = nullptr;
  ASSERT_EQ(D3DXCreateTextureFromFileInMemoryEx(device, bmp.data(), UINT(bmp.size()), D3DX_DEFAULT_NONPOW2,
                                                D3DX_DEFAULT_NONPOW2, 1, 0, D3DFMT_A8R8G8B8, D3DPOOL_MANAGED,
                                                D3DX_FILTER_NONE, D3DX_FILTER_NONE, 0xFF000000u, nullptr, nullptr,
                                                &texture),
            D3D_OK);
  EXPECT_EQ(texture->GetLevelCount(), 1u);
  std::vector<D3DCOLOR> keyed = p;
  keyed[0] = keyed[3] = 0;  // opaque black was the key
  EXPECT_EQ(readLevel(texture, 0), keyed);
  texture->Release();

  // Explicit 6 x 4 with point sampling doubles each texel.
  ASSERT_EQ(D3DXCreateTextureFromFileInMemoryEx(device, bmp.data(), UINT(bmp.size()), 6, 4, 2, 0, D3DFMT_UNKNOWN,
                                                D3DPOOL_MANAGED, D3DX_FILTER_POINT, D3DX_DEFAULT, 0, nullptr, nullptr,
                                                &texture),
            D3D_OK);
  EXPECT_EQ(texture->GetLevelCount(), 2u);
  const auto big = readLevel(texture, 0);
  ASSERT_EQ(big.size(), 24u);
  EXPECT_EQ(big[0], p[0]);
  EXPECT_EQ(big[1], p[0]);
  EXPECT_EQ(big[2], p[1]);
  EXPECT_EQ(big[23], p[5]);
  EXPECT_EQ(readLevel(texture, 1), p);  // the 2 x 2 averages of doubled texels are the originals
  texture->Release();
}

TEST_F(D3DXTextureTest, DamagedFilesAndBadCallsCreateNothing) {
  Bytes png = makePng(4, 4, patternPixels(4, 4));
  png.resize(png.size() - 5);
  IDirect3DTexture9* texture = reinterpret_cast<IDirect3DTexture9*>(&png);  // must be cleared
  EXPECT_EQ(loadSceneTexture(png, D3DFMT_UNKNOWN, &texture), D3DXERR_INVALIDDATA);
  EXPECT_EQ(texture, nullptr);
  EXPECT_EQ(D3DXCreateTextureFromFileInMemory(nullptr, png.data(), UINT(png.size()), &texture), D3DERR_INVALIDCALL);
  EXPECT_EQ(D3DXCreateTextureFromFileInMemory(device, png.data(), UINT(png.size()), nullptr), D3DERR_INVALIDCALL);

  // Every creation refused: the device's error comes back.
  const Bytes good = makeJpeg(4, 4, patternPixels(4, 4));
  device->failCreation(D3DERR_OUTOFVIDEOMEMORY, -1, "CreateTexture");
  EXPECT_EQ(loadSceneTexture(good, D3DFMT_UNKNOWN, &texture), D3DERR_OUTOFVIDEOMEMORY);
  EXPECT_EQ(texture, nullptr);
}

TEST_F(D3DXTextureTest, LoadSurfaceFillsAPlainSurfaceOfTheFileFormat) {
  // The image layer's path: info, a system-memory surface of that size and
  // format, then the load.
  const auto p = patternPixels(5, 3);
  PngOptions rgba;
  rgba.alpha = true;
  const Bytes png = makePng(5, 3, p, rgba);
  D3DXIMAGE_INFO info;
  ASSERT_EQ(D3DXGetImageInfoFromFileInMemory(png.data(), UINT(png.size()), &info), D3D_OK);
  IDirect3DSurface9* surface = nullptr;
  ASSERT_EQ(device->CreateOffscreenPlainSurface(info.Width, info.Height, info.Format, D3DPOOL_SYSTEMMEM, &surface),
            D3D_OK);
  ASSERT_EQ(D3DXLoadSurfaceFromFileInMemory(surface, nullptr, nullptr, png.data(), UINT(png.size()), nullptr,
                                            D3DX_DEFAULT, 0, nullptr),
            D3D_OK);
  EXPECT_EQ(readSurface(surface), p);

  // A source rectangle into a destination rectangle, unscaled.
  const Bytes jpeg = makeJpeg(2, 2, {0xFFFF0000u, 0xFFFF0000u, 0xFFFF0000u, 0xFFFF0000u});
  const RECT src{0, 0, 2, 2}, dest{1, 1, 3, 3};
  ASSERT_EQ(D3DXLoadSurfaceFromFileInMemory(surface, nullptr, &dest, jpeg.data(), UINT(jpeg.size()), &src,
                                            D3DX_FILTER_NONE, 0, &info),
            D3D_OK);
  EXPECT_EQ(info.ImageFileFormat, D3DXIFF_JPG);
  const auto after = readSurface(surface);
  EXPECT_EQ(after[0], p[0]);
  expectNear(after[1 * 5 + 1], 0xFFFF0000u, 3);
  expectNear(after[2 * 5 + 2], 0xFFFF0000u, 3);
  EXPECT_EQ(after[2 * 5 + 3], p[2 * 5 + 3]);

  const RECT outside{4, 0, 6, 1};
  EXPECT_EQ(D3DXLoadSurfaceFromFileInMemory(surface, nullptr, &outside, jpeg.data(), UINT(jpeg.size()), nullptr,
                                            D3DX_DEFAULT, 0, nullptr),
            D3DERR_INVALIDCALL);
  EXPECT_EQ(D3DXLoadSurfaceFromFileInMemory(surface, nullptr, nullptr, jpeg.data(), 10, nullptr, D3DX_DEFAULT, 0,
                                            nullptr),
            D3DXERR_INVALIDDATA);
  surface->Release();

  // An L8 surface from a grey file, and a 24-bit surface from a 24-bit BMP.
  PngOptions grey;
  grey.grey = true;
  const Bytes greyPng = makePng(5, 3, p, grey);
  ASSERT_EQ(device->CreateOffscreenPlainSurface(5, 3, D3DFMT_L8, D3DPOOL_SYSTEMMEM, &surface), D3D_OK);
  ASSERT_EQ(D3DXLoadSurfaceFromFileInMemory(surface, nullptr, nullptr, greyPng.data(), UINT(greyPng.size()), nullptr,
                                            D3DX_DEFAULT, 0, nullptr),
            D3D_OK);
  D3DLOCKED_RECT locked;
  surface->LockRect(&locked, nullptr, D3DLOCK_READONLY);
  EXPECT_EQ(static_cast<const std::uint8_t*>(locked.pBits)[locked.Pitch + 2], (p[7] >> 16) & 0xFF);
  surface->UnlockRect();
  surface->Release();

  const Bytes bmp = makeBmp(5, 3, p, 24);
  ASSERT_EQ(device->CreateOffscreenPlainSurface(5, 3, D3DFMT_R8G8B8, D3DPOOL_SYSTEMMEM, &surface), D3D_OK);
  ASSERT_EQ(D3DXLoadSurfaceFromFileInMemory(surface, nullptr, nullptr, bmp.data(), UINT(bmp.size()), nullptr,
                                            D3DX_DEFAULT, 0, nullptr),
            D3D_OK);
  surface->LockRect(&locked, nullptr, D3DLOCK_READONLY);
  const auto* row2 = static_cast<const std::uint8_t*>(locked.pBits) + 2 * locked.Pitch;
  EXPECT_EQ(row2[3 * 4 + 0], p[14] & 0xFF);           // blue first
  EXPECT_EQ(row2[3 * 4 + 2], (p[14] >> 16) & 0xFF);   // red last
  surface->UnlockRect();
  surface->Release();
}

TEST_F(D3DXTextureTest, CubeTextureDefaultsAndFailures) {
  IDirect3DCubeTexture9* cube = nullptr;
  ASSERT_EQ(D3DXCreateCubeTexture(device, 256, 1, 0, D3DFMT_X8R8G8B8, D3DPOOL_MANAGED, &cube), D3D_OK);
  EXPECT_EQ(cube->GetLevelCount(), 1u);
  D3DSURFACE_DESC desc;
  cube->GetLevelDesc(0, &desc);
  EXPECT_EQ(desc.Width, 256u);
  EXPECT_EQ(desc.Format, D3DFMT_X8R8G8B8);
  cube->Release();

  ASSERT_EQ(D3DXCreateCubeTexture(device, 0, 0, 0, D3DFMT_UNKNOWN, D3DPOOL_MANAGED, &cube), D3D_OK);
  EXPECT_EQ(cube->GetLevelCount(), 9u);  // 256 down to 1
  cube->GetLevelDesc(0, &desc);
  EXPECT_EQ(desc.Format, D3DFMT_A8R8G8B8);
  cube->Release();

  device->failCreation(D3DERR_OUTOFVIDEOMEMORY, 1, "CreateCubeTexture");
  cube = reinterpret_cast<IDirect3DCubeTexture9*>(&desc);
  EXPECT_EQ(D3DXCreateCubeTexture(device, 64, 1, 0, D3DFMT_X8R8G8B8, D3DPOOL_MANAGED, &cube), D3DERR_OUTOFVIDEOMEMORY);
  EXPECT_EQ(cube, nullptr);
}
