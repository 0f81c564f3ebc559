// D3DXCompileShader's source handling and constant tables against the
// recording device. The back end's check is skipped here (SKIPVALIDATION) or
// played by a checker of the test's own, so the results do not depend on a
// display; D3DXShaderGlTest.cpp covers the OpenGL back end's check.
#include "platform/d3dx/D3DXShader.h"

#include "platform/gfx/ShaderCheck.h"
#include "platform/gfx/recording/RecordingDevice.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

// Two entry points sharing a helper; one uniform only in a macro, one only
// in the spot branch, one only in the other entry point.
const char* kLitSource = R"(#version 330 core
layout(location = 0) in vec3 position;
layout(location = 1) in vec3 normal;
uniform mat4 WorldViewProj;
uniform mat4 World;
uniform vec4 LightPos;   // w unused
uniform float InvLightRangeSq = 0.25;
uniform vec4 LightDir;
uniform float cosHotSpot;
uniform mat3 Basis = mat3(1.0);
uniform vec4 Tints[3] = vec4[3](vec4(0.5), vec4(vec3(-1.0), 2.0), vec4(1.5e-1, 2.0, 3.0, .5));
uniform float FarClip, IFarClip = 0.5;
uniform int Mode = 2;
uniform bool Enabled = true;
out vec4 COLOR0;
#define WORLD_POSITION(p) (World * vec4(p, 1.0))

float attenuation(vec3 p) {
  vec3 d = LightPos.xyz - p;
  float a = 1.0 - dot(d, d) * InvLightRangeSq;
#ifdef Spot
  if (dot(-normalize(d), LightDir.xyz) < cosHotSpot) a = 0.0;
#endif
  return a;
}

void PPLVShader() {
  gl_Position = WorldViewProj * vec4(position, 1.0);
  COLOR0 = vec4(attenuation(WORLD_POSITION(position).xyz)) * Tints[1] + vec4(Basis * normal, 0.0);
}

/* the second entry point */
void PPLVShaderEnv() {
  gl_Position = WorldViewProj * vec4(position, 1.0);
  COLOR0 = vec4(FarClip * IFarClip) * float(Mode) * float(Enabled);
}
)";

const char* kPixelSource = R"(#version 330 core
in vec4 COLOR0;
layout(binding = 2) uniform samplerCube NormalizingCubeMap;
layout(binding = 0) uniform sampler2D DiffuseSampler;
uniform vec4 LightColor;
uniform vec4 SpecularColor;
layout(location = 0) out vec4 color;
void PPLPShader() { color = texture(DiffuseSampler, COLOR0.xy) * LightColor * texture(NormalizingCubeMap, COLOR0.xyz); }
void PPLPShaderSpecular() { color = SpecularColor; }
)";

struct Compiled {
  HRESULT hr = E_FAIL;
  std::string code;
  std::string errors;
  ID3DXConstantTable* table = nullptr;
};

Compiled compile(const char* source, const char* entry, const char* profile = "vs_1_1",
                 const D3DXMACRO* defines = nullptr, DWORD flags = D3DXSHADER_SKIPVALIDATION) {
  Compiled c;
  ID3DXBuffer* code = nullptr;
  ID3DXBuffer* errors = nullptr;
  c.hr = D3DXCompileShader(source, UINT(std::strlen(source)), defines, nullptr, entry, profile, flags, &code,
                           &errors, &c.table);
  if (code) {
    c.code.assign(static_cast<const char*>(code->GetBufferPointer()), code->GetBufferSize());
    EXPECT_EQ(c.code.back(), '\0') << "the code is NUL-terminated";
    c.code.pop_back();
    code->Release();
  }
  if (errors) {
    c.errors = static_cast<const char*>(errors->GetBufferPointer());
    errors->Release();
  }
  return c;
}

std::vector<std::string> constantNames(ID3DXConstantTable* table) {
  D3DXCONSTANTTABLE_DESC desc{};
  EXPECT_EQ(table->GetDesc(&desc), D3D_OK);
  std::vector<std::string> names;
  for (UINT i = 0; i < desc.Constants; ++i) {
    D3DXCONSTANT_DESC c{};
    UINT count = 1;
    EXPECT_EQ(table->GetConstantDesc(table->GetConstant(nullptr, i), &c, &count), D3D_OK);
    names.push_back(c.Name);
  }
  return names;
}

D3DXCONSTANT_DESC describe(ID3DXConstantTable* table, const char* name) {
  D3DXCONSTANT_DESC desc{};
  UINT count = 1;
  EXPECT_EQ(table->GetConstantDesc(name, &desc, &count), D3D_OK) << name;
  return desc;
}

