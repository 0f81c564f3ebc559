#pragma once
// Direct3D names of constants and readable forms of state values, for call
// logs, debugger output and test messages. A value without a name prints as
// its number, so every value prints.
#include <string>

#include "platform/gfx/D3D9Structs.h"

// Names of enumerators; null when the value has none.
const char* renderStateName(DWORD state);
const char* textureStageStateName(DWORD type);
const char* samplerStateName(DWORD type);
const char* primitiveTypeName(DWORD type);
const char* formatName(DWORD format);
const char* poolName(DWORD pool);
const char* declTypeName(DWORD type);
const char* declUsageName(DWORD usage);
const char* lightTypeName(DWORD type);
const char* multiSampleName(DWORD type);
const char* hresultName(HRESULT hr);

// "D3DRS_ZENABLE", "D3DTS_WORLD", "D3DTS_WORLDMATRIX(3)"; the number when unnamed.
std::string renderStateText(DWORD state);
std::string textureStageStateText(DWORD type);
std::string samplerStateText(DWORD type);
std::string transformText(DWORD state);
std::string primitiveTypeText(DWORD type);
std::string formatText(DWORD format);
std::string poolText(DWORD pool);
std::string hresultText(HRESULT hr);

// Values as the state they belong to reads them: enum-valued states by name
// (D3DBLEND_ONE, D3DCMP_ALWAYS), float states as floats ("0.5"), colours as
// 0xAARRGGBB, flags as NAME | NAME, everything else as an unsigned decimal.
std::string renderStateValueText(DWORD state, DWORD value);
std::string textureStageValueText(DWORD type, DWORD value);
std::string samplerValueText(DWORD type, DWORD value);

// Flag sets as "A | B | 0x100"; "0" when empty.
std::string usageText(DWORD usage);
std::string lockFlagsText(DWORD flags);
std::string clearFlagsText(DWORD flags);
std::string fvfText(DWORD fvf);
std::string createFlagsText(DWORD flags);

// Shortest text that reads back as the same float ("1", "0.4", "1e+30").
std::string floatText(float value);
std::string colorText(D3DCOLOR color);  // 0xAARRGGBB
std::string matrixText(const D3DMATRIX& m);  // {_11 _12 _13 _14, _21 ...}
std::string colorValueText(const D3DCOLORVALUE& c);  // (r, g, b, a)
std::string vectorText(const D3DVECTOR& v);  // (x, y, z)
std::string lightText(const D3DLIGHT9& light);
std::string materialText(const D3DMATERIAL9& material);
std::string viewportText(const D3DVIEWPORT9& viewport);
std::string rectText(const RECT* rect);  // "NULL" for null
std::string vertexElementText(const D3DVERTEXELEMENT9& element);
