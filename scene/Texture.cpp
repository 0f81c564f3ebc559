#include "scene/Texture.h"

#include "archive/Configuration.h"
#include "platform/d3dx/D3DXMath.h"
#include "platform/os/MessageBox.h"
#include "platform/os/Process.h"
#include "render/StateCache.h"
#include "scene/SceneGraph.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <limits>

namespace {

// A sequence file names its images "i0", "i1", ...; a damaged or hostile
// "images" count must neither run for minutes nor pretend to hold billions
// of images. No real sequence comes near this many frames.
constexpr std::int32_t kMaxSequenceImages = 65536;

// Identity with the 2D texture translation row (_31, _32) set: texture
// coordinates are (u, v, 1) once the stage transforms them with COUNT2.
D3DXMATRIX textureTranslation(float u, float v) {
  D3DXMATRIX m;
  D3DXMatrixIdentity(&m);
  m._31 = u;
  m._32 = v;
  return m;
}

// Whole part of a float control field, toward zero; NaN gives 0 and values
// outside int's range saturate (a plain cast would be undefined there).
int truncateToInt(float value) {
  if (!(value == value)) return 0;
  if (value >= 2147483647.0f) return std::numeric_limits<int>::max();
  if (value <= -2147483648.0f) return std::numeric_limits<int>::min();
  return static_cast<int>(value);
}

}  // namespace

// ---------------------------------------------------------------------------
// Texture

Texture::Texture(std::uint32_t objectId, SceneGraph* owner) : Base(objectId, owner) {
  D3DCAPS9 caps{};
  if (stateCache != nullptr && SUCCEEDED(stateCache->device->GetDeviceCaps(&caps))) {
    // The fixed-function pipeline has eight stages whatever a driver claims.
    maxStages = std::min<std::uint32_t>(caps.MaxSimultaneousTextures, D3DTSS_STAGE_COUNT);
  }
}

void Texture::load(const char* fileName, bool compress) {
  if (fileName == nullptr) fileName = "";
  d3dTexture = stateCache->GetTexture(fileName, compress);
  // Only the last three letters count, in any case: "wall.TGA" has alpha,
  // and so would a file called "notapng".
  const std::size_t length = std::strlen(fileName);
  alpha = false;
  if (length >= 3) {
    const std::string extension = AsciiLower(std::string(fileName + length - 3));
    alpha = extension == "tga" || extension == "png";
  }
}

