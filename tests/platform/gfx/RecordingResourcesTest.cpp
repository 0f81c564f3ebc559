// Recording resources: lockable memory that keeps its contents, reference
// counts and live-resource counts, calls through released objects, and the
// failing-creation mode.
#include "platform/gfx/recording/RecordingDevice.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

class RecordingResourcesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    device = RecordingDevice::createOffscreen(800, 600);
    tracker = device->sharedTracker();
  }
  // Every test releases what it made: nothing may outlive the device.
  void TearDown() override {
    if (device != nullptr) {
      EXPECT_EQ(device->Release(), 0u);
    }
    EXPECT_EQ(tracker->liveResourceCount(), 0) << tracker->log().dump();
  }
  RecordingDevice* device = nullptr;
  std::shared_ptr<RecordingTracker> tracker;
};

TEST_F(RecordingResourcesTest, TextureLevelsKeepWhatWasWritten) {
  IDirect3DTexture9* texture = nullptr;
  ASSERT_EQ(device->CreateTexture(8, 4, 0, D3DUSAGE_DYNAMIC, D3DFMT_A8R8G8B8, D3DPOOL_DEFAULT, &texture), D3D_OK);
  EXPECT_EQ(device->log().last("CreateTexture")->text(),
            "CreateTexture(8, 4, 0, D3DUSAGE_DYNAMIC, D3DFMT_A8R8G8B8, D3DPOOL_DEFAULT)");
  ASSERT_EQ(texture->GetLevelCount(), 4u);  // 8x4, 4x2, 2x1, 1x1
  D3DSURFACE_DESC desc;
  ASSERT_EQ(texture->GetLevelDesc(2, &desc), D3D_OK);
  EXPECT_EQ(desc.Width, 2u);
  EXPECT_EQ(desc.Height, 1u);
  EXPECT_EQ(texture->GetLevelDesc(4, &desc), D3DERR_INVALIDCALL);

  D3DLOCKED_RECT locked;
  ASSERT_EQ(texture->LockRect(0, &locked, nullptr, 0), D3D_OK);
  EXPECT_EQ(locked.Pitch, 32);
  static_cast<std::uint32_t*>(locked.pBits)[3 * 8 + 7] = 0x11223344;  // bottom-right pixel
  ASSERT_EQ(texture->UnlockRect(0), D3D_OK);

  // A sub-rectangle lock points at its own top-left pixel.
  RECT corner{7, 3, 8, 4};
  ASSERT_EQ(texture->LockRect(0, &locked, &corner, D3DLOCK_READONLY), D3D_OK);
  EXPECT_EQ(*static_cast<std::uint32_t*>(locked.pBits), 0x11223344u);
  EXPECT_EQ(texture->LockRect(0, &locked, nullptr, 0), D3DERR_INVALIDCALL);  // already locked
  ASSERT_EQ(texture->UnlockRect(0), D3D_OK);
  EXPECT_EQ(texture->UnlockRect(0), D3DERR_INVALIDCALL);  // not locked

  // The level surface shares the same memory.
  IDirect3DSurface9* level = nullptr;
  ASSERT_EQ(texture->GetSurfaceLevel(0, &level), D3D_OK);
  std::vector<D3DCOLOR> pixels;
  UINT width = 0, height = 0;
  ASSERT_EQ(device->readSurfaceARGB(level, pixels, width, height), D3D_OK);
  EXPECT_EQ(width, 8u);
  EXPECT_EQ(height, 4u);
  EXPECT_EQ(pixels[31], 0x11223344u);
  RECT outside{6, 0, 9, 1};
  EXPECT_EQ(level->LockRect(&locked, &outside, 0), D3DERR_INVALIDCALL);
  EXPECT_EQ(locked.pBits, nullptr);
  level->Release();
  EXPECT_EQ(texture->Release(), 0u);
}

