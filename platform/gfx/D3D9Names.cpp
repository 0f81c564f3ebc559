#include "platform/gfx/D3D9Names.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

struct Named {
  DWORD value;
  const char* name;
};
#define N(x) {static_cast<DWORD>(x), #x}

template <std::size_t Count>
const char* lookup(const Named (&table)[Count], DWORD value) {
  for (const Named& entry : table) {
    if (entry.value == value) return entry.name;
  }
  return nullptr;
}

std::string number(DWORD value) { return std::to_string(value); }

template <std::size_t Count>
std::string nameOrNumber(const Named (&table)[Count], DWORD value) {
  const char* name = lookup(table, value);
  return name != nullptr ? std::string(name) : number(value);
}

// Joins the names of the set bits; bits without a name print as one hex rest.
template <std::size_t Count>
std::string flagsText(const Named (&table)[Count], DWORD flags) {
  if (flags == 0) return "0";
  std::string text;
  DWORD rest = flags;
  for (const Named& entry : table) {
    if (entry.value != 0 && (rest & entry.value) == entry.value) {
      if (!text.empty()) text += " | ";
      text += entry.name;
      rest &= ~entry.value;
    }
  }
  if (rest != 0) {
    char buffer[16];
    std::snprintf(buffer, sizeof buffer, "0x%X", rest);
    if (!text.empty()) text += " | ";
    text += buffer;
  }
  return text;
}