std::vector<float> floats(const void* data, size_t count) {
  const float* f = static_cast<const float*>(data);
  return std::vector<float>(f, f + count);
}

TEST(D3DXCompileShader, TableListsWhatTheEntryPointReaches) {
  Compiled lit = compile(kLitSource, "PPLVShader");
  ASSERT_EQ(lit.hr, D3D_OK) << lit.errors;
  EXPECT_TRUE(lit.errors.empty());
  // World comes through the macro, LightPos through the helper; the spot-only
  // and Env-only uniforms are left out.
  EXPECT_THAT(constantNames(lit.table),
              ElementsAre("WorldViewProj", "World", "LightPos", "InvLightRangeSq", "Basis", "Tints"));
  D3DXCONSTANTTABLE_DESC tableDesc{};
  lit.table->GetDesc(&tableDesc);
  EXPECT_EQ(tableDesc.Version, D3DVS_VERSION(1, 1));

  const D3DXCONSTANT_DESC world = describe(lit.table, "World");
  EXPECT_EQ(world.Class, D3DXPC_MATRIX_COLUMNS);
  EXPECT_EQ(world.Type, D3DXPT_FLOAT);
  EXPECT_EQ(world.RegisterSet, D3DXRS_FLOAT4);
  EXPECT_EQ(world.RegisterIndex, 4u) << "after WorldViewProj's four registers";
  EXPECT_EQ(world.RegisterCount, 4u);
  EXPECT_EQ(world.Rows * world.Columns, 16u);
  EXPECT_EQ(world.Bytes, 64u);
  EXPECT_EQ(world.DefaultValue, nullptr);
  const D3DXCONSTANT_DESC tints = describe(lit.table, "Tints");
  EXPECT_EQ(tints.Class, D3DXPC_VECTOR);
  EXPECT_EQ(tints.Elements, 3u);
  EXPECT_EQ(tints.RegisterIndex, 13u);
  EXPECT_EQ(tints.RegisterCount, 3u);
  EXPECT_EQ(tints.Bytes, 48u);
  const D3DXCONSTANT_DESC basis = describe(lit.table, "Basis");
  EXPECT_EQ(basis.RegisterCount, 3u);
  EXPECT_EQ(basis.Bytes, 36u);

  Compiled spot = compile(kLitSource, "PPLVShader", "vs_1_1", std::vector<D3DXMACRO>{{"Spot", ""}, {}}.data());
  ASSERT_EQ(spot.hr, D3D_OK) << spot.errors;
  EXPECT_THAT(constantNames(spot.table), ElementsAre("WorldViewProj", "World", "LightPos", "InvLightRangeSq",
                                                     "LightDir", "cosHotSpot", "Basis", "Tints"));

  Compiled env = compile(kLitSource, "PPLVShaderEnv");
  ASSERT_EQ(env.hr, D3D_OK) << env.errors;
  EXPECT_THAT(constantNames(env.table), ElementsAre("WorldViewProj", "FarClip", "IFarClip", "Mode", "Enabled"));
  EXPECT_EQ(describe(env.table, "Mode").RegisterSet, D3DXRS_INT4);
  EXPECT_EQ(describe(env.table, "Enabled").Type, D3DXPT_BOOL);
  lit.table->Release();
  spot.table->Release();
  env.table->Release();
}

// A vs_1_1 program's fog output is clamped to [0, 1] per vertex, like its
// colour outputs (the fog register is saturated before the rasterizer
// interpolates it), so a fog ramp that passes 1 near the eye stays
// unfogged instead of pushing the colour away from the fog colour.
TEST(D3DXCompileShader, VertexFogAndColourOutputsAreSaturatedPixelOutputsAreNot) {
  const char* source =
      "out vec4 COLOR0;\nout float FOG;\nout vec4 TEXCOORD0;\n"
      "void Fogged() { COLOR0 = vec4(2.0); FOG = 1.6; TEXCOORD0 = vec4(3.0); gl_Position = vec4(0.0); }\n";
  Compiled vertex = compile(source, "Fogged");
  ASSERT_EQ(vertex.hr, D3D_OK) << vertex.errors;
  const std::string epilogue =
      "\nvoid main() { Fogged(); COLOR0 = clamp(COLOR0, 0.0, 1.0); FOG = clamp(FOG, 0.0, 1.0); }\n";
  EXPECT_EQ(vertex.code.substr(vertex.code.size() - epilogue.size()), epilogue) << vertex.code;
  if (vertex.table) vertex.table->Release();
}

