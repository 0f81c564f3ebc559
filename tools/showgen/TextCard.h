#pragma once
// Title cards: a line of pixel-font text on a transparent picture, filled
// with a vertical colour ramp, embossed, outlined and surrounded by a soft
// coloured glow. Meant for alpha-blended layers (store with
// PngColour::straight): the glow is partly transparent colour, not light.
#include <string_view>

#include "tools/showgen/Canvas.h"

struct TextStyle {
  int cell = 4;              // screen pixels per font pixel
  float gap = 0.0f;          // pixels between neighbouring blocks; 0 fuses them
  float corner = 0.0f;       // corner radius of each block, pixels (with a gap)
  float slant = 0.0f;        // horizontal shift per pixel of height (italic)
  // Fill ramp from the top of the capitals to the baseline: upper ramp
  // skyTop -> skyBottom down to `split` (0 ... 1 of the height), then a hard
  // turn to groundTop -> groundBottom (the chrome look; equal colours give a
  // plain two-stop ramp).
  Rgb skyTop, skyBottom, groundTop, groundBottom;
  float split = 0.5f;
  float emboss = 0.0f;       // strength of the top-left light on the edges
  Rgb outline;
  int outlineRadius = 0;     // pixels; 0: no outline
  Rgb glowLeft, glowRight;   // the glow's colour across the picture
  float glowSigma = 0.0f;    // pixels
  float glowStrength = 0.0f; // peak opacity of the glow, 0 ... 1
  bool underline = false;    // a glowing rule under the text, fading at its ends
};

// The text centred in a width x height picture. Text wider than the picture
// is clipped at its sides.
Canvas renderTextCard(int width, int height, std::string_view text, const TextStyle& style);

Canvas makeTitle();     // 512 x 128: "VXPLAY"
Canvas makeSubtitle();  // 512 x 64: "a real-time show player"
Canvas makeCredits();   // 512 x 96: "made with vxtool"