constexpr Named kRenderStates[] = {
    N(D3DRS_ZENABLE), N(D3DRS_FILLMODE), N(D3DRS_SHADEMODE), N(D3DRS_ZWRITEENABLE), N(D3DRS_ALPHATESTENABLE),
    N(D3DRS_LASTPIXEL), N(D3DRS_SRCBLEND), N(D3DRS_DESTBLEND), N(D3DRS_CULLMODE), N(D3DRS_ZFUNC),
    N(D3DRS_ALPHAREF), N(D3DRS_ALPHAFUNC), N(D3DRS_DITHERENABLE), N(D3DRS_ALPHABLENDENABLE),
    N(D3DRS_FOGENABLE), N(D3DRS_SPECULARENABLE), N(D3DRS_FOGCOLOR), N(D3DRS_FOGTABLEMODE), N(D3DRS_FOGSTART),
    N(D3DRS_FOGEND), N(D3DRS_FOGDENSITY), N(D3DRS_RANGEFOGENABLE), N(D3DRS_STENCILENABLE),
    N(D3DRS_STENCILFAIL), N(D3DRS_STENCILZFAIL), N(D3DRS_STENCILPASS), N(D3DRS_STENCILFUNC),
    N(D3DRS_STENCILREF), N(D3DRS_STENCILMASK), N(D3DRS_STENCILWRITEMASK), N(D3DRS_TEXTUREFACTOR),
    N(D3DRS_WRAP0), N(D3DRS_WRAP1), N(D3DRS_WRAP2), N(D3DRS_WRAP3), N(D3DRS_WRAP4), N(D3DRS_WRAP5),
    N(D3DRS_WRAP6), N(D3DRS_WRAP7), N(D3DRS_CLIPPING), N(D3DRS_LIGHTING), N(D3DRS_AMBIENT),
    N(D3DRS_FOGVERTEXMODE), N(D3DRS_COLORVERTEX), N(D3DRS_LOCALVIEWER), N(D3DRS_NORMALIZENORMALS),
    N(D3DRS_DIFFUSEMATERIALSOURCE), N(D3DRS_SPECULARMATERIALSOURCE), N(D3DRS_AMBIENTMATERIALSOURCE),
    N(D3DRS_EMISSIVEMATERIALSOURCE), N(D3DRS_VERTEXBLEND), N(D3DRS_CLIPPLANEENABLE), N(D3DRS_POINTSIZE),
    N(D3DRS_POINTSIZE_MIN), N(D3DRS_POINTSPRITEENABLE), N(D3DRS_POINTSCALEENABLE), N(D3DRS_POINTSCALE_A),
    N(D3DRS_POINTSCALE_B), N(D3DRS_POINTSCALE_C), N(D3DRS_MULTISAMPLEANTIALIAS), N(D3DRS_MULTISAMPLEMASK),
    N(D3DRS_PATCHEDGESTYLE), N(D3DRS_DEBUGMONITORTOKEN), N(D3DRS_POINTSIZE_MAX),
    N(D3DRS_INDEXEDVERTEXBLENDENABLE), N(D3DRS_COLORWRITEENABLE), N(D3DRS_TWEENFACTOR), N(D3DRS_BLENDOP),
    N(D3DRS_POSITIONDEGREE), N(D3DRS_NORMALDEGREE), N(D3DRS_SCISSORTESTENABLE), N(D3DRS_SLOPESCALEDEPTHBIAS),
    N(D3DRS_ANTIALIASEDLINEENABLE), N(D3DRS_MINTESSELLATIONLEVEL), N(D3DRS_MAXTESSELLATIONLEVEL),
    N(D3DRS_ADAPTIVETESS_X), N(D3DRS_ADAPTIVETESS_Y), N(D3DRS_ADAPTIVETESS_Z), N(D3DRS_ADAPTIVETESS_W),
    N(D3DRS_ENABLEADAPTIVETESSELLATION), N(D3DRS_TWOSIDEDSTENCILMODE), N(D3DRS_CCW_STENCILFAIL),
    N(D3DRS_CCW_STENCILZFAIL), N(D3DRS_CCW_STENCILPASS), N(D3DRS_CCW_STENCILFUNC), N(D3DRS_COLORWRITEENABLE1),
    N(D3DRS_COLORWRITEENABLE2), N(D3DRS_COLORWRITEENABLE3), N(D3DRS_BLENDFACTOR), N(D3DRS_SRGBWRITEENABLE),
    N(D3DRS_DEPTHBIAS), N(D3DRS_WRAP8), N(D3DRS_WRAP9), N(D3DRS_WRAP10), N(D3DRS_WRAP11), N(D3DRS_WRAP12),
    N(D3DRS_WRAP13), N(D3DRS_WRAP14), N(D3DRS_WRAP15), N(D3DRS_SEPARATEALPHABLENDENABLE),
    N(D3DRS_SRCBLENDALPHA), N(D3DRS_DESTBLENDALPHA), N(D3DRS_BLENDOPALPHA),
};
constexpr Named kTextureStageStates[] = {
    N(D3DTSS_COLOROP), N(D3DTSS_COLORARG1), N(D3DTSS_COLORARG2), N(D3DTSS_ALPHAOP), N(D3DTSS_ALPHAARG1),
    N(D3DTSS_ALPHAARG2), N(D3DTSS_BUMPENVMAT00), N(D3DTSS_BUMPENVMAT01), N(D3DTSS_BUMPENVMAT10),
    N(D3DTSS_BUMPENVMAT11), N(D3DTSS_TEXCOORDINDEX), N(D3DTSS_BUMPENVLSCALE), N(D3DTSS_BUMPENVLOFFSET),
    N(D3DTSS_TEXTURETRANSFORMFLAGS), N(D3DTSS_COLORARG0), N(D3DTSS_ALPHAARG0), N(D3DTSS_RESULTARG),
    N(D3DTSS_CONSTANT),
};
constexpr Named kSamplerStates[] = {
    N(D3DSAMP_ADDRESSU), N(D3DSAMP_ADDRESSV), N(D3DSAMP_ADDRESSW), N(D3DSAMP_BORDERCOLOR),
    N(D3DSAMP_MAGFILTER), N(D3DSAMP_MINFILTER), N(D3DSAMP_MIPFILTER), N(D3DSAMP_MIPMAPLODBIAS),
    N(D3DSAMP_MAXMIPLEVEL), N(D3DSAMP_MAXANISOTROPY), N(D3DSAMP_SRGBTEXTURE), N(D3DSAMP_ELEMENTINDEX),
    N(D3DSAMP_DMAPOFFSET),
};
constexpr Named kPrimitiveTypes[] = {
    N(D3DPT_POINTLIST), N(D3DPT_LINELIST), N(D3DPT_LINESTRIP),
    N(D3DPT_TRIANGLELIST), N(D3DPT_TRIANGLESTRIP), N(D3DPT_TRIANGLEFAN),
};
constexpr Named kFormats[] = {
    N(D3DFMT_UNKNOWN), N(D3DFMT_R8G8B8), N(D3DFMT_A8R8G8B8), N(D3DFMT_X8R8G8B8), N(D3DFMT_R5G6B5),
    N(D3DFMT_A8), N(D3DFMT_L8), N(D3DFMT_A8L8), N(D3DFMT_D24S8), N(D3DFMT_D24X8), N(D3DFMT_D16),
    N(D3DFMT_INDEX16), N(D3DFMT_INDEX32), N(D3DFMT_DXT1), N(D3DFMT_DXT5),
};
constexpr Named kPools[] = {N(D3DPOOL_DEFAULT), N(D3DPOOL_MANAGED), N(D3DPOOL_SYSTEMMEM), N(D3DPOOL_SCRATCH)};
constexpr Named kDeclTypes[] = {
    N(D3DDECLTYPE_FLOAT1), N(D3DDECLTYPE_FLOAT2), N(D3DDECLTYPE_FLOAT3), N(D3DDECLTYPE_FLOAT4),
    N(D3DDECLTYPE_D3DCOLOR), N(D3DDECLTYPE_UBYTE4), N(D3DDECLTYPE_SHORT2), N(D3DDECLTYPE_SHORT4),
    N(D3DDECLTYPE_UBYTE4N), N(D3DDECLTYPE_SHORT2N), N(D3DDECLTYPE_SHORT4N), N(D3DDECLTYPE_USHORT2N),
    N(D3DDECLTYPE_USHORT4N), N(D3DDECLTYPE_UDEC3), N(D3DDECLTYPE_DEC3N), N(D3DDECLTYPE_FLOAT16_2),
    N(D3DDECLTYPE_FLOAT16_4), N(D3DDECLTYPE_UNUSED),
};
constexpr Named kDeclUsages[] = {
    N(D3DDECLUSAGE_POSITION), N(D3DDECLUSAGE_BLENDWEIGHT), N(D3DDECLUSAGE_BLENDINDICES), N(D3DDECLUSAGE_NORMAL),
    N(D3DDECLUSAGE_PSIZE), N(D3DDECLUSAGE_TEXCOORD), N(D3DDECLUSAGE_TANGENT), N(D3DDECLUSAGE_BINORMAL),
    N(D3DDECLUSAGE_TESSFACTOR), N(D3DDECLUSAGE_POSITIONT), N(D3DDECLUSAGE_COLOR), N(D3DDECLUSAGE_FOG),
    N(D3DDECLUSAGE_DEPTH), N(D3DDECLUSAGE_SAMPLE),
};
constexpr Named kLightTypes[] = {N(D3DLIGHT_POINT), N(D3DLIGHT_SPOT), N(D3DLIGHT_DIRECTIONAL)};
constexpr Named kMultiSample[] = {
    N(D3DMULTISAMPLE_NONE), N(D3DMULTISAMPLE_NONMASKABLE), N(D3DMULTISAMPLE_2_SAMPLES),
    N(D3DMULTISAMPLE_3_SAMPLES), N(D3DMULTISAMPLE_4_SAMPLES), N(D3DMULTISAMPLE_5_SAMPLES),
    N(D3DMULTISAMPLE_6_SAMPLES), N(D3DMULTISAMPLE_7_SAMPLES), N(D3DMULTISAMPLE_8_SAMPLES),
    N(D3DMULTISAMPLE_16_SAMPLES),
};
constexpr Named kResults[] = {
    N(D3D_OK), N(E_FAIL), N(E_OUTOFMEMORY), N(D3DERR_INVALIDCALL), N(D3DERR_NOTAVAILABLE),
    N(D3DERR_OUTOFVIDEOMEMORY), N(D3DERR_DEVICELOST), N(D3DERR_NOTFOUND), N(D3DXERR_INVALIDDATA),
};