TEST(D3DXCompileShader, CodeHasDefinesEntryAndOnlyTheReachedFunctions) {
  const D3DXMACRO defines[] = {{"Spot", nullptr}, {"QUALITY", "2"}, {nullptr, nullptr}};
  Compiled spot = compile(kLitSource, "PPLVShader", "vs_1_1", defines);
  ASSERT_EQ(spot.hr, D3D_OK) << spot.errors;
  EXPECT_EQ(spot.code.rfind("#version 330 core\n#define Spot\n#define QUALITY 2\n#define D3DX_ENTRY_PPLVShader 1\n"
                            "#define D3DX_VERTEX_SHADER 1\n#line 2\n",
                            0),
            0u)
      << spot.code;
  EXPECT_THAT(spot.code, HasSubstr("float attenuation(vec3 p)"));
  EXPECT_EQ(spot.code.find("PPLVShaderEnv"), std::string::npos) << "the other entry point is left out";
  EXPECT_THAT(spot.code, HasSubstr("/* the second entry point */")) << "comments stay";
  const std::string epilogue = "\nvoid main() { PPLVShader(); COLOR0 = clamp(COLOR0, 0.0, 1.0); }\n";
  EXPECT_EQ(spot.code.substr(spot.code.size() - epilogue.size()), epilogue) << "colour interpolators clamped";
  // Line numbers of the source survive: as many lines after #line as in the source.
  const size_t body = spot.code.find("#line 2\n") + 8;
  const size_t sourceLines = std::count(kLitSource, kLitSource + std::strlen(kLitSource), '\n');
  EXPECT_EQ(size_t(std::count(spot.code.begin() + std::ptrdiff_t(body), spot.code.end(), '\n')), sourceLines - 1 + 2);

  Compiled plain = compile(kLitSource, "PPLVShader");
  EXPECT_EQ(plain.code.find("#define Spot"), std::string::npos);
  EXPECT_NE(plain.code, spot.code);

  Compiled pixel = compile(kPixelSource, "PPLPShaderSpecular", "ps_1_1");
  ASSERT_EQ(pixel.hr, D3D_OK) << pixel.errors;
  EXPECT_THAT(pixel.code, HasSubstr("#define D3DX_PIXEL_SHADER 1"));
  EXPECT_EQ(pixel.code.find("void PPLPShader()"), std::string::npos);
  EXPECT_EQ(pixel.code.find("clamp(COLOR0"), std::string::npos) << "pixel stages read COLOR0, they do not write it";
  spot.table->Release();
  plain.table->Release();
  pixel.table->Release();

  // A source without #version gets one; an entry point named main gets no epilogue.
  Compiled bare = compile("out vec4 c;\nvoid main() { c = vec4(1.0); }\n", "main", "ps_2_0");
  ASSERT_EQ(bare.hr, D3D_OK) << bare.errors;
  EXPECT_EQ(bare.code.rfind("#version 330 core\n", 0), 0u);
  EXPECT_THAT(bare.code, HasSubstr("#line 1\n"));
  EXPECT_EQ(bare.code.find("main();"), std::string::npos);
  bare.table->Release();
}

TEST(D3DXCompileShader, ConditionalsFollowTheMacros) {
  const char* source = R"(#version 330 core
uniform vec4 A; uniform vec4 B; uniform vec4 C; uniform vec4 D;
out vec4 o;
#define LEVEL 3
void Main() {
#if defined(Spot) && LEVEL > 2
  o = A;
#elif LEVEL * 2 == 6 || UNDEFINED_IS_AN_ERROR
  o = B;
#else
  o = C;
#endif
#ifndef Spot
  o += D;
#endif
}
)";
  const D3DXMACRO spot[] = {{"Spot", ""}, {}};
  Compiled on = compile(source, "Main", "vs_1_1", spot);
  ASSERT_EQ(on.hr, D3D_OK) << on.errors;
  EXPECT_THAT(constantNames(on.table), ElementsAre("A"));
  Compiled off = compile(source, "Main");
  ASSERT_EQ(off.hr, D3D_OK) << off.errors;
  EXPECT_THAT(constantNames(off.table), ElementsAre("B", "D")) << "|| stops before the undefined name";
  on.table->Release();
  off.table->Release();

  Compiled undefined = compile("#if MISSING\n#endif\nvoid Main() {}\n", "Main");
  EXPECT_EQ(undefined.hr, E_FAIL);
  EXPECT_THAT(undefined.errors, HasSubstr("(1): error: 'MISSING' is not defined"));
}

