// D3DXCompileShader with the OpenGL driver: compile errors come back with
// the driver's log, and compiled stages draw on the OpenGL device with the
// constants their tables set.
#include "platform/d3dx/D3DXShader.h"

#include "tests/platform/gfx/gl/GlTestDevice.h"

#include <SDL.h>

#include <cstring>
#include <string>

namespace {

using ::testing::HasSubstr;
using gltest::NearColor;

struct Compiled {
  HRESULT hr = E_FAIL;
  ID3DXBuffer* code = nullptr;
  std::string errors;
  ID3DXConstantTable* table = nullptr;
  ~Compiled() {
    if (code) code->Release();
    if (table) table->Release();
  }
  const DWORD* function() const { return static_cast<const DWORD*>(code->GetBufferPointer()); }
};

void compile(Compiled* c, const char* source, const char* entry, const char* profile,
             const D3DXMACRO* defines = nullptr) {
  ID3DXBuffer* errors = nullptr;
  c->hr = D3DXCompileShader(source, UINT(std::strlen(source)), defines, nullptr, entry, profile, 0, &c->code,
                            &errors, &c->table);
  if (errors) {
    c->errors = static_cast<const char*>(errors->GetBufferPointer());
    errors->Release();
  }
}

// Line 6 uses a vec3 as a float: only a real GLSL compiler sees that.
const char* kTypeError = R"(#version 330 core
layout(location = 0) in vec3 position;
uniform vec4 Offset;

void Main() {
  float wrong = position;
  gl_Position = vec4(wrong) + Offset;
}
)";

using D3DXShaderGl = gltest::GlDeviceTest;

// The OpenGL back end checks shaders while one of its devices lives, in that
// device's context; before the first and after the last, D3DX makes no
// context of its own and keeps to the structural checks.
TEST_F(D3DXShaderGl, TheBackEndChecksWhileADeviceLives) {
  auto compileTypeError = [] {
    Compiled c;
    compile(&c, kTypeError, "Main", "vs_1_1");
    EXPECT_EQ(c.code != nullptr, c.hr == D3D_OK);
    EXPECT_EQ(c.table != nullptr, c.hr == D3D_OK);
    if (c.hr != D3D_OK) {
      EXPECT_THAT(c.errors, HasSubstr("error"));
    }
    return c.hr;
  };
  EXPECT_EQ(compileTypeError(), E_FAIL) << "the fixture's device checks";
  // With no context current, the check makes the device's current.
  SDL_GL_MakeCurrent(nullptr, nullptr);
  EXPECT_EQ(compileTypeError(), E_FAIL);
  EXPECT_NE(SDL_GL_GetCurrentContext(), nullptr);

  close();
  SDL_GL_MakeCurrent(nullptr, nullptr);
  EXPECT_EQ(compileTypeError(), D3D_OK) << "structurally the source is fine";
  EXPECT_EQ(SDL_GL_GetCurrentContext(), nullptr) << "no context was made for the check";

  open(gltest::DeviceOptions{});
  EXPECT_EQ(compileTypeError(), E_FAIL) << "a new device checks again";
}

TEST_F(D3DXShaderGl, DriverLogCountsSourceLines) {
  const D3DXMACRO defines[] = {{"ONE", "1"}, {"TWO", "2"}, {}};
  Compiled c;
  compile(&c, kTypeError, "Main", "vs_1_1", defines);
  EXPECT_EQ(c.hr, E_FAIL);
  EXPECT_THAT(c.errors, HasSubstr(":6(")) << "the error is on source line 6 whatever was put in front: "
                                          << c.errors;
  Compiled pixel;
  compile(&pixel, "#version 330 core\nout vec4 c;\nvoid Main() { c = vec4(1.0) }\n", "Main", "ps_1_1");
  EXPECT_EQ(pixel.hr, E_FAIL);
  EXPECT_THAT(pixel.errors, HasSubstr("fragment program")) << pixel.errors;
}

// Two entry points; Broken names an undeclared input and only compiles
// because Quad does not reach it.
const char* kVertexSource = R"(#version 330 core
layout(location = 0) in vec3 position;
uniform mat4 WorldViewProj;
uniform float Depth = 0.5;
void Quad() { gl_Position = WorldViewProj * vec4(position.xy, Depth, 1.0); }
void Broken() { gl_Position = vec4(Missing, 1.0); }
)";

const char* kPixelSource = R"(#version 330 core
uniform vec4 LightColor;
uniform vec4 Tint = vec4(1.0, 0.5, 0.25, 1.0);
layout(location = 0) out vec4 color;
void Lit() {
  color = LightColor * Tint;
#ifdef HALF
  color *= 0.5;
#endif
}
)";