// Value vocabularies.
constexpr Named kBlends[] = {
    N(D3DBLEND_ZERO), N(D3DBLEND_ONE), N(D3DBLEND_SRCCOLOR), N(D3DBLEND_INVSRCCOLOR), N(D3DBLEND_SRCALPHA),
    N(D3DBLEND_INVSRCALPHA), N(D3DBLEND_DESTALPHA), N(D3DBLEND_INVDESTALPHA), N(D3DBLEND_DESTCOLOR),
    N(D3DBLEND_INVDESTCOLOR), N(D3DBLEND_SRCALPHASAT), N(D3DBLEND_BOTHSRCALPHA), N(D3DBLEND_BOTHINVSRCALPHA),
    N(D3DBLEND_BLENDFACTOR), N(D3DBLEND_INVBLENDFACTOR),
};
constexpr Named kBlendOps[] = {
    N(D3DBLENDOP_ADD), N(D3DBLENDOP_SUBTRACT), N(D3DBLENDOP_REVSUBTRACT), N(D3DBLENDOP_MIN), N(D3DBLENDOP_MAX),
};
constexpr Named kCmpFuncs[] = {
    N(D3DCMP_NEVER), N(D3DCMP_LESS), N(D3DCMP_EQUAL), N(D3DCMP_LESSEQUAL), N(D3DCMP_GREATER),
    N(D3DCMP_NOTEQUAL), N(D3DCMP_GREATEREQUAL), N(D3DCMP_ALWAYS),
};
constexpr Named kStencilOps[] = {
    N(D3DSTENCILOP_KEEP), N(D3DSTENCILOP_ZERO), N(D3DSTENCILOP_REPLACE), N(D3DSTENCILOP_INCRSAT),
    N(D3DSTENCILOP_DECRSAT), N(D3DSTENCILOP_INVERT), N(D3DSTENCILOP_INCR), N(D3DSTENCILOP_DECR),
};
constexpr Named kCulls[] = {N(D3DCULL_NONE), N(D3DCULL_CW), N(D3DCULL_CCW)};
constexpr Named kFogModes[] = {N(D3DFOG_NONE), N(D3DFOG_EXP), N(D3DFOG_EXP2), N(D3DFOG_LINEAR)};
constexpr Named kMaterialSources[] = {N(D3DMCS_MATERIAL), N(D3DMCS_COLOR1), N(D3DMCS_COLOR2)};
constexpr Named kFillModes[] = {N(D3DFILL_POINT), N(D3DFILL_WIREFRAME), N(D3DFILL_SOLID)};
constexpr Named kShadeModes[] = {N(D3DSHADE_FLAT), N(D3DSHADE_GOURAUD), N(D3DSHADE_PHONG)};
constexpr Named kZBufferTypes[] = {N(D3DZB_FALSE), N(D3DZB_TRUE), N(D3DZB_USEW)};
constexpr Named kColorWrite[] = {
    N(D3DCOLORWRITEENABLE_RED), N(D3DCOLORWRITEENABLE_GREEN), N(D3DCOLORWRITEENABLE_BLUE),
    N(D3DCOLORWRITEENABLE_ALPHA),
};
constexpr Named kTextureOps[] = {
    N(D3DTOP_DISABLE), N(D3DTOP_SELECTARG1), N(D3DTOP_SELECTARG2), N(D3DTOP_MODULATE), N(D3DTOP_MODULATE2X),
    N(D3DTOP_MODULATE4X), N(D3DTOP_ADD), N(D3DTOP_ADDSIGNED), N(D3DTOP_ADDSIGNED2X), N(D3DTOP_SUBTRACT),
    N(D3DTOP_ADDSMOOTH), N(D3DTOP_BLENDDIFFUSEALPHA), N(D3DTOP_BLENDTEXTUREALPHA), N(D3DTOP_BLENDFACTORALPHA),
    N(D3DTOP_BLENDTEXTUREALPHAPM), N(D3DTOP_BLENDCURRENTALPHA), N(D3DTOP_PREMODULATE),
    N(D3DTOP_MODULATEALPHA_ADDCOLOR), N(D3DTOP_MODULATECOLOR_ADDALPHA), N(D3DTOP_MODULATEINVALPHA_ADDCOLOR),
    N(D3DTOP_MODULATEINVCOLOR_ADDALPHA), N(D3DTOP_BUMPENVMAP), N(D3DTOP_BUMPENVMAPLUMINANCE),
    N(D3DTOP_DOTPRODUCT3), N(D3DTOP_MULTIPLYADD), N(D3DTOP_LERP),
};
constexpr Named kArgSelectors[] = {
    N(D3DTA_DIFFUSE), N(D3DTA_CURRENT), N(D3DTA_TEXTURE), N(D3DTA_TFACTOR), N(D3DTA_SPECULAR), N(D3DTA_TEMP),
    N(D3DTA_CONSTANT),
};
constexpr Named kArgModifiers[] = {N(D3DTA_COMPLEMENT), N(D3DTA_ALPHAREPLICATE)};
constexpr Named kTexCoordGen[] = {
    N(D3DTSS_TCI_CAMERASPACENORMAL), N(D3DTSS_TCI_CAMERASPACEPOSITION),
    N(D3DTSS_TCI_CAMERASPACEREFLECTIONVECTOR), N(D3DTSS_TCI_SPHEREMAP),
};
constexpr Named kTransformFlags[] = {
    N(D3DTTFF_DISABLE), N(D3DTTFF_COUNT1), N(D3DTTFF_COUNT2), N(D3DTTFF_COUNT3), N(D3DTTFF_COUNT4),
};
constexpr Named kAddresses[] = {
    N(D3DTADDRESS_WRAP), N(D3DTADDRESS_MIRROR), N(D3DTADDRESS_CLAMP), N(D3DTADDRESS_BORDER),
    N(D3DTADDRESS_MIRRORONCE),
};
constexpr Named kFilters[] = {
    N(D3DTEXF_NONE), N(D3DTEXF_POINT), N(D3DTEXF_LINEAR), N(D3DTEXF_ANISOTROPIC), N(D3DTEXF_PYRAMIDALQUAD),
    N(D3DTEXF_GAUSSIANQUAD),
};
constexpr Named kUsages[] = {
    N(D3DUSAGE_RENDERTARGET), N(D3DUSAGE_DEPTHSTENCIL), N(D3DUSAGE_WRITEONLY), N(D3DUSAGE_SOFTWAREPROCESSING),
    N(D3DUSAGE_DONOTCLIP), N(D3DUSAGE_POINTS), N(D3DUSAGE_RTPATCHES), N(D3DUSAGE_NPATCHES), N(D3DUSAGE_DYNAMIC),
    N(D3DUSAGE_AUTOGENMIPMAP),
};
constexpr Named kLockFlags[] = {
    N(D3DLOCK_READONLY), N(D3DLOCK_NOSYSLOCK), N(D3DLOCK_NOOVERWRITE), N(D3DLOCK_DISCARD),
    N(D3DLOCK_DONOTWAIT), N(D3DLOCK_NO_DIRTY_UPDATE),
};
constexpr Named kClearFlags[] = {N(D3DCLEAR_TARGET), N(D3DCLEAR_ZBUFFER), N(D3DCLEAR_STENCIL)};
constexpr Named kCreateFlags[] = {
    N(D3DCREATE_FPU_PRESERVE), N(D3DCREATE_MULTITHREADED), N(D3DCREATE_PUREDEVICE),
    N(D3DCREATE_SOFTWARE_VERTEXPROCESSING), N(D3DCREATE_HARDWARE_VERTEXPROCESSING),
    N(D3DCREATE_MIXED_VERTEXPROCESSING),
};
constexpr Named kFvfPositions[] = {
    N(D3DFVF_XYZ), N(D3DFVF_XYZRHW), N(D3DFVF_XYZB1), N(D3DFVF_XYZB2), N(D3DFVF_XYZB3), N(D3DFVF_XYZB4),
    N(D3DFVF_XYZB5), N(D3DFVF_XYZW),
};
constexpr Named kFvfComponents[] = {
    N(D3DFVF_NORMAL), N(D3DFVF_PSIZE), N(D3DFVF_DIFFUSE), N(D3DFVF_SPECULAR), N(D3DFVF_LASTBETA_UBYTE4),
    N(D3DFVF_LASTBETA_D3DCOLOR),
};

}  // namespace