TEST(D3DXCompileShader, DefaultValuesFromInitialisers) {
  Compiled c = compile(kLitSource, "PPLVShader");
  ASSERT_EQ(c.hr, D3D_OK) << c.errors;
  EXPECT_THAT(floats(describe(c.table, "InvLightRangeSq").DefaultValue, 1), ElementsAre(0.25f));
  EXPECT_THAT(floats(describe(c.table, "Basis").DefaultValue, 9), ElementsAre(1, 0, 0, 0, 1, 0, 0, 0, 1));
  EXPECT_THAT(floats(describe(c.table, "Tints").DefaultValue, 12),
              ElementsAre(0.5f, 0.5f, 0.5f, 0.5f, -1, -1, -1, 2, 0.15f, 2, 3, 0.5f));
  const D3DXCONSTANT_DESC second = describe(c.table, "Tints[1]");
  EXPECT_THAT(floats(second.DefaultValue, 4), ElementsAre(-1, -1, -1, 2));
  EXPECT_EQ(second.Elements, 1u);
  EXPECT_EQ(second.RegisterIndex, 14u);
  c.table->Release();

  Compiled env = compile(kLitSource, "PPLVShaderEnv");
  ASSERT_EQ(env.hr, D3D_OK) << env.errors;
  EXPECT_EQ(*static_cast<const std::int32_t*>(describe(env.table, "Mode").DefaultValue), 2);
  EXPECT_EQ(*static_cast<const std::int32_t*>(describe(env.table, "Enabled").DefaultValue), 1);
  EXPECT_THAT(floats(describe(env.table, "IFarClip").DefaultValue, 1), ElementsAre(0.5f)) << "second declarator";
  env.table->Release();
}

class ConstantTableTest : public ::testing::Test {
 protected:
  void SetUp() override {
    m_device = RecordingDevice::createOffscreen(64, 64);
    Compiled c = compile(kLitSource, "PPLVShader", "vs_1_1", std::vector<D3DXMACRO>{{"Spot", ""}, {}}.data());
    ASSERT_EQ(c.hr, D3D_OK) << c.errors;
    m_table = c.table;
    m_mark = m_device->log().mark();
  }
  void TearDown() override {
    if (m_table) {
      EXPECT_EQ(m_table->Release(), 0u);
    }
    m_device->Release();
  }
  std::vector<std::string> sets() { return m_device->log().texts("setVertexShaderConstantByName", m_mark); }
  std::vector<float> deviceValue(const char* name, UINT count) {
    std::vector<float> values(count);
    m_device->getVertexShaderConstantByName(name, values.data(), count);
    return values;
  }

  RecordingDevice* m_device = nullptr;
  ID3DXConstantTable* m_table = nullptr;
  size_t m_mark = 0;
};

TEST_F(ConstantTableTest, SetDefaultsWritesOnlyInitialisedConstants) {
  ASSERT_EQ(m_table->SetDefaults(m_device), D3D_OK);
  EXPECT_THAT(sets(), ElementsAre("setVertexShaderConstantByName(\"InvLightRangeSq\", {0.25}, 1)",
                                  "setVertexShaderConstantByName(\"Basis\", {1 0 0 0 1 0 0 0 1}, 9)",
                                  "setVertexShaderConstantByName(\"Tints\", {0.5 0.5 0.5 0.5 -1 -1 -1 2 0.15 2 3 "
                                  "0.5}, 12)"));
  EXPECT_EQ(m_table->SetDefaults(nullptr), D3DERR_INVALIDCALL);
}

TEST_F(ConstantTableTest, MatricesReachTheDeviceInMemoryOrder) {
  D3DXMATRIX m;
  for (int i = 0; i < 16; ++i) (&m._11)[i] = float(i + 1);
  ASSERT_EQ(m_table->SetMatrix(m_device, m_table->GetConstantByName(nullptr, "World"), &m), D3D_OK);
  EXPECT_THAT(deviceValue("World", 16), ElementsAre(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16))
      << "the device takes D3DMATRIX memory order and lets GLSL read the transpose";
  ASSERT_EQ(m_table->SetMatrixTranspose(m_device, "World", &m), D3D_OK);
  EXPECT_THAT(deviceValue("World", 16), ElementsAre(1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15, 4, 8, 12, 16));
  ASSERT_EQ(m_table->SetMatrix(m_device, "Basis", &m), D3D_OK);
  EXPECT_THAT(deviceValue("Basis", 9), ElementsAre(1, 2, 3, 5, 6, 7, 9, 10, 11)) << "upper-left 3 x 3";
  const D3DXMATRIX* none[] = {nullptr};
  EXPECT_EQ(m_table->SetMatrixPointerArray(m_device, "World", none, 1), D3DERR_INVALIDCALL);
  EXPECT_EQ(m_table->SetMatrix(m_device, "LightPos", &m), D3DERR_INVALIDCALL) << "a vector is no matrix";
  EXPECT_EQ(sets().size(), 3u);
}

