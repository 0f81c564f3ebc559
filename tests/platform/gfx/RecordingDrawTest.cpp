// Drawing, clearing and render targets on the recording device: recorded
// sequences with their vertex data, checks against the bound buffers, and
// what Clear leaves in the surfaces.
#include "platform/gfx/recording/RecordingDevice.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

struct QuadVertex {
  float x, y, z, u, v;
};
constexpr QuadVertex kQuad[4] = {{0, 0, 0, 0, 1}, {0, 2, 0, 0, 0}, {2, 0, 0, 1, 1}, {2, 2, 0, 1, 0}};

class RecordingDrawTest : public ::testing::Test {
 protected:
  void SetUp() override {
    device = RecordingDevice::createOffscreen(64, 32);
    ASSERT_EQ(device->BeginScene(), D3D_OK);
  }
  void TearDown() override {
    if (device->inScene()) device->EndScene();
    EXPECT_EQ(device->Release(), 0u);
  }
  // A 16-bit index buffer holding `indices`.
  IDirect3DIndexBuffer9* makeIndices(std::initializer_list<std::uint16_t> indices) {
    IDirect3DIndexBuffer9* ib = nullptr;
    EXPECT_EQ(device->CreateIndexBuffer(UINT(indices.size() * 2), 0, D3DFMT_INDEX16, D3DPOOL_MANAGED, &ib), D3D_OK);
    void* data = nullptr;
    ib->Lock(0, 0, &data, 0);
    std::memcpy(data, std::data(indices), indices.size() * 2);
    ib->Unlock();
    return ib;
  }
  RecordingDevice* device = nullptr;
};

TEST_F(RecordingDrawTest, LayerQuadSequenceIsRecordedWithItsVertices) {
  std::size_t mark = device->log().mark();
  device->SetFVF(D3DFVF_XYZ | D3DFVF_TEX1);
  device->SetRenderState(D3DRS_ZENABLE, FALSE);
  ASSERT_EQ(device->DrawPrimitiveUP(D3DPT_TRIANGLESTRIP, 2, kQuad, sizeof(QuadVertex)), D3D_OK);
  device->SetRenderState(D3DRS_ZENABLE, TRUE);
  EXPECT_EQ(device->log().texts(mark), (std::vector<std::string>{
                                           "SetFVF(D3DFVF_XYZ | D3DFVF_TEX1)",
                                           "SetRenderState(D3DRS_ZENABLE, 0)",
                                           "DrawPrimitiveUP(D3DPT_TRIANGLESTRIP, 2, <80 bytes>, 20)",
                                           "SetRenderState(D3DRS_ZENABLE, 1)",
                                       }));
  const RecordedCall* draw = device->log().last("DrawPrimitiveUP");
  ASSERT_EQ(draw->data.size(), sizeof kQuad);
  QuadVertex last;
  std::memcpy(&last, draw->data.data() + 3 * sizeof last, sizeof last);
  EXPECT_EQ(last.x, 2.0f);
  EXPECT_EQ(last.v, 0.0f);
  EXPECT_EQ(device->drawCount(), 1);
}