// Stage setup per mode (mode: kStage*; uvSet: the vertex's texture
// coordinate set). The sphere map (1) generates its coordinates from the
// camera-space normal through a fixed matrix; the light map (5) uses the
// coordinates as they are. Mode values no material uses (2, 6, ...) are set
// up as a diffuse map (0): the most harmless choice, modulating the colour.
void Texture::bind(DWORD& stage, int mode, DWORD uvSet) {
  if (stage >= maxStages) return;
  if (mode != kStageSphereMap && mode != kStageSpecular && mode != kStageModulate && mode != kStageLightMap)
    mode = kStageDiffuse;

  IDirect3DDevice9* device = stateCache->device;
  const bool glow = stateCache->glowOnly != FALSE;

  // Scale about the texture's centre (0.5, 0.5), then shift; v moves with
  // the opposite sign of u.
  D3DXMATRIX toCentre = textureTranslation(-0.5f, -0.5f);
  D3DXMATRIX scaling;
  D3DXMatrixScaling(&scaling, uScale, vScale, 1.0f);
  D3DXMATRIX back = textureTranslation(0.5f - uOffset, 0.5f + vOffset);
  D3DXMATRIX m;
  D3DXMatrixMultiply(&m, &toCentre, &scaling);
  D3DXMatrixMultiply(&m, &m, &back);

  DWORD address = D3DTADDRESS_WRAP;
  switch (mode) {
    case kStageSphereMap:
      // u = 0.4·nx − 0.5·nz, v = −0.4·ny − 0.5·nz from the camera-space
      // normal: a sphere-map lookup.
      m = D3DXMATRIX(0.4f, 0.0f, 0.0f, 0.0f,
                     0.0f, -0.4f, 0.0f, 0.0f,
                     -0.5f, -0.5f, 1.0f, 0.0f,
                     0.0f, 0.0f, 0.0f, 1.0f);
      stateCache->SetTextureStageState(stage, D3DTSS_COLOROP, glow ? D3DTOP_MODULATE : D3DTOP_ADDSMOOTH);
      stateCache->SetTextureStageState(stage, D3DTSS_ALPHAOP, D3DTOP_SELECTARG2);
      stateCache->SetTextureStageState(stage, D3DTSS_COLORARG1, D3DTA_TEXTURE);
      stateCache->SetTextureStageState(stage, D3DTSS_COLORARG2, D3DTA_CURRENT);
      stateCache->SetTextureStageState(stage, D3DTSS_TEXCOORDINDEX, D3DTSS_TCI_CAMERASPACENORMAL | stage);
      stateCache->SetTextureStageState(stage, D3DTSS_TEXTURETRANSFORMFLAGS, D3DTTFF_COUNT2);
      address = D3DTADDRESS_CLAMP;
      break;
    case kStageSpecular:
      // specular × texture + current
      stateCache->SetTextureStageState(stage, D3DTSS_COLOROP, D3DTOP_MULTIPLYADD);
      stateCache->SetTextureStageState(stage, D3DTSS_ALPHAOP, D3DTOP_MODULATE);
      stateCache->SetTextureStageState(stage, D3DTSS_COLORARG1, D3DTA_SPECULAR);
      stateCache->SetTextureStageState(stage, D3DTSS_COLORARG2, D3DTA_TEXTURE);
      stateCache->SetTextureStageState(stage, D3DTSS_COLORARG0, D3DTA_CURRENT);
      stateCache->SetTextureStageState(stage, D3DTSS_TEXCOORDINDEX, uvSet);
      stateCache->SetTextureStageState(stage, D3DTSS_TEXTURETRANSFORMFLAGS, D3DTTFF_COUNT2);
      break;
    case kStageModulate:
      stateCache->SetTextureStageState(stage, D3DTSS_COLOROP, D3DTOP_MODULATE);
      stateCache->SetTextureStageState(stage, D3DTSS_ALPHAOP, D3DTOP_MODULATE);
      stateCache->SetTextureStageState(stage, D3DTSS_COLORARG1, D3DTA_TEXTURE);
      stateCache->SetTextureStageState(stage, D3DTSS_COLORARG2, D3DTA_CURRENT);
      stateCache->SetTextureStageState(stage, D3DTSS_ALPHAARG0, D3DTA_CURRENT);
      stateCache->SetTextureStageState(stage, D3DTSS_TEXCOORDINDEX, uvSet);
      stateCache->SetTextureStageState(stage, D3DTSS_TEXTURETRANSFORMFLAGS, D3DTTFF_COUNT2);
      break;
    case kStageLightMap:
      // The texture factor carries the light map's level; the glow pass
      // shows the map alone.
      stateCache->SetTextureStageState(stage, D3DTSS_COLOROP, glow ? D3DTOP_SELECTARG1 : D3DTOP_MODULATE);
      stateCache->SetTextureStageState(stage, D3DTSS_ALPHAOP, D3DTOP_SELECTARG1);
      stateCache->SetTextureStageState(stage, D3DTSS_COLORARG1, D3DTA_TEXTURE);
      stateCache->SetTextureStageState(stage, D3DTSS_COLORARG2, D3DTA_TFACTOR);
      stateCache->SetTextureStageState(stage, D3DTSS_TEXCOORDINDEX, uvSet);
      stateCache->SetTextureStageState(stage, D3DTSS_TEXTURETRANSFORMFLAGS, D3DTTFF_DISABLE);
      break;
    default:  // kStageDiffuse
      stateCache->SetTextureStageState(stage, D3DTSS_COLOROP, D3DTOP_MODULATE);
      stateCache->SetTextureStageState(stage, D3DTSS_ALPHAOP, D3DTOP_MODULATE);
      stateCache->SetTextureStageState(stage, D3DTSS_COLORARG1, D3DTA_TEXTURE);
      stateCache->SetTextureStageState(stage, D3DTSS_COLORARG2, D3DTA_CURRENT);
      stateCache->SetTextureStageState(stage, D3DTSS_TEXCOORDINDEX, uvSet);
      stateCache->SetTextureStageState(stage, D3DTSS_TEXTURETRANSFORMFLAGS, D3DTTFF_COUNT2);
      break;
  }
  device->SetSamplerState(stage, D3DSAMP_ADDRESSU, address);
  device->SetSamplerState(stage, D3DSAMP_ADDRESSV, address);

  stateCache->SetTextureStageState(stage, D3DTSS_ALPHAARG1, D3DTA_TEXTURE);
  stateCache->SetTextureStageState(stage, D3DTSS_ALPHAARG2, D3DTA_CURRENT);
  device->SetSamplerState(stage, D3DSAMP_MAGFILTER, D3DTEXF_LINEAR);
  device->SetSamplerState(stage, D3DSAMP_MINFILTER, D3DTEXF_LINEAR);
  device->SetSamplerState(stage, D3DSAMP_MIPFILTER, D3DTEXF_LINEAR);
  device->SetSamplerState(stage, D3DSAMP_MIPMAPLODBIAS, 0);  // bit pattern of 0.0f
  if (mode == kStageDiffuse || mode == kStageLightMap) device->SetSamplerState(stage, D3DSAMP_MAXMIPLEVEL, 0);

  if (mode != kStageLightMap) device->SetTransform(D3DTRANSFORMSTATETYPE(D3DTS_TEXTURE0 + stage), &m);
  device->SetTexture(stage, d3dTexture);
  ++stage;
}

