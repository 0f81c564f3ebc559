#pragma once
// A small proportional pixel font for the show's title cards: printable
// ASCII letters, digits and common punctuation on a 5 x 9 grid (7 rows above
// the baseline, 2 for descenders). Text is laid out into a bitmap of font
// pixels; the pictures then draw each font pixel as a block of screen pixels.
#include <cstdint>
#include <string_view>
#include <vector>

class PixelFont {
 public:
  static constexpr int kRows = 9;         // font pixels per line
  static constexpr int kAscent = 7;       // rows above the baseline
  static constexpr int kSpacing = 1;      // empty columns between glyphs
  static constexpr int kSpaceWidth = 3;   // columns of a blank

  struct Bitmap {
    int width = 0;  // font pixels
    int height = kRows;
    std::vector<std::uint8_t> bits;  // width x height, rows top first, 0 or 1
    bool at(int x, int y) const {
      return x >= 0 && y >= 0 && x < width && y < height && bits[std::size_t(y) * width + x] != 0;
    }
  };

  // One line of text. Characters without a glyph (control characters, bytes
  // above 127, a few symbols) are drawn as a hollow box so they show.
  static Bitmap layOut(std::string_view text);
  static bool hasGlyph(char c);
};