const char* renderStateName(DWORD state) { return lookup(kRenderStates, state); }
const char* textureStageStateName(DWORD type) { return lookup(kTextureStageStates, type); }
const char* samplerStateName(DWORD type) { return lookup(kSamplerStates, type); }
const char* primitiveTypeName(DWORD type) { return lookup(kPrimitiveTypes, type); }
const char* formatName(DWORD format) { return lookup(kFormats, format); }
const char* poolName(DWORD pool) { return lookup(kPools, pool); }
const char* declTypeName(DWORD type) { return lookup(kDeclTypes, type); }
const char* declUsageName(DWORD usage) { return lookup(kDeclUsages, usage); }
const char* lightTypeName(DWORD type) { return lookup(kLightTypes, type); }
const char* multiSampleName(DWORD type) { return lookup(kMultiSample, type); }
const char* hresultName(HRESULT hr) { return lookup(kResults, static_cast<DWORD>(hr)); }

std::string renderStateText(DWORD state) { return nameOrNumber(kRenderStates, state); }
std::string textureStageStateText(DWORD type) { return nameOrNumber(kTextureStageStates, type); }
std::string samplerStateText(DWORD type) { return nameOrNumber(kSamplerStates, type); }
std::string primitiveTypeText(DWORD type) { return nameOrNumber(kPrimitiveTypes, type); }
std::string formatText(DWORD format) { return nameOrNumber(kFormats, format); }
std::string poolText(DWORD pool) { return nameOrNumber(kPools, pool); }

