#pragma once
// Lines of text on a filled panel, drawn on the device in pixels of the
// current render target, for tool windows (previews, error screens). The
// glyphs are the fixed-width font of FixedFont.h, one texel to one pixel.
#include "platform/gfx/Device.h"

#include <string>
#include <vector>

struct TextPanel {
  int x = 0, y = 0;  // top-left corner of the panel, pixels
  std::vector<std::string> lines;
  D3DCOLOR text = 0xFFFFFFFF;        // glyph colour (alpha blends)
  D3DCOLOR background = 0xC0000000;  // panel colour, alpha-blended over what is there
  int padding = 6;                   // pixels between the panel's edge and the text
};

class TextOverlay {
 public:
  explicit TextOverlay(IDirect3DDevice9* device);  // AddRef's the device, creates the glyph texture
  ~TextOverlay();                                  // releases both
  TextOverlay(const TextOverlay&) = delete;
  TextOverlay& operator=(const TextOverlay&) = delete;

  bool ok() const;  // false when the texture could not be made
  static int glyphWidth();
  static int lineHeight();
  // Panel size in pixels: the longest line's glyphs across and one line
  // height per line down, with the padding (negative counts as 0) on every
  // side. A panel without lines is 0 × 0 and draws nothing.
  static void measure(const TextPanel& panel, int* width, int* height);
  // Draws the panel (inside BeginScene/EndScene). Lines are cut at the
  // render target's right edge, the panel at its bottom. Every render state,
  // texture-stage state, sampler state, texture, FVF, shader and transform it
  // changes is put back as it found them, so the next frame of a show draws
  // exactly as it would have without the overlay. The viewport and stream 0
  // (which a user-pointer draw unbinds) are given back the same way.
  void draw(const TextPanel& panel);

 private:
  struct Vertex {
    float x, y, z, rhw;
    D3DCOLOR diffuse;
    float u, v;
  };
  // Appends the target-clipped rectangle [x0, x0 + w) × [y0, y0 + h) as two
  // triangles, textured from atlas texels starting at (u0, v0), or with
  // every corner on the solid cell when solid.
  void addQuad(int x0, int y0, int w, int h, int u0, int v0, bool solid, D3DCOLOR color, int targetWidth,
               int targetHeight);
  void flush();

  IDirect3DDevice9* m_device;
  IDirect3DTexture9* m_glyphs = nullptr;
  std::vector<Vertex> m_vertices;  // the panel's triangle list, kept for its capacity
};