TEST_F(ConstantTableTest, VectorsAndScalarsKeepTheirSize) {
  const D3DXVECTOR4 v(1, 2, 3, 4);
  ASSERT_EQ(m_table->SetVector(m_device, "LightPos", &v), D3D_OK);
  ASSERT_EQ(m_table->SetVector(m_device, "cosHotSpot", &v), D3D_OK);
  ASSERT_EQ(m_table->SetFloat(m_device, "InvLightRangeSq", 0.5f), D3D_OK);
  EXPECT_THAT(sets(), ElementsAre("setVertexShaderConstantByName(\"LightPos\", {1 2 3 4}, 4)",
                                  "setVertexShaderConstantByName(\"cosHotSpot\", {1}, 1)",
                                  "setVertexShaderConstantByName(\"InvLightRangeSq\", {0.5}, 1)"));
  EXPECT_EQ(m_table->SetVector(m_device, "World", &v), D3DERR_INVALIDCALL);
  EXPECT_EQ(m_table->SetFloat(nullptr, "LightPos", 1.0f), D3DERR_INVALIDCALL);
  EXPECT_EQ(m_table->SetFloat(m_device, "NoSuchConstant", 1.0f), D3DERR_INVALIDCALL);
  EXPECT_EQ(m_table->SetFloat(m_device, nullptr, 1.0f), D3DERR_INVALIDCALL);
  EXPECT_EQ(m_table->SetFloat(m_device, "FarClip", 1.0f), D3DERR_INVALIDCALL) << "not in this entry's table";
}

TEST_F(ConstantTableTest, PartialWritesMergeWithTheDeviceValue) {
  const D3DXVECTOR4 v(1, 2, 3, 4);
  m_table->SetVector(m_device, "LightPos", &v);
  ASSERT_EQ(m_table->SetFloat(m_device, "LightPos", 9.0f), D3D_OK);
  EXPECT_THAT(deviceValue("LightPos", 4), ElementsAre(9, 2, 3, 4));

  m_table->SetDefaults(m_device);
  const D3DXVECTOR4 tint(7, 8, 9, 10);
  D3DXHANDLE element = m_table->GetConstantElement(m_table->GetConstantByName(nullptr, "Tints"), 2);
  ASSERT_NE(element, nullptr);
  EXPECT_STREQ(element, "Tints[2]");
  ASSERT_EQ(m_table->SetVector(m_device, element, &tint), D3D_OK);
  EXPECT_THAT(deviceValue("Tints", 12), ElementsAre(0.5f, 0.5f, 0.5f, 0.5f, -1, -1, -1, 2, 7, 8, 9, 10));
  const D3DXVECTOR4 pair[2] = {{1, 1, 1, 1}, {2, 2, 2, 2}};
  ASSERT_EQ(m_table->SetVectorArray(m_device, "Tints", pair, 2), D3D_OK);
  EXPECT_THAT(deviceValue("Tints", 12), ElementsAre(1, 1, 1, 1, 2, 2, 2, 2, 7, 8, 9, 10));
  const float many[20] = {};
  ASSERT_EQ(m_table->SetFloatArray(m_device, "Tints[1]", many, 20), D3D_OK) << "clipped to the element";
  EXPECT_THAT(deviceValue("Tints", 12), ElementsAre(1, 1, 1, 1, 0, 0, 0, 0, 7, 8, 9, 10));
  EXPECT_EQ(m_table->GetConstantElement("Tints", 3), nullptr);
}

TEST_F(ConstantTableTest, ConversionsBetweenFloatIntAndBool) {
  Compiled env = compile(kLitSource, "PPLVShaderEnv");
  ASSERT_EQ(env.hr, D3D_OK);
  ID3DXConstantTable* t = env.table;
  EXPECT_EQ(t->SetFloat(m_device, "Mode", -2.75f), D3D_OK);
  EXPECT_THAT(deviceValue("Mode", 1), ElementsAre(-2.0f)) << "truncated toward zero";
  EXPECT_EQ(t->SetInt(m_device, "Enabled", 5), D3D_OK);
  EXPECT_THAT(deviceValue("Enabled", 1), ElementsAre(1.0f));
  EXPECT_EQ(t->SetBool(m_device, "FarClip", TRUE), D3D_OK);
  EXPECT_THAT(deviceValue("FarClip", 1), ElementsAre(1.0f));
  const std::int32_t word = 7;
  EXPECT_EQ(t->SetValue(m_device, "Mode", &word, 4), D3D_OK);
  EXPECT_THAT(deviceValue("Mode", 1), ElementsAre(7.0f));
  EXPECT_EQ(t->SetValue(m_device, "Mode", &word, 8), D3DERR_INVALIDCALL) << "more bytes than the constant has";
  t->Release();
}

