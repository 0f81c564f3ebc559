// The recording device's state: Direct3D 9 defaults, Set/Get answers, bad
// calls, and the call log's text form and queries.
#include "platform/gfx/recording/RecordingDevice.h"

#include <gtest/gtest.h>

#include <cstring>

#include "platform/gfx/D3D9Format.h"

namespace {

class RecordingDeviceTest : public ::testing::Test {
 protected:
  void SetUp() override { device = RecordingDevice::createOffscreen(800, 600); }
  void TearDown() override {
    if (device != nullptr) device->Release();
  }
  DWORD renderState(D3DRENDERSTATETYPE state) {
    DWORD value = 0xDEADBEEF;
    EXPECT_EQ(device->GetRenderState(state, &value), D3D_OK);
    return value;
  }
  DWORD stageState(DWORD stage, D3DTEXTURESTAGESTATETYPE type) {
    DWORD value = 0xDEADBEEF;
    EXPECT_EQ(device->GetTextureStageState(stage, type, &value), D3D_OK);
    return value;
  }
  DWORD samplerState(DWORD sampler, D3DSAMPLERSTATETYPE type) {
    DWORD value = 0xDEADBEEF;
    EXPECT_EQ(device->GetSamplerState(sampler, type, &value), D3D_OK);
    return value;
  }

