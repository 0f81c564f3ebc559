// Direct3DCreate9 choosing a back end through the registry, and the
// recording Direct3D object's device creation (the start-up sequence's
// display mode, caps and multisampling fallback).
#include "platform/gfx/recording/RecordingDirect3D.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

// Leaves the registry as it found it: no back ends of these tests, automatic choice.
class Direct3DRegistryTest : public ::testing::Test {
 protected:
  void TearDown() override {
    unregisterDirect3DBackend("recording");
    unregisterDirect3DBackend("low");
    unregisterDirect3DBackend("high");
    selectDirect3DBackend("");
    unsetenv("VX_GFX_BACKEND");
  }
};

// A factory that hands out recording objects and counts its calls.
Direct3DFactory countingFactory(int* calls) {
  return [calls] {
    ++*calls;
    return new RecordingDirect3D();
  };
}

D3DPRESENT_PARAMETERS windowedParameters() {
  D3DPRESENT_PARAMETERS p = {};
  p.BackBufferFormat = D3DFMT_UNKNOWN;
  p.BackBufferCount = 1;
  p.SwapEffect = D3DSWAPEFFECT_DISCARD;
  p.Windowed = TRUE;
  p.EnableAutoDepthStencil = TRUE;
  p.AutoDepthStencilFormat = D3DFMT_D24X8;
  return p;
}

TEST_F(Direct3DRegistryTest, NoBackendOrWrongVersionGivesNull) {
  EXPECT_EQ(Direct3DCreate9(D3D_SDK_VERSION), nullptr);
  registerRecordingBackend();
  EXPECT_EQ(Direct3DCreate9(32), nullptr);
  IDirect3D9* d3d = Direct3DCreate9(D3D_SDK_VERSION);
  ASSERT_NE(d3d, nullptr);
  EXPECT_EQ(d3d->Release(), 0u);
}

TEST_F(Direct3DRegistryTest, ChoosesBySelectionThenEnvironmentThenPriority) {
  int low = 0, high = 0;
  registerDirect3DBackend("low", 1, countingFactory(&low));
  registerDirect3DBackend("high", 5, countingFactory(&high));
  EXPECT_EQ(direct3DBackendNames(), (std::vector<std::string>{"high", "low"}));
  EXPECT_EQ(chosenDirect3DBackend(), "high");
  Direct3DCreate9(D3D_SDK_VERSION)->Release();
  EXPECT_EQ(high, 1);

  setenv("VX_GFX_BACKEND", "low", 1);
  EXPECT_EQ(chosenDirect3DBackend(), "low");
  Direct3DCreate9(D3D_SDK_VERSION)->Release();
  EXPECT_EQ(low, 1);

  selectDirect3DBackend("high");
  EXPECT_EQ(chosenDirect3DBackend(), "high");

  selectDirect3DBackend("missing");
  EXPECT_EQ(chosenDirect3DBackend(), "");
  EXPECT_EQ(Direct3DCreate9(D3D_SDK_VERSION), nullptr);
  EXPECT_TRUE(unregisterDirect3DBackend("low"));
  EXPECT_FALSE(unregisterDirect3DBackend("low"));
}

TEST_F(Direct3DRegistryTest, RegisteredRecordingBackendMakesWorkingDevices) {
  registerRecordingBackend();
  selectDirect3DBackend("recording");
  IDirect3D9* d3d = Direct3DCreate9(D3D_SDK_VERSION);
  ASSERT_NE(d3d, nullptr);
  D3DDISPLAYMODE mode;
  ASSERT_EQ(d3d->GetAdapterDisplayMode(D3DADAPTER_DEFAULT, &mode), D3D_OK);
  D3DPRESENT_PARAMETERS p = windowedParameters();
  int window = 0;
  IDirect3DDevice9* device = nullptr;
  ASSERT_EQ(d3d->CreateDevice(D3DADAPTER_DEFAULT, D3DDEVTYPE_HAL, &window, D3DCREATE_HARDWARE_VERTEXPROCESSING, &p,
                              &device),
            D3D_OK);
  // A windowed 0 x 0 back buffer takes the client area and the desktop format.
  EXPECT_EQ(p.BackBufferWidth, 794u);
  EXPECT_EQ(p.BackBufferHeight, 571u);
  EXPECT_EQ(p.BackBufferFormat, mode.Format);
  IDirect3DSurface9* back = nullptr;
  ASSERT_EQ(device->GetBackBuffer(0, 0, D3DBACKBUFFER_TYPE_MONO, &back), D3D_OK);
  D3DSURFACE_DESC desc;
  back->GetDesc(&desc);
  EXPECT_EQ(desc.Width, 794u);
  back->Release();
  EXPECT_EQ(device->Release(), 0u);
  EXPECT_EQ(d3d->Release(), 0u);
}

