#pragma once
// Shader "compilation" and constant tables, D3DX 9 style, for the system's
// own shaders, which are GLSL texts (see Device.h for what a stage must keep
// to: attribute locations, layout(binding = N) samplers, `out float FOG;`).
//
// Source convention. A source is the GLSL text of one stage, `#version` line
// first (a source without one gets `#version 330 core`). It may hold several
// entry points: global functions `void Name()` without parameters. Inputs,
// outputs and uniforms are declared at global scope; an entry point reads and
// writes them directly. D3DXCompileShader(..., "Name", ...) emits this code:
//   the #version line
//   #define NAME DEFINITION          one line per D3DXMACRO, in list order
//   #define D3DX_ENTRY_Name 1        the entry point, for #ifdef'd declarations
//   #define D3DX_VERTEX_SHADER 1     or D3DX_PIXEL_SHADER, from the profile
//   #line N                          so the driver's log counts source lines
//   the rest of the source, with every function definition the entry point
//     does not reach (directly, through other functions or macros) blanked
//   void main() { Name(); }          unless the entry point is main itself;
//                                    a vertex stage's `out` COLOR, COLOR0,
//                                    COLOR1 and FOG are clamped to [0, 1]
//                                    after Name() returns, as shader model 1
//                                    did
// Leaving out the unreached functions is what HLSL's compile did, and it
// keeps an entry point from statically using another entry point's inputs.
//
// The constant table lists the uniforms the entry point reaches, in
// declaration order: float, vec2..4, mat3, mat4, int and bool (each alone or
// as an array `T name[N]`) and sampler2D / sampler3D / samplerCube (register
// = layout binding, 0 without one). Initialisers give the DefaultValue:
// literal numbers, true / false and constructors, nested as GLSL allows
// (`vec4(vec3(0.5), 1.0)`, `mat4(1.0)` = identity, `float[2](1.0, 2.0)`);
// anything else in an initialiser is a compile error here. Numeric registers
// are counted per register set in declaration order (1 per scalar or vector
// element, 3 per mat3 and 4 per mat4 element), as D3DX would allocate them.
// #ifdef / #ifndef / #if / #elif / #else / #endif are evaluated with the
// macros, so an #ifdef'd use of a uniform counts only when its branch is on.
//
// Validation. Unless D3DXSHADER_SKIPVALIDATION is given, the emitted code is
// checked by the graphics back end (platform/gfx/ShaderCheck.h): the OpenGL
// back end compiles it in the context of one of its devices, so D3DX itself
// makes no driver calls and no context. A compile error fails the call with
// E_FAIL and the driver's log in *ppErrorMsgs. Where no back end can check
// (no device yet), only the structural checks are made (balanced brackets
// and conditionals, #error, the entry point, the uniform declarations); the
// first such call says so once on the debugger output. Other flags are
// accepted and ignored, except D3DXSHADER_PACKMATRIX_ROWMAJOR, which only
// changes the matrix class the table reports.
//
// Values reach the device by uniform name: setVertexShaderConstantByName for
// a table of a vs_* profile, setPixelShaderConstantByName for ps_*. Floats go
// in declaration layout, packed (a vec3 is 3 floats, a mat4 16, an array its
// elements one after the other). Matrices are D3DMATRIX in memory order, the
// device's convention, so SetMatrix(M) makes `M * v` in GLSL compute v x M,
// as HLSL's mul(v, M) did; SetMatrixTranspose passes the transpose. A write
// that covers only part of a uniform (an element, a SetFloat on a vec4) reads
// the device's current value and writes it back whole with the part replaced.
// Pixel-stage clamping to [-1, 1] is the device's business, not the table's.
#include "platform/d3dx/D3DXMath.h"
#include "platform/gfx/Device.h"

// --- Buffers ------------------------------------------------------------------

class ID3DXBuffer : public IUnknown {
 public:
  virtual void* GetBufferPointer() = 0;
  virtual DWORD GetBufferSize() = 0;
};

// A zero-filled buffer of NumBytes bytes (0 is allowed).
HRESULT D3DXCreateBuffer(DWORD NumBytes, ID3DXBuffer** ppBuffer);

// --- Compile options ----------------------------------------------------------------

struct D3DXMACRO {
  const char* Name;        // an identifier; {nullptr, nullptr} ends the list
  const char* Definition;  // null or "" defines the name as empty
};

// Include handlers are not supported: pass null (a source with #include fails).
class ID3DXInclude;