  RecordingDevice* device = nullptr;
};

D3DMATRIX translation(float x, float y, float z) {
  D3DMATRIX m = {};
  m._11 = m._22 = m._33 = m._44 = 1.0f;
  m._41 = x;
  m._42 = y;
  m._43 = z;
  return m;
}

TEST_F(RecordingDeviceTest, FreshDeviceHoldsDirect3DDefaults) {
  EXPECT_EQ(renderState(D3DRS_ZENABLE), DWORD(D3DZB_TRUE));  // automatic depth buffer present
  EXPECT_EQ(renderState(D3DRS_ZWRITEENABLE), DWORD(TRUE));
  EXPECT_EQ(renderState(D3DRS_ZFUNC), DWORD(D3DCMP_LESSEQUAL));
  EXPECT_EQ(renderState(D3DRS_CULLMODE), DWORD(D3DCULL_CCW));
  EXPECT_EQ(renderState(D3DRS_ALPHATESTENABLE), DWORD(FALSE));
  EXPECT_EQ(renderState(D3DRS_ALPHAFUNC), DWORD(D3DCMP_ALWAYS));
  EXPECT_EQ(renderState(D3DRS_ALPHAREF), 0u);
  EXPECT_EQ(renderState(D3DRS_SRCBLEND), DWORD(D3DBLEND_ONE));
  EXPECT_EQ(renderState(D3DRS_DESTBLEND), DWORD(D3DBLEND_ZERO));
  EXPECT_EQ(renderState(D3DRS_BLENDOP), DWORD(D3DBLENDOP_ADD));
  EXPECT_EQ(renderState(D3DRS_LIGHTING), DWORD(TRUE));
  EXPECT_EQ(renderState(D3DRS_LOCALVIEWER), DWORD(TRUE));
  EXPECT_EQ(renderState(D3DRS_NORMALIZENORMALS), DWORD(FALSE));
  EXPECT_EQ(renderState(D3DRS_COLORVERTEX), DWORD(TRUE));
  EXPECT_EQ(renderState(D3DRS_DIFFUSEMATERIALSOURCE), DWORD(D3DMCS_COLOR1));
  EXPECT_EQ(renderState(D3DRS_SPECULARMATERIALSOURCE), DWORD(D3DMCS_COLOR2));
  EXPECT_EQ(renderState(D3DRS_AMBIENTMATERIALSOURCE), DWORD(D3DMCS_MATERIAL));
  EXPECT_EQ(renderState(D3DRS_EMISSIVEMATERIALSOURCE), DWORD(D3DMCS_MATERIAL));
  EXPECT_EQ(renderState(D3DRS_AMBIENT), 0u);
  EXPECT_EQ(renderState(D3DRS_FOGENABLE), DWORD(FALSE));
  EXPECT_EQ(dwordToFloat(renderState(D3DRS_FOGSTART)), 0.0f);
  EXPECT_EQ(dwordToFloat(renderState(D3DRS_FOGEND)), 1.0f);
  EXPECT_EQ(renderState(D3DRS_FOGVERTEXMODE), DWORD(D3DFOG_NONE));
  EXPECT_EQ(renderState(D3DRS_FOGTABLEMODE), DWORD(D3DFOG_NONE));
  EXPECT_EQ(renderState(D3DRS_TEXTUREFACTOR), 0xFFFFFFFFu);
  EXPECT_EQ(dwordToFloat(renderState(D3DRS_POINTSIZE)), 1.0f);
  EXPECT_EQ(dwordToFloat(renderState(D3DRS_POINTSIZE_MIN)), 1.0f);
  EXPECT_EQ(dwordToFloat(renderState(D3DRS_POINTSCALE_A)), 1.0f);
  EXPECT_EQ(dwordToFloat(renderState(D3DRS_POINTSCALE_B)), 0.0f);
  EXPECT_EQ(renderState(D3DRS_POINTSPRITEENABLE), DWORD(FALSE));
  EXPECT_EQ(renderState(D3DRS_STENCILENABLE), DWORD(FALSE));
  EXPECT_EQ(renderState(D3DRS_COLORWRITEENABLE), 0xFu);

  EXPECT_EQ(stageState(0, D3DTSS_COLOROP), DWORD(D3DTOP_MODULATE));
  EXPECT_EQ(stageState(0, D3DTSS_COLORARG1), D3DTA_TEXTURE);
  EXPECT_EQ(stageState(0, D3DTSS_COLORARG2), D3DTA_CURRENT);
  EXPECT_EQ(stageState(0, D3DTSS_ALPHAOP), DWORD(D3DTOP_SELECTARG1));
  EXPECT_EQ(stageState(0, D3DTSS_ALPHAARG1), D3DTA_TEXTURE);
  for (DWORD stage = 1; stage < 8; ++stage) {
    EXPECT_EQ(stageState(stage, D3DTSS_COLOROP), DWORD(D3DTOP_DISABLE)) << stage;
    EXPECT_EQ(stageState(stage, D3DTSS_ALPHAOP), DWORD(D3DTOP_DISABLE)) << stage;
  }
  for (DWORD stage = 0; stage < 8; ++stage) {
    EXPECT_EQ(stageState(stage, D3DTSS_TEXCOORDINDEX), stage);
    EXPECT_EQ(stageState(stage, D3DTSS_TEXTURETRANSFORMFLAGS), DWORD(D3DTTFF_DISABLE));
    EXPECT_EQ(samplerState(stage, D3DSAMP_ADDRESSU), DWORD(D3DTADDRESS_WRAP));
    EXPECT_EQ(samplerState(stage, D3DSAMP_MAGFILTER), DWORD(D3DTEXF_POINT));
    EXPECT_EQ(samplerState(stage, D3DSAMP_MIPFILTER), DWORD(D3DTEXF_NONE));
  }

  D3DMATRIX m;
  for (D3DTRANSFORMSTATETYPE t : {D3DTS_WORLD, D3DTS_VIEW, D3DTS_PROJECTION, D3DTS_TEXTURE0, D3DTS_TEXTURE7}) {
    ASSERT_EQ(device->GetTransform(t, &m), D3D_OK);
    for (int r = 0; r < 4; ++r) {
      for (int c = 0; c < 4; ++c) EXPECT_EQ(m.m[r][c], r == c ? 1.0f : 0.0f);
    }
  }
  D3DVIEWPORT9 viewport;
  ASSERT_EQ(device->GetViewport(&viewport), D3D_OK);
  EXPECT_EQ(viewport.Width, 800u);
  EXPECT_EQ(viewport.Height, 600u);
  EXPECT_EQ(viewport.MaxZ, 1.0f);
  D3DLIGHT9 light;
  EXPECT_EQ(device->GetLight(0, &light), D3DERR_INVALIDCALL);  // no lights set
  IDirect3DBaseTexture9* texture = reinterpret_cast<IDirect3DBaseTexture9*>(1);
  ASSERT_EQ(device->GetTexture(0, &texture), D3D_OK);
  EXPECT_EQ(texture, nullptr);
}

TEST_F(RecordingDeviceTest, DeviceWithoutDepthBufferStartsWithDepthTestOff) {
  D3DPRESENT_PARAMETERS params = {};
  params.BackBufferWidth = 64;
  params.BackBufferHeight = 32;
  auto* bare = new RecordingDevice(std::make_shared<RecordingTracker>(), params, defaultRecordingCaps());
  DWORD value = 7;
  ASSERT_EQ(bare->GetRenderState(D3DRS_ZENABLE, &value), D3D_OK);
  EXPECT_EQ(value, DWORD(D3DZB_FALSE));
  IDirect3DSurface9* depth = reinterpret_cast<IDirect3DSurface9*>(1);
  EXPECT_EQ(bare->GetDepthStencilSurface(&depth), D3DERR_NOTFOUND);
  EXPECT_EQ(depth, nullptr);
  EXPECT_EQ(bare->Clear(0, nullptr, D3DCLEAR_ZBUFFER, 0, 1.0f, 0), D3DERR_INVALIDCALL);
  EXPECT_EQ(bare->Release(), 0u);
}

TEST_F(RecordingDeviceTest, StatesAnswerWhatWasSet) {
  device->SetRenderState(D3DRS_ALPHAREF, 0x80);
  device->SetRenderState(D3DRS_FOGEND, floatToDword(250.0f));
  device->SetTextureStageState(3, D3DTSS_COLOROP, D3DTOP_ADDSMOOTH);
  device->SetSamplerState(15, D3DSAMP_ADDRESSV, D3DTADDRESS_CLAMP);
  D3DMATRIX world = translation(1, 2, 3);
  device->SetTransform(D3DTS_WORLDMATRIX(5), &world);
  EXPECT_EQ(renderState(D3DRS_ALPHAREF), 0x80u);
  EXPECT_EQ(dwordToFloat(renderState(D3DRS_FOGEND)), 250.0f);
  EXPECT_EQ(stageState(3, D3DTSS_COLOROP), DWORD(D3DTOP_ADDSMOOTH));
  EXPECT_EQ(stageState(2, D3DTSS_COLOROP), DWORD(D3DTOP_DISABLE));  // neighbours untouched
  EXPECT_EQ(samplerState(15, D3DSAMP_ADDRESSV), DWORD(D3DTADDRESS_CLAMP));
  D3DMATRIX got;
  ASSERT_EQ(device->GetTransform(D3DTS_WORLDMATRIX(5), &got), D3D_OK);
  EXPECT_EQ(std::memcmp(&got, &world, sizeof got), 0);
  ASSERT_EQ(device->GetTransform(D3DTS_WORLD, &got), D3D_OK);
  EXPECT_EQ(got._41, 0.0f);

  D3DMATERIAL9 material = {};
  material.Diffuse = {0.5f, 0.25f, 1.0f, 1.0f};
  material.Power = 12.0f;
  ASSERT_EQ(device->SetMaterial(&material), D3D_OK);
  D3DMATERIAL9 gotMaterial = {};
  ASSERT_EQ(device->GetMaterial(&gotMaterial), D3D_OK);
  EXPECT_EQ(gotMaterial.Diffuse.g, 0.25f);
  EXPECT_EQ(gotMaterial.Power, 12.0f);
}

TEST_F(RecordingDeviceTest, LightsKeepTheirSlotWhenDisabled) {
  D3DLIGHT9 spot = {};
  spot.Type = D3DLIGHT_SPOT;
  spot.Range = 100.0f;
  spot.Phi = 1.0f;
  ASSERT_EQ(device->SetLight(3, &spot), D3D_OK);
  ASSERT_EQ(device->LightEnable(3, TRUE), D3D_OK);
  ASSERT_EQ(device->LightEnable(3, FALSE), D3D_OK);
  D3DLIGHT9 got = {};
  ASSERT_EQ(device->GetLight(3, &got), D3D_OK);
  EXPECT_EQ(got.Type, D3DLIGHT_SPOT);
  EXPECT_EQ(got.Range, 100.0f);
  BOOL enabled = TRUE;
  ASSERT_EQ(device->GetLightEnable(3, &enabled), D3D_OK);
  EXPECT_EQ(enabled, FALSE);

  // Enabling a slot never set stores Direct3D's default light.
  ASSERT_EQ(device->LightEnable(9, TRUE), D3D_OK);
  ASSERT_EQ(device->GetLight(9, &got), D3D_OK);
  EXPECT_EQ(got.Type, D3DLIGHT_DIRECTIONAL);
  EXPECT_EQ(got.Direction.z, 1.0f);
  EXPECT_EQ(got.Diffuse.r, 1.0f);
}

TEST_F(RecordingDeviceTest, NoMoreLightsThanTheDeviceCanLight) {
  for (DWORD i = 0; i < 8; ++i) ASSERT_EQ(device->LightEnable(i, TRUE), D3D_OK);
  EXPECT_EQ(device->LightEnable(8, TRUE), D3DERR_INVALIDCALL);
  EXPECT_EQ(device->LightEnable(7, TRUE), D3D_OK);  // already on
  ASSERT_EQ(device->LightEnable(0, FALSE), D3D_OK);
  EXPECT_EQ(device->LightEnable(8, TRUE), D3D_OK);
}

TEST_F(RecordingDeviceTest, BadArgumentsAreRefusedAndLogged) {
  DWORD value = 0;
  D3DMATRIX m = {};
  EXPECT_EQ(device->SetTextureStageState(8, D3DTSS_COLOROP, D3DTOP_DISABLE), D3DERR_INVALIDCALL);
  EXPECT_EQ(device->GetTextureStageState(0, D3DTSS_COLOROP, nullptr), D3DERR_INVALIDCALL);
  EXPECT_EQ(device->SetRenderState(static_cast<D3DRENDERSTATETYPE>(10), 1), D3DERR_INVALIDCALL);
  EXPECT_EQ(device->GetRenderState(static_cast<D3DRENDERSTATETYPE>(500), &value), D3DERR_INVALIDCALL);
  EXPECT_EQ(device->SetSamplerState(16, D3DSAMP_MINFILTER, D3DTEXF_LINEAR), D3DERR_INVALIDCALL);
  EXPECT_EQ(device->SetTransform(static_cast<D3DTRANSFORMSTATETYPE>(4), &m), D3DERR_INVALIDCALL);
  EXPECT_EQ(device->SetTransform(D3DTS_VIEW, nullptr), D3DERR_INVALIDCALL);
  EXPECT_EQ(device->SetTexture(8, nullptr), D3DERR_INVALIDCALL);
  EXPECT_EQ(device->SetLight(0, nullptr), D3DERR_INVALIDCALL);
  EXPECT_EQ(device->SetFVF(D3DFVF_NORMAL), D3DERR_INVALIDCALL);  // no position
  EXPECT_EQ(device->EndScene(), D3DERR_INVALIDCALL);
  EXPECT_EQ(device->Present(nullptr, nullptr, nullptr, &value), D3DERR_INVALIDCALL);
  D3DVIEWPORT9 tooBig{0, 0, 801, 600, 0.0f, 1.0f};
  EXPECT_EQ(device->SetViewport(&tooBig), D3DERR_INVALIDCALL);
  EXPECT_EQ(device->log().failures().size(), 13u) << device->log().dump();
  EXPECT_EQ(device->log().failures()[0]->describe(),
            "SetTextureStageState(8, D3DTSS_COLOROP, D3DTOP_DISABLE) = D3DERR_INVALIDCALL");
}

TEST_F(RecordingDeviceTest, LogPrintsStatesByName) {
  std::size_t mark = device->log().mark();
  device->SetRenderState(D3DRS_ZENABLE, FALSE);
  device->SetRenderState(D3DRS_SRCBLEND, D3DBLEND_SRCALPHA);
  device->SetRenderState(D3DRS_POINTSIZE_MAX, floatToDword(1024.0f));
  device->SetRenderState(D3DRS_FOGSTART, floatToDword(0.4f));
  device->SetRenderState(D3DRS_TEXTUREFACTOR, 0x7F000000);
  device->SetTextureStageState(0, D3DTSS_ALPHAARG1, D3DTA_TFACTOR);
  device->SetTextureStageState(1, D3DTSS_COLORARG2, D3DTA_TEXTURE | D3DTA_COMPLEMENT);
  device->SetTextureStageState(0, D3DTSS_TEXCOORDINDEX, D3DTSS_TCI_CAMERASPACENORMAL | 1);
  device->SetTextureStageState(0, D3DTSS_TEXTURETRANSFORMFLAGS, D3DTTFF_COUNT2);
  device->SetSamplerState(0, D3DSAMP_MINFILTER, D3DTEXF_LINEAR);
  device->SetFVF(D3DFVF_XYZ | D3DFVF_NORMAL | D3DFVF_TEX4 | D3DFVF_TEXCOORDSIZE3(2));
  D3DMATRIX m = translation(0.5f, -2, 0);
  device->SetTransform(D3DTS_TEXTURE0, &m);
  EXPECT_EQ(device->log().texts(mark),
            (std::vector<std::string>{
                "SetRenderState(D3DRS_ZENABLE, 0)",
                "SetRenderState(D3DRS_SRCBLEND, D3DBLEND_SRCALPHA)",
                "SetRenderState(D3DRS_POINTSIZE_MAX, 1024)",
                "SetRenderState(D3DRS_FOGSTART, 0.4)",
                "SetRenderState(D3DRS_TEXTUREFACTOR, 0x7F000000)",
                "SetTextureStageState(0, D3DTSS_ALPHAARG1, D3DTA_TFACTOR)",
                "SetTextureStageState(1, D3DTSS_COLORARG2, D3DTA_TEXTURE | D3DTA_COMPLEMENT)",
                "SetTextureStageState(0, D3DTSS_TEXCOORDINDEX, D3DTSS_TCI_CAMERASPACENORMAL | 1)",
                "SetTextureStageState(0, D3DTSS_TEXTURETRANSFORMFLAGS, D3DTTFF_COUNT2)",
                "SetSamplerState(0, D3DSAMP_MINFILTER, D3DTEXF_LINEAR)",
                "SetFVF(D3DFVF_XYZ | D3DFVF_NORMAL | D3DFVF_TEX4 | D3DFVF_TEXCOORDSIZE3(2))",
                "SetTransform(D3DTS_TEXTURE0, {1 0 0 0, 0 1 0 0, 0 0 1 0, 0.5 -2 0 1})",
            }));
  const RecordedCall* fog = device->log().last("SetRenderState");
  ASSERT_NE(fog, nullptr);
  EXPECT_EQ(fog->raw(1), 0x7F000000u);
  EXPECT_EQ(device->log()[mark + 3].raw(1), floatToDword(0.4f));
}

TEST_F(RecordingDeviceTest, LogQueriesFindCountAndOrder) {
  std::size_t mark = device->log().mark();
  device->SetRenderState(D3DRS_LIGHTING, FALSE);
  device->SetRenderState(D3DRS_ZENABLE, FALSE);
  device->SetRenderState(D3DRS_LIGHTING, TRUE);
  CallLog& log = device->log();
  EXPECT_EQ(log.count("SetRenderState", mark), 3u);
  EXPECT_EQ(log.countText("SetRenderState(D3DRS_LIGHTING, 1)", mark), 1u);
  EXPECT_EQ(log.find("SetRenderState(D3DRS_ZENABLE, 0)", mark), mark + 1);
  EXPECT_FALSE(log.find("SetRenderState(D3DRS_ZENABLE, 1)", mark).has_value());
  EXPECT_TRUE(log.containsSequence({"SetRenderState(D3DRS_LIGHTING, 0)", "SetRenderState(D3DRS_LIGHTING, 1)"}, mark));
  EXPECT_FALSE(log.containsSequence({"SetRenderState(D3DRS_LIGHTING, 1)", "SetRenderState(D3DRS_ZENABLE, 0)"}, mark));
  EXPECT_EQ(log.texts("SetRenderState", mark + 2), std::vector<std::string>{"SetRenderState(D3DRS_LIGHTING, 1)"});
  EXPECT_NE(log.dump(mark).find("1: SetRenderState(D3DRS_ZENABLE, 0)"), std::string::npos);
  log.clear();
  EXPECT_EQ(log.size(), 0u);
}

TEST_F(RecordingDeviceTest, FvfAndDeclarationReplaceEachOther) {
  const D3DVERTEXELEMENT9 elements[] = {
      {0, 0, D3DDECLTYPE_FLOAT3, D3DDECLMETHOD_DEFAULT, D3DDECLUSAGE_POSITION, 0},
      {0, 12, D3DDECLTYPE_FLOAT2, D3DDECLMETHOD_DEFAULT, D3DDECLUSAGE_TEXCOORD, 0},
      D3DDECL_END(),
  };
  IDirect3DVertexDeclaration9* declaration = nullptr;
  ASSERT_EQ(device->CreateVertexDeclaration(elements, &declaration), D3D_OK);
  EXPECT_EQ(device->log().last("CreateVertexDeclaration")->text(),
            "CreateVertexDeclaration({{0, 0, D3DDECLTYPE_FLOAT3, 0, D3DDECLUSAGE_POSITION, 0}, "
            "{0, 12, D3DDECLTYPE_FLOAT2, 0, D3DDECLUSAGE_TEXCOORD, 0}, D3DDECL_END()})");
  UINT count = 0;
  ASSERT_EQ(declaration->GetDeclaration(nullptr, &count), D3D_OK);
  EXPECT_EQ(count, 3u);
  device->SetFVF(D3DFVF_XYZ);
  device->SetVertexDeclaration(declaration);
  DWORD fvf = 1;
  device->GetFVF(&fvf);
  EXPECT_EQ(fvf, 0u);
  device->SetFVF(D3DFVF_XYZ | D3DFVF_DIFFUSE);
  IDirect3DVertexDeclaration9* current = declaration;
  device->GetVertexDeclaration(&current);
  EXPECT_EQ(current, nullptr);
  EXPECT_EQ(declaration->Release(), 0u);

  const D3DVERTEXELEMENT9 duplicate[] = {
      {0, 0, D3DDECLTYPE_FLOAT3, D3DDECLMETHOD_DEFAULT, D3DDECLUSAGE_POSITION, 0},
      {0, 12, D3DDECLTYPE_FLOAT3, D3DDECLMETHOD_DEFAULT, D3DDECLUSAGE_POSITION, 0},
      D3DDECL_END(),
  };
  EXPECT_EQ(device->CreateVertexDeclaration(duplicate, &declaration), D3DERR_INVALIDCALL);
  EXPECT_EQ(declaration, nullptr);
}

TEST_F(RecordingDeviceTest, NamedConstantsAreDeviceStateAcrossShaders) {
  const char* source = "#version 330 core\nvoid main() { gl_Position = vec4(0.0); }\n";
  IDirect3DVertexShader9* a = nullptr;
  IDirect3DVertexShader9* b = nullptr;
  ASSERT_EQ(device->CreateVertexShader(reinterpret_cast<const DWORD*>(source), &a), D3D_OK);
  ASSERT_EQ(device->CreateVertexShader(reinterpret_cast<const DWORD*>(source), &b), D3D_OK);
  EXPECT_EQ(RecordingDevice::shaderSource(a), source);
  const float fog[1] = {0.25f};
  device->SetVertexShader(a);
  ASSERT_EQ(device->setVertexShaderConstantByName("FogAtten", fog, 1), D3D_OK);
  device->SetVertexShader(b);
  float got[4] = {9, 9, 9, 9};
  ASSERT_EQ(device->getVertexShaderConstantByName("FogAtten", got, 4), D3D_OK);
  EXPECT_EQ(got[0], 0.25f);
  EXPECT_EQ(got[1], 0.0f);  // padded
  ASSERT_EQ(device->getPixelShaderConstantByName("FogAtten", got, 1), D3D_OK);
  EXPECT_EQ(got[0], 0.0f);  // pixel constants are a namespace of their own
  EXPECT_EQ(device->log().last("setVertexShaderConstantByName")->text(),
            "setVertexShaderConstantByName(\"FogAtten\", {0.25}, 1)");
  EXPECT_EQ(device->setVertexShaderConstantByName("", fog, 1), D3DERR_INVALIDCALL);
  EXPECT_EQ(device->setPixelShaderConstantByName("LightColor", nullptr, 4), D3DERR_INVALIDCALL);

  const char* noMain = "#version 330 core\n";
  IDirect3DPixelShader9* broken = nullptr;
  EXPECT_EQ(device->CreatePixelShader(reinterpret_cast<const DWORD*>(noMain), &broken), D3DERR_INVALIDCALL);
  EXPECT_EQ(broken, nullptr);
  device->SetVertexShader(nullptr);
  a->Release();
  b->Release();
}

TEST_F(RecordingDeviceTest, RegisterConstantsStayInRange) {
  float four[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  ASSERT_EQ(device->SetVertexShaderConstantF(254, four, 2), D3D_OK);
  EXPECT_EQ(device->SetVertexShaderConstantF(255, four, 2), D3DERR_INVALIDCALL);
  EXPECT_EQ(device->SetPixelShaderConstantF(31, four, 2), D3DERR_INVALIDCALL);
  float got[4] = {};
  ASSERT_EQ(device->GetVertexShaderConstantF(255, got, 1), D3D_OK);
  EXPECT_EQ(got[3], 8.0f);
}

}  // namespace

namespace {

TEST(RecordingDeviceCapsTest, CapabilitiesAreConfigurable) {
  RecordingDevice* device = RecordingDevice::createOffscreen(16, 16);
  D3DCAPS9 caps;
  ASSERT_EQ(device->GetDeviceCaps(&caps), D3D_OK);
  EXPECT_EQ(caps.MaxSimultaneousTextures, 8u);
  EXPECT_NE(caps.DevCaps & D3DDEVCAPS_HWTRANSFORMANDLIGHT, 0u);
  device->setMaxSimultaneousTextures(2);
  device->setVertexShaderVersion(0, 0);
  device->setHardwareTransformAndLight(false);
  ASSERT_EQ(device->GetDeviceCaps(&caps), D3D_OK);
  EXPECT_EQ(caps.MaxSimultaneousTextures, 2u);
  EXPECT_LT(caps.VertexShaderVersion, D3DVS_VERSION(1, 0));
  EXPECT_EQ(caps.DevCaps & D3DDEVCAPS_HWTRANSFORMANDLIGHT, 0u);
  EXPECT_EQ(device->GetDeviceCaps(nullptr), D3DERR_INVALIDCALL);
  device->Release();
}

}  // namespace