std::string hresultText(HRESULT hr) {
  if (const char* name = hresultName(hr)) return name;
  char buffer[16];
  std::snprintf(buffer, sizeof buffer, "0x%08X", static_cast<DWORD>(hr));
  return buffer;
}

std::string transformText(DWORD state) {
  switch (state) {
    case D3DTS_VIEW: return "D3DTS_VIEW";
    case D3DTS_PROJECTION: return "D3DTS_PROJECTION";
    case D3DTS_WORLD: return "D3DTS_WORLD";
    default: break;
  }
  if (state >= D3DTS_TEXTURE0 && state <= D3DTS_TEXTURE7) return "D3DTS_TEXTURE" + number(state - D3DTS_TEXTURE0);
  if (state > D3DTS_WORLD && state < D3DTS_WORLD + 256) return "D3DTS_WORLDMATRIX(" + number(state - 256) + ")";
  return number(state);
}

std::string renderStateValueText(DWORD state, DWORD value) {
  switch (state) {
    case D3DRS_SRCBLEND:
    case D3DRS_DESTBLEND:
    case D3DRS_SRCBLENDALPHA:
    case D3DRS_DESTBLENDALPHA: return nameOrNumber(kBlends, value);
    case D3DRS_BLENDOP:
    case D3DRS_BLENDOPALPHA: return nameOrNumber(kBlendOps, value);
    case D3DRS_ZFUNC:
    case D3DRS_ALPHAFUNC:
    case D3DRS_STENCILFUNC:
    case D3DRS_CCW_STENCILFUNC: return nameOrNumber(kCmpFuncs, value);
    case D3DRS_STENCILFAIL:
    case D3DRS_STENCILZFAIL:
    case D3DRS_STENCILPASS:
    case D3DRS_CCW_STENCILFAIL:
    case D3DRS_CCW_STENCILZFAIL:
    case D3DRS_CCW_STENCILPASS: return nameOrNumber(kStencilOps, value);
    case D3DRS_CULLMODE: return nameOrNumber(kCulls, value);
    case D3DRS_FOGTABLEMODE:
    case D3DRS_FOGVERTEXMODE: return nameOrNumber(kFogModes, value);
    case D3DRS_DIFFUSEMATERIALSOURCE:
    case D3DRS_SPECULARMATERIALSOURCE:
    case D3DRS_AMBIENTMATERIALSOURCE:
    case D3DRS_EMISSIVEMATERIALSOURCE: return nameOrNumber(kMaterialSources, value);
    case D3DRS_FILLMODE: return nameOrNumber(kFillModes, value);
    case D3DRS_SHADEMODE: return nameOrNumber(kShadeModes, value);
    case D3DRS_ZENABLE: return value <= 1 ? number(value) : nameOrNumber(kZBufferTypes, value);
    case D3DRS_COLORWRITEENABLE:
    case D3DRS_COLORWRITEENABLE1:
    case D3DRS_COLORWRITEENABLE2:
    case D3DRS_COLORWRITEENABLE3: return flagsText(kColorWrite, value);
    case D3DRS_FOGSTART:
    case D3DRS_FOGEND:
    case D3DRS_FOGDENSITY:
    case D3DRS_POINTSIZE:
    case D3DRS_POINTSIZE_MIN:
    case D3DRS_POINTSIZE_MAX:
    case D3DRS_POINTSCALE_A:
    case D3DRS_POINTSCALE_B:
    case D3DRS_POINTSCALE_C:
    case D3DRS_TWEENFACTOR:
    case D3DRS_SLOPESCALEDEPTHBIAS:
    case D3DRS_DEPTHBIAS:
    case D3DRS_MINTESSELLATIONLEVEL:
    case D3DRS_MAXTESSELLATIONLEVEL:
    case D3DRS_ADAPTIVETESS_X:
    case D3DRS_ADAPTIVETESS_Y:
    case D3DRS_ADAPTIVETESS_Z:
    case D3DRS_ADAPTIVETESS_W: return floatText(dwordToFloat(value));
    case D3DRS_FOGCOLOR:
    case D3DRS_TEXTUREFACTOR:
    case D3DRS_AMBIENT:
    case D3DRS_BLENDFACTOR:
    case D3DRS_MULTISAMPLEMASK:
    case D3DRS_DEBUGMONITORTOKEN: return colorText(value);
    default: return number(value);
  }
}

