#include "layers/ImageBlitter.h"

#include "archive/Configuration.h"
#include "archive/ResourceLoader.h"
#include "platform/d3dx/D3DXImage.h"
#include "platform/d3dx/D3DXMath.h"
#include "platform/d3dx/D3DXTexture.h"
#include "platform/os/Process.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

[[noreturn]] void imageLoadFailed(const char* fileName) { FatalMessage("Error", 0, kImageFileMissing, fileName); }

std::uint32_t bytesPerPixel(D3DFORMAT format) {
  switch (format) {
    case D3DFMT_L8: case D3DFMT_A8: return 1;
    case D3DFMT_R5G6B5: case D3DFMT_A8L8: return 2;
    case D3DFMT_R8G8B8: return 3;
    default: return 4;
  }
}

bool endsWithSeq(const char* name) {
  const std::size_t length = std::strlen(name);
  if (length < 3) return false;
  return AsciiLower(name + length - 3) == "seq";
}

std::string trimmed(const std::string& s, const char* blanks) {
  const std::size_t first = s.find_first_not_of(blanks);
  if (first == std::string::npos) return "";
  return s.substr(first, s.find_last_not_of(blanks) - first + 1);
}

}  // namespace

std::vector<ImageSequenceFrame> ParseImageSequence(const char* text) {
  std::vector<std::string> lines;
  for (const char* p = text; *p;) {
    const char* end = std::strchr(p, '\n');
    if (!end) end = p + std::strlen(p);
    std::string line = trimmed(std::string(p, end), " \t\r\n");
    if (!line.empty() && line[0] != '#') lines.push_back(std::move(line));
    p = *end ? end + 1 : end;
  }
  std::vector<ImageSequenceFrame> frames;
  if (lines.empty()) return frames;

  if (AsciiLower(lines[0].substr(0, 3)) == "fps") {
    // "fps = N": the second "="-separated piece is the frame rate.
    const std::size_t first = lines[0].find_first_not_of('=');
    const std::size_t sep = first == std::string::npos ? std::string::npos : lines[0].find('=', first);
    const std::size_t value = sep == std::string::npos ? std::string::npos : lines[0].find_first_not_of('=', sep);
    const float fps = value == std::string::npos ? 0.0f : float(ParseDecimalFloat(lines[0].c_str() + value));
    float time = 0;
    for (std::size_t k = 1; k < lines.size(); ++k) {
      frames.push_back({time, lines[k]});
      time += 1000.0f / fps;
    }
  } else {
    for (const std::string& line : lines) {
      // "TIME NAME": pieces split at blanks or tabs; further pieces ignored.
      const std::size_t nameStart = line.find_first_not_of(" \t", line.find_first_of(" \t"));
      std::string name;
      if (nameStart != std::string::npos) name = line.substr(nameStart, line.find_first_of(" \t", nameStart) - nameStart);
      frames.push_back({float(ParseDecimalFloat(line.c_str())), name});
    }
  }
  return frames;
}

ImageBlitter::ImageBlitter(IDirect3DDevice9* device_, const char* fileName, int width, int height, bool solidColor_,
                           D3DCOLOR color_)
    : solidColor(solidColor_), color(color_), device(device_), screenHeight(std::uint32_t(height)),
      screenWidth(std::uint32_t(width)) {
  // A failed load ends the process; a test harness's exit hook may unwind out
  // of here instead, and then no destructor runs: what was made so far is
  // released on the way out.
  struct ReleaseOnUnwind {
    ImageBlitter* self;
    ~ReleaseOnUnwind() {
      if (self) self->releaseResources();
    }
  } guard{this};
  if (solidColor) {
    imageWidth = screenWidth;
    imageHeight = screenHeight;
  } else if (endsWithSeq(fileName)) {
    loadSequence(fileName);
  } else {
    loadPicture(fileName);
  }
  buildQuad();
  guard.self = nullptr;
}

ImageBlitter::~ImageBlitter() { releaseResources(); }

void ImageBlitter::releaseResources() {
  if (texture) texture->Release();
  texture = nullptr;
  for (auto& frame : frames) frame.second->Release();
  frames.clear();
}

// Decodes an image file into a new system-memory surface of its own size and
// format; imageWidth, imageHeight and format describe it afterwards.
IDirect3DSurface9* ImageBlitter::loadSurface(const char* fileName) {
  std::int32_t size = 0;
  unsigned char* data = LoadWholeResource(fileName, kImageFileMissing, &size, false);
  D3DXIMAGE_INFO info;
  IDirect3DSurface9* surface = nullptr;
  if (FAILED(D3DXGetImageInfoFromFileInMemory(data, UINT(size), &info)) ||
      FAILED(device->CreateOffscreenPlainSurface(info.Width, info.Height, info.Format, D3DPOOL_SYSTEMMEM, &surface,
                                                 nullptr)) ||
      FAILED(D3DXLoadSurfaceFromFileInMemory(surface, nullptr, nullptr, data, UINT(size), nullptr, D3DX_DEFAULT, 0,
                                             nullptr))) {
    std::free(data);
    if (surface) surface->Release();
    imageLoadFailed(fileName);
  }
  std::free(data);
  imageWidth = info.Width;
  imageHeight = info.Height;
  format = info.Format;
  return surface;
}