TEST_F(RecordingResourcesTest, CompressedLevelsLockWholeBlocks) {
  IDirect3DTexture9* texture = nullptr;
  ASSERT_EQ(device->CreateTexture(16, 16, 1, 0, D3DFMT_DXT5, D3DPOOL_MANAGED, &texture), D3D_OK);
  D3DLOCKED_RECT locked;
  ASSERT_EQ(texture->LockRect(0, &locked, nullptr, 0), D3D_OK);
  EXPECT_EQ(locked.Pitch, 64);  // 4 blocks of 16 bytes
  auto* base = static_cast<std::uint8_t*>(locked.pBits);
  texture->UnlockRect(0);
  RECT block{4, 8, 8, 12};
  ASSERT_EQ(texture->LockRect(0, &locked, &block, 0), D3D_OK);
  EXPECT_EQ(static_cast<std::uint8_t*>(locked.pBits) - base, 2 * 64 + 16);
  texture->UnlockRect(0);
  RECT split{2, 0, 8, 4};
  EXPECT_EQ(texture->LockRect(0, &locked, &split, 0), D3DERR_INVALIDCALL);
  IDirect3DSurface9* level = nullptr;
  texture->GetSurfaceLevel(0, &level);
  std::vector<D3DCOLOR> pixels;
  UINT w, h;
  EXPECT_EQ(device->readSurfaceARGB(level, pixels, w, h), D3DERR_INVALIDCALL);
  level->Release();
  texture->Release();
}

TEST_F(RecordingResourcesTest, BuffersAndCubeFacesKeepWhatWasWritten) {
  IDirect3DVertexBuffer9* vb = nullptr;
  ASSERT_EQ(device->CreateVertexBuffer(80, D3DUSAGE_WRITEONLY, D3DFVF_XYZ | D3DFVF_TEX1, D3DPOOL_DEFAULT, &vb),
            D3D_OK);
  void* data = nullptr;
  ASSERT_EQ(vb->Lock(0, 0, &data, 0), D3D_OK);
  std::memset(data, 0xAB, 80);
  ASSERT_EQ(vb->Unlock(), D3D_OK);
  ASSERT_EQ(vb->Lock(60, 20, &data, 0), D3D_OK);
  EXPECT_EQ(static_cast<std::uint8_t*>(data)[19], 0xAB);
  ASSERT_EQ(vb->Unlock(), D3D_OK);
  EXPECT_EQ(vb->Unlock(), D3DERR_INVALIDCALL);
  EXPECT_EQ(vb->Lock(60, 21, &data, 0), D3DERR_INVALIDCALL);
  EXPECT_EQ(data, nullptr);
  D3DVERTEXBUFFER_DESC vbDesc;
  ASSERT_EQ(vb->GetDesc(&vbDesc), D3D_OK);
  EXPECT_EQ(vbDesc.Size, 80u);
  EXPECT_EQ(vbDesc.FVF, D3DFVF_XYZ | D3DFVF_TEX1);

  IDirect3DIndexBuffer9* ib = nullptr;
  ASSERT_EQ(device->CreateIndexBuffer(12, D3DUSAGE_WRITEONLY, D3DFMT_INDEX16, D3DPOOL_MANAGED, &ib), D3D_OK);
  ASSERT_EQ(ib->Lock(0, 0, &data, 0), D3D_OK);
  void* nested = nullptr;
  ASSERT_EQ(ib->Lock(6, 6, &nested, 0), D3D_OK);  // buffers may be locked twice
  EXPECT_EQ(static_cast<std::uint8_t*>(nested) - static_cast<std::uint8_t*>(data), 6);
  EXPECT_EQ(ib->Unlock(), D3D_OK);
  EXPECT_EQ(ib->Unlock(), D3D_OK);

  IDirect3DCubeTexture9* cube = nullptr;
  ASSERT_EQ(device->CreateCubeTexture(4, 0, 0, D3DFMT_X8R8G8B8, D3DPOOL_MANAGED, &cube), D3D_OK);
  EXPECT_EQ(cube->GetLevelCount(), 3u);
  D3DLOCKED_RECT locked;
  ASSERT_EQ(cube->LockRect(D3DCUBEMAP_FACE_NEGATIVE_Z, 1, &locked, nullptr, 0), D3D_OK);
  static_cast<std::uint32_t*>(locked.pBits)[0] = 0x00123456;
  cube->UnlockRect(D3DCUBEMAP_FACE_NEGATIVE_Z, 1);
  IDirect3DSurface9* face = nullptr;
  ASSERT_EQ(cube->GetCubeMapSurface(D3DCUBEMAP_FACE_NEGATIVE_Z, 1, &face), D3D_OK);
  std::vector<D3DCOLOR> pixels;
  UINT w, h;
  ASSERT_EQ(device->readSurfaceARGB(face, pixels, w, h), D3D_OK);
  EXPECT_EQ(pixels[0], 0xFF123456u);  // X8R8G8B8 reads as opaque
  EXPECT_EQ(w, 2u);
  EXPECT_EQ(cube->LockRect(static_cast<D3DCUBEMAP_FACES>(6), 0, &locked, nullptr, 0), D3DERR_INVALIDCALL);
  face->Release();
  cube->Release();
  ib->Release();
  vb->Release();
}

