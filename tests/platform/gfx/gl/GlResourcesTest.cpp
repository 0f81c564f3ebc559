// Textures of every supported format, cube textures, locks, vertex and index
// buffers, declarations, the system's own shaders and object lifetimes.
#include "GlTestDevice.h"

#include "platform/gfx/gl/GlProgram.h"

namespace gltest {
namespace {

class GlResources : public GlDeviceTest {
 protected:
  void SetUp() override {
    GlDeviceTest::SetUp();
    plainStates();
    m_device->SetTextureStageState(0, D3DTSS_COLOROP, D3DTOP_SELECTARG1);
    m_device->SetTextureStageState(0, D3DTSS_COLORARG1, D3DTA_TEXTURE);
  }

  // Fills level 0 with raw bytes, row by row.
  void fill(IDirect3DTexture9* t, UINT rows, UINT rowBytes, const std::vector<std::uint8_t>& bytes) {
    D3DLOCKED_RECT locked{};
    ASSERT_EQ(t->LockRect(0, &locked, nullptr, 0), D3D_OK);
    for (UINT y = 0; y < rows; ++y)
      std::memcpy(static_cast<std::uint8_t*>(locked.pBits) + y * UINT(locked.Pitch), &bytes[y * rowBytes], rowBytes);
    ASSERT_EQ(t->UnlockRect(0), D3D_OK);
  }

