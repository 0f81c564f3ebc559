// The shared shaders on the recording device: what CreateSharedShaders makes
// and in which order, the constant tables each entry point ends up with, the
// normalising cube map's texels, and the fatal path of a shader that does
// not compile or cannot be created.
#include "render/SharedShaders.h"

#include "render/ShaderSources.h"
#include "render/VertexBuffer.h"
#include "tests/scene/SceneTestSupport.h"

#include <gmock/gmock.h>

#include <cstddef>
#include <string>
#include <vector>

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::UnorderedElementsAreArray;

class SharedShadersTest : public SceneTest {
 protected:
  void TearDown() override {
    ReleaseSharedShaders();
    SceneTest::TearDown();
  }
};

std::vector<std::string> constantNames(ID3DXConstantTable* table) {
  std::vector<std::string> names;
  D3DXCONSTANTTABLE_DESC desc{};
  if (table == nullptr || table->GetDesc(&desc) != D3D_OK) return names;
  for (UINT i = 0; i < desc.Constants; ++i) {
    D3DXCONSTANT_DESC c{};
    UINT count = 1;
    table->GetConstantDesc(table->GetConstant(nullptr, i), &c, &count);
    names.push_back(c.Name);
  }
  return names;
}

TEST_F(SharedShadersTest, CreatesTheEightProgramsTheDeclarationAndTheCubeMapInOrder) {
  const std::size_t mark = log().mark();
  CreateSharedShaders(device);
  ASSERT_TRUE(SharedShadersReady());
  std::vector<std::string> made;
  for (std::size_t i = mark; i < log().size(); ++i) {
    const std::string& name = log()[i].name;
    if (name.rfind("Create", 0) == 0) made.push_back(name);
  }
  EXPECT_THAT(made, ElementsAre("CreateVertexShader", "CreateVertexShader", "CreateVertexShader",
                                "CreateVertexDeclaration", "CreateVertexShader", "CreatePixelShader",
                                "CreatePixelShader", "CreatePixelShader", "CreatePixelShader", "CreateCubeTexture"));
  const RecordedCall* cube = log().last("CreateCubeTexture");
  ASSERT_NE(cube, nullptr);
  EXPECT_EQ(cube->text(), "CreateCubeTexture(256, 1, 0, D3DFMT_X8R8G8B8, D3DPOOL_MANAGED)");

  // Only the spot variant is built with the define, and each program runs
  // its own entry point.
  const std::string plain = RecordingDevice::shaderSource(SharedShaders::LitVS);
  const std::string spot = RecordingDevice::shaderSource(SharedShaders::LitSpotVS);
  EXPECT_THAT(spot, HasSubstr("#define Spot\n"));
  EXPECT_THAT(plain, ::testing::Not(HasSubstr("#define Spot")));
  EXPECT_THAT(RecordingDevice::shaderSource(SharedShaders::EnvVS), HasSubstr("PPLVShaderEnv();"));
  EXPECT_THAT(RecordingDevice::shaderSource(SharedShaders::SpecularPS), HasSubstr("PPLPShaderSpecular();"));
  EXPECT_THAT(RecordingDevice::shaderSource(SharedShaders::DiffuseNoTexPS), HasSubstr("PPLPShaderNoTex();"));

  ReleaseSharedShaders();
  EXPECT_FALSE(SharedShadersReady());
  EXPECT_EQ(SharedShaders::NormalizingCubeMap, nullptr);
  EXPECT_EQ(device->liveResourceCount(), resourcesBefore) << "everything made was released";
}