TEST_F(RecordingDrawTest, DrawsNeedASceneAVertexFormatAndEnoughVertices) {
  device->SetFVF(D3DFVF_XYZ | D3DFVF_TEX1);
  IDirect3DVertexBuffer9* vb = nullptr;
  ASSERT_EQ(device->CreateVertexBuffer(80, D3DUSAGE_WRITEONLY, D3DFVF_XYZ | D3DFVF_TEX1, D3DPOOL_DEFAULT, &vb),
            D3D_OK);
  EXPECT_EQ(device->DrawPrimitive(D3DPT_TRIANGLESTRIP, 0, 2), D3DERR_INVALIDCALL);  // no stream
  ASSERT_EQ(device->SetStreamSource(0, vb, 0, 20), D3D_OK);
  EXPECT_EQ(device->DrawPrimitive(D3DPT_TRIANGLESTRIP, 0, 2), D3D_OK);
  EXPECT_EQ(device->DrawPrimitive(D3DPT_TRIANGLESTRIP, 1, 2), D3DERR_INVALIDCALL);  // reads a fifth vertex
  EXPECT_EQ(device->DrawPrimitive(D3DPT_TRIANGLELIST, 0, 2), D3DERR_INVALIDCALL);   // six vertices
  EXPECT_EQ(device->DrawPrimitive(static_cast<D3DPRIMITIVETYPE>(9), 0, 1), D3DERR_INVALIDCALL);
  device->EndScene();
  EXPECT_EQ(device->DrawPrimitive(D3DPT_TRIANGLESTRIP, 0, 2), D3DERR_INVALIDCALL);  // outside the scene
  device->BeginScene();
  device->SetFVF(0);
  EXPECT_EQ(device->DrawPrimitive(D3DPT_TRIANGLESTRIP, 0, 2), D3DERR_INVALIDCALL);  // no vertex format
  EXPECT_EQ(device->drawCount(), 1);
  vb->Release();
}

TEST_F(RecordingDrawTest, IndexedDrawsCheckTheIndicesTheyRead) {
  device->SetFVF(D3DFVF_XYZ);
  IDirect3DVertexBuffer9* vb = nullptr;
  ASSERT_EQ(device->CreateVertexBuffer(6 * 12, 0, D3DFVF_XYZ, D3DPOOL_MANAGED, &vb), D3D_OK);
  device->SetStreamSource(0, vb, 0, 12);
  EXPECT_EQ(device->DrawIndexedPrimitive(D3DPT_TRIANGLELIST, 0, 0, 3, 0, 1), D3DERR_INVALIDCALL);  // no indices
  IDirect3DIndexBuffer9* ib = makeIndices({0, 1, 2, 3, 4, 5});
  device->SetIndices(ib);
  EXPECT_EQ(device->DrawIndexedPrimitive(D3DPT_TRIANGLELIST, 0, 0, 6, 0, 2), D3D_OK);
  EXPECT_EQ(device->DrawIndexedPrimitive(D3DPT_TRIANGLELIST, 0, 3, 3, 3, 1), D3D_OK);
  EXPECT_EQ(device->DrawIndexedPrimitive(D3DPT_TRIANGLELIST, 0, 0, 3, 0, 2), D3DERR_INVALIDCALL);  // index 5 > range
  EXPECT_EQ(device->DrawIndexedPrimitive(D3DPT_TRIANGLELIST, 0, 0, 6, 3, 2), D3DERR_INVALIDCALL);  // past the buffer
  EXPECT_EQ(device->DrawIndexedPrimitive(D3DPT_TRIANGLELIST, 1, 0, 6, 0, 2), D3DERR_INVALIDCALL);  // vertex 6
  EXPECT_EQ(device->log().last("DrawIndexedPrimitive")->text(),
            "DrawIndexedPrimitive(D3DPT_TRIANGLELIST, 1, 0, 6, 0, 2)");

  const std::uint16_t upIndices[3] = {2, 1, 0};
  const float upVertices[9] = {};
  ASSERT_EQ(device->DrawIndexedPrimitiveUP(D3DPT_TRIANGLELIST, 0, 3, 1, upIndices, D3DFMT_INDEX16, upVertices, 12),
            D3D_OK);
  EXPECT_EQ(device->log().last("DrawIndexedPrimitiveUP")->indices.size(), 6u);
  // The memory draw leaves stream 0 and the indices unset.
  IDirect3DVertexBuffer9* stream = vb;
  IDirect3DIndexBuffer9* indices = ib;
  UINT offset = 1, stride = 1;
  device->GetStreamSource(0, &stream, &offset, &stride);
  device->GetIndices(&indices);
  EXPECT_EQ(stream, nullptr);
  EXPECT_EQ(stride, 0u);
  EXPECT_EQ(indices, nullptr);
  ib->Release();
  vb->Release();
}