constexpr DWORD D3DXSHADER_DEBUG = 1u << 0;
constexpr DWORD D3DXSHADER_SKIPVALIDATION = 1u << 1;
constexpr DWORD D3DXSHADER_SKIPOPTIMIZATION = 1u << 2;
constexpr DWORD D3DXSHADER_PACKMATRIX_ROWMAJOR = 1u << 3;
constexpr DWORD D3DXSHADER_PACKMATRIX_COLUMNMAJOR = 1u << 4;
constexpr DWORD D3DXSHADER_PARTIALPRECISION = 1u << 5;
constexpr DWORD D3DXSHADER_AVOID_FLOW_CONTROL = 1u << 9;
constexpr DWORD D3DXSHADER_PREFER_FLOW_CONTROL = 1u << 10;
constexpr DWORD D3DXSHADER_ENABLE_BACKWARDS_COMPATIBILITY = 1u << 12;
constexpr DWORD D3DXSHADER_IEEE_STRICTNESS = 1u << 13;
constexpr DWORD D3DXSHADER_OPTIMIZATION_LEVEL0 = 1u << 14;
constexpr DWORD D3DXSHADER_OPTIMIZATION_LEVEL1 = 0;
constexpr DWORD D3DXSHADER_OPTIMIZATION_LEVEL2 = (1u << 14) | (1u << 15);
constexpr DWORD D3DXSHADER_OPTIMIZATION_LEVEL3 = 1u << 15;

// --- Constant tables ----------------------------------------------------------------

// A constant's handle: a pointer to the NUL-terminated name the table keeps
// for it ("Name", or "Name[i]" for an element). Every call that takes a
// handle also takes a name string in its place, as D3DX allows.
using D3DXHANDLE = const char*;

enum D3DXREGISTER_SET : DWORD {
  D3DXRS_BOOL = 0,
  D3DXRS_INT4 = 1,
  D3DXRS_FLOAT4 = 2,
  D3DXRS_SAMPLER = 3,
};

enum D3DXPARAMETER_CLASS : DWORD {
  D3DXPC_SCALAR = 0,
  D3DXPC_VECTOR = 1,
  D3DXPC_MATRIX_ROWS = 2,
  D3DXPC_MATRIX_COLUMNS = 3,
  D3DXPC_OBJECT = 4,
  D3DXPC_STRUCT = 5,
};

enum D3DXPARAMETER_TYPE : DWORD {
  D3DXPT_VOID = 0,
  D3DXPT_BOOL = 1,
  D3DXPT_INT = 2,
  D3DXPT_FLOAT = 3,
  D3DXPT_STRING = 4,
  D3DXPT_TEXTURE = 5,
  D3DXPT_TEXTURE1D = 6,
  D3DXPT_TEXTURE2D = 7,
  D3DXPT_TEXTURE3D = 8,
  D3DXPT_TEXTURECUBE = 9,
  D3DXPT_SAMPLER = 10,
  D3DXPT_SAMPLER1D = 11,
  D3DXPT_SAMPLER2D = 12,
  D3DXPT_SAMPLER3D = 13,
  D3DXPT_SAMPLERCUBE = 14,
};

struct D3DXCONSTANTTABLE_DESC {
  const char* Creator;
  DWORD Version;    // D3DVS_VERSION / D3DPS_VERSION of the profile
  UINT Constants;   // top-level constants
};

struct D3DXCONSTANT_DESC {
  const char* Name;  // the uniform's name (also for an element)
  D3DXREGISTER_SET RegisterSet;
  UINT RegisterIndex;  // samplers: the texture stage (layout binding)
  UINT RegisterCount;
  D3DXPARAMETER_CLASS Class;
  D3DXPARAMETER_TYPE Type;
  UINT Rows;
  UINT Columns;
  UINT Elements;  // 1 for a non-array (and for an element)
  UINT StructMembers;
  UINT Bytes;  // Rows x Columns x Elements x 4; samplers 4
  // Rows x Columns x Elements values (floats for float constants, BOOL or
  // INT words for the others) in the packed layout described at the top of
  // this file; null without an initialiser. Lives as long as the table.
  const void* DefaultValue;
};

class ID3DXConstantTable : public IUnknown {
 public:
  virtual HRESULT GetDesc(D3DXCONSTANTTABLE_DESC* pDesc) = 0;
  // *pCount is set to 1; pDesc (when not null, with *pCount >= 1) receives it.
  virtual HRESULT GetConstantDesc(D3DXHANDLE hConstant, D3DXCONSTANT_DESC* pDesc, UINT* pCount) = 0;
  // The texture stage of a sampler constant; (UINT)-1 for anything else.
  virtual UINT GetSamplerIndex(D3DXHANDLE hConstant) = 0;
  // hConstant null: top-level constant Index; an array: its element Index.
  // Null when out of range.
  virtual D3DXHANDLE GetConstant(D3DXHANDLE hConstant, UINT Index) = 0;
  // hConstant null: a top-level constant by name, or "Name[i]" for an
  // element. Null when the table has no such constant.
  virtual D3DXHANDLE GetConstantByName(D3DXHANDLE hConstant, const char* pName) = 0;
  virtual D3DXHANDLE GetConstantElement(D3DXHANDLE hConstant, UINT Index) = 0;

