#pragma once
// Direct3D 9 structures with Direct3D's field names and order. They are not
// binary images of Direct3D's (nothing here crosses a process boundary), but
// every field the system reads or writes is where its name says.
#include "platform/gfx/D3D9Constants.h"

struct D3DVERTEXELEMENT9 {
  WORD Stream;      // 0..15; 0xFF only in D3DDECL_END
  WORD Offset;      // bytes from the start of the vertex
  BYTE Type;        // D3DDECLTYPE
  BYTE Method;      // D3DDECLMETHOD
  BYTE Usage;       // D3DDECLUSAGE
  BYTE UsageIndex;  // e.g. TEXCOORD 0..7
};
// Terminates every declaration list.
#define D3DDECL_END() {0xFF, 0, D3DDECLTYPE_UNUSED, 0, 0, 0}
constexpr UINT MAXD3DDECLLENGTH = 64;  // elements, without the end marker

struct D3DLIGHT9 {
  D3DLIGHTTYPE Type;
  D3DCOLORVALUE Diffuse;
  D3DCOLORVALUE Specular;
  D3DCOLORVALUE Ambient;
  D3DVECTOR Position;   // world space; unused by directional lights
  D3DVECTOR Direction;  // world space, need not be normalised; unused by point lights
  float Range;          // world units; no light beyond it (point and spot)
  float Falloff;        // spot: exponent between inner and outer cone
  float Attenuation0;   // 1 / (a0 + a1 d + a2 d^2)
  float Attenuation1;
  float Attenuation2;
  float Theta;  // spot: inner cone angle, radians, full angle
  float Phi;    // spot: outer cone angle, radians, full angle
};

struct D3DMATERIAL9 {
  D3DCOLORVALUE Diffuse;
  D3DCOLORVALUE Ambient;
  D3DCOLORVALUE Specular;
  D3DCOLORVALUE Emissive;
  float Power;  // specular exponent
};

struct D3DVIEWPORT9 {
  DWORD X;  // pixels from the left of the render target
  DWORD Y;  // pixels from the top
  DWORD Width;
  DWORD Height;
  float MinZ;  // depth range, 0..1
  float MaxZ;
};

struct D3DSURFACE_DESC {
  D3DFORMAT Format;
  D3DRESOURCETYPE Type;
  DWORD Usage;
  D3DPOOL Pool;
  D3DMULTISAMPLE_TYPE MultiSampleType;
  DWORD MultiSampleQuality;
  UINT Width;   // pixels
  UINT Height;  // pixels
};

struct D3DLOCKED_RECT {
  INT Pitch;    // bytes from one row (one block row for DXT formats) to the next
  void* pBits;  // first byte of the locked rectangle; row 0 is the top
};

struct D3DVERTEXBUFFER_DESC {
  D3DFORMAT Format;  // D3DFMT_VERTEXDATA in Direct3D; D3DFMT_UNKNOWN here
  D3DRESOURCETYPE Type;
  DWORD Usage;
  D3DPOOL Pool;
  UINT Size;  // bytes
  DWORD FVF;
};

struct D3DINDEXBUFFER_DESC {
  D3DFORMAT Format;  // D3DFMT_INDEX16 or D3DFMT_INDEX32
  D3DRESOURCETYPE Type;
  DWORD Usage;
  D3DPOOL Pool;
  UINT Size;  // bytes
};

struct D3DDISPLAYMODE {
  UINT Width;
  UINT Height;
  UINT RefreshRate;  // Hz, 0 when unknown
  D3DFORMAT Format;
};

struct D3DPRESENT_PARAMETERS {
  UINT BackBufferWidth;   // 0: the window's client width
  UINT BackBufferHeight;  // 0: the window's client height
  D3DFORMAT BackBufferFormat;
  UINT BackBufferCount;
  D3DMULTISAMPLE_TYPE MultiSampleType;
  DWORD MultiSampleQuality;
  D3DSWAPEFFECT SwapEffect;
  HWND hDeviceWindow;
  BOOL Windowed;
  BOOL EnableAutoDepthStencil;
  D3DFORMAT AutoDepthStencilFormat;
  DWORD Flags;
  UINT FullScreen_RefreshRateInHz;
  UINT PresentationInterval;
};

// The capabilities the system reads, and their neighbours.
struct D3DCAPS9 {
  D3DDEVTYPE DeviceType;
  UINT AdapterOrdinal;
  DWORD Caps;
  DWORD Caps2;
  DWORD Caps3;
  DWORD PresentationIntervals;
  DWORD DevCaps;  // D3DDEVCAPS_*
  DWORD PrimitiveMiscCaps;
  DWORD RasterCaps;
  DWORD ZCmpCaps;
  DWORD SrcBlendCaps;
  DWORD DestBlendCaps;
  DWORD AlphaCmpCaps;
  DWORD ShadeCaps;
  DWORD TextureCaps;
  DWORD TextureFilterCaps;
  DWORD CubeTextureFilterCaps;
  DWORD TextureAddressCaps;
  DWORD MaxTextureWidth;
  DWORD MaxTextureHeight;
  DWORD MaxTextureRepeat;
  DWORD MaxTextureAspectRatio;
  DWORD MaxAnisotropy;
  float MaxVertexW;
  DWORD StencilCaps;
  DWORD FVFCaps;
  DWORD TextureOpCaps;
  DWORD MaxTextureBlendStages;
  DWORD MaxSimultaneousTextures;
  DWORD VertexProcessingCaps;
  DWORD MaxActiveLights;
  DWORD MaxUserClipPlanes;
  DWORD MaxVertexBlendMatrices;
  DWORD MaxVertexBlendMatrixIndex;
  float MaxPointSize;  // pixels
  DWORD MaxPrimitiveCount;
  DWORD MaxVertexIndex;
  DWORD MaxStreams;
  DWORD MaxStreamStride;
  DWORD VertexShaderVersion;  // D3DVS_VERSION(major, minor)
  DWORD MaxVertexShaderConst;
  DWORD PixelShaderVersion;  // D3DPS_VERSION(major, minor)
  float PixelShader1xMaxValue;
  DWORD NumSimultaneousRTs;
};
