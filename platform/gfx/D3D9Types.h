#pragma once
// Plain Direct3D 9 data types and result codes, with Direct3D's names and
// numeric values. Shared by the device interface, its back ends and the D3DX
// layer; holds no behaviour.
#include <cstdint>

using HRESULT = std::int32_t;
using D3DCOLOR = std::uint32_t;  // ARGB, alpha in the top byte

constexpr HRESULT D3D_OK = 0;
constexpr HRESULT S_OK = 0;
constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005);
constexpr HRESULT E_OUTOFMEMORY = static_cast<HRESULT>(0x8007000E);
constexpr HRESULT D3DERR_INVALIDCALL = static_cast<HRESULT>(0x8876086C);
constexpr HRESULT D3DERR_NOTAVAILABLE = static_cast<HRESULT>(0x8876086A);
constexpr HRESULT D3DERR_OUTOFVIDEOMEMORY = static_cast<HRESULT>(0x8876017C);
constexpr HRESULT D3DERR_DEVICELOST = static_cast<HRESULT>(0x88760868);
constexpr HRESULT D3DXERR_INVALIDDATA = static_cast<HRESULT>(0x88760B59);

constexpr bool SUCCEEDED(HRESULT hr) { return hr >= 0; }
constexpr bool FAILED(HRESULT hr) { return hr < 0; }

constexpr D3DCOLOR D3DCOLOR_ARGB(unsigned a, unsigned r, unsigned g, unsigned b) {
  return ((a & 0xFFu) << 24) | ((r & 0xFFu) << 16) | ((g & 0xFFu) << 8) | (b & 0xFFu);
}
constexpr D3DCOLOR D3DCOLOR_XRGB(unsigned r, unsigned g, unsigned b) { return D3DCOLOR_ARGB(0xFF, r, g, b); }

constexpr std::uint32_t MAKEFOURCC(char a, char b, char c, char d) {
  return std::uint32_t(std::uint8_t(a)) | (std::uint32_t(std::uint8_t(b)) << 8) |
         (std::uint32_t(std::uint8_t(c)) << 16) | (std::uint32_t(std::uint8_t(d)) << 24);
}

enum D3DFORMAT : std::uint32_t {
  D3DFMT_UNKNOWN = 0,
  D3DFMT_R8G8B8 = 20,
  D3DFMT_A8R8G8B8 = 21,
  D3DFMT_X8R8G8B8 = 22,
  D3DFMT_R5G6B5 = 23,
  D3DFMT_A8 = 28,
  D3DFMT_L8 = 50,
  D3DFMT_A8L8 = 51,
  D3DFMT_D24S8 = 75,
  D3DFMT_D24X8 = 77,
  D3DFMT_D16 = 80,
  D3DFMT_INDEX16 = 101,
  D3DFMT_INDEX32 = 102,
  D3DFMT_DXT1 = MAKEFOURCC('D', 'X', 'T', '1'),
  D3DFMT_DXT5 = MAKEFOURCC('D', 'X', 'T', '5'),
};

// Row-vector matrix: v' = v x M, translation in _41 _42 _43.
struct D3DMATRIX {
  union {
    struct {
      float _11, _12, _13, _14;
      float _21, _22, _23, _24;
      float _31, _32, _33, _34;
      float _41, _42, _43, _44;
    };
    float m[4][4];
  };
};

struct D3DVECTOR {
  float x, y, z;
};

struct D3DCOLORVALUE {
  float r, g, b, a;
};

struct D3DRECT {
  std::int32_t x1, y1, x2, y2;
};

struct RECT {
  std::int32_t left, top, right, bottom;
};
