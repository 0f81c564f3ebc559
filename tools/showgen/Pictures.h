#pragma once
// The show's painted pictures (the text cards are in TextCard.h).
//
// The backdrop is opaque. The stars, the orb and the spinning shape are
// light on black: store them with PngColour::premultiplied, so that an
// additive layer (one + one blending, which ignores alpha) adds exactly the
// light and nothing where the picture is empty; their alpha is the light's
// strength, so they also sit acceptably on an alpha-blended layer.
#include "tools/showgen/Canvas.h"

constexpr int kSpinFrames = 12;
constexpr int kSpinFramesPerSecond = 12;

Canvas makeBackdrop();  // 800 x 600: a dusk sky, nebula, sun, hills and a neon floor grid
Canvas makeStars();     // 800 x 600: sparse stars and a few sparkles
Canvas makeOrb();       // 128 x 128: a soft glowing ball
// 128 x 128: frame `frame` (0 ... frameCount - 1) of a wire cube around a
// counter-turning octahedron; the frames loop seamlessly.
Canvas makeSpinFrame(int frame, int frameCount);