std::string textureStageValueText(DWORD type, DWORD value) {
  switch (type) {
    case D3DTSS_COLOROP:
    case D3DTSS_ALPHAOP: return nameOrNumber(kTextureOps, value);
    case D3DTSS_COLORARG0:
    case D3DTSS_COLORARG1:
    case D3DTSS_COLORARG2:
    case D3DTSS_ALPHAARG0:
    case D3DTSS_ALPHAARG1:
    case D3DTSS_ALPHAARG2:
    case D3DTSS_RESULTARG: {
      std::string text = nameOrNumber(kArgSelectors, value & D3DTA_SELECTMASK);
      DWORD modifiers = value & ~D3DTA_SELECTMASK;
      if (modifiers != 0) text += " | " + flagsText(kArgModifiers, modifiers);
      return text;
    }
    case D3DTSS_TEXCOORDINDEX: {
      DWORD generation = value & 0xFFFF0000u;
      std::string index = number(value & 0xFFFFu);
      return generation == 0 ? index : nameOrNumber(kTexCoordGen, generation) + " | " + index;
    }
    case D3DTSS_TEXTURETRANSFORMFLAGS: {
      std::string text = nameOrNumber(kTransformFlags, value & 0xFF);
      if (value & D3DTTFF_PROJECTED) text += " | D3DTTFF_PROJECTED";
      DWORD rest = value & ~0x1FFu;
      if (rest != 0) text += " | " + number(rest);
      return text;
    }
    case D3DTSS_BUMPENVMAT00:
    case D3DTSS_BUMPENVMAT01:
    case D3DTSS_BUMPENVMAT10:
    case D3DTSS_BUMPENVMAT11:
    case D3DTSS_BUMPENVLSCALE:
    case D3DTSS_BUMPENVLOFFSET: return floatText(dwordToFloat(value));
    case D3DTSS_CONSTANT: return colorText(value);
    default: return number(value);
  }
}

