#include "render/SharedShaders.h"

#include "platform/d3dx/D3DXTexture.h"
#include "platform/os/Process.h"
#include "render/ShaderSources.h"

#include <cstring>
#include <string>

namespace SharedShaders {
IDirect3DVertexShader9* LitVS = nullptr;
ID3DXConstantTable* LitVSTable = nullptr;
IDirect3DVertexShader9* LitSpotVS = nullptr;
ID3DXConstantTable* LitSpotVSTable = nullptr;
IDirect3DVertexShader9* EnvVS = nullptr;
ID3DXConstantTable* EnvVSTable = nullptr;
IDirect3DVertexShader9* SpriteVS = nullptr;
ID3DXConstantTable* SpriteVSTable = nullptr;
IDirect3DPixelShader9* DiffusePS = nullptr;
ID3DXConstantTable* DiffusePSTable = nullptr;
IDirect3DPixelShader9* DiffuseNoTexPS = nullptr;
ID3DXConstantTable* DiffuseNoTexPSTable = nullptr;
IDirect3DPixelShader9* SpecularPS = nullptr;
ID3DXConstantTable* SpecularPSTable = nullptr;
IDirect3DPixelShader9* EnvPS = nullptr;
ID3DXConstantTable* EnvPSTable = nullptr;
IDirect3DVertexDeclaration9* LitDecl = nullptr;
IDirect3DCubeTexture9* NormalizingCubeMap = nullptr;
}  // namespace SharedShaders

namespace {

// The 64-byte lit vertex of every loaded mesh (render/VertexBuffer.h).
const D3DVERTEXELEMENT9 kLitVertexElements[] = {
    {0, 0, D3DDECLTYPE_FLOAT3, D3DDECLMETHOD_DEFAULT, D3DDECLUSAGE_POSITION, 0},
    {0, 12, D3DDECLTYPE_FLOAT3, D3DDECLMETHOD_DEFAULT, D3DDECLUSAGE_NORMAL, 0},
    {0, 24, D3DDECLTYPE_FLOAT2, D3DDECLMETHOD_DEFAULT, D3DDECLUSAGE_TEXCOORD, 0},  // uv1
    {0, 32, D3DDECLTYPE_FLOAT2, D3DDECLMETHOD_DEFAULT, D3DDECLUSAGE_TEXCOORD, 1},  // uv2
    {0, 40, D3DDECLTYPE_FLOAT3, D3DDECLMETHOD_DEFAULT, D3DDECLUSAGE_TEXCOORD, 2},  // tangent
    {0, 52, D3DDECLTYPE_FLOAT3, D3DDECLMETHOD_DEFAULT, D3DDECLUSAGE_TEXCOORD, 3},  // binormal
    D3DDECL_END(),
};

// The first non-empty line of the compiler's messages, without its line
// break: enough for the user to see what broke.
std::string firstErrorLine(ID3DXBuffer* errors) {
  if (errors == nullptr || errors->GetBufferSize() == 0) return "(no message from the compiler)";
  const char* text = static_cast<const char*>(errors->GetBufferPointer());
  const std::string all(text, strnlen(text, errors->GetBufferSize()));
  std::size_t begin = 0;
  while (begin < all.size()) {
    std::size_t end = all.find('\n', begin);
    if (end == std::string::npos) end = all.size();
    std::string line = all.substr(begin, end - begin);
    while (!line.empty() && (line.back() == '\r' || line.back() == ' ')) line.pop_back();
    if (!line.empty()) return line;
    begin = end + 1;
  }
  return "(no message from the compiler)";
}

template <class T>
void release(T*& object) {
  if (object != nullptr) object->Release();
  object = nullptr;
}

// Compiles one entry point; a failure is fatal. The buffers are released
// before the message box, so nothing is left behind if the exit is caught.
ID3DXBuffer* compileOrDie(const char* source, const char* entry, const char* profile, const D3DXMACRO* defines,
                          ID3DXConstantTable** table) {
  ID3DXBuffer* code = nullptr;
  ID3DXBuffer* errors = nullptr;
  *table = nullptr;
  const HRESULT hr = D3DXCompileShader(source, source != nullptr ? UINT(std::strlen(source)) : 0, defines, nullptr,
                                       entry, profile, D3DXSHADER_DEBUG, &code, &errors, table);
  if (FAILED(hr) || code == nullptr || *table == nullptr) {
    const std::string message = firstErrorLine(errors);
    release(code);
    release(errors);
    release(*table);
    FatalMessage("Error", 0, "Shader compilation failed: %s\n%s", entry, message.c_str());
  }
  release(errors);
  return code;
}

[[noreturn]] void creationFailed(const char* entry, ID3DXBuffer* code, ID3DXConstantTable** table) {
  release(code);
  release(*table);
  FatalMessage("Error", 0, "Shader creation failed: %s", entry);
}

}  // namespace

