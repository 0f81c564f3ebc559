#pragma once
// Lines of text on a filled panel, drawn on the device in pixels of the
// current render target with the preview's bitmap font (PreviewFont.h):
// vxtool preview's figures and its error screen.
#include "platform/gfx/Device.h"

#include <string>
#include <vector>

struct PreviewTextPanel {
  int x = 0, y = 0;  // top-left corner of the panel, pixels
  std::vector<std::string> lines;
  D3DCOLOR text = 0xFFFFFFFF;        // glyph colour; its alpha blends
  D3DCOLOR background = 0xC0000000;  // panel colour, blended over what is there
  int padding = 6;                   // pixels between the panel's edge and the text
};

class PreviewText {
 public:
  // Takes a reference to the device and makes the glyph texture.
  explicit PreviewText(IDirect3DDevice9* device);
  ~PreviewText();
  PreviewText(const PreviewText&) = delete;
  PreviewText& operator=(const PreviewText&) = delete;

  bool ok() const { return m_glyphs != nullptr; }
  // The panel's size: the longest line's glyphs across, a line height per
  // line down, the padding around.
  static void measure(const PreviewTextPanel& panel, int* width, int* height);

  // Draws the panel, inside BeginScene / EndScene: the background blended
  // (source alpha) over the target, then each glyph pixel in the text
  // colour blended the same way. Glyphs past the viewport's right edge are
  // left out; what lies outside the target is clipped. Every device state it
  // sets is given back as found.
  void draw(const PreviewTextPanel& panel);

 private:
  IDirect3DDevice9* m_device;
  IDirect3DTexture9* m_glyphs = nullptr;
};