TEST(D3DXConstantTable, PixelTablesSetPixelConstantsAndKnowSamplers) {
  RecordingDevice* device = RecordingDevice::createOffscreen(64, 64);
  Compiled c = compile(kPixelSource, "PPLPShader", "ps_1_1");
  ASSERT_EQ(c.hr, D3D_OK) << c.errors;
  EXPECT_THAT(constantNames(c.table), ElementsAre("NormalizingCubeMap", "DiffuseSampler", "LightColor"));
  EXPECT_EQ(c.table->GetSamplerIndex("NormalizingCubeMap"), 2u);
  EXPECT_EQ(c.table->GetSamplerIndex("DiffuseSampler"), 0u);
  EXPECT_EQ(c.table->GetSamplerIndex("LightColor"), UINT(-1));
  const D3DXCONSTANT_DESC cube = describe(c.table, "NormalizingCubeMap");
  EXPECT_EQ(cube.RegisterSet, D3DXRS_SAMPLER);
  EXPECT_EQ(cube.Type, D3DXPT_SAMPLERCUBE);
  EXPECT_EQ(describe(c.table, "LightColor").RegisterIndex, 0u);

  const size_t mark = device->log().mark();
  const D3DXVECTOR4 light(2.0f, 0.5f, -3.0f, 1.0f);
  ASSERT_EQ(c.table->SetVector(device, "LightColor", &light), D3D_OK);
  EXPECT_THAT(device->log().texts(mark),
              ElementsAre("setPixelShaderConstantByName(\"LightColor\", {2 0.5 -3 1}, 4)"))
      << "values go unclamped: the device clamps pixel constants";
  EXPECT_EQ(c.table->SetFloat(device, "DiffuseSampler", 1.0f), D3DERR_INVALIDCALL);
  c.table->Release();
  device->Release();
}

TEST(D3DXConstantTable, HandlesNamesAndDescriptions) {
  Compiled c = compile(kLitSource, "PPLVShader");
  ASSERT_EQ(c.hr, D3D_OK);
  ID3DXConstantTable* t = c.table;
  const D3DXHANDLE world = t->GetConstantByName(nullptr, "World");
  ASSERT_NE(world, nullptr);
  EXPECT_STREQ(world, "World");
  EXPECT_NE(world, "World") << "a handle is the table's own pointer";
  EXPECT_EQ(t->GetConstant(nullptr, 1), world);
  EXPECT_EQ(t->GetConstant(nullptr, 6), nullptr);
  EXPECT_EQ(t->GetConstantByName(nullptr, "world"), nullptr) << "names are case-sensitive";
  EXPECT_EQ(t->GetConstantByName(nullptr, "LightDir"), nullptr) << "only in the spot variant";
  EXPECT_EQ(t->GetConstantByName(world, "anything"), nullptr);
  EXPECT_EQ(t->GetConstantElement(world, 0), world) << "a non-array is its own element 0";
  EXPECT_EQ(t->GetConstant(t->GetConstantByName(nullptr, "Tints"), 1), t->GetConstantByName(nullptr, "Tints[1]"));
  D3DXCONSTANT_DESC desc{};
  UINT count = 0;
  EXPECT_EQ(t->GetConstantDesc(world, nullptr, &count), D3D_OK);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(t->GetConstantDesc(world, &desc, nullptr), D3DERR_INVALIDCALL);
  EXPECT_EQ(t->GetConstantDesc("Nothing", &desc, &count), D3DERR_INVALIDCALL);
  EXPECT_EQ(t->GetDesc(nullptr), D3DERR_INVALIDCALL);
  t->Release();

  Compiled rows = compile(kLitSource, "PPLVShader", "vs_1_1", nullptr,
                          D3DXSHADER_SKIPVALIDATION | D3DXSHADER_PACKMATRIX_ROWMAJOR);
  EXPECT_EQ(describe(rows.table, "World").Class, D3DXPC_MATRIX_ROWS);
  rows.table->Release();
}

