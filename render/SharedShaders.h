#pragma once
// The shaders every scene shares: the per-pixel lighting programs (diffuse,
// specular, environment), the particle-cloud vertex program, the lit-vertex
// declaration and the normalising cube map. Compiled from the source texts
// of ShaderSources.cpp through D3DXCompileShader when the timeline is created
// and released when it is destroyed; one set serves every scene.
#include "platform/d3dx/D3DXShader.h"
#include "platform/gfx/Device.h"

namespace SharedShaders {
// Each null until created; the tables address constants by their names.
extern IDirect3DVertexShader9* LitVS;        // "PPLVShader"
extern ID3DXConstantTable* LitVSTable;
extern IDirect3DVertexShader9* LitSpotVS;    // "PPLVShader" with "Spot" defined
extern ID3DXConstantTable* LitSpotVSTable;
extern IDirect3DVertexShader9* EnvVS;        // "PPLVShaderEnv"
extern ID3DXConstantTable* EnvVSTable;
extern IDirect3DVertexShader9* SpriteVS;     // "SpriteShader"
extern ID3DXConstantTable* SpriteVSTable;
extern IDirect3DPixelShader9* DiffusePS;     // "PPLPShader"
extern ID3DXConstantTable* DiffusePSTable;
extern IDirect3DPixelShader9* DiffuseNoTexPS;  // "PPLPShaderNoTex"
extern ID3DXConstantTable* DiffuseNoTexPSTable;
extern IDirect3DPixelShader9* SpecularPS;    // "PPLPShaderSpecular"
extern ID3DXConstantTable* SpecularPSTable;
extern IDirect3DPixelShader9* EnvPS;         // "PPLPShaderEnv"
extern ID3DXConstantTable* EnvPSTable;
extern IDirect3DVertexDeclaration9* LitDecl;  // the 64-byte lit vertex
extern IDirect3DCubeTexture9* NormalizingCubeMap;
}  // namespace SharedShaders

// Compiles and creates every member above, in table order (the declaration
// after the three lit vertex shaders). A shader that fails to compile or to
// be created ends the show (message box naming the entry point with the
// compiler's first error line, exit code 0).
void CreateSharedShaders(IDirect3DDevice9* device);
// Releases every member that is not null and sets it to null.
void ReleaseSharedShaders();
// True once CreateSharedShaders has made the programs (the per-pixel path
// needs them; without them normal-mapped meshes draw fixed-function).
bool SharedShadersReady();

// One program of the set: `entry` of `source` compiled for "vs_1_1" or
// "ps_1_1" with D3DXSHADER_DEBUG and created on the device; *table receives
// its constant table. Failing to compile or to create ends the show: an
// "Error" box naming the entry point (with the compiler's first error line)
// and exit code 0. `defines` is null or ends with {nullptr, nullptr}.
IDirect3DVertexShader9* CreateSharedVertexShader(IDirect3DDevice9* device, const char* source, const char* entry,
                                                 const D3DXMACRO* defines, ID3DXConstantTable** table);
IDirect3DPixelShader9* CreateSharedPixelShader(IDirect3DDevice9* device, const char* source, const char* entry,
                                               ID3DXConstantTable** table);

// A cube map whose texels hold the unit direction through them, packed as
// (d + 1) × 127 per channel (X8R8G8B8; border texels hold exactly ±1).
// Levels 0 means the texture's full chain. Null when creation fails.
IDirect3DCubeTexture9* CreateNormalizingCubeMap(IDirect3DDevice9* device, UINT edge, UINT levels, D3DPOOL pool);