void ImageBlitter::loadPicture(const char* fileName) {
  // Released however this ends: createTexture may end the show (see the constructor).
  const std::unique_ptr<IDirect3DSurface9, void (*)(IDirect3DSurface9*)> surface(
      loadSurface(fileName), [](IDirect3DSurface9* s) { s->Release(); });
  createTexture();
  copyToTexture(surface.get());
}

void ImageBlitter::loadSequence(const char* fileName) {
  std::int32_t size = 0;
  unsigned char* data = LoadWholeResource(fileName, kImageFileMissing, &size, false);
  std::string text(reinterpret_cast<char*>(data), std::size_t(size));
  std::free(data);
  const std::vector<ImageSequenceFrame> list = ParseImageSequence(text.c_str());
  if (list.empty()) imageLoadFailed(fileName);  // nothing to show, and no loop length

  std::uint32_t width = 0, height = 0;
  D3DFORMAT firstFormat = D3DFMT_UNKNOWN;
  for (const ImageSequenceFrame& frame : list) {
    frames.emplace_back(frame.time, loadSurface(frame.file.c_str()));
    if (frames.size() == 1) {
      width = imageWidth, height = imageHeight, firstFormat = format;
    } else if (imageWidth != width || imageHeight != height || format != firstFormat) {
      imageLoadFailed(frame.file.c_str());  // every frame must match the first
    }
  }
  loopLength = list.back().time * float(list.size() + 1) / float(list.size());
  createTexture();
  copyToTexture(frames[0].second);
  currentFrame = textureFrame = 0;
}

void ImageBlitter::createTexture() {
  device->CreateTexture(imageWidth, imageHeight, 1, D3DUSAGE_DYNAMIC, format, D3DPOOL_DEFAULT, &texture, nullptr);
  D3DSURFACE_DESC desc{};
  if (!texture || FAILED(texture->GetLevelDesc(0, &desc))) desc.Format = format;
  textureWidth = desc.Width ? desc.Width : imageWidth;
  textureHeight = desc.Height ? desc.Height : imageHeight;
  switch (desc.Format) {
    case D3DFMT_A8R8G8B8: case D3DFMT_L8: hasAlpha = true; break;
    case D3DFMT_X8R8G8B8: hasAlpha = false; break;
    default: FatalMessage("Error", 0, "Unknown texture format");
  }
}

void ImageBlitter::copyToTexture(IDirect3DSurface9* surface) {
  if (!texture || !surface) return;
  D3DSURFACE_DESC desc;
  D3DLOCKED_RECT from, to;
  if (FAILED(surface->GetDesc(&desc)) || FAILED(surface->LockRect(&from, nullptr, D3DLOCK_READONLY))) return;
  if (SUCCEEDED(texture->LockRect(0, &to, nullptr, 0))) {
    const std::size_t rowBytes = std::size_t(desc.Width) * bytesPerPixel(desc.Format);
    for (UINT row = 0; row < desc.Height && row < textureHeight; ++row)
      std::memcpy(static_cast<unsigned char*>(to.pBits) + std::size_t(row) * std::size_t(to.Pitch),
                  static_cast<const unsigned char*>(from.pBits) + std::size_t(row) * std::size_t(from.Pitch), rowBytes);
    texture->UnlockRect(0);
  }
  surface->UnlockRect();
}

void ImageBlitter::buildQuad() {
  static const Vertex kTemplate[4] = {{0, 0, 1, 0, 1}, {0, 1, 1, 0, 0}, {1, 0, 1, 1, 1}, {1, 1, 1, 1, 0}};
  for (int i = 0; i < 4; ++i) {
    quad[i] = kTemplate[i];
    quad[i].x *= float(imageWidth);
    quad[i].y *= float(imageHeight);
    if (!solidColor && imageWidth && imageHeight) {
      quad[i].u *= float(textureWidth) / float(imageWidth);
      quad[i].v *= float(textureHeight) / float(imageHeight);
    }
  }
}

void ImageBlitter::Advance(float t) {
  if (frames.empty()) return;
  // Wrap into the loop; a loop that is not positive never wraps, and a time
  // too far ahead for repeated subtraction to move wraps in one step.
  if (loopLength > 0 && t >= loopLength) {
    if (t / loopLength > 1.0e6f) t = std::fmod(t, loopLength);
    while (t >= loopLength) t -= loopLength;
  }
  const std::uint32_t next = currentFrame + 1 < frames.size() ? currentFrame + 1 : 0;
  if (frames[next].first <= t && (t <= frames[currentFrame].first || frames[currentFrame].first <= frames[next].first))
    currentFrame = next;
}

