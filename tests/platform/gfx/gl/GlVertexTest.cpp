// Fixed-function vertex processing of the OpenGL device: lights, materials,
// specular, fog, texture coordinate transforms and generation, point sizes
// and point sprites. Expected colours are worked out by hand.
#include "GlTestDevice.h"

#include <cmath>

namespace gltest {
namespace {

constexpr float kPi = 3.14159265f;

class GlVertex : public GlDeviceTest {
 protected:
  void SetUp() override {
    DeviceOptions options;
    options.format = D3DFMT_A8R8G8B8;
    open(options);
    m_device->SetRenderState(D3DRS_ZENABLE, D3DZB_FALSE);
    m_device->SetRenderState(D3DRS_CULLMODE, D3DCULL_NONE);
    m_device->SetTextureStageState(0, D3DTSS_COLOROP, D3DTOP_SELECTARG1);
    m_device->SetTextureStageState(0, D3DTSS_COLORARG1, D3DTA_DIFFUSE);
    m_device->SetTextureStageState(0, D3DTSS_ALPHAARG1, D3DTA_DIFFUSE);
    D3DMATERIAL9 material{};
    material.Diffuse = {1, 1, 1, 1};
    m_device->SetMaterial(&material);
  }

  // A square at z = 0.5 (identity transforms: clip space), facing the
  // viewer: vertices at (+-half, +-half), normal (0, 0, -1).
  void litSquare(D3DCOLOR diffuse = 0xFFFFFFFF, float half = 0.5f, D3DVECTOR normal = {0, 0, -1}) {
    const LitVertex v[4] = {{-half, half, 0.5f, normal.x, normal.y, normal.z, diffuse},
                            {half, half, 0.5f, normal.x, normal.y, normal.z, diffuse},
                            {-half, -half, 0.5f, normal.x, normal.y, normal.z, diffuse},
                            {half, -half, 0.5f, normal.x, normal.y, normal.z, diffuse}};
    m_device->SetFVF(kLitFvf);
    ASSERT_EQ(m_device->DrawPrimitiveUP(D3DPT_TRIANGLESTRIP, 2, v, sizeof(LitVertex)), D3D_OK);
  }

  D3DLIGHT9 light(D3DLIGHTTYPE type) {
    D3DLIGHT9 l{};
    l.Type = type;
    l.Diffuse = {1, 1, 1, 1};
    l.Position = {0, 0, -1};
    l.Direction = {0, 0, 1};
    l.Range = 100.0f;
    l.Attenuation0 = 1.0f;
    return l;
  }