std::string samplerValueText(DWORD type, DWORD value) {
  switch (type) {
    case D3DSAMP_ADDRESSU:
    case D3DSAMP_ADDRESSV:
    case D3DSAMP_ADDRESSW: return nameOrNumber(kAddresses, value);
    case D3DSAMP_MAGFILTER:
    case D3DSAMP_MINFILTER:
    case D3DSAMP_MIPFILTER: return nameOrNumber(kFilters, value);
    case D3DSAMP_BORDERCOLOR: return colorText(value);
    case D3DSAMP_MIPMAPLODBIAS: return floatText(dwordToFloat(value));
    default: return number(value);
  }
}

std::string usageText(DWORD usage) { return flagsText(kUsages, usage); }
std::string lockFlagsText(DWORD flags) { return flagsText(kLockFlags, flags); }
std::string clearFlagsText(DWORD flags) { return flagsText(kClearFlags, flags); }
std::string createFlagsText(DWORD flags) { return flagsText(kCreateFlags, flags); }

std::string fvfText(DWORD fvf) {
  if (fvf == 0) return "0";
  std::string text;
  auto append = [&](const std::string& part) {
    if (!text.empty()) text += " | ";
    text += part;
  };
  DWORD position = fvf & D3DFVF_POSITION_MASK;
  if (position != 0) append(nameOrNumber(kFvfPositions, position));
  DWORD rest = fvf & ~D3DFVF_POSITION_MASK;
  for (const Named& entry : kFvfComponents) {
    if (rest & entry.value) {
      append(entry.name);
      rest &= ~entry.value;
    }
  }
  DWORD sets = (rest & D3DFVF_TEXCOUNT_MASK) >> D3DFVF_TEXCOUNT_SHIFT;
  if (sets != 0) append("D3DFVF_TEX" + number(sets));
  rest &= ~D3DFVF_TEXCOUNT_MASK;
  for (DWORD set = 0; set < 8; ++set) {
    DWORD format = (rest >> (set * 2 + 16)) & 3;
    if (format == D3DFVF_TEXTUREFORMAT2) continue;
    int size = format == D3DFVF_TEXTUREFORMAT1 ? 1 : format == D3DFVF_TEXTUREFORMAT3 ? 3 : 4;
    append("D3DFVF_TEXCOORDSIZE" + std::to_string(size) + "(" + number(set) + ")");
    rest &= ~(3u << (set * 2 + 16));
  }
  if (rest != 0) {
    char buffer[16];
    std::snprintf(buffer, sizeof buffer, "0x%X", rest);
    append(buffer);
  }
  return text;
}