TEST_F(RecordingResourcesTest, RenderTargetsAndDepthSurfacesCannotBeLocked) {
  IDirect3DTexture9* target = nullptr;
  ASSERT_EQ(device->CreateTexture(64, 64, 1, D3DUSAGE_RENDERTARGET, D3DFMT_A8R8G8B8, D3DPOOL_DEFAULT, &target),
            D3D_OK);
  D3DLOCKED_RECT locked;
  EXPECT_EQ(target->LockRect(0, &locked, nullptr, 0), D3DERR_INVALIDCALL);
  target->Release();
  IDirect3DSurface9* depth = nullptr;
  ASSERT_EQ(device->CreateDepthStencilSurface(512, 512, D3DFMT_D24S8, D3DMULTISAMPLE_NONE, 0, TRUE, &depth), D3D_OK);
  EXPECT_EQ(depth->LockRect(&locked, nullptr, 0), D3DERR_INVALIDCALL);
  EXPECT_EQ(device->CreateTexture(64, 64, 1, D3DUSAGE_RENDERTARGET, D3DFMT_A8R8G8B8, D3DPOOL_MANAGED, &target),
            D3DERR_INVALIDCALL);
  EXPECT_EQ(target, nullptr);
  depth->Release();
}

TEST_F(RecordingResourcesTest, ReferenceCountsFollowDirect3D) {
  EXPECT_EQ(device->liveResourceCount(), 1);  // the device itself
  IDirect3DTexture9* texture = nullptr;
  ASSERT_EQ(device->CreateTexture(16, 16, 1, 0, D3DFMT_A8R8G8B8, D3DPOOL_MANAGED, &texture), D3D_OK);
  EXPECT_EQ(device->liveResourceCount(), 2);
  EXPECT_EQ(texture->AddRef(), 2u);
  EXPECT_EQ(texture->Release(), 1u);

  // A level surface holds its texture.
  IDirect3DSurface9* level = nullptr;
  ASSERT_EQ(texture->GetSurfaceLevel(0, &level), D3D_OK);
  EXPECT_EQ(texture->Release(), 1u);
  EXPECT_EQ(device->liveResourceCount(), 2);
  D3DSURFACE_DESC desc;
  EXPECT_EQ(level->GetDesc(&desc), D3D_OK);
  EXPECT_EQ(level->Release(), 0u);
  EXPECT_EQ(device->liveResourceCount(), 1);

  // A bound texture lives until it is unbound.
  ASSERT_EQ(device->CreateTexture(16, 16, 1, 0, D3DFMT_A8R8G8B8, D3DPOOL_MANAGED, &texture), D3D_OK);
  ASSERT_EQ(device->SetTexture(2, texture), D3D_OK);
  EXPECT_EQ(texture->Release(), 1u);
  EXPECT_EQ(device->liveResourceCount(), 2);
  IDirect3DBaseTexture9* bound = nullptr;
  ASSERT_EQ(device->GetTexture(2, &bound), D3D_OK);
  EXPECT_EQ(bound, texture);
  EXPECT_EQ(bound->Release(), 1u);
  ASSERT_EQ(device->SetTexture(2, nullptr), D3D_OK);
  EXPECT_EQ(device->liveResourceCount(), 1);

  // Get* calls add a reference to implicit surfaces too.
  IDirect3DSurface9* back = nullptr;
  ASSERT_EQ(device->GetBackBuffer(0, 0, D3DBACKBUFFER_TYPE_MONO, &back), D3D_OK);
  EXPECT_EQ(back->AddRef(), 4u);  // device, render target binding, Get, AddRef
  back->Release();
  back->Release();
}