TEST(D3DXCompileShader, FailuresComeWithMessages) {
  Compiled missing = compile(kLitSource, "PPLVShaderSpot");
  EXPECT_EQ(missing.hr, E_FAIL);
  EXPECT_THAT(missing.errors, HasSubstr("entry point 'PPLVShaderSpot' not found"));
  EXPECT_EQ(missing.table, nullptr);
  EXPECT_TRUE(missing.code.empty());
  EXPECT_THAT(compile(kLitSource, "attenuation").errors,
              HasSubstr("(18): error: entry point must be declared 'void attenuation()'"));

  const struct {
    const char* source;
    const char* message;
  } broken[] = {
      {"#version 330 core\nvoid Main() {\n  if (true) {\n}\n", "(2): error: '{' is never closed"},
      {"void Main() { x = (1; }\n", "(1): error: unbalanced '}'"},
      {"void Main() {}\n#ifdef A\n", "(2): error: #if without #endif"},
      {"#endif\nvoid Main() {}\n", "(1): error: #endif without #if"},
      {"#error no lights here\nvoid Main() {}\n", "(1): error: #error no lights here"},
      {"#include \"common.glsl\"\nvoid Main() {}\n", "#include is not supported"},
      {"void Main() {}\n#version 330 core\n", "(2): error: #version must come first"},
      {"uniform vec4 c = vec4(1.0, 2.0);\nvoid Main() {}\n", "vec4 needs 4 values"},
      {"uniform vec4 c = sin(1.0);\nvoid Main() {}\n", "not 'sin'"},
      {"uniform float k = 1.0 / 3.0;\nvoid Main() {}\n", "initialiser of 'k' is not a literal or constructor"},
      {"uniform float a[2] = float[3](1.0, 2.0, 3.0);\nvoid Main() {}\n", "has 3 values, 2 expected"},
      {"uniform ivec2 c;\nvoid Main() {}\n", "uniform type 'ivec2' is not supported"},
      {"uniform float c[0];\nvoid Main() {}\n", "array size must be a number from 1 to 4096"},
      {"uniform Block { vec4 x; };\nvoid Main() {}\n", "uniform blocks are not supported"},
      {"void Main() {}\nuniform vec4 c\n", "declaration without ';'"},
  };
  for (const auto& b : broken) {
    Compiled c = compile(b.source, "Main");
    EXPECT_EQ(c.hr, E_FAIL) << b.source;
    EXPECT_THAT(c.errors, HasSubstr(b.message)) << b.source;
  }

  EXPECT_THAT(compile(kLitSource, "PPLVShader", "vs_9_9").errors, HasSubstr("unknown profile 'vs_9_9'"));
  const D3DXMACRO badMacro[] = {{"2BAD", "1"}, {}};
  EXPECT_EQ(compile(kLitSource, "PPLVShader", "vs_1_1", badMacro).hr, E_FAIL);

  ID3DXBuffer* code = nullptr;
  EXPECT_EQ(D3DXCompileShader(nullptr, 0, nullptr, nullptr, "Main", "vs_1_1", 0, &code, nullptr, nullptr),
            D3DERR_INVALIDCALL);
  EXPECT_EQ(D3DXCompileShader(kLitSource, 10, nullptr, nullptr, nullptr, "vs_1_1", 0, &code, nullptr, nullptr),
            D3DERR_INVALIDCALL);
  EXPECT_EQ(D3DXCompileShader(kLitSource, 10, nullptr, reinterpret_cast<ID3DXInclude*>(&code), "PPLVShader",
                              "vs_1_1", 0, &code, nullptr, nullptr),
            D3DERR_INVALIDCALL);
  EXPECT_EQ(code, nullptr);
  // SrcDataLen bounds the text: cut before the entry point, it is not found.
  EXPECT_EQ(D3DXCompileShader(kLitSource, 200, nullptr, nullptr, "PPLVShader", "vs_1_1", D3DXSHADER_SKIPVALIDATION,
                              &code, nullptr, nullptr),
            E_FAIL);
}

TEST(D3DXCompileShader, RunawayInputsFailInsteadOfHanging) {
  std::string doubling = "#define M0 1\n";  // M40 would expand 2^40 times
  for (int k = 1; k <= 40; ++k) {
    const std::string previous = "M" + std::to_string(k - 1);
    doubling += "#define M" + std::to_string(k) + " (" + previous + " + " + previous + ")\n";
  }
  doubling += "#if M40\n#endif\nvoid Main() {}\n";
  EXPECT_THAT(compile(doubling.c_str(), "Main").errors, HasSubstr("expands without end"));
  EXPECT_THAT(compile("#define A B\n#define B A\n#if A\n#endif\nvoid Main() {}\n", "Main").errors,
              HasSubstr("expands without end"));
  const std::string parens = "#if " + std::string(5000, '(') + "1" + std::string(5000, ')') + "\n#endif\n";
  EXPECT_THAT(compile(parens.c_str(), "Main").errors, HasSubstr("nests too deeply"));
  const std::string minus = "uniform float f = " + std::string(5000, '-') + "1.0;\nvoid Main() {}\n";
  EXPECT_THAT(compile(minus.c_str(), "Main").errors, HasSubstr("nests too deeply"));
  const std::string nested = "uniform float f = " + std::string(1000, '(') + "1.0" + std::string(1000, ')') + ";\n";
  EXPECT_EQ(compile(nested.c_str(), "Main").hr, E_FAIL);
}