IDirect3DVertexShader9* CreateSharedVertexShader(IDirect3DDevice9* device, const char* source, const char* entry,
                                                 const D3DXMACRO* defines, ID3DXConstantTable** table) {
  ID3DXBuffer* code = compileOrDie(source, entry, "vs_1_1", defines, table);
  IDirect3DVertexShader9* shader = nullptr;
  if (FAILED(device->CreateVertexShader(static_cast<const DWORD*>(code->GetBufferPointer()), &shader)) ||
      shader == nullptr)
    creationFailed(entry, code, table);
  code->Release();
  return shader;
}

IDirect3DPixelShader9* CreateSharedPixelShader(IDirect3DDevice9* device, const char* source, const char* entry,
                                               ID3DXConstantTable** table) {
  ID3DXBuffer* code = compileOrDie(source, entry, "ps_1_1", nullptr, table);
  IDirect3DPixelShader9* shader = nullptr;
  if (FAILED(device->CreatePixelShader(static_cast<const DWORD*>(code->GetBufferPointer()), &shader)) ||
      shader == nullptr)
    creationFailed(entry, code, table);
  code->Release();
  return shader;
}

void CreateSharedShaders(IDirect3DDevice9* device) {
  using namespace SharedShaders;
  // A second call replaces the set rather than leaking the first.
  ReleaseSharedShaders();
  const D3DXMACRO spot[] = {{"Spot", ""}, {nullptr, nullptr}};
  LitVS = CreateSharedVertexShader(device, LitVertexShaderSource, "PPLVShader", nullptr, &LitVSTable);
  LitSpotVS = CreateSharedVertexShader(device, LitVertexShaderSource, "PPLVShader", spot, &LitSpotVSTable);
  EnvVS = CreateSharedVertexShader(device, LitVertexShaderSource, "PPLVShaderEnv", nullptr, &EnvVSTable);
  // A declaration the device refuses leaves LitDecl null: the shaders are
  // then not ready, and normal-mapped meshes draw fixed-function.
  device->CreateVertexDeclaration(kLitVertexElements, &LitDecl);
  SpriteVS = CreateSharedVertexShader(device, SpriteShaderSource, "SpriteShader", nullptr, &SpriteVSTable);
  DiffusePS = CreateSharedPixelShader(device, LitPixelShaderSource, "PPLPShader", &DiffusePSTable);
  DiffuseNoTexPS = CreateSharedPixelShader(device, LitPixelShaderSource, "PPLPShaderNoTex", &DiffuseNoTexPSTable);
  SpecularPS = CreateSharedPixelShader(device, LitPixelShaderSource, "PPLPShaderSpecular", &SpecularPSTable);
  EnvPS = CreateSharedPixelShader(device, LitPixelShaderSource, "PPLPShaderEnv", &EnvPSTable);
  NormalizingCubeMap = CreateNormalizingCubeMap(device, 256, 1, D3DPOOL_MANAGED);
}