  // The colour the texture shows at the top-left of a full-screen quad.
  D3DCOLOR sampled(IDirect3DBaseTexture9* t) {
    m_device->SetTexture(0, t);
    clear(0);
    fullQuad(0xFFFFFFFF);
    m_device->SetTexture(0, nullptr);
    return pixel(0, 0);
  }
};

TEST_F(GlResources, FormatsAreConvertedOnUpload) {
  struct Case {
    D3DFORMAT format;
    std::vector<std::uint8_t> bytes;  // one texel, Direct3D memory order
    D3DCOLOR shown;                   // on the X8R8G8B8 back buffer
    D3DCOLOR readBack;
  } cases[] = {
      {D3DFMT_A8R8G8B8, {0x30, 0x20, 0x10, 0x80}, 0xFF102030, 0x80102030},
      {D3DFMT_X8R8G8B8, {0x30, 0x20, 0x10, 0x00}, 0xFF102030, 0xFF102030},
      {D3DFMT_R8G8B8, {0x30, 0x20, 0x10}, 0xFF102030, 0xFF102030},
      {D3DFMT_L8, {0x7F}, 0xFF7F7F7F, 0xFF7F7F7F},
      {D3DFMT_R5G6B5, {0x00, 0xF8}, 0xFFFF0000, 0xFFFF0000},
  };
  for (const Case& c : cases) {
    IDirect3DTexture9* t = nullptr;
    ASSERT_EQ(m_device->CreateTexture(1, 1, 1, 0, c.format, D3DPOOL_MANAGED, &t, nullptr), D3D_OK) << c.format;
    fill(t, 1, UINT(c.bytes.size()), c.bytes);
    EXPECT_EQ(sampled(t), c.shown) << "format " << c.format;
    IDirect3DSurface9* level = nullptr;
    ASSERT_EQ(t->GetSurfaceLevel(0, &level), D3D_OK);
    std::vector<D3DCOLOR> argb;
    UINT w = 0, h = 0;
    ASSERT_EQ(m_device->readSurfaceARGB(level, argb, w, h), D3D_OK);
    EXPECT_EQ(argb[0], c.readBack) << "format " << c.format;
    level->Release();
    t->Release();
  }
  IDirect3DTexture9* t = nullptr;
  EXPECT_EQ(m_device->CreateTexture(4, 4, 1, 0, D3DFMT_D24S8, D3DPOOL_MANAGED, &t, nullptr), D3DERR_NOTAVAILABLE);
  EXPECT_EQ(t, nullptr);
  EXPECT_EQ(m_device->CreateTexture(0, 4, 1, 0, D3DFMT_A8R8G8B8, D3DPOOL_MANAGED, &t, nullptr), D3DERR_INVALIDCALL);
}

// One 4 x 4 block: colour endpoints red (0xF800) and blue (0x001F), all
// texels index 0 (red); alpha endpoints 0x80 and 0x00, all texels index 0.
TEST_F(GlResources, Dxt5WhenTheDriverHasS3tc) {
  IDirect3DTexture9* t = nullptr;
  const HRESULT hr = m_device->CreateTexture(4, 4, 1, 0, D3DFMT_DXT5, D3DPOOL_MANAGED, &t, nullptr);
  if (!epoxy_has_gl_extension("GL_EXT_texture_compression_s3tc")) {
    EXPECT_EQ(hr, D3DERR_NOTAVAILABLE);
    return;
  }
  ASSERT_EQ(hr, D3D_OK);
  D3DLOCKED_RECT locked{};
  ASSERT_EQ(t->LockRect(0, &locked, nullptr, 0), D3D_OK);
  EXPECT_EQ(locked.Pitch, 16) << "one row of 4 x 4 blocks, 16 bytes each";
  const std::uint8_t block[16] = {0x80, 0x00, 0, 0, 0, 0, 0, 0, 0x00, 0xF8, 0x1F, 0x00, 0, 0, 0, 0};
  std::memcpy(locked.pBits, block, sizeof block);
  ASSERT_EQ(t->UnlockRect(0), D3D_OK);
  const RECT partial = {1, 0, 4, 4};
  EXPECT_EQ(t->LockRect(0, &locked, &partial, 0), D3DERR_INVALIDCALL) << "blocks lock whole";
  m_device->SetTextureStageState(0, D3DTSS_ALPHAARG1, D3DTA_TEXTURE);
  EXPECT_EQ(sampled(t), 0xFFFF0000u);
  t->Release();
}

TEST_F(GlResources, LockedRectanglesAndLevelsPersist) {
  IDirect3DTexture9* t = nullptr;
  ASSERT_EQ(m_device->CreateTexture(4, 4, 0, D3DUSAGE_DYNAMIC, D3DFMT_A8R8G8B8, D3DPOOL_DEFAULT, &t, nullptr),
            D3D_OK);
  EXPECT_EQ(t->GetLevelCount(), 3u);
  D3DSURFACE_DESC desc{};
  ASSERT_EQ(t->GetLevelDesc(2, &desc), D3D_OK);
  EXPECT_EQ(desc.Width, 1u);
  EXPECT_EQ(t->GetLevelDesc(3, &desc), D3DERR_INVALIDCALL);

  D3DLOCKED_RECT locked{};
  ASSERT_EQ(t->LockRect(0, &locked, nullptr, 0), D3D_OK);
  for (int y = 0; y < 4; ++y)
    for (int x = 0; x < 4; ++x)
      reinterpret_cast<D3DCOLOR*>(static_cast<std::uint8_t*>(locked.pBits) + y * locked.Pitch)[x] = 0xFF000000;
  EXPECT_EQ(t->LockRect(0, &locked, nullptr, 0), D3DERR_INVALIDCALL) << "already locked";
  ASSERT_EQ(t->UnlockRect(0), D3D_OK);
  EXPECT_EQ(t->UnlockRect(0), D3DERR_INVALIDCALL) << "not locked";

  const RECT rect = {1, 2, 3, 3};  // x 1..2, row 2
  ASSERT_EQ(t->LockRect(0, &locked, &rect, 0), D3D_OK);
  reinterpret_cast<D3DCOLOR*>(locked.pBits)[0] = 0xFF00FF00;
  reinterpret_cast<D3DCOLOR*>(locked.pBits)[1] = 0xFF0000FF;
  ASSERT_EQ(t->UnlockRect(0), D3D_OK);
  const RECT outside = {0, 0, 5, 1};
  EXPECT_EQ(t->LockRect(0, &locked, &outside, 0), D3DERR_INVALIDCALL);

  ASSERT_EQ(t->LockRect(0, &locked, nullptr, D3DLOCK_READONLY), D3D_OK);
  const auto* row2 = reinterpret_cast<const D3DCOLOR*>(static_cast<std::uint8_t*>(locked.pBits) + 2 * locked.Pitch);
  EXPECT_EQ(row2[0], 0xFF000000u);
  EXPECT_EQ(row2[1], 0xFF00FF00u);
  EXPECT_EQ(row2[2], 0xFF0000FFu);
  t->UnlockRect(0);

  IDirect3DSurface9* level = nullptr;
  t->GetSurfaceLevel(0, &level);
  std::vector<D3DCOLOR> argb;
  UINT w = 0, h = 0;
  ASSERT_EQ(m_device->readSurfaceARGB(level, argb, w, h), D3D_OK);
  EXPECT_EQ(argb[2 * 4 + 1], 0xFF00FF00u) << "the upload reached the texture";
  EXPECT_EQ(argb[2 * 4 + 2], 0xFF0000FFu);
  // The surface shares the texture's count.
  EXPECT_EQ(t->AddRef(), 3u);
  t->Release();
  level->Release();

  // Render-target textures cannot be locked.
  IDirect3DTexture9* target = nullptr;
  ASSERT_EQ(m_device->CreateTexture(4, 4, 1, D3DUSAGE_RENDERTARGET, D3DFMT_A8R8G8B8, D3DPOOL_DEFAULT, &target,
                                    nullptr),
            D3D_OK);
  EXPECT_EQ(target->LockRect(0, &locked, nullptr, 0), D3DERR_INVALIDCALL);
  target->Release();
  t->Release();
}

// Faces are chosen by the major axis as in Direct3D; texels are stored top
// row first on every face.
TEST_F(GlResources, CubeTextureFacesAndGeneratedLookups) {
  IDirect3DCubeTexture9* cube = nullptr;
  ASSERT_EQ(m_device->CreateCubeTexture(2, 1, 0, D3DFMT_X8R8G8B8, D3DPOOL_MANAGED, &cube, nullptr), D3D_OK);
  const D3DCOLOR faceColours[6] = {0xFFFF0000, 0xFF00FFFF, 0xFF00FF00, 0xFFFF00FF, 0xFF0000FF, 0xFFFFFF00};
  for (int face = 0; face < 6; ++face) {
    D3DLOCKED_RECT locked{};
    ASSERT_EQ(cube->LockRect(D3DCUBEMAP_FACES(face), 0, &locked, nullptr, 0), D3D_OK);
    for (int y = 0; y < 2; ++y)
      for (int x = 0; x < 2; ++x)
        reinterpret_cast<D3DCOLOR*>(static_cast<std::uint8_t*>(locked.pBits) + y * locked.Pitch)[x] =
            faceColours[face];
    ASSERT_EQ(cube->UnlockRect(D3DCUBEMAP_FACES(face), 0), D3D_OK);
  }
  // Camera-space normals pick the face: (N_eye, 1) with COUNT3.
  m_device->SetTextureStageState(0, D3DTSS_TEXCOORDINDEX, D3DTSS_TCI_CAMERASPACENORMAL);
  m_device->SetTextureStageState(0, D3DTSS_TEXTURETRANSFORMFLAGS, D3DTTFF_COUNT3);
  m_device->SetTexture(0, cube);
  const D3DVECTOR normals[6] = {{1, 0, 0}, {-1, 0, 0}, {0, 1, 0}, {0, -1, 0}, {0, 0, 1}, {0, 0, -1}};
  for (int face = 0; face < 6; ++face) {
    const D3DVECTOR& n = normals[face];
    const LitVertex v[4] = {{-1, 1, 0.5f, n.x, n.y, n.z, 0xFFFFFFFF},
                            {1, 1, 0.5f, n.x, n.y, n.z, 0xFFFFFFFF},
                            {-1, -1, 0.5f, n.x, n.y, n.z, 0xFFFFFFFF},
                            {1, -1, 0.5f, n.x, n.y, n.z, 0xFFFFFFFF}};
    m_device->SetFVF(kLitFvf);
    clear(0);
    ASSERT_EQ(m_device->DrawPrimitiveUP(D3DPT_TRIANGLESTRIP, 2, v, sizeof(LitVertex)), D3D_OK);
    EXPECT_EQ(pixel(8, 8), faceColours[face]) << "face " << face;
  }
  m_device->SetTexture(0, nullptr);
  IDirect3DSurface9* face = nullptr;
  ASSERT_EQ(cube->GetCubeMapSurface(D3DCUBEMAP_FACE_NEGATIVE_Y, 0, &face), D3D_OK);
  std::vector<D3DCOLOR> argb;
  UINT w = 0, h = 0;
  ASSERT_EQ(m_device->readSurfaceARGB(face, argb, w, h), D3D_OK);
  EXPECT_EQ(argb[3], 0xFFFF00FFu);
  face->Release();
  cube->Release();
}

TEST_F(GlResources, IndexedDrawsFromBuffersWithBaseVertex) {
  // Two quads in one buffer; the index buffer describes one, the base
  // vertex picks the second (right half, green).
  const ScreenVertex vertices[8] = {
      {0, 0, 0.5f, 1, 0xFFFF0000, 0, 0},  {8, 0, 0.5f, 1, 0xFFFF0000, 0, 0},
      {0, 16, 0.5f, 1, 0xFFFF0000, 0, 0}, {8, 16, 0.5f, 1, 0xFFFF0000, 0, 0},
      {8, 0, 0.5f, 1, 0xFF00FF00, 0, 0},  {16, 0, 0.5f, 1, 0xFF00FF00, 0, 0},
      {8, 16, 0.5f, 1, 0xFF00FF00, 0, 0}, {16, 16, 0.5f, 1, 0xFF00FF00, 0, 0}};
  const std::uint16_t indices[6] = {0, 1, 2, 2, 1, 3};
  IDirect3DVertexBuffer9* vb = nullptr;
  IDirect3DIndexBuffer9* ib = nullptr;
  ASSERT_EQ(m_device->CreateVertexBuffer(sizeof vertices, D3DUSAGE_WRITEONLY, kScreenFvf, D3DPOOL_MANAGED, &vb,
                                         nullptr),
            D3D_OK);
  ASSERT_EQ(m_device->CreateIndexBuffer(sizeof indices, D3DUSAGE_WRITEONLY, D3DFMT_INDEX16, D3DPOOL_MANAGED, &ib,
                                        nullptr),
            D3D_OK);
  void* data = nullptr;
  ASSERT_EQ(vb->Lock(0, 0, &data, 0), D3D_OK);
  std::memcpy(data, vertices, sizeof vertices);
  ASSERT_EQ(vb->Unlock(), D3D_OK);
  EXPECT_EQ(vb->Unlock(), D3DERR_INVALIDCALL);
  ASSERT_EQ(ib->Lock(0, 0, &data, 0), D3D_OK);
  std::memcpy(data, indices, sizeof indices);
  ASSERT_EQ(ib->Unlock(), D3D_OK);
  EXPECT_EQ(vb->Lock(300, 0, &data, 0), D3DERR_INVALIDCALL) << "offset past the end";
  EXPECT_EQ(vb->Lock(200, 100, &data, 0), D3DERR_INVALIDCALL) << "size past the end";

  m_device->SetTextureStageState(0, D3DTSS_COLORARG1, D3DTA_DIFFUSE);
  m_device->SetFVF(kScreenFvf);
  m_device->SetStreamSource(0, vb, 0, sizeof(ScreenVertex));
  m_device->SetIndices(ib);
  clear(0);
  ASSERT_EQ(m_device->DrawIndexedPrimitive(D3DPT_TRIANGLELIST, 4, 0, 4, 0, 2), D3D_OK);
  EXPECT_EQ(rgb(3, 3), 0u);
  EXPECT_EQ(rgb(12, 3), 0x00FF00u);
  ASSERT_EQ(m_device->DrawIndexedPrimitive(D3DPT_TRIANGLELIST, 0, 0, 4, 0, 2), D3D_OK);
  EXPECT_EQ(rgb(3, 3), 0xFF0000u);
  EXPECT_EQ(m_device->DrawIndexedPrimitive(D3DPT_TRIANGLELIST, 0, 0, 4, 3, 2), D3DERR_INVALIDCALL)
      << "indices past the end of the buffer";
  EXPECT_EQ(m_device->DrawIndexedPrimitive(D3DPT_TRIANGLELIST, 5, 0, 4, 0, 2), D3DERR_INVALIDCALL)
      << "base vertex makes the indices read past the vertices";
  EXPECT_EQ(m_device->DrawPrimitive(D3DPT_TRIANGLELIST, 6, 1), D3DERR_INVALIDCALL) << "vertices 6..8 of 8";
  EXPECT_EQ(m_device->DrawPrimitive(D3DPT_TRIANGLELIST, 5, 1), D3D_OK);
  EXPECT_EQ(m_device->DrawPrimitive(D3DPRIMITIVETYPE(9), 0, 1), D3DERR_INVALIDCALL);
  // Rewriting part of the buffer reaches the next draw.
  ASSERT_EQ(vb->Lock(4 * sizeof(ScreenVertex), 4 * sizeof(ScreenVertex), &data, 0), D3D_OK);
  for (int i = 0; i < 4; ++i) static_cast<ScreenVertex*>(data)[i].diffuse = 0xFF0000FF;
  ASSERT_EQ(vb->Unlock(), D3D_OK);
  ASSERT_EQ(m_device->DrawIndexedPrimitive(D3DPT_TRIANGLELIST, 4, 0, 4, 0, 2), D3D_OK);
  EXPECT_EQ(rgb(12, 3), 0x0000FFu);

  // The same run of indices drawn again after the indices changed reads the
  // new ones: in range, the other quad; past the vertices, refused.
  clear(0);
  const std::uint16_t secondQuad[6] = {4, 5, 6, 6, 5, 7};
  ASSERT_EQ(ib->Lock(0, 0, &data, 0), D3D_OK);
  std::memcpy(data, secondQuad, sizeof secondQuad);
  ASSERT_EQ(ib->Unlock(), D3D_OK);
  ASSERT_EQ(m_device->DrawIndexedPrimitive(D3DPT_TRIANGLELIST, 0, 0, 8, 0, 2), D3D_OK);
  EXPECT_EQ(rgb(3, 3), 0u);
  EXPECT_EQ(rgb(12, 3), 0x0000FFu);
  EXPECT_EQ(m_device->DrawIndexedPrimitive(D3DPT_TRIANGLELIST, 1, 0, 8, 0, 2), D3DERR_INVALIDCALL)
      << "index 7 + base 1 is vertex 8 of 8";
  ASSERT_EQ(ib->Lock(10, 2, &data, 0), D3D_OK);
  *static_cast<std::uint16_t*>(data) = 8;
  ASSERT_EQ(ib->Unlock(), D3D_OK);
  EXPECT_EQ(m_device->DrawIndexedPrimitive(D3DPT_TRIANGLELIST, 0, 0, 8, 0, 2), D3DERR_INVALIDCALL)
      << "the last index now reads vertex 8 of 8";
  EXPECT_EQ(m_device->DrawIndexedPrimitive(D3DPT_TRIANGLELIST, 0, 0, 8, 0, 1), D3D_OK) << "the first triangle still fits";
  ASSERT_EQ(ib->Lock(0, 0, &data, 0), D3D_OK);
  std::memcpy(data, indices, sizeof indices);
  ASSERT_EQ(ib->Unlock(), D3D_OK);

  // A stream's offset moves the vertices a draw may reach.
  m_device->SetStreamSource(0, vb, 4 * sizeof(ScreenVertex), sizeof(ScreenVertex));
  EXPECT_EQ(m_device->DrawPrimitive(D3DPT_TRIANGLELIST, 1, 1), D3D_OK) << "vertices 5..7 of 8";
  EXPECT_EQ(m_device->DrawPrimitive(D3DPT_TRIANGLELIST, 2, 1), D3DERR_INVALIDCALL) << "vertices 6..8 of 8";
  EXPECT_EQ(m_device->DrawIndexedPrimitive(D3DPT_TRIANGLELIST, 1, 0, 4, 0, 2), D3DERR_INVALIDCALL)
      << "index 3 + base 1 + offset 4 is vertex 8 of 8";
  m_device->SetStreamSource(0, vb, 0, sizeof(ScreenVertex));
  EXPECT_EQ(m_device->DrawPrimitive(D3DPT_TRIANGLELIST, 5, 1), D3D_OK);
  EXPECT_EQ(m_device->DrawIndexedPrimitive(D3DPT_TRIANGLELIST, 1, 0, 4, 0, 2), D3D_OK);

  // A draw from memory unsets stream 0 and the indices.
  fullQuad(0xFFFFFFFF);
  IDirect3DVertexBuffer9* stream = nullptr;
  UINT offset = 0, stride = 0;
  m_device->GetStreamSource(0, &stream, &offset, &stride);
  EXPECT_EQ(stream, nullptr);
  IDirect3DIndexBuffer9* current = nullptr;
  m_device->GetIndices(&current);
  EXPECT_EQ(current, nullptr);
  EXPECT_EQ(m_device->DrawIndexedPrimitive(D3DPT_TRIANGLELIST, 0, 0, 4, 0, 2), D3DERR_INVALIDCALL);

  // Memory draws that would read past what they were given.
  EXPECT_EQ(m_device->DrawIndexedPrimitiveUP(D3DPT_TRIANGLELIST, 0, 3, 2, indices, D3DFMT_INDEX16, vertices,
                                             sizeof(ScreenVertex)),
            D3DERR_INVALIDCALL)
      << "index 3 with 3 vertices";
  EXPECT_EQ(m_device->DrawIndexedPrimitiveUP(D3DPT_TRIANGLELIST, 0, 4, 2, indices, D3DFMT_INDEX16, vertices,
                                             sizeof(ScreenVertex)),
            D3D_OK);
  EXPECT_EQ(m_device->DrawPrimitiveUP(D3DPT_TRIANGLELIST, 1, vertices, 8), D3DERR_INVALIDCALL) << "stride too small";
  m_device->EndScene();
  EXPECT_EQ(m_device->DrawPrimitiveUP(D3DPT_TRIANGLELIST, 1, vertices, sizeof(ScreenVertex)), D3DERR_INVALIDCALL)
      << "outside a scene";
  m_device->BeginScene();
  m_device->SetFVF(0);
  EXPECT_EQ(m_device->DrawPrimitiveUP(D3DPT_TRIANGLELIST, 1, vertices, sizeof(ScreenVertex)), D3DERR_INVALIDCALL)
      << "no vertex layout";
  vb->Release();
  ib->Release();
}

// The lit-mesh layout of the system's shaders, fed to a GLSL pair of the
// system's own with constants by name.
TEST_F(GlResources, SystemShadersWithNamedConstantsAndFog) {
  const D3DVERTEXELEMENT9 elements[] = {
      {0, 0, D3DDECLTYPE_FLOAT3, D3DDECLMETHOD_DEFAULT, D3DDECLUSAGE_POSITION, 0},
      {0, 12, D3DDECLTYPE_FLOAT2, D3DDECLMETHOD_DEFAULT, D3DDECLUSAGE_TEXCOORD, 0},
      D3DDECL_END()};
  IDirect3DVertexDeclaration9* decl = nullptr;
  ASSERT_EQ(m_device->CreateVertexDeclaration(elements, &decl), D3D_OK);
  UINT count = 0;
  ASSERT_EQ(decl->GetDeclaration(nullptr, &count), D3D_OK);
  EXPECT_EQ(count, 3u);

  const char* vertexSource = R"(#version 330 core
layout(location = 0) in vec3 position;
layout(location = 5) in vec2 uv;
uniform mat4 WorldViewProj;
uniform float FogAmount;
out vec2 TEXCOORD0;
out float FOG;
void main() {
  gl_Position = WorldViewProj * vec4(position, 1.0);
  TEXCOORD0 = uv;
  FOG = FogAmount;
})";
  const char* pixelSource = R"(#version 330 core
in vec2 TEXCOORD0;
uniform vec4 LightColor;
layout(location = 0) out vec4 color;
void main() { color = LightColor * 2.0; })";
  IDirect3DVertexShader9* vs = nullptr;
  IDirect3DPixelShader9* ps = nullptr;
  ASSERT_EQ(m_device->CreateVertexShader(reinterpret_cast<const DWORD*>(vertexSource), &vs), D3D_OK);
  ASSERT_EQ(m_device->CreatePixelShader(reinterpret_cast<const DWORD*>(pixelSource), &ps), D3D_OK);
  IDirect3DPixelShader9* broken = nullptr;
  EXPECT_EQ(m_device->CreatePixelShader(reinterpret_cast<const DWORD*>("#version 330 core\nvoid main() { x; }"),
                                        &broken),
            D3DERR_INVALIDCALL);