  // Writes every constant that has a DefaultValue (the others are left alone).
  virtual HRESULT SetDefaults(Device* pDevice) = 0;
  // Raw values in the constant's own type (floats, INT or BOOL words);
  // Bytes a multiple of 4, at most the constant's Bytes.
  virtual HRESULT SetValue(Device* pDevice, D3DXHANDLE hConstant, const void* pData, UINT Bytes) = 0;
  // The scalar setters write Count values from the constant's first one
  // (fewer if it holds fewer), converted to its type: to bool as != 0, to int
  // by truncation, to float from int and bool (TRUE = 1.0). Samplers cannot
  // be set (D3DERR_INVALIDCALL), nor can an unknown handle or a null device.
  virtual HRESULT SetBool(Device* pDevice, D3DXHANDLE hConstant, BOOL b) = 0;
  virtual HRESULT SetBoolArray(Device* pDevice, D3DXHANDLE hConstant, const BOOL* pb, UINT Count) = 0;
  virtual HRESULT SetInt(Device* pDevice, D3DXHANDLE hConstant, INT n) = 0;
  virtual HRESULT SetIntArray(Device* pDevice, D3DXHANDLE hConstant, const INT* pn, UINT Count) = 0;
  virtual HRESULT SetFloat(Device* pDevice, D3DXHANDLE hConstant, float f) = 0;
  virtual HRESULT SetFloatArray(Device* pDevice, D3DXHANDLE hConstant, const float* pf, UINT Count) = 0;
  // Scalars and vectors: the first Columns components of each vector, one
  // vector per element. Matrices cannot be set from vectors.
  virtual HRESULT SetVector(Device* pDevice, D3DXHANDLE hConstant, const D3DXVECTOR4* pVector) = 0;
  virtual HRESULT SetVectorArray(Device* pDevice, D3DXHANDLE hConstant, const D3DXVECTOR4* pVector,
                                 UINT Count) = 0;
  // Matrix constants only; a mat3 takes the upper-left 3 x 3.
  virtual HRESULT SetMatrix(Device* pDevice, D3DXHANDLE hConstant, const D3DXMATRIX* pMatrix) = 0;
  virtual HRESULT SetMatrixArray(Device* pDevice, D3DXHANDLE hConstant, const D3DXMATRIX* pMatrix,
                                 UINT Count) = 0;
  virtual HRESULT SetMatrixPointerArray(Device* pDevice, D3DXHANDLE hConstant, const D3DXMATRIX** ppMatrix,
                                        UINT Count) = 0;
  virtual HRESULT SetMatrixTranspose(Device* pDevice, D3DXHANDLE hConstant, const D3DXMATRIX* pMatrix) = 0;
  virtual HRESULT SetMatrixTransposeArray(Device* pDevice, D3DXHANDLE hConstant, const D3DXMATRIX* pMatrix,
                                          UINT Count) = 0;
  virtual HRESULT SetMatrixTransposePointerArray(Device* pDevice, D3DXHANDLE hConstant,
                                                 const D3DXMATRIX** ppMatrix, UINT Count) = 0;
};

// --- Compiling ------------------------------------------------------------------

// pSrcData: SrcDataLen bytes of GLSL (read up to the first NUL within them).
// pDefines: null, or macros ending with {nullptr, nullptr}. pInclude: must be
// null. pFunctionName: the entry point. pProfile: vs_1_1, vs_2_0, vs_2_a,
// vs_3_0, ps_1_1 .. ps_1_4, ps_2_0, ps_2_a, ps_2_b, ps_3_0; "vs" makes a
// vertex stage, "ps" a pixel stage. Each out pointer may be null.
// Results: D3D_OK with the code (the emitted GLSL, NUL included in its size)
// and the table; E_FAIL for a source that does not compile, with the reasons
// in *ppErrorMsgs as "(line): error: ..." lines or the driver's log (and the
// other outputs null); D3DERR_INVALIDCALL for missing arguments or a non-null
// pInclude.
HRESULT D3DXCompileShader(const char* pSrcData, UINT SrcDataLen, const D3DXMACRO* pDefines,
                          ID3DXInclude* pInclude, const char* pFunctionName, const char* pProfile, DWORD Flags,
                          ID3DXBuffer** ppShader, ID3DXBuffer** ppErrorMsgs, ID3DXConstantTable** ppConstantTable);