void ReleaseSharedShaders() {
  using namespace SharedShaders;
  release(LitVS);
  release(LitVSTable);
  release(LitSpotVS);
  release(LitSpotVSTable);
  release(EnvVS);
  release(EnvVSTable);
  release(SpriteVS);
  release(SpriteVSTable);
  release(DiffusePS);
  release(DiffusePSTable);
  release(DiffuseNoTexPS);
  release(DiffuseNoTexPSTable);
  release(SpecularPS);
  release(SpecularPSTable);
  release(EnvPS);
  release(EnvPSTable);
  release(LitDecl);
  release(NormalizingCubeMap);
}

bool SharedShadersReady() {
  using namespace SharedShaders;
  // The cube map may be missing (its creation is allowed to fail); the
  // passes then sample no texture there, but they still draw.
  return LitVS != nullptr && LitSpotVS != nullptr && EnvVS != nullptr && SpriteVS != nullptr &&
         DiffusePS != nullptr && DiffuseNoTexPS != nullptr && SpecularPS != nullptr && EnvPS != nullptr &&
         LitDecl != nullptr;
}

IDirect3DCubeTexture9* CreateNormalizingCubeMap(IDirect3DDevice9* device, UINT edge, UINT levels, D3DPOOL pool) {
  IDirect3DCubeTexture9* cube = nullptr;
  if (FAILED(D3DXCreateCubeTexture(device, edge, levels, 0, D3DFMT_X8R8G8B8, pool, &cube)) || cube == nullptr)
    return nullptr;
  if (levels == 0) levels = cube->GetLevelCount();

  for (UINT level = 0; level < levels; ++level) {
    D3DSURFACE_DESC desc{};
    if (FAILED(cube->GetLevelDesc(level, &desc))) continue;
    const UINT w = desc.Width, h = desc.Height;
    for (DWORD face = D3DCUBEMAP_FACE_POSITIVE_X; face <= D3DCUBEMAP_FACE_NEGATIVE_Z; ++face) {
      D3DLOCKED_RECT locked{};
      if (FAILED(cube->LockRect(D3DCUBEMAP_FACES(face), level, &locked, nullptr, 0))) continue;
      for (UINT y = 0; y < h; ++y) {
        auto* row = reinterpret_cast<D3DCOLOR*>(static_cast<unsigned char*>(locked.pBits) + y * locked.Pitch);
        // s and t run from -1 at the first texel to +1 at the last: the
        // border texels hold exactly the face's edge directions, no
        // half-texel shift. A one-texel edge (the last mip level) has no
        // span; its texel looks through the face's centre.
        const float t = h > 1 ? 2.0f * float(y) / float(h - 1) - 1.0f : 0.0f;
        for (UINT x = 0; x < w; ++x) {
          const float s = w > 1 ? 2.0f * float(x) / float(w - 1) - 1.0f : 0.0f;
          D3DXVECTOR3 d;
          switch (face) {
            case D3DCUBEMAP_FACE_POSITIVE_X: d = D3DXVECTOR3(1.0f, -t, -s); break;
            case D3DCUBEMAP_FACE_NEGATIVE_X: d = D3DXVECTOR3(-1.0f, -t, s); break;
            case D3DCUBEMAP_FACE_POSITIVE_Y: d = D3DXVECTOR3(s, 1.0f, t); break;
            case D3DCUBEMAP_FACE_NEGATIVE_Y: d = D3DXVECTOR3(s, -1.0f, -t); break;
            case D3DCUBEMAP_FACE_POSITIVE_Z: d = D3DXVECTOR3(s, -t, 1.0f); break;
            default: d = D3DXVECTOR3(-s, -t, -1.0f); break;
          }
          D3DXVec3Normalize(&d, &d);
          // (d + 1) × 127, truncated: -1 → 0, 0 → 127, +1 → 254 (not 255).
          const DWORD r = DWORD((d.x + 1.0f) * 127.0f);
          const DWORD g = DWORD((d.y + 1.0f) * 127.0f);
          const DWORD b = DWORD((d.z + 1.0f) * 127.0f);
          row[x] = r << 16 | g << 8 | b;
        }
      }
      cube->UnlockRect(D3DCUBEMAP_FACES(face), level);
    }
  }
  return cube;
}