// Validation goes to the back end's checker with the emitted code and the
// stage; its verdict decides, its log becomes the error messages.
TEST(D3DXCompileShader, ValidationAsksTheBackEndsChecker) {
  struct Call {
    bool vertex;
    std::string code;
  };
  std::vector<Call> calls;
  ShaderCheck verdict = ShaderCheck::Rejected;
  setShaderChecker([&](bool vertex, const std::string& code, std::string* log) {
    calls.push_back({vertex, code});
    if (verdict == ShaderCheck::Rejected) *log = "0:6(9): error: checker says no\n";
    return verdict;
  });
  auto run = [&](const char* entry, const char* profile, DWORD flags, std::string* code, std::string* errors) {
    ID3DXBuffer* codeBuffer = nullptr;
    ID3DXBuffer* errorBuffer = nullptr;
    ID3DXConstantTable* table = nullptr;
    const HRESULT hr = D3DXCompileShader(kLitSource, UINT(std::strlen(kLitSource)), nullptr, nullptr, entry, profile,
                                         flags, &codeBuffer, &errorBuffer, &table);
    code->clear();
    errors->clear();
    if (codeBuffer) *code = static_cast<const char*>(codeBuffer->GetBufferPointer()), codeBuffer->Release();
    if (errorBuffer) *errors = static_cast<const char*>(errorBuffer->GetBufferPointer()), errorBuffer->Release();
    EXPECT_EQ(table != nullptr, hr == D3D_OK);
    if (table) table->Release();
    return hr;
  };
  std::string code, errors;
  EXPECT_EQ(run("PPLVShader", "vs_1_1", 0, &code, &errors), E_FAIL);
  EXPECT_EQ(code, "");
  EXPECT_EQ(errors, "0:6(9): error: checker says no\n");
  ASSERT_EQ(calls.size(), 1u);
  EXPECT_TRUE(calls[0].vertex);
  EXPECT_THAT(calls[0].code, HasSubstr("void main() { PPLVShader();"));

  verdict = ShaderCheck::Accepted;
  EXPECT_EQ(run("PPLVShaderEnv", "ps_2_0", 0, &code, &errors), D3D_OK);
  ASSERT_EQ(calls.size(), 2u);
  EXPECT_FALSE(calls[1].vertex) << "a ps_* profile is a pixel stage";
  EXPECT_EQ(calls[1].code, code) << "the checker sees exactly the code the caller gets";

  // Nothing able to check: the structural checks stand.
  verdict = ShaderCheck::Unchecked;
  EXPECT_EQ(run("PPLVShader", "vs_1_1", 0, &code, &errors), D3D_OK);
  EXPECT_EQ(calls.size(), 3u);

  // SKIPVALIDATION does not ask.
  verdict = ShaderCheck::Rejected;
  EXPECT_EQ(run("PPLVShader", "vs_1_1", D3DXSHADER_SKIPVALIDATION, &code, &errors), D3D_OK);
  EXPECT_EQ(calls.size(), 3u);
  // A structural error fails before the checker is asked.
  EXPECT_EQ(run("NoSuchEntry", "vs_1_1", 0, &code, &errors), E_FAIL);
  EXPECT_EQ(calls.size(), 3u);

  setShaderChecker(nullptr);
  EXPECT_EQ(checkShaderStage(true, "anything", &errors), ShaderCheck::Unchecked);
  EXPECT_EQ(run("PPLVShader", "vs_1_1", 0, &code, &errors), D3D_OK);
  EXPECT_EQ(calls.size(), 3u);
}

TEST(D3DXBuffer, CreatesZeroedBuffers) {
  ID3DXBuffer* buffer = nullptr;
  ASSERT_EQ(D3DXCreateBuffer(12, &buffer), D3D_OK);
  EXPECT_EQ(buffer->GetBufferSize(), 12u);
  const auto* bytes = static_cast<const unsigned char*>(buffer->GetBufferPointer());
  EXPECT_TRUE(std::all_of(bytes, bytes + 12, [](unsigned char b) { return b == 0; }));
  EXPECT_EQ(buffer->AddRef(), 2u);
  EXPECT_EQ(buffer->Release(), 1u);
  EXPECT_EQ(buffer->Release(), 0u);
  EXPECT_EQ(D3DXCreateBuffer(4, nullptr), D3DERR_INVALIDCALL);
}

}  // namespace