TEST_F(Direct3DRegistryTest, MultisampledDeviceRefusedThenCreatedWithout) {
  RecordingDirect3DConfig config;
  config.multisampleQualityLevels = 0;  // no multisampling at all
  auto* d3d = new RecordingDirect3D(config);
  D3DCAPS9 caps;
  ASSERT_EQ(d3d->GetDeviceCaps(D3DADAPTER_DEFAULT, D3DDEVTYPE_HAL, &caps), D3D_OK);
  EXPECT_GE(caps.VertexShaderVersion, D3DVS_VERSION(1, 0));
  D3DPRESENT_PARAMETERS p = windowedParameters();
  p.Windowed = FALSE;
  p.BackBufferWidth = 800;
  p.BackBufferHeight = 600;
  p.BackBufferFormat = D3DFMT_X8R8G8B8;
  p.MultiSampleType = D3DMULTISAMPLE_NONMASKABLE;
  p.MultiSampleQuality = 2;
  int window = 0;
  IDirect3DDevice9* device = reinterpret_cast<IDirect3DDevice9*>(1);
  EXPECT_EQ(d3d->CreateDevice(0, D3DDEVTYPE_HAL, &window, D3DCREATE_HARDWARE_VERTEXPROCESSING, &p, &device),
            D3DERR_INVALIDCALL);
  EXPECT_EQ(device, nullptr);
  p.MultiSampleType = D3DMULTISAMPLE_NONE;
  p.MultiSampleQuality = 0;
  ASSERT_EQ(d3d->CreateDevice(0, D3DDEVTYPE_HAL, &window, D3DCREATE_HARDWARE_VERTEXPROCESSING, &p, &device), D3D_OK);
  EXPECT_EQ(d3d->lastDevice(), device);
  EXPECT_EQ(d3d->lastDevice()->behaviorFlags(), D3DCREATE_HARDWARE_VERTEXPROCESSING);
  std::vector<std::string> creates = d3d->log().texts("CreateDevice");
  ASSERT_EQ(creates.size(), 2u);
  EXPECT_NE(creates[0].find("D3DMULTISAMPLE_NONMASKABLE q2"), std::string::npos) << creates[0];
  EXPECT_NE(creates[1].find("D3DMULTISAMPLE_NONE q0"), std::string::npos) << creates[1];
  device->Release();
  EXPECT_EQ(d3d->lastDevice(), nullptr);
  EXPECT_EQ(d3d->tracker().liveResourceCount(), 0);
  d3d->Release();
}

TEST_F(Direct3DRegistryTest, DeviceCreationRefusesWhatTheAdapterCannotDo) {
  RecordingDirect3DConfig config;
  config.caps.DevCaps = 0;  // no hardware transform and lighting
  config.displayModeResult = D3DERR_NOTAVAILABLE;
  auto* d3d = new RecordingDirect3D(config);
  D3DDISPLAYMODE mode;
  EXPECT_EQ(d3d->GetAdapterDisplayMode(D3DADAPTER_DEFAULT, &mode), D3DERR_NOTAVAILABLE);
  D3DPRESENT_PARAMETERS p = windowedParameters();
  p.BackBufferWidth = 320;
  p.BackBufferHeight = 200;
  IDirect3DDevice9* device = nullptr;
  EXPECT_EQ(d3d->CreateDevice(0, D3DDEVTYPE_HAL, nullptr, D3DCREATE_HARDWARE_VERTEXPROCESSING, &p, &device),
            D3DERR_INVALIDCALL);
  EXPECT_EQ(d3d->CreateDevice(0, D3DDEVTYPE_HAL, nullptr, 0, &p, &device), D3DERR_INVALIDCALL);
  d3d->tracker().failCreation(D3DERR_OUTOFVIDEOMEMORY, 1, "CreateDevice");
  EXPECT_EQ(d3d->CreateDevice(0, D3DDEVTYPE_HAL, nullptr, D3DCREATE_SOFTWARE_VERTEXPROCESSING, &p, &device),
            D3DERR_OUTOFVIDEOMEMORY);
  ASSERT_EQ(d3d->CreateDevice(0, D3DDEVTYPE_HAL, nullptr, D3DCREATE_SOFTWARE_VERTEXPROCESSING, &p, &device), D3D_OK);
  p.BackBufferWidth = 0;  // off screen without a size
  IDirect3DDevice9* second = nullptr;
  EXPECT_EQ(d3d->CreateDevice(0, D3DDEVTYPE_HAL, nullptr, D3DCREATE_SOFTWARE_VERTEXPROCESSING, &p, &second),
            D3DERR_INVALIDCALL);
  device->Release();
  d3d->Release();
}

}  // namespace