  m_device->SetVertexDeclaration(decl);
  m_device->SetVertexShader(vs);
  m_device->SetPixelShader(ps);
  D3DMATRIX scale = identity();  // halves the quad: it covers the middle
  scale._11 = scale._22 = 0.5f;
  m_device->setVertexShaderConstantByName("WorldViewProj", &scale._11, 16);
  const float light[4] = {0.25f, 0.5f, 0.75f, 1.0f};  // doubled: 0.5, 1.0, 1.5 -> saturated
  m_device->setPixelShaderConstantByName("LightColor", light, 4);
  const float noFog = 1.0f;
  m_device->setVertexShaderConstantByName("FogAmount", &noFog, 1);
  float readBack[4] = {};
  m_device->getPixelShaderConstantByName("LightColor", readBack, 4);
  EXPECT_EQ(readBack[2], 0.75f);

  struct V {
    float x, y, z, u, v;
  };
  const V quad[4] = {{-1, 1, 0.5f, 0, 0}, {1, 1, 0.5f, 1, 0}, {-1, -1, 0.5f, 0, 1}, {1, -1, 0.5f, 1, 1}};
  clear(0);
  ASSERT_EQ(m_device->DrawPrimitiveUP(D3DPT_TRIANGLESTRIP, 2, quad, sizeof(V)), D3D_OK);
  EXPECT_EQ(rgb(8, 8), 0x80FFFFu);
  EXPECT_EQ(rgb(2, 2), 0u);
  EXPECT_EQ(rgb(4, 4), 0x80FFFFu) << "the quad spans pixels 4..11 after the half-pixel shift";
  EXPECT_EQ(rgb(12, 12), 0u);