TEST_F(RecordingResourcesTest, DeviceReleasesWhatItHolds) {
  IDirect3DVertexBuffer9* vb = nullptr;
  IDirect3DIndexBuffer9* ib = nullptr;
  IDirect3DSurface9* depth = nullptr;
  device->CreateVertexBuffer(64, 0, D3DFVF_XYZ, D3DPOOL_MANAGED, &vb);
  device->CreateIndexBuffer(64, 0, D3DFMT_INDEX16, D3DPOOL_MANAGED, &ib);
  device->CreateDepthStencilSurface(64, 64, D3DFMT_D24S8, D3DMULTISAMPLE_NONE, 0, TRUE, &depth);
  device->SetStreamSource(0, vb, 0, 12);
  device->SetIndices(ib);
  device->SetDepthStencilSurface(depth);
  vb->Release();
  ib->Release();
  depth->Release();
  EXPECT_EQ(tracker->liveResourceCount(), 4);
  EXPECT_EQ(device->Release(), 0u);
  device = nullptr;
  EXPECT_EQ(tracker->liveResourceCount(), 0);
}

TEST_F(RecordingResourcesTest, CallsThroughReleasedObjectsAreRefused) {
  IDirect3DVertexBuffer9* vb = nullptr;
  IDirect3DTexture9* texture = nullptr;
  device->CreateVertexBuffer(64, 0, 0, D3DPOOL_MANAGED, &vb);
  device->CreateTexture(4, 4, 1, 0, D3DFMT_A8R8G8B8, D3DPOOL_MANAGED, &texture);
  ASSERT_EQ(vb->Release(), 0u);
  ASSERT_EQ(texture->Release(), 0u);
  // The shells stay with the tracker, so these stale calls are safe.
  void* data = reinterpret_cast<void*>(1);
  EXPECT_EQ(vb->Lock(0, 0, &data, 0), D3DERR_INVALIDCALL);
  EXPECT_EQ(data, nullptr);
  EXPECT_EQ(vb->Unlock(), D3DERR_INVALIDCALL);
  D3DLOCKED_RECT locked;
  EXPECT_EQ(texture->LockRect(0, &locked, nullptr, 0), D3DERR_INVALIDCALL);
  EXPECT_EQ(texture->Release(), 0u);
  EXPECT_EQ(device->SetTexture(0, texture), D3DERR_INVALIDCALL);
  EXPECT_EQ(device->SetStreamSource(0, vb, 0, 12), D3DERR_INVALIDCALL);
  EXPECT_EQ(device->log().failures().size(), 6u) << device->log().dump();
}

TEST_F(RecordingResourcesTest, FailingCreationHandsOutNullAndIsLogged) {
  device->failCreation(D3DERR_OUTOFVIDEOMEMORY, 2);
  IDirect3DTexture9* texture = reinterpret_cast<IDirect3DTexture9*>(1);
  IDirect3DVertexBuffer9* vb = nullptr;
  EXPECT_EQ(device->CreateTexture(4, 4, 1, 0, D3DFMT_A8R8G8B8, D3DPOOL_MANAGED, &texture), D3DERR_OUTOFVIDEOMEMORY);
  EXPECT_EQ(texture, nullptr);
  EXPECT_EQ(device->CreateVertexBuffer(64, 0, 0, D3DPOOL_MANAGED, &vb), D3DERR_OUTOFVIDEOMEMORY);
  ASSERT_EQ(device->CreateVertexBuffer(64, 0, 0, D3DPOOL_MANAGED, &vb), D3D_OK);  // the plan is used up
  vb->Release();
  EXPECT_EQ(device->log().failures()[0]->describe(),
            "CreateTexture(4, 4, 1, 0, D3DFMT_A8R8G8B8, D3DPOOL_MANAGED) = D3DERR_OUTOFVIDEOMEMORY");

  // Only the named call fails, every time, until cleared.
  device->failCreation(E_OUTOFMEMORY, -1, "CreateIndexBuffer");
  IDirect3DIndexBuffer9* ib = nullptr;
  EXPECT_EQ(device->CreateIndexBuffer(6, 0, D3DFMT_INDEX16, D3DPOOL_MANAGED, &ib), E_OUTOFMEMORY);
  EXPECT_EQ(device->CreateIndexBuffer(6, 0, D3DFMT_INDEX16, D3DPOOL_MANAGED, &ib), E_OUTOFMEMORY);
  ASSERT_EQ(device->CreateVertexBuffer(64, 0, 0, D3DPOOL_MANAGED, &vb), D3D_OK);
  vb->Release();
  device->tracker().clearCreationFailures();
  ASSERT_EQ(device->CreateIndexBuffer(6, 0, D3DFMT_INDEX16, D3DPOOL_MANAGED, &ib), D3D_OK);
  ib->Release();
  EXPECT_EQ(device->liveResourceCount(), 1);
}

}  // namespace