TEST_F(SharedShadersTest, TheLitDeclarationReadsTheVertexBuffersLayout) {
  CreateSharedShaders(device);
  ASSERT_NE(SharedShaders::LitDecl, nullptr);
  D3DVERTEXELEMENT9 elements[MAXD3DDECLLENGTH + 1];
  UINT count = MAXD3DDECLLENGTH + 1;
  ASSERT_EQ(SharedShaders::LitDecl->GetDeclaration(elements, &count), D3D_OK);
  ASSERT_EQ(count, 7u) << "six elements and the end marker";
  struct Expected {
    std::size_t offset;
    BYTE type, usage, usageIndex;
  };
  // Where the vertex buffer puts each field, and what the lit vertex
  // programs read it as.
  const Expected expected[] = {
      {offsetof(LitVertex, position), D3DDECLTYPE_FLOAT3, D3DDECLUSAGE_POSITION, 0},
      {offsetof(LitVertex, normal), D3DDECLTYPE_FLOAT3, D3DDECLUSAGE_NORMAL, 0},
      {offsetof(LitVertex, uv1), D3DDECLTYPE_FLOAT2, D3DDECLUSAGE_TEXCOORD, 0},
      {offsetof(LitVertex, uv2), D3DDECLTYPE_FLOAT2, D3DDECLUSAGE_TEXCOORD, 1},
      {offsetof(LitVertex, tangent), D3DDECLTYPE_FLOAT3, D3DDECLUSAGE_TEXCOORD, 2},
      {offsetof(LitVertex, binormal), D3DDECLTYPE_FLOAT3, D3DDECLUSAGE_TEXCOORD, 3},
  };
  UINT end = 0;
  for (int i = 0; i < 6; ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(elements[i].Stream, 0);
    EXPECT_EQ(elements[i].Offset, expected[i].offset);
    EXPECT_EQ(elements[i].Type, expected[i].type);
    EXPECT_EQ(elements[i].Method, D3DDECLMETHOD_DEFAULT);
    EXPECT_EQ(elements[i].Usage, expected[i].usage);
    EXPECT_EQ(elements[i].UsageIndex, expected[i].usageIndex);
    end = elements[i].Offset + declTypeSize(elements[i].Type);
  }
  EXPECT_EQ(end, sizeof(LitVertex)) << "the elements cover the whole 64-byte vertex";
  EXPECT_EQ(elements[6].Stream, 0xFF);
}