TEST_F(RecordingDrawTest, DeclarationDrawsMeasureTheirElements) {
  const D3DVERTEXELEMENT9 elements[] = {
      {0, 0, D3DDECLTYPE_FLOAT3, D3DDECLMETHOD_DEFAULT, D3DDECLUSAGE_POSITION, 0},
      {0, 52, D3DDECLTYPE_FLOAT3, D3DDECLMETHOD_DEFAULT, D3DDECLUSAGE_TEXCOORD, 3},
      D3DDECL_END(),
  };
  IDirect3DVertexDeclaration9* declaration = nullptr;
  ASSERT_EQ(device->CreateVertexDeclaration(elements, &declaration), D3D_OK);
  device->SetVertexDeclaration(declaration);
  IDirect3DVertexBuffer9* vb = nullptr;
  ASSERT_EQ(device->CreateVertexBuffer(64 * 3, 0, 0, D3DPOOL_MANAGED, &vb), D3D_OK);
  device->SetStreamSource(0, vb, 0, 64);
  EXPECT_EQ(device->DrawPrimitive(D3DPT_TRIANGLELIST, 0, 1), D3D_OK);
  device->SetStreamSource(0, vb, 4, 64);
  EXPECT_EQ(device->DrawPrimitive(D3DPT_TRIANGLELIST, 0, 1), D3DERR_INVALIDCALL);  // last element overruns
  declaration->Release();
  vb->Release();
}

TEST_F(RecordingDrawTest, ClearFillsTheViewportOfTargetAndDepth) {
  D3DVIEWPORT9 half{32, 0, 32, 32, 0.0f, 1.0f};
  ASSERT_EQ(device->Clear(0, nullptr, D3DCLEAR_TARGET | D3DCLEAR_ZBUFFER, 0xFF102030, 0.5f, 0), D3D_OK);
  ASSERT_EQ(device->SetViewport(&half), D3D_OK);
  ASSERT_EQ(device->Clear(0, nullptr, D3DCLEAR_TARGET, 0x00FFFFFF, 1.0f, 0), D3D_OK);
  D3DRECT box{0, 0, 40, 2};  // cut to the viewport: x 32..39
  ASSERT_EQ(device->Clear(1, &box, D3DCLEAR_TARGET, 0x00ABCDEF, 1.0f, 0), D3D_OK);
  EXPECT_EQ(device->log().last("Clear")->text(), "Clear(1, ptr, D3DCLEAR_TARGET, 0x00ABCDEF, 1, 0)");

  IDirect3DSurface9* back = nullptr;
  ASSERT_EQ(device->GetRenderTarget(0, &back), D3D_OK);
  std::vector<D3DCOLOR> pixels;
  UINT width = 0, height = 0;
  ASSERT_EQ(device->readSurfaceARGB(back, pixels, width, height), D3D_OK);
  ASSERT_EQ(width, 64u);
  ASSERT_EQ(height, 32u);
  EXPECT_EQ(pixels[31], 0xFF102030u);           // left half: first clear
  EXPECT_EQ(pixels[5 * 64 + 32], 0xFFFFFFFFu);  // right half: X8R8G8B8 reads opaque
  EXPECT_EQ(pixels[1 * 64 + 39], 0xFFABCDEFu);
  EXPECT_EQ(pixels[1 * 64 + 40], 0xFFFFFFFFu);
  EXPECT_EQ(pixels[2 * 64 + 39], 0xFFFFFFFFu);
  back->Release();
  EXPECT_NEAR(device->autoDepthStencil()->depthAt(3, 3), 0.5f, 1e-6f);

  // The automatic D24X8 buffer has no stencil; a D24S8 surface does.
  EXPECT_EQ(device->Clear(0, nullptr, D3DCLEAR_STENCIL, 0, 1.0f, 0x7F), D3DERR_INVALIDCALL);
  IDirect3DSurface9* depth = nullptr;
  ASSERT_EQ(device->CreateDepthStencilSurface(64, 32, D3DFMT_D24S8, D3DMULTISAMPLE_NONE, 0, TRUE, &depth), D3D_OK);
  device->SetDepthStencilSurface(depth);
  ASSERT_EQ(device->Clear(0, nullptr, D3DCLEAR_ZBUFFER | D3DCLEAR_STENCIL, 0, 1.0f, 0x7F), D3D_OK);
  EXPECT_EQ(device->currentDepthStencil()->stencilAt(40, 10), 0x7Fu);
  EXPECT_EQ(device->currentDepthStencil()->stencilAt(10, 10), 0u);  // outside the viewport
  EXPECT_EQ(device->currentDepthStencil()->depthAt(40, 10), 1.0f);
  depth->Release();
}