void ImageBlitter::Draw(float t) {
  Advance(t);
  // Frames passed over by Advance alone were never copied: only the one shown.
  if (!frames.empty() && textureFrame != currentFrame) {
    copyToTexture(frames[currentFrame].second);
    textureFrame = currentFrame;
  }

  bool blend;
  if (!solidColor) {
    device->SetTexture(0, texture);
    device->SetTextureStageState(0, D3DTSS_COLORARG1, D3DTA_TEXTURE);
    device->SetTextureStageState(0, D3DTSS_COLOROP, D3DTOP_SELECTARG1);
    device->SetTextureStageState(0, D3DTSS_ALPHAARG1, D3DTA_TEXTURE);
    device->SetSamplerState(0, D3DSAMP_MAGFILTER, D3DTEXF_POINT);
    device->SetSamplerState(0, D3DSAMP_MINFILTER, D3DTEXF_POINT);
    if (alpha >= 0.999f) {
      device->SetTextureStageState(0, D3DTSS_ALPHAOP, D3DTOP_SELECTARG1);
    } else {
      device->SetTextureStageState(0, D3DTSS_ALPHAOP, D3DTOP_MODULATE);
      device->SetTextureStageState(0, D3DTSS_ALPHAARG1, D3DTA_TFACTOR);
      // The quad has no vertex colour, so the diffuse colour is opaque white:
      // a faded picture takes its opacity from the layer alone.
      device->SetTextureStageState(0, D3DTSS_ALPHAARG2, D3DTA_DIFFUSE);
      device->SetRenderState(D3DRS_TEXTUREFACTOR, DWORD(alpha * 255.0f) << 24);
    }
    blend = hasAlpha || additive || alpha < 0.999f;
  } else {
    const float r = float((color >> 16) & 0xFF) * 0.003921569f;
    const float g = float((color >> 8) & 0xFF) * 0.003921569f;
    const float b = float(color & 0xFF) * 0.003921569f;
    const float a = float(color >> 24) / 255.0f * alpha;
    device->SetRenderState(D3DRS_TEXTUREFACTOR,
                           ColorChannelByte(a) << 24 | ColorChannelByte(r) << 16 | ColorChannelByte(g) << 8 | ColorChannelByte(b));
    device->SetTextureStageState(0, D3DTSS_COLOROP, D3DTOP_SELECTARG1);
    device->SetTextureStageState(0, D3DTSS_ALPHAOP, D3DTOP_SELECTARG1);
    device->SetTextureStageState(0, D3DTSS_COLORARG1, D3DTA_TFACTOR);
    device->SetTextureStageState(0, D3DTSS_ALPHAARG1, D3DTA_TFACTOR);
    device->SetTexture(0, nullptr);
    blend = additive || a < 0.999f;
  }

  device->SetRenderState(D3DRS_ALPHABLENDENABLE, blend ? TRUE : FALSE);
  device->SetTextureStageState(1, D3DTSS_COLOROP, D3DTOP_DISABLE);
  device->SetTextureStageState(1, D3DTSS_ALPHAOP, D3DTOP_DISABLE);
  device->SetRenderState(D3DRS_BLENDOP, D3DBLENDOP_ADD);
  device->SetRenderState(D3DRS_SRCBLEND, additive ? D3DBLEND_ONE : D3DBLEND_SRCALPHA);
  device->SetRenderState(D3DRS_DESTBLEND, additive ? D3DBLEND_ONE : D3DBLEND_INVSRCALPHA);

  D3DXMATRIX savedView, savedProjection, projection, view, world;
  device->GetTransform(D3DTS_VIEW, &savedView);
  device->GetTransform(D3DTS_PROJECTION, &savedProjection);
  D3DXMatrixOrthoOffCenterLH(&projection, 0, float(screenWidth), 0, float(screenHeight), 0, 1);
  D3DXMatrixIdentity(&view);
  // Top-left corner at (x, y) from the top-left of the virtual screen; the
  // half pixel aligns texels with pixels.
  D3DXMatrixTranslation(&world, x + 0.5f, float(screenHeight) - float(imageHeight) - y + 0.5f, 0);
  device->SetTransform(D3DTS_PROJECTION, &projection);
  device->SetTransform(D3DTS_VIEW, &view);
  device->SetTransform(D3DTS_WORLD, &world);

  device->SetFVF(D3DFVF_XYZ | D3DFVF_TEX1);
  device->SetRenderState(D3DRS_ZENABLE, FALSE);
  device->SetRenderState(D3DRS_ZWRITEENABLE, FALSE);
  device->SetRenderState(D3DRS_LIGHTING, FALSE);
  device->DrawPrimitiveUP(D3DPT_TRIANGLESTRIP, 2, quad, sizeof(Vertex));
  device->SetRenderState(D3DRS_ZENABLE, TRUE);
  device->SetRenderState(D3DRS_ZWRITEENABLE, TRUE);
  device->SetRenderState(D3DRS_LIGHTING, TRUE);

  device->SetTransform(D3DTS_PROJECTION, &savedProjection);
  device->SetTransform(D3DTS_VIEW, &savedView);
  device->SetTexture(0, nullptr);
}