// What each entry point reaches, by exact name; a constant a pass sets that
// is missing here would be dropped silently.
TEST_F(SharedShadersTest, EachTableHoldsTheConstantsItsEntryPointUses) {
  CreateSharedShaders(device);
  using namespace SharedShaders;
  const std::vector<std::string> lit = {"WorldViewProj", "World",    "WorldAf",  "LightPos", "InvLightRangeSq",
                                        "EyePos",        "FarClip",  "IFarClip", "FogAtten"};
  std::vector<std::string> litSpot = lit;
  litSpot.insert(litSpot.end(), {"LightDir", "cosHotSpot"});
  const std::vector<std::string> diffuse = {"LightColor", "ShadowColor", "AmbientColor",
                                            "DiffuseSampler", "NormalMapSampler", "NormalizingCubeMap"};
  const std::vector<std::string> noTex = {"LightColor", "ShadowColor", "AmbientColor",
                                          "DiffuseColor", "NormalMapSampler", "NormalizingCubeMap"};
  const struct {
    const char* what;
    ID3DXConstantTable* table;
    std::vector<std::string> names;
  } cases[] = {
      {"PPLVShader", LitVSTable, lit},
      {"PPLVShader with Spot", LitSpotVSTable, litSpot},
      {"PPLVShaderEnv", EnvVSTable, {"WorldViewProj", "World", "WorldView", "EyePos", "FarClip", "IFarClip"}},
      {"SpriteShader", SpriteVSTable, {"WorldViewProj", "World", "FarClip", "IFarClip", "EyePos"}},
      {"PPLPShader", DiffusePSTable, diffuse},
      {"PPLPShaderNoTex", DiffuseNoTexPSTable, noTex},
      {"PPLPShaderSpecular", SpecularPSTable, {"SpecularColor", "NormalMapSampler", "NormalizingCubeMap2"}},
      {"PPLPShaderEnv", EnvPSTable, {"EnvNormalSampler", "EnvSampler"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    ASSERT_NE(c.table, nullptr);
    EXPECT_THAT(constantNames(c.table), UnorderedElementsAreArray(c.names));
  }
}

TEST_F(SharedShadersTest, SamplersReadTheStagesThePassesBindTheirTexturesTo) {
  CreateSharedShaders(device);
  using namespace SharedShaders;
  auto describe = [](ID3DXConstantTable* table, const char* name) {
    D3DXCONSTANT_DESC desc{};
    UINT count = 1;
    EXPECT_EQ(table->GetConstantDesc(name, &desc, &count), D3D_OK) << name;
    return desc;
  };
  const struct {
    ID3DXConstantTable* table;
    const char* name;
    UINT stage;
    D3DXPARAMETER_TYPE type;
  } samplers[] = {
      {DiffusePSTable, "DiffuseSampler", 0, D3DXPT_SAMPLER2D},
      {DiffusePSTable, "NormalMapSampler", 1, D3DXPT_SAMPLER2D},
      {DiffusePSTable, "NormalizingCubeMap", 2, D3DXPT_SAMPLERCUBE},
      {SpecularPSTable, "NormalizingCubeMap2", 3, D3DXPT_SAMPLERCUBE},
      {EnvPSTable, "EnvNormalSampler", 0, D3DXPT_SAMPLER2D},
      {EnvPSTable, "EnvSampler", 2, D3DXPT_SAMPLER2D},
  };
  for (const auto& s : samplers) {
    EXPECT_EQ(s.table->GetSamplerIndex(s.name), s.stage) << s.name;
    EXPECT_EQ(describe(s.table, s.name).Type, s.type) << s.name;
  }
}

// --- The normalising cube map ---------------------------------------------------

struct Texel {
  int r, g, b;
  bool operator==(const Texel& o) const { return r == o.r && g == o.g && b == o.b; }
};
std::ostream& operator<<(std::ostream& out, const Texel& t) {
  return out << "(" << t.r << ", " << t.g << ", " << t.b << ")";
}

class CubeMapTest : public SharedShadersTest {
 protected:
  // Reads one texel; the top byte must be 0 (X8R8G8B8 as written).
  Texel texel(IDirect3DCubeTexture9* cube, D3DCUBEMAP_FACES face, UINT level, UINT x, UINT y) {
    D3DLOCKED_RECT locked{};
    EXPECT_EQ(cube->LockRect(face, level, &locked, nullptr, D3DLOCK_READONLY), D3D_OK);
    const D3DCOLOR c =
        reinterpret_cast<const D3DCOLOR*>(static_cast<const unsigned char*>(locked.pBits) + y * locked.Pitch)[x];
    cube->UnlockRect(face, level);
    EXPECT_EQ(c >> 24, 0u);
    return {int((c >> 16) & 0xFF), int((c >> 8) & 0xFF), int(c & 0xFF)};
  }
};

// Packed components: (d + 1) × 127 truncated, so
//   ±1/√3 = ±0.57735 → 200 / 53    (1.57735 × 127 = 200.3; 0.42265 × 127 = 53.7)
//   ±1/√2 = ±0.70711 → 216 / 37    (1.70711 × 127 = 216.8; 0.29289 × 127 = 37.2)
//   ±1 → 254 / 0, 0 → 127.
TEST_F(CubeMapTest, TheFullSizeMapsCornersLookAlongTheCubesDiagonals) {
  IDirect3DCubeTexture9* cube = CreateNormalizingCubeMap(device, 256, 1, D3DPOOL_MANAGED);
  ASSERT_NE(cube, nullptr);
  EXPECT_EQ(cube->GetLevelCount(), 1u);
  D3DSURFACE_DESC desc{};
  ASSERT_EQ(cube->GetLevelDesc(0, &desc), D3D_OK);
  EXPECT_EQ(desc.Format, D3DFMT_X8R8G8B8);
  EXPECT_EQ(desc.Pool, D3DPOOL_MANAGED);
  EXPECT_EQ(desc.Width, 256u);
  // Row 0, column 0 of each face at s = t = -1, row 255 column 255 at
  // s = t = +1, no half-texel shift.
  const struct {
    D3DCUBEMAP_FACES face;
    Texel first, last;
  } cases[] = {
      {D3DCUBEMAP_FACE_POSITIVE_X, {200, 200, 200}, {200, 53, 53}},  // (1, -t, -s)
      {D3DCUBEMAP_FACE_NEGATIVE_X, {53, 200, 53}, {53, 53, 200}},    // (-1, -t, s)
      {D3DCUBEMAP_FACE_POSITIVE_Y, {53, 200, 53}, {200, 200, 200}},  // (s, 1, t)
      {D3DCUBEMAP_FACE_NEGATIVE_Y, {53, 53, 200}, {200, 53, 53}},    // (s, -1, -t)
      {D3DCUBEMAP_FACE_POSITIVE_Z, {53, 200, 200}, {200, 53, 200}},  // (s, -t, 1)
      {D3DCUBEMAP_FACE_NEGATIVE_Z, {200, 200, 53}, {53, 53, 53}},    // (-s, -t, -1)
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.face);
    EXPECT_EQ(texel(cube, c.face, 0, 0, 0), c.first);
    EXPECT_EQ(texel(cube, c.face, 0, 255, 255), c.last);
  }
  cube->Release();
}

TEST_F(CubeMapTest, CentresAndEdgeMidpointsOfAnOddEdge) {
  // Edge 3: s and t take exactly -1, 0 and +1.
  IDirect3DCubeTexture9* cube = CreateNormalizingCubeMap(device, 3, 1, D3DPOOL_MANAGED);
  ASSERT_NE(cube, nullptr);
  const struct {
    D3DCUBEMAP_FACES face;
    UINT x, y;
    Texel expected;
  } cases[] = {
      {D3DCUBEMAP_FACE_POSITIVE_X, 1, 1, {254, 127, 127}},  // +1 packs to 254, not 255
      {D3DCUBEMAP_FACE_NEGATIVE_X, 1, 1, {0, 127, 127}},
      {D3DCUBEMAP_FACE_POSITIVE_Y, 1, 1, {127, 254, 127}},
      {D3DCUBEMAP_FACE_NEGATIVE_Y, 1, 1, {127, 0, 127}},
      {D3DCUBEMAP_FACE_POSITIVE_Z, 1, 1, {127, 127, 254}},
      {D3DCUBEMAP_FACE_NEGATIVE_Z, 1, 1, {127, 127, 0}},
      {D3DCUBEMAP_FACE_POSITIVE_X, 1, 0, {216, 216, 127}},  // s = 0, t = -1: (1, 1, 0)
      {D3DCUBEMAP_FACE_POSITIVE_X, 2, 1, {216, 127, 37}},   // s = 1, t = 0: (1, 0, -1)
      {D3DCUBEMAP_FACE_POSITIVE_Y, 1, 2, {127, 216, 216}},  // s = 0, t = 1: (0, 1, 1)
      {D3DCUBEMAP_FACE_NEGATIVE_Z, 0, 1, {216, 127, 37}},   // s = -1, t = 0: (1, 0, -1)
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << "face " << c.face << " x " << c.x << " y " << c.y);
    EXPECT_EQ(texel(cube, c.face, 0, c.x, c.y), c.expected);
  }
  cube->Release();
}