TEST_F(D3DXShaderGl, CompiledStagesDrawWithTheTablesConstants) {
  Compiled vs, ps, halfPs;
  compile(&vs, kVertexSource, "Quad", "vs_1_1");
  compile(&ps, kPixelSource, "Lit", "ps_1_1");
  const D3DXMACRO half[] = {{"HALF", ""}, {}};
  compile(&halfPs, kPixelSource, "Lit", "ps_1_1", half);
  ASSERT_EQ(vs.hr, D3D_OK) << vs.errors;
  ASSERT_EQ(ps.hr, D3D_OK) << ps.errors;
  ASSERT_EQ(halfPs.hr, D3D_OK) << halfPs.errors;
  Compiled broken;
  compile(&broken, kVertexSource, "Broken", "vs_1_1");
  EXPECT_EQ(broken.hr, E_FAIL);
  EXPECT_THAT(broken.errors, HasSubstr("Missing"));

  IDirect3DVertexShader9* vertexShader = nullptr;
  IDirect3DPixelShader9* pixelShader = nullptr;
  IDirect3DPixelShader9* halfShader = nullptr;
  ASSERT_EQ(m_device->CreateVertexShader(vs.function(), &vertexShader), D3D_OK);
  ASSERT_EQ(m_device->CreatePixelShader(ps.function(), &pixelShader), D3D_OK);
  ASSERT_EQ(m_device->CreatePixelShader(halfPs.function(), &halfShader), D3D_OK);

  // Row vectors: x' = 0.5 x + 0.5 moves the full-screen quad onto the right
  // half. Sent transposed, the translation would land in w instead.
  D3DXMATRIX m = gltest::identity();
  m._11 = 0.5f;
  m._41 = 0.5f;
  ASSERT_EQ(vs.table->SetDefaults(m_device), D3D_OK);
  ASSERT_EQ(vs.table->SetMatrix(m_device, "WorldViewProj", &m), D3D_OK);
  ASSERT_EQ(ps.table->SetDefaults(m_device), D3D_OK);
  const D3DXVECTOR4 light(0.8f, 1.0f, 2.0f, 1.0f);  // 2.0 is clamped to 1.0 in the pixel stage
  ASSERT_EQ(ps.table->SetVector(m_device, ps.table->GetConstantByName(nullptr, "LightColor"), &light), D3D_OK);

  plainStates();
  m_device->SetVertexShader(vertexShader);
  m_device->SetPixelShader(pixelShader);
  m_device->SetFVF(D3DFVF_XYZ);
  const float quad[4][3] = {{-1, 1, 0}, {1, 1, 0}, {-1, -1, 0}, {1, -1, 0}};
  clear(0xFF000000);
  ASSERT_EQ(m_device->DrawPrimitiveUP(D3DPT_TRIANGLESTRIP, 2, quad, sizeof(quad[0])), D3D_OK);
  EXPECT_THAT(rgb(12, 8), NearColor(0xCC8040u, 1));
  EXPECT_THAT(rgb(15, 0), NearColor(0xCC8040u, 1));
  EXPECT_EQ(rgb(3, 8), 0u) << "the left half stays clear";

  const D3DXVECTOR4 blue(0.0f, 0.0f, 1.0f, 1.0f);
  ASSERT_EQ(ps.table->SetVector(m_device, "Tint", &blue), D3D_OK);
  m_device->SetPixelShader(halfShader);
  ASSERT_EQ(m_device->DrawPrimitiveUP(D3DPT_TRIANGLESTRIP, 2, quad, sizeof(quad[0])), D3D_OK);
  EXPECT_THAT(rgb(12, 8), NearColor(0x000080u, 1)) << "the HALF variant, with the new tint";

  m_device->SetVertexShader(nullptr);
  m_device->SetPixelShader(nullptr);
  vertexShader->Release();
  pixelShader->Release();
  halfShader->Release();
}

// Shader model 1 clamps COLOR0 between the stages: (2, -1, 0.5) arrives as
// (1, 0, 0.5), which the pixel stage turns into 0x804040; unclamped it would
// make 0xFF0040.
TEST_F(D3DXShaderGl, ColourInterpolatorIsClamped) {
  Compiled vs, ps;
  compile(&vs, R"(#version 330 core
layout(location = 0) in vec3 position;
out vec4 COLOR0;
void Pass() { gl_Position = vec4(position, 1.0); COLOR0 = vec4(2.0, -1.0, 0.5, 1.0); }
)", "Pass", "vs_1_1");
  compile(&ps, R"(#version 330 core
in vec4 COLOR0;
layout(location = 0) out vec4 color;
void Half() { color = COLOR0 * 0.5 + vec4(0.0, 0.25, 0.0, 0.0); }
)", "Half", "ps_1_1");
  ASSERT_EQ(vs.hr, D3D_OK) << vs.errors;
  ASSERT_EQ(ps.hr, D3D_OK) << ps.errors;
  IDirect3DVertexShader9* vertexShader = nullptr;
  IDirect3DPixelShader9* pixelShader = nullptr;
  ASSERT_EQ(m_device->CreateVertexShader(vs.function(), &vertexShader), D3D_OK);
  ASSERT_EQ(m_device->CreatePixelShader(ps.function(), &pixelShader), D3D_OK);
  plainStates();
  m_device->SetVertexShader(vertexShader);
  m_device->SetPixelShader(pixelShader);
  m_device->SetFVF(D3DFVF_XYZ);
  const float quad[4][3] = {{-1, 1, 0}, {1, 1, 0}, {-1, -1, 0}, {1, -1, 0}};
  clear(0xFF000000);
  ASSERT_EQ(m_device->DrawPrimitiveUP(D3DPT_TRIANGLESTRIP, 2, quad, sizeof(quad[0])), D3D_OK);
  EXPECT_THAT(rgb(8, 8), NearColor(0x804040u, 1)) << "unclamped it would be 0xFF0040";
  m_device->SetVertexShader(nullptr);
  m_device->SetPixelShader(nullptr);
  vertexShader->Release();
  pixelShader->Release();
}

}  // namespace