TEST_F(RecordingDrawTest, RenderTargetSwapsAreRecordedAndRestoreTheViewport) {
  IDirect3DTexture9* target = nullptr;
  ASSERT_EQ(device->CreateTexture(16, 16, 1, D3DUSAGE_RENDERTARGET, D3DFMT_A8R8G8B8, D3DPOOL_DEFAULT, &target),
            D3D_OK);
  IDirect3DSurface9* saved = nullptr;
  IDirect3DSurface9* savedDepth = nullptr;
  ASSERT_EQ(device->GetRenderTarget(0, &saved), D3D_OK);
  ASSERT_EQ(device->GetDepthStencilSurface(&savedDepth), D3D_OK);
  IDirect3DSurface9* level = nullptr;
  target->GetSurfaceLevel(0, &level);
  ASSERT_EQ(device->SetRenderTarget(0, level), D3D_OK);
  level->Release();
  D3DVIEWPORT9 viewport;
  device->GetViewport(&viewport);
  EXPECT_EQ(viewport.Width, 16u);
  ASSERT_EQ(device->Clear(0, nullptr, D3DCLEAR_TARGET, 0x80FF0000, 1.0f, 0), D3D_OK);
  ASSERT_EQ(device->SetRenderTarget(0, saved), D3D_OK);
  device->GetViewport(&viewport);
  EXPECT_EQ(viewport.Width, 64u);
  EXPECT_EQ(device->SetRenderTarget(0, nullptr), D3DERR_INVALIDCALL);
  EXPECT_EQ(device->SetRenderTarget(1, saved), D3DERR_INVALIDCALL);
  EXPECT_EQ(device->SetRenderTarget(0, savedDepth), D3DERR_INVALIDCALL);  // not a colour target
  EXPECT_EQ(device->SetDepthStencilSurface(saved), D3DERR_INVALIDCALL);
  EXPECT_TRUE(device->log().containsSequence({"SetRenderTarget(0, " + device->log().last("GetSurfaceLevel")->created + ")",
                                              "Clear(0, NULL, D3DCLEAR_TARGET, 0x80FF0000, 1, 0)",
                                              "SetRenderTarget(0, " + device->backBuffer()->label() + ")"}))
      << device->log().dump();

  // The target texture kept the clear colour, alpha included.
  target->GetSurfaceLevel(0, &level);
  std::vector<D3DCOLOR> pixels;
  UINT width, height;
  ASSERT_EQ(device->readSurfaceARGB(level, pixels, width, height), D3D_OK);
  EXPECT_EQ(pixels[255], 0x80FF0000u);
  EXPECT_EQ(device->readSurfaceARGB(savedDepth, pixels, width, height), D3DERR_INVALIDCALL);
  level->Release();
  saved->Release();
  savedDepth->Release();
  target->Release();
}

TEST_F(RecordingDrawTest, ScenesAndPresentsAreCounted) {
  EXPECT_EQ(device->BeginScene(), D3DERR_INVALIDCALL);  // already in one
  EXPECT_EQ(device->Present(nullptr, nullptr, nullptr, nullptr), D3DERR_INVALIDCALL);
  ASSERT_EQ(device->EndScene(), D3D_OK);
  ASSERT_EQ(device->Present(nullptr, nullptr, nullptr, nullptr), D3D_OK);
  EXPECT_EQ(device->sceneCount(), 1);
  EXPECT_EQ(device->presentCount(), 1);
}

}  // namespace