std::string floatText(float value) {
  char buffer[32];
  for (int precision = 1; precision <= 9; ++precision) {
    std::snprintf(buffer, sizeof buffer, "%.*g", precision, static_cast<double>(value));
    if (std::strtof(buffer, nullptr) == value) break;
  }
  return buffer;
}

std::string colorText(D3DCOLOR color) {
  char buffer[16];
  std::snprintf(buffer, sizeof buffer, "0x%08X", color);
  return buffer;
}

std::string matrixText(const D3DMATRIX& m) {
  std::string text = "{";
  for (int row = 0; row < 4; ++row) {
    for (int column = 0; column < 4; ++column) {
      if (column != 0) text += ' ';
      text += floatText(m.m[row][column]);
    }
    text += row < 3 ? ", " : "}";
  }
  return text;
}

std::string colorValueText(const D3DCOLORVALUE& c) {
  return "(" + floatText(c.r) + ", " + floatText(c.g) + ", " + floatText(c.b) + ", " + floatText(c.a) + ")";
}

std::string vectorText(const D3DVECTOR& v) {
  return "(" + floatText(v.x) + ", " + floatText(v.y) + ", " + floatText(v.z) + ")";
}

std::string lightText(const D3DLIGHT9& light) {
  return "{" + nameOrNumber(kLightTypes, light.Type) + ", diffuse " + colorValueText(light.Diffuse) + ", specular " +
         colorValueText(light.Specular) + ", ambient " + colorValueText(light.Ambient) + ", position " +
         vectorText(light.Position) + ", direction " + vectorText(light.Direction) + ", range " +
         floatText(light.Range) + ", falloff " + floatText(light.Falloff) + ", attenuation " +
         floatText(light.Attenuation0) + " " + floatText(light.Attenuation1) + " " + floatText(light.Attenuation2) +
         ", theta " + floatText(light.Theta) + ", phi " + floatText(light.Phi) + "}";
}

std::string materialText(const D3DMATERIAL9& material) {
  return "{diffuse " + colorValueText(material.Diffuse) + ", ambient " + colorValueText(material.Ambient) +
         ", specular " + colorValueText(material.Specular) + ", emissive " + colorValueText(material.Emissive) +
         ", power " + floatText(material.Power) + "}";
}

std::string viewportText(const D3DVIEWPORT9& viewport) {
  return "{" + number(viewport.X) + ", " + number(viewport.Y) + ", " + number(viewport.Width) + ", " +
         number(viewport.Height) + ", " + floatText(viewport.MinZ) + ", " + floatText(viewport.MaxZ) + "}";
}

std::string rectText(const RECT* rect) {
  if (rect == nullptr) return "NULL";
  return "{" + std::to_string(rect->left) + ", " + std::to_string(rect->top) + ", " + std::to_string(rect->right) +
         ", " + std::to_string(rect->bottom) + "}";
}

std::string vertexElementText(const D3DVERTEXELEMENT9& element) {
  if (element.Stream == 0xFF) return "D3DDECL_END()";
  return "{" + number(element.Stream) + ", " + number(element.Offset) + ", " +
         nameOrNumber(kDeclTypes, element.Type) + ", " + number(element.Method) + ", " +
         nameOrNumber(kDeclUsages, element.Usage) + ", " + number(element.UsageIndex) + "}";
}