  D3DCOLOR centre() { return pixel(8, 8); }
};

TEST_F(GlVertex, DirectionalLightWithMaterialSourcesAndAmbient) {
  D3DLIGHT9 l = light(D3DLIGHT_DIRECTIONAL);
  l.Diffuse = {0.5f, 0.25f, 1.0f, 1.0f};
  m_device->SetLight(0, &l);
  m_device->LightEnable(0, TRUE);
  clear(0);
  litSquare(0xFF00FF00);  // COLORVERTEX + DIFFUSEMATERIALSOURCE COLOR1: vertex colour is Md
  EXPECT_THAT(centre(), NearColor(0xFF004000u, 1));
  m_device->SetRenderState(D3DRS_COLORVERTEX, FALSE);  // material diffuse (white)
  litSquare(0xFF00FF00);
  EXPECT_THAT(centre(), NearColor(0xFF8040FFu, 1));
  litSquare(0xFF00FF00, 0.5f, {0, std::sin(kPi / 3), -0.5f});  // N.L = 0.5
  EXPECT_THAT(centre(), NearColor(0xFF402080u, 1));
  litSquare(0xFF00FF00, 0.5f, {0, 0, 1});  // facing away: no diffuse
  EXPECT_THAT(centre(), NearColor(0xFF000000u, 0));

  D3DMATERIAL9 material{};
  material.Diffuse = {1, 1, 1, 0.5f};
  material.Ambient = {1, 0.5f, 0, 1};
  material.Emissive = {0, 0, 0.25f, 0};
  m_device->SetMaterial(&material);
  m_device->SetRenderState(D3DRS_AMBIENT, 0x00404040);  // 0.25
  litSquare(0xFF00FF00, 0.5f, {0, 0, 1});
  // Ma * AMBIENT + Me = (0.25, 0.125, 0.25); alpha = Md.a.
  EXPECT_THAT(centre(), NearColor(0x80402040u, 1));
  // Lighting off: the vertex colour as it is.
  m_device->SetRenderState(D3DRS_LIGHTING, FALSE);
  litSquare(0xFF00FF00);
  EXPECT_EQ(centre(), 0xFF00FF00u);
}

// The square's corners are all sqrt(2.75) = 1.658 from a light at (0, 0, -1),
// each with N.L = 1.5 / 1.658 = 0.9045, so the square is lit evenly.
TEST_F(GlVertex, PointLightAttenuationAndRange) {
  D3DLIGHT9 l = light(D3DLIGHT_POINT);
  m_device->SetRenderState(D3DRS_COLORVERTEX, FALSE);
  m_device->LightEnable(0, TRUE);
  struct Case {
    float a0, a1, a2, range;
    D3DCOLOR expected;
  } cases[] = {
      {1, 0, 0, 100, 0xFFE7E7E7},    // no attenuation: 0.9045
      {0, 1, 0, 100, 0xFF8B8B8B},    // 1 / d
      {0.5f, 0, 0.5f, 100, 0xFF7B7B7B},  // 1 / (0.5 + 0.5 d^2)
      {1, 0, 0, 1.6f, 0xFF000000},   // beyond the range
      {1, 0, 0, 1.7f, 0xFFE7E7E7},
  };
  for (const Case& c : cases) {
    l.Attenuation0 = c.a0;
    l.Attenuation1 = c.a1;
    l.Attenuation2 = c.a2;
    l.Range = c.range;
    m_device->SetLight(0, &l);
    clear(0);
    litSquare();
    EXPECT_THAT(centre(), NearColor(c.expected, 2)) << c.a0 << " " << c.a1 << " " << c.a2 << " " << c.range;
  }
}

// rho = 0.9045 (25.2 degrees off the axis) at every corner.
TEST_F(GlVertex, SpotLightCone) {
  D3DLIGHT9 l = light(D3DLIGHT_SPOT);
  m_device->SetRenderState(D3DRS_COLORVERTEX, FALSE);
  m_device->LightEnable(0, TRUE);
  struct Case {
    float thetaDegrees, phiDegrees, falloff;
    D3DCOLOR expected;
  } cases[] = {
      {60, 80, 1, 0xFFE7E7E7},  // inside the inner cone
      {20, 40, 1, 0xFF000000},  // outside the outer cone
      {40, 60, 1, 0xFF797979},  // between: (rho - cos 30) / (cos 20 - cos 30) = 0.5227
      {40, 60, 2, 0xFF3F3F3F},  // the same, squared
  };
  for (const Case& c : cases) {
    l.Theta = c.thetaDegrees * kPi / 180.0f;
    l.Phi = c.phiDegrees * kPi / 180.0f;
    l.Falloff = c.falloff;
    m_device->SetLight(0, &l);
    clear(0);
    litSquare();
    EXPECT_THAT(centre(), NearColor(c.expected, 2)) << c.thetaDegrees << "/" << c.phiDegrees << "^" << c.falloff;
  }
}

TEST_F(GlVertex, SpecularIsAddedOnlyWhenEnabled) {
  D3DLIGHT9 l = light(D3DLIGHT_DIRECTIONAL);
  l.Diffuse = {0.5f, 0, 0, 1};
  l.Specular = {1, 1, 1, 1};
  m_device->SetLight(0, &l);
  m_device->LightEnable(0, TRUE);
  D3DMATERIAL9 material{};
  material.Diffuse = {1, 1, 1, 1};
  material.Specular = {0, 0, 1, 1};
  material.Power = 10.0f;
  m_device->SetMaterial(&material);
  m_device->SetRenderState(D3DRS_COLORVERTEX, FALSE);
  m_device->SetRenderState(D3DRS_LOCALVIEWER, FALSE);  // H = normalize(L + (0, 0, -1)) = (0, 0, -1)
  clear(0);
  litSquare();
  EXPECT_THAT(centre(), NearColor(0xFF800000u, 1));
  m_device->SetRenderState(D3DRS_SPECULARENABLE, TRUE);
  litSquare();
  EXPECT_THAT(centre(), NearColor(0xFF8000FFu, 1));
  // Facing away (N.L <= 0): no specular either.
  clear(0);
  litSquare(0xFFFFFFFF, 0.5f, {0, 0, 1});
  EXPECT_THAT(centre(), NearColor(0xFF000000u, 0));
}

TEST_F(GlVertex, LinearVertexFogByEyeDepth) {
  m_device->SetRenderState(D3DRS_LIGHTING, FALSE);
  m_device->SetRenderState(D3DRS_FOGENABLE, TRUE);
  m_device->SetRenderState(D3DRS_FOGVERTEXMODE, D3DFOG_LINEAR);
  m_device->SetRenderState(D3DRS_FOGCOLOR, 0xFF0000FF);
  m_device->SetRenderState(D3DRS_FOGSTART, floatToDword(0.0f));
  m_device->SetRenderState(D3DRS_FOGEND, floatToDword(1.0f));
  clear(0);
  litSquare(0x80FFFFFF);  // eye depth 0.5: f = 0.5; alpha untouched
  EXPECT_THAT(centre(), NearColor(0x808080FFu, 1));
  m_device->SetRenderState(D3DRS_FOGSTART, floatToDword(0.25f));
  m_device->SetRenderState(D3DRS_FOGEND, floatToDword(0.75f));
  litSquare(0x80FF0000);  // f = (0.75 - 0.5) / 0.5 = 0.5
  EXPECT_THAT(centre(), NearColor(0x807F0080u, 1));
  m_device->SetRenderState(D3DRS_FOGSTART, floatToDword(0.5f));
  m_device->SetRenderState(D3DRS_FOGEND, floatToDword(0.5f));
  litSquare(0x80FF0000);  // FOGSTART = FOGEND: fully fogged
  EXPECT_THAT(centre(), NearColor(0x800000FFu, 1));
  m_device->SetRenderState(D3DRS_FOGENABLE, FALSE);
  litSquare(0x80FF0000);
  EXPECT_EQ(centre(), 0x80FF0000u);
}

TEST_F(GlVertex, TextureTransformAndCameraSpaceNormals) {
  m_device->SetRenderState(D3DRS_LIGHTING, FALSE);
  IDirect3DTexture9* t = texture(2, 1, {0xFFFF0000, 0xFF00FF00});  // left red, right green
  m_device->SetTexture(0, t);
  m_device->SetTextureStageState(0, D3DTSS_COLORARG1, D3DTA_TEXTURE);

  // COUNT2: (u, v) -> (u, v, 1, 0) x M, so the third row translates.
  struct V {
    float x, y, z, u, v;
  };
  const V quad[4] = {{-1, 1, 0.5f, 0.25f, 0.5f}, {1, 1, 0.5f, 0.25f, 0.5f}, {-1, -1, 0.5f, 0.25f, 0.5f},
                     {1, -1, 0.5f, 0.25f, 0.5f}};
  m_device->SetFVF(D3DFVF_XYZ | D3DFVF_TEX1);
  clear(0);
  m_device->DrawPrimitiveUP(D3DPT_TRIANGLESTRIP, 2, quad, sizeof(V));
  EXPECT_EQ(centre(), 0xFFFF0000u);
  D3DMATRIX shift = identity();
  shift._31 = 0.5f;
  m_device->SetTransform(D3DTS_TEXTURE0, &shift);
  m_device->DrawPrimitiveUP(D3DPT_TRIANGLESTRIP, 2, quad, sizeof(V));
  EXPECT_EQ(centre(), 0xFFFF0000u) << "TTFF DISABLE ignores the matrix";
  m_device->SetTextureStageState(0, D3DTSS_TEXTURETRANSFORMFLAGS, D3DTTFF_COUNT2);
  m_device->DrawPrimitiveUP(D3DPT_TRIANGLESTRIP, 2, quad, sizeof(V));
  EXPECT_EQ(centre(), 0xFF00FF00u);
  m_device->SetTextureStageState(0, D3DTSS_TEXTURETRANSFORMFLAGS, D3DTTFF_DISABLE);

  // TEXCOORDINDEX picks the set: the second set points at the right texel.
  struct V2 {
    float x, y, z, u0, v0, u1, v1;
  };
  const V2 twoSets[4] = {{-1, 1, 0.5f, 0.25f, 0.5f, 0.75f, 0.5f}, {1, 1, 0.5f, 0.25f, 0.5f, 0.75f, 0.5f},
                         {-1, -1, 0.5f, 0.25f, 0.5f, 0.75f, 0.5f}, {1, -1, 0.5f, 0.25f, 0.5f, 0.75f, 0.5f}};
  m_device->SetFVF(D3DFVF_XYZ | D3DFVF_TEX2);
  m_device->DrawPrimitiveUP(D3DPT_TRIANGLESTRIP, 2, twoSets, sizeof(V2));
  EXPECT_EQ(centre(), 0xFFFF0000u);
  m_device->SetTextureStageState(0, D3DTSS_TEXCOORDINDEX, 1);
  m_device->DrawPrimitiveUP(D3DPT_TRIANGLESTRIP, 2, twoSets, sizeof(V2));
  EXPECT_EQ(centre(), 0xFF00FF00u);
  m_device->SetTextureStageState(0, D3DTSS_TEXTURETRANSFORMFLAGS, D3DTTFF_COUNT2);

  // CAMERASPACENORMAL: (N_eye, 1) x M with u = 0.25 nx + 0.5 (the fourth row
  // translates a generated coordinate).
  D3DMATRIX fromNormal{};
  fromNormal._11 = 0.25f;
  fromNormal._22 = 0.25f;
  fromNormal._41 = 0.5f;
  fromNormal._42 = 0.5f;
  m_device->SetTransform(D3DTS_TEXTURE0, &fromNormal);
  m_device->SetTextureStageState(0, D3DTSS_TEXCOORDINDEX, D3DTSS_TCI_CAMERASPACENORMAL);
  litSquare(0xFFFFFFFF, 1.0f, {1, 0, 0});
  EXPECT_EQ(centre(), 0xFF00FF00u);
  litSquare(0xFFFFFFFF, 1.0f, {-1, 0, 0});
  EXPECT_EQ(centre(), 0xFFFF0000u);
  // The normal is in camera space: a view turned half way round flips it.
  D3DMATRIX turn = identity();
  turn._11 = -1.0f;
  turn._33 = -1.0f;
  m_device->SetTransform(D3DTS_VIEW, &turn);
  D3DMATRIX flipBack = identity();
  flipBack._33 = -1.0f;  // keep the square in front of the camera (world z -0.5)
  m_device->SetTransform(D3DTS_WORLD, &flipBack);
  litSquare(0xFFFFFFFF, 1.0f, {1, 0, 0});
  EXPECT_EQ(centre(), 0xFFFF0000u);
  m_device->SetTexture(0, nullptr);
  t->Release();
}

TEST_F(GlVertex, PointSizesScalingAndSprites) {
  m_device->SetRenderState(D3DRS_LIGHTING, FALSE);
  D3DMATRIX projection = identity();
  projection._33 = 0.25f;  // eye z 2 -> depth 0.5
  m_device->SetTransform(D3DTS_PROJECTION, &projection);
  struct P {
    float x, y, z;
    D3DCOLOR color;
  };
  const P point = {0, 0, 2, 0xFFFFFFFF};  // centre of the 16 x 16 target
  m_device->SetFVF(D3DFVF_XYZ | D3DFVF_DIFFUSE);
  auto coveredColumns = [&] {
    clear(0);
    EXPECT_EQ(m_device->DrawPrimitiveUP(D3DPT_POINTLIST, 1, &point, sizeof(P)), D3D_OK);
    int first = -1, last = -1;
    for (int x = 0; x < 16; ++x)
      if (rgb(UINT(x), 8)) {
        if (first < 0) first = x;
        last = x;
      }
    return std::pair{first, last};
  };
  m_device->SetRenderState(D3DRS_POINTSIZE, floatToDword(4.0f));
  EXPECT_EQ(coveredColumns(), std::pair(6, 9)) << "4 pixels centred on 8";
  // Scaled: viewport height x size x sqrt(1 / (A + B De + C De^2)), De = 2.
  m_device->SetRenderState(D3DRS_POINTSCALEENABLE, TRUE);
  m_device->SetRenderState(D3DRS_POINTSIZE, floatToDword(0.25f));
  m_device->SetRenderState(D3DRS_POINTSCALE_A, floatToDword(0.0f));
  m_device->SetRenderState(D3DRS_POINTSCALE_C, floatToDword(1.0f));
  EXPECT_EQ(coveredColumns(), std::pair(7, 8)) << "16 x 0.25 x 1/2 = 2 pixels";
  m_device->SetRenderState(D3DRS_POINTSCALE_A, floatToDword(1.0f));
  m_device->SetRenderState(D3DRS_POINTSCALE_C, floatToDword(0.0f));
  EXPECT_EQ(coveredColumns(), std::pair(6, 9)) << "16 x 0.25 = 4 pixels";
  m_device->SetRenderState(D3DRS_POINTSIZE_MIN, floatToDword(6.0f));
  EXPECT_EQ(coveredColumns(), std::pair(5, 10)) << "clamped up to POINTSIZE_MIN";
  m_device->SetRenderState(D3DRS_POINTSIZE_MIN, floatToDword(1.0f));
  m_device->SetRenderState(D3DRS_POINTSIZE_MAX, floatToDword(2.0f));
  EXPECT_EQ(coveredColumns(), std::pair(7, 8)) << "clamped down to POINTSIZE_MAX";
  m_device->SetRenderState(D3DRS_POINTSIZE_MAX, floatToDword(64.0f));

  // FILLMODE POINT draws a triangle's corners as points of the same size; a
  // triangle list in between leaves the point size alone.
  // Corners on pixels (8, 8), (14, 8) and (8, 14); the points cover 6..9,
  // 12..15 around them, so (10, 10) is inside the triangle and no point.
  const P triangle[3] = {{0, 0, 2, 0xFFFFFFFF}, {0.75f, 0, 2, 0xFFFFFFFF}, {0, -0.75f, 2, 0xFFFFFFFF}};
  clear(0);
  ASSERT_EQ(m_device->DrawPrimitiveUP(D3DPT_TRIANGLELIST, 1, triangle, sizeof(P)), D3D_OK);
  EXPECT_EQ(rgb(10, 10), 0xFFFFFFu) << "inside the filled triangle";
  m_device->SetRenderState(D3DRS_FILLMODE, D3DFILL_POINT);
  clear(0);
  ASSERT_EQ(m_device->DrawPrimitiveUP(D3DPT_TRIANGLELIST, 1, triangle, sizeof(P)), D3D_OK);
  EXPECT_EQ(rgb(10, 10), 0u) << "the inside is not drawn";
  EXPECT_NE(rgb(6, 6), 0u) << "the corner at the centre covers 4 x 4 pixels";
  EXPECT_EQ(rgb(5, 8), 0u);
  m_device->SetRenderState(D3DRS_FILLMODE, D3DFILL_SOLID);

  // Sprites: the point coordinate runs (0, 0) top-left to (1, 1).
  IDirect3DTexture9* t = texture(2, 2, {0xFFFF0000, 0xFF00FF00, 0xFF0000FF, 0xFFFFFFFF});
  m_device->SetTexture(0, t);
  m_device->SetTextureStageState(0, D3DTSS_COLORARG1, D3DTA_TEXTURE);
  m_device->SetRenderState(D3DRS_POINTSPRITEENABLE, TRUE);
  clear(0);
  ASSERT_EQ(m_device->DrawPrimitiveUP(D3DPT_POINTLIST, 1, &point, sizeof(P)), D3D_OK);
  EXPECT_EQ(rgb(6, 6), 0xFF0000u);
  EXPECT_EQ(rgb(9, 6), 0x00FF00u);
  EXPECT_EQ(rgb(6, 9), 0x0000FFu);
  EXPECT_EQ(rgb(9, 9), 0xFFFFFFu);
  m_device->SetTexture(0, nullptr);
  t->Release();
}

}  // namespace
}  // namespace gltest