TEST_F(CubeMapTest, LevelsZeroFillsTheWholeChainDownToOneTexel) {
  IDirect3DCubeTexture9* cube = CreateNormalizingCubeMap(device, 4, 0, D3DPOOL_MANAGED);
  ASSERT_NE(cube, nullptr);
  ASSERT_EQ(cube->GetLevelCount(), 3u);  // 4, 2, 1
  // Level 1 (2 × 2) has only corners; the 1 × 1 level looks through the
  // face's centre.
  EXPECT_EQ(texel(cube, D3DCUBEMAP_FACE_POSITIVE_X, 1, 0, 0), (Texel{200, 200, 200}));
  EXPECT_EQ(texel(cube, D3DCUBEMAP_FACE_POSITIVE_X, 1, 1, 1), (Texel{200, 53, 53}));
  EXPECT_EQ(texel(cube, D3DCUBEMAP_FACE_POSITIVE_X, 2, 0, 0), (Texel{254, 127, 127}));
  EXPECT_EQ(texel(cube, D3DCUBEMAP_FACE_NEGATIVE_Y, 2, 0, 0), (Texel{127, 0, 127}));
  cube->Release();
}

TEST_F(CubeMapTest, ACubeTextureThatCannotBeMadeGivesNull) {
  device->failCreation(E_OUTOFMEMORY, 1, "CreateCubeTexture");
  EXPECT_EQ(CreateNormalizingCubeMap(device, 256, 1, D3DPOOL_MANAGED), nullptr);
  // The shaders are still made; only the cube map is missing.
  device->failCreation(E_OUTOFMEMORY, 1, "CreateCubeTexture");
  CreateSharedShaders(device);
  EXPECT_TRUE(SharedShadersReady());
  EXPECT_EQ(SharedShaders::NormalizingCubeMap, nullptr);
}