// ---------------------------------------------------------------------------
// AnimatedTexture

// Images are always loaded compressed. A key "i<n>" the file does not have
// is skipped with a debugger note; when no image at all could be named, the
// texture's own file is its one image, so update always has a list to pick
// from.
void AnimatedTexture::loadSequence(const char* text, float animScale, float animOffset) {
  config.Parse(text != nullptr ? text : "");

  images.clear();
  const std::int32_t count = std::min(config.GetInt("images"), kMaxSequenceImages);
  std::int32_t missing = 0;
  for (std::int32_t i = 0; i < count; ++i) {
    char key[16];
    std::snprintf(key, sizeof key, "i%d", static_cast<int>(i));
    const char* file = config.GetString(key);
    if (file == nullptr) {
      ++missing;
      continue;
    }
    load(file, true);
    images.push_back(d3dTexture);
  }
  if (missing > 0) {
    char note[512];
    std::snprintf(note, sizeof note, "AnimatedTexture %s: %d of %d image keys missing in its sequence\n",
                  name.c_str(), static_cast<int>(missing), static_cast<int>(count));
    OutputDebugStringA(note);
  }
  if (images.empty()) {
    load(name.c_str(), true);
    images.push_back(d3dTexture);
  }

  d3dTexture = images[0];
  currentImage = 0;
  loadAnimations(scene, &config, animOffset, animScale);
}

void AnimatedTexture::update(bool) {
  if (images.empty()) return;
  const int n = static_cast<int>(images.size());
  // A non-negative remainder: activeImage −1 shows the last image, not
  // memory before the list.
  int index = truncateToInt(activeImage) % n;
  if (index < 0) index += n;
  d3dTexture = images[static_cast<std::size_t>(index)];
  currentImage = index;
}

float* AnimatedTexture::getControlField(const char* field) {
  if (field != nullptr) {
    if (std::strcmp(field, "Active Image") == 0) return &activeImage;
    if (std::strcmp(field, "Tex U Offset") == 0) return &uOffset;
    if (std::strcmp(field, "Tex V Offset") == 0) return &vOffset;
    if (std::strcmp(field, "Tex U Scale") == 0) return &uScale;
    if (std::strcmp(field, "Tex V Scale") == 0) return &vScale;
  }
  // Not fatal: the caller gets no field and loading goes on.
  MessageBoxA(nullptr, "Invalid control field in AnimatedTexture", "Error", MB_OK);
  return nullptr;
}
