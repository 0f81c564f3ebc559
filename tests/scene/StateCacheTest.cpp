// The scene's state cache: texture sharing by file name, the fatal texture
// errors, light slots, texture-stage resets and device buffer creation.
#include "ArchiveTestUtil.h"
#include "TestImages.h"
#include "render/IndexBuffer.h"
#include "render/VertexBuffer.h"
#include "tests/scene/MeshTestScene.h"

#include <filesystem>

namespace {

class StateCacheTest : public GeometrySceneTest {
 protected:
  void SetUp() override {
    GeometrySceneTest::SetUp();
    const std::vector<D3DCOLOR> pixels = patternPixels(4, 4);
    files.write("wall.tga", makeTga(4, 4, pixels, 32));
    files.write("Wall.tga", makeTga(4, 4, pixels, 24));
    files.write("leaf.png", makePng(4, 4, pixels, PngOptions{.alpha = true}));
    files.write("broken.png", Bytes{0x89, 'P', 'N', 'G', 1, 2, 3});
  }

  static D3DFORMAT formatOf(IDirect3DTexture9* texture) {
    D3DSURFACE_DESC desc{};
    texture->GetLevelDesc(0, &desc);
    return desc.Format;
  }

  TempDir files;
  CurrentDirectory inFiles{files.path()};
};

TEST_F(StateCacheTest, TexturesAreSharedByExactFileName) {
  const std::size_t mark = log().mark();
  IDirect3DTexture9* first = cache().GetTexture("wall.tga", false);
  ASSERT_NE(first, nullptr);
  // Cached: the file is not read again, even when it has gone.
  std::filesystem::remove(files.file("wall.tga"));
  EXPECT_EQ(cache().GetTexture("wall.tga", false), first);
  EXPECT_EQ(log().count("CreateTexture", mark), 1u);

  IDirect3DTexture9* other = cache().GetTexture("Wall.tga", false);
  EXPECT_NE(other, first);
  EXPECT_EQ(log().count("CreateTexture", mark), 2u);
  EXPECT_EQ(cache().textures.size(), 2u);
}

TEST_F(StateCacheTest, TheFirstLoadDecidesTheCompression) {
  IDirect3DTexture9* compressed = cache().GetTexture("leaf.png", true);
  EXPECT_EQ(formatOf(compressed), D3DFMT_DXT5);
  EXPECT_EQ(cache().GetTexture("leaf.png", false), compressed);

  IDirect3DTexture9* plain = cache().GetTexture("wall.tga", false);
  EXPECT_NE(formatOf(plain), D3DFMT_DXT5);
  EXPECT_EQ(cache().GetTexture("wall.tga", true), plain);
  EXPECT_NE(formatOf(plain), D3DFMT_DXT5);
}

TEST_F(StateCacheTest, MissingOrUndecodableTexturesAreFatal) {
  EXPECT_EQ(fatalOf([&] { cache().GetTexture("nope.png", false); }), "Error|Texture load failed: nope.png");
  EXPECT_EQ(fatalOf([&] { cache().GetTexture("broken.png", true); }), "Error|Texture load failed: broken.png");
  EXPECT_TRUE(cache().textures.empty());
}

TEST_F(StateCacheTest, NullLightOnlyDisablesTheSlot) {
  D3DLIGHT9 light{};
  light.Type = D3DLIGHT_POINT;
  light.Range = 42.0f;
  cache().SetLight(&light, 2);
  BOOL enabled = FALSE;
  device->GetLightEnable(2, &enabled);
  EXPECT_TRUE(enabled);
  cache().SetLight(nullptr, 2);
  device->GetLightEnable(2, &enabled);
  EXPECT_FALSE(enabled);
  D3DLIGHT9 stored{};
  ASSERT_EQ(device->GetLight(2, &stored), D3D_OK);
  EXPECT_EQ(stored.Range, 42.0f);
}

TEST_F(StateCacheTest, ResetTextureStagesRestoresCoordinateSetsFromTheFirstStage) {
  for (DWORD s = 0; s < 8; ++s) {
    device->SetTextureStageState(s, D3DTSS_TEXCOORDINDEX, 7 - s);
    device->SetTextureStageState(s, D3DTSS_COLOROP, D3DTOP_ADD);
    device->SetSamplerState(s, D3DSAMP_ADDRESSU, D3DTADDRESS_WRAP);
  }
  cache().ResetTextureStages(3);
  DWORD value = 0;
  for (DWORD s = 0; s < 8; ++s) {
    device->GetTextureStageState(s, D3DTSS_TEXCOORDINDEX, &value);
    EXPECT_EQ(value, s < 3 ? 7 - s : s) << "stage " << s;
    device->GetSamplerState(s, D3DSAMP_ADDRESSU, &value);
    EXPECT_EQ(value, DWORD(s < 3 ? D3DTADDRESS_WRAP : D3DTADDRESS_CLAMP)) << "stage " << s;
    device->GetTextureStageState(s, D3DTSS_COLOROP, &value);
    EXPECT_EQ(value, DWORD(D3DTOP_ADD)) << "colour ops are left alone";
  }
  cache().ResetTextureStages(0);
  for (DWORD s = 0; s < 8; ++s) {
    device->GetTextureStageState(s, D3DTSS_TEXCOORDINDEX, &value);
    EXPECT_EQ(value, s);
  }
}

TEST_F(StateCacheTest, DeviceBuffersAreManagedWriteOnlyAndSizedFromTheSceneBuffers) {
  auto* vb = new VertexBuffer(scene->AllocateId(), scene, 10);
  auto* ib = new IndexBuffer(scene->AllocateId(), scene);
  ib->triangleCount = 7;
  ASSERT_TRUE(cache().CreateDeviceVertexBuffer(*vb));
  ASSERT_TRUE(cache().CreateDeviceIndexBuffer(*ib));
  D3DVERTEXBUFFER_DESC vdesc{};
  vb->deviceBuffer->GetDesc(&vdesc);
  EXPECT_EQ(vdesc.Size, 640u);
  EXPECT_EQ(vdesc.Usage, DWORD(D3DUSAGE_WRITEONLY));
  EXPECT_EQ(vdesc.FVF, 0x500412u);
  EXPECT_EQ(vdesc.Pool, D3DPOOL_MANAGED);
  D3DINDEXBUFFER_DESC idesc{};
  ib->deviceBuffer->GetDesc(&idesc);
  EXPECT_EQ(idesc.Size, 42u);
  EXPECT_EQ(idesc.Usage, DWORD(D3DUSAGE_WRITEONLY));
  EXPECT_EQ(idesc.Format, D3DFMT_INDEX16);
  EXPECT_EQ(idesc.Pool, D3DPOOL_MANAGED);

  auto* refused = new VertexBuffer(scene->AllocateId(), scene, 1);
  device->failCreation(D3DERR_OUTOFVIDEOMEMORY, 1);
  EXPECT_FALSE(cache().CreateDeviceVertexBuffer(*refused));
  EXPECT_EQ(refused->deviceBuffer, nullptr);
}

}  // namespace
