#pragma once
// One 2D picture the script can put on a layer: a still image, an image
// sequence ("...seq" text files listing frames) or a solid colour rectangle.
// Drawn as one screen-aligned quad on a virtual screen (800 x 600 as the
// Scripter makes them) that maps onto the whole viewport, with point sampling
// and a half-pixel offset so that texels land on pixels.
//
// Layer values (x, y, alpha, additive) are written by the Scripter just
// before each draw; several layers may show one blitter.
#include "platform/gfx/Device.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>


struct ImageSequenceFrame {
  float time;  // ms into the loop
  std::string file;
};

// Parses the text of an image sequence: either a first line "fps = N" and a
// frame file per line (frame k at k * 1000 / N ms, accumulated in single
// precision), or lines of "TIME FILE". Lines are trimmed; empty lines and
// lines starting with "#" are skipped.
std::vector<ImageSequenceFrame> ParseImageSequence(const char* text);

class ImageBlitter {
 public:
  // width, height: the virtual screen. With solidColor set, a rectangle of
  // that size in `color` (ARGB); otherwise `fileName` is loaded (a picture,
  // or a sequence when the name ends in "seq"). A file that cannot be loaded
  // ends the show with "Image load failed: NAME".
  ImageBlitter(IDirect3DDevice9* device, const char* fileName, int width, int height, bool solidColor,
               D3DCOLOR color);
  virtual ~ImageBlitter();
  ImageBlitter(const ImageBlitter&) = delete;
  ImageBlitter& operator=(const ImageBlitter&) = delete;

  // t: script time, ms. Advances a sequence (at most one frame per call) and
  // draws the quad with the current layer values.
  void Draw(float t);
  // The sequence step of Draw alone, for frames nobody sees: the next Draw
  // shows the frame reached, exactly as if every call had drawn.
  void Advance(float t);

  struct Vertex {
    float x, y, z, u, v;
  };
  Vertex quad[4];  // triangle strip, virtual-screen pixels, y up
  bool solidColor;
  D3DCOLOR color;
  IDirect3DDevice9* device;          // not owned
  IDirect3DTexture9* texture = nullptr;
  std::vector<std::pair<float, IDirect3DSurface9*>> frames;  // system-memory frames of a sequence
  std::uint32_t currentFrame = 0;
  std::uint32_t textureFrame = 0;  // the sequence frame the texture holds
  float loopLength = 0;  // ms
  bool hasAlpha = false;
  std::uint32_t imageWidth = 0, imageHeight = 0;
  std::uint32_t textureWidth = 0, textureHeight = 0;
  D3DFORMAT format = D3DFMT_UNKNOWN;
  std::uint32_t screenHeight, screenWidth;
  bool additive = true;
  float x = 0, y = 0;   // top-left corner, virtual-screen pixels, y down
  float alpha = 1.0f;   // already clamped to [0, 1]

 private:
  IDirect3DSurface9* loadSurface(const char* fileName);
  void loadPicture(const char* fileName);
  void loadSequence(const char* fileName);
  void createTexture();
  void copyToTexture(IDirect3DSurface9* surface);
  void buildQuad();
  void releaseResources();  // the texture and the sequence's frames
};
