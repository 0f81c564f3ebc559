// The preview's own drawing over a show (the held frame) gives the device's
// states back as found, and a device that drew a show is put back to a new
// device's states before the next show starts on it.
#include "OffscreenDevice.h"
#include "platform/gfx/D3D9Defaults.h"
#include "render/DeviceStates.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace {

constexpr UINT kWidth = 96, kHeight = 64;
constexpr D3DCOLOR kClear = 0xFF204060;

class DeviceStatesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    m_gfx = std::make_unique<OffscreenDevice>(kWidth, kHeight);
    m_device = m_gfx->device;
    ASSERT_NE(m_device, nullptr);
  }
  void TearDown() override { m_gfx.reset(); }

  std::unique_ptr<OffscreenDevice> m_gfx;
  IDirect3DDevice9* m_device = nullptr;  // m_gfx's
};

}  // namespace

TEST_F(DeviceStatesTest, DrawingThroughItLeavesEveryStateAsFoundAndResetGivesDefaults) {
  // States away from the defaults, as a show leaves them.
  m_device->SetRenderState(D3DRS_ALPHABLENDENABLE, FALSE);
  m_device->SetRenderState(D3DRS_SRCBLEND, D3DBLEND_ONE);
  m_device->SetRenderState(D3DRS_ZENABLE, TRUE);
  m_device->SetRenderState(D3DRS_CULLMODE, D3DCULL_CW);
  m_device->SetRenderState(D3DRS_FOGENABLE, TRUE);
  m_device->SetTextureStageState(0, D3DTSS_COLOROP, D3DTOP_ADD);
  m_device->SetTextureStageState(1, D3DTSS_COLOROP, D3DTOP_MODULATE);
  m_device->SetSamplerState(0, D3DSAMP_MAGFILTER, D3DTEXF_LINEAR);
  m_device->SetSamplerState(0, D3DSAMP_ADDRESSU, D3DTADDRESS_WRAP);
  IDirect3DTexture9* texture = nullptr;
  ASSERT_EQ(m_device->CreateTexture(4, 4, 1, 0, D3DFMT_A8R8G8B8, D3DPOOL_MANAGED, &texture, nullptr), D3D_OK);
  m_device->SetTexture(0, texture);
  m_device->SetFVF(D3DFVF_XYZ | D3DFVF_DIFFUSE);
  const D3DVIEWPORT9 part{8, 4, 40, 30, 0.0f, 1.0f};
  m_device->SetViewport(&part);

  auto snapshot = [&] {
    std::vector<DWORD> states;
    DWORD value = 0;
    for (DWORD s = 0; s < D3DRS_STATE_COUNT; ++s) states.push_back(SUCCEEDED(m_device->GetRenderState(D3DRENDERSTATETYPE(s), &value)) ? value : 0xDEAD);
    for (DWORD stage = 0; stage < D3DTSS_STAGE_COUNT; ++stage)
      for (DWORD t = 0; t < D3DTSS_STATE_COUNT; ++t)
        states.push_back(SUCCEEDED(m_device->GetTextureStageState(stage, D3DTEXTURESTAGESTATETYPE(t), &value)) ? value : 0xDEAD);
    for (DWORD t = 0; t < D3DSAMP_STATE_COUNT; ++t)
      states.push_back(SUCCEEDED(m_device->GetSamplerState(0, D3DSAMPLERSTATETYPE(t), &value)) ? value : 0xDEAD);
    m_device->GetFVF(&value);
    states.push_back(value);
    D3DVIEWPORT9 viewport{};
    m_device->GetViewport(&viewport);
    states.insert(states.end(), {viewport.X, viewport.Y, viewport.Width, viewport.Height});
    return states;
  };
  const std::vector<DWORD> before = snapshot();
  IDirect3DVertexBuffer9* stream = nullptr;
  ASSERT_EQ(m_device->CreateVertexBuffer(64, 0, 0, D3DPOOL_MANAGED, &stream, nullptr), D3D_OK);
  m_device->SetStreamSource(0, stream, 16, 16);
  {
    // A quad from memory with states of its own, as the held frame is drawn.
    DeviceStates states(m_device);
    states.render(D3DRS_ALPHABLENDENABLE, TRUE);
    states.render(D3DRS_ZENABLE, FALSE);
    states.render(D3DRS_CULLMODE, D3DCULL_NONE);
    states.stage(0, D3DTSS_COLOROP, D3DTOP_SELECTARG1);
    states.stage(1, D3DTSS_COLOROP, D3DTOP_DISABLE);
    states.sampler(0, D3DSAMP_MAGFILTER, D3DTEXF_POINT);
    const D3DVIEWPORT9 whole{0, 0, kWidth, kHeight, 0.0f, 1.0f};
    m_device->SetViewport(&whole);
    m_device->SetTexture(0, nullptr);
    m_device->SetFVF(D3DFVF_XYZRHW | D3DFVF_DIFFUSE);
    const struct { float x, y, z, rhw; D3DCOLOR c; } quad[4] = {
        {0, 0, 0, 1, 0xFFFF0000}, {50, 0, 0, 1, 0xFFFF0000}, {0, 50, 0, 1, 0xFFFF0000}, {50, 50, 0, 1, 0xFFFF0000}};
    m_device->BeginScene();
    m_device->DrawPrimitiveUP(D3DPT_TRIANGLESTRIP, 2, quad, sizeof quad[0]);
    m_device->EndScene();
  }
  EXPECT_EQ(snapshot(), before);
  IDirect3DBaseTexture9* bound = nullptr;
  m_device->GetTexture(0, &bound);
  EXPECT_EQ(bound, texture);
  if (bound) bound->Release();
  IDirect3DVertexBuffer9* boundStream = nullptr;
  UINT offset = 0, stride = 0;
  m_device->GetStreamSource(0, &boundStream, &offset, &stride);
  EXPECT_EQ(boundStream, stream) << "a draw from memory unbinds stream 0; it is bound again";
  EXPECT_EQ(offset, 16u);
  EXPECT_EQ(stride, 16u);
  if (boundStream) boundStream->Release();
  m_device->SetStreamSource(0, nullptr, 0, 0);
  stream->Release();

  // And a reset puts back the states of a new device.
  m_device->SetTexture(0, nullptr);
  texture->Release();
  resetDeviceStates(m_device, true);
  DWORD rs[D3DRS_STATE_COUNT], ts[D3DTSS_STATE_COUNT], ss[D3DSAMP_STATE_COUNT];
  fillDefaultRenderStates(rs, true);
  fillDefaultStageStates(ts, 1);
  fillDefaultSamplerStates(ss);
  DWORD value = 0;
  for (D3DRENDERSTATETYPE s : {D3DRS_ALPHABLENDENABLE, D3DRS_SRCBLEND, D3DRS_ZENABLE, D3DRS_CULLMODE, D3DRS_FOGENABLE}) {
    m_device->GetRenderState(s, &value);
    EXPECT_EQ(value, rs[s]) << "render state " << s;
  }
  m_device->GetTextureStageState(1, D3DTSS_COLOROP, &value);
  EXPECT_EQ(value, ts[D3DTSS_COLOROP]);
  m_device->GetSamplerState(0, D3DSAMP_MAGFILTER, &value);
  EXPECT_EQ(value, ss[D3DSAMP_MAGFILTER]);
  m_device->GetSamplerState(0, D3DSAMP_ADDRESSU, &value);
  EXPECT_EQ(value, ss[D3DSAMP_ADDRESSU]);
}