TEST_F(SharedShadersTest, ARefusedDeclarationLeavesTheSetNotReadyWithoutEndingTheShow) {
  device->failCreation(E_OUTOFMEMORY, 1, "CreateVertexDeclaration");
  CreateSharedShaders(device);
  EXPECT_EQ(SharedShaders::LitDecl, nullptr);
  EXPECT_NE(SharedShaders::EnvPS, nullptr) << "everything after it is still made";
  EXPECT_FALSE(SharedShadersReady()) << "normal-mapped meshes fall back to fixed-function";
}

// --- Failures end the show ---------------------------------------------------------

// The bracket opened on line 3 never closes (found at the brace on line 4).
const char* kUnbalanced = "#version 330 core\n"
                          "uniform vec4 Tint;\n"
                          "void Broken() { gl_Position = Tint * (1.0;\n"
                          "}\n";

TEST_F(SharedShadersTest, ASourceThatDoesNotCompileEndsTheShowNamingTheEntryPoint) {
  ID3DXConstantTable* table = nullptr;
  const std::string text =
      fatal([&] { CreateSharedVertexShader(device, kUnbalanced, "Broken", nullptr, &table); });
  EXPECT_THAT(text, HasSubstr("Shader compilation failed: Broken\n"));
  // The compiler's first error line, and only that line.
  const std::string quoted = text.substr(text.find('\n') + 1);
  EXPECT_THAT(quoted, HasSubstr("error"));
  EXPECT_EQ(quoted.find('\n'), std::string::npos) << quoted;
  EXPECT_EQ(table, nullptr);

  // An entry point the source does not have fails the same way.
  const std::string missing =
      fatal([&] { CreateSharedPixelShader(device, LitPixelShaderSource, "PPLPShaderGlow", &table); });
  EXPECT_THAT(missing, HasSubstr("Shader compilation failed: PPLPShaderGlow\n"));
  EXPECT_EQ(device->liveResourceCount(), resourcesBefore);
}

TEST_F(SharedShadersTest, AShaderTheDeviceRefusesEndsTheShowNamingTheEntryPoint) {
  device->failCreation(E_OUTOFMEMORY, 1, "CreatePixelShader");
  const std::string text = fatal([&] { CreateSharedShaders(device); });
  EXPECT_EQ(text, "Shader creation failed: PPLPShader");
  // What was made before the failure is released like a whole set.
  ReleaseSharedShaders();
  EXPECT_EQ(device->liveResourceCount(), resourcesBefore);
}

}  // namespace