  // Fog from the program's FOG output, applied after the pixel program.
  m_device->SetRenderState(D3DRS_FOGENABLE, TRUE);
  m_device->SetRenderState(D3DRS_FOGCOLOR, 0xFF000000);
  const float halfFog = 0.5f;
  m_device->setVertexShaderConstantByName("FogAmount", &halfFog, 1);
  ASSERT_EQ(m_device->DrawPrimitiveUP(D3DPT_TRIANGLESTRIP, 2, quad, sizeof(V)), D3D_OK);
  EXPECT_THAT(rgb(8, 8), NearColor(0x408080u, 1));

  // The same vertex program in front of the fixed-function stages.
  m_device->SetRenderState(D3DRS_FOGENABLE, FALSE);
  m_device->SetPixelShader(nullptr);
  IDirect3DTexture9* t = texture(2, 1, {0xFF112233, 0xFF445566});
  m_device->SetTexture(0, t);
  ASSERT_EQ(m_device->DrawPrimitiveUP(D3DPT_TRIANGLESTRIP, 2, quad, sizeof(V)), D3D_OK);
  EXPECT_EQ(rgb(5, 8), 0x112233u);
  EXPECT_EQ(rgb(10, 8), 0x445566u);

  m_device->SetTexture(0, nullptr);
  m_device->SetVertexShader(nullptr);
  m_device->SetVertexDeclaration(nullptr);
  t->Release();
  vs->Release();
  ps->Release();
  decl->Release();
}

TEST_F(GlResources, ObjectsOutlivingTheDeviceTurnIntoShells) {
  IDirect3DTexture9* t = nullptr;
  ASSERT_EQ(m_device->CreateTexture(4, 4, 1, 0, D3DFMT_A8R8G8B8, D3DPOOL_MANAGED, &t, nullptr), D3D_OK);
  IDirect3DVertexBuffer9* vb = nullptr;
  ASSERT_EQ(m_device->CreateVertexBuffer(64, 0, 0, D3DPOOL_MANAGED, &vb, nullptr), D3D_OK);
  m_device->SetTexture(0, t);
  close();  // the device goes first
  D3DLOCKED_RECT locked{};
  EXPECT_EQ(t->LockRect(0, &locked, nullptr, 0), D3DERR_INVALIDCALL);
  void* data = nullptr;
  EXPECT_EQ(vb->Lock(0, 0, &data, 0), D3DERR_INVALIDCALL);
  EXPECT_EQ(t->Release(), 0u);
  EXPECT_EQ(vb->Release(), 0u);
}

}  // namespace
}  // namespace gltest
