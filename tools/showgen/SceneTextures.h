#pragma once
// The pictures the example show's 3D scenes put on their objects.
//
// Diffuse pictures and sky faces are opaque (stored as JPEG, so materials
// using them stay opaque). Normal maps encode a unit vector per texel in
// the picture's own frame: red = (x + 1) / 2 towards the right, green =
// (y + 1) / 2 towards the top of the picture, blue = (z + 1) / 2 out of the
// surface (a flat texel is 128, 128, 255); they wrap at the picture's edges
// like the diffuse pictures they belong to. Sphere maps are looked up by the
// view-space normal: the centre faces the eye, the top faces up, the rim
// grazes. Particle pictures are light on black, premultiplied, for additive
// blending.
#include "tools/showgen/Canvas.h"

enum class Sky {
  space,  // black-violet night, a tilted band of nebula, stars
  dusk,   // a synthwave dusk: violet zenith, pink horizon, a slotted sun in +y
};

constexpr int kSkyFaceSize = 512;

// Face `face` (+x, -x, +y, -y, +z, -z, as MeshData::addBox lays them out) of
// a sky box, kSkyFaceSize square; texel (x, y) shows the direction of the
// face point at (x, y) / (size - 1).
Canvas makeSkyFace(Sky sky, int face);
// The horizon colour of the dusk sky, the colour its fog fades to.
Rgb duskHorizon();

Canvas makePlanet();         // 1024 x 512, longitude across, north pole at the top: seas, rock, ice
Canvas makePlanetNormals();  // its relief (craters, ridges; seas flat)
Canvas makeAtmosphere();     // 256 x 256 sphere map: a thin blue rim
Canvas makePanels();         // 256 x 256 hull plating: 4 x 4 panels with grooves and rivets
Canvas makePanelNormals();
Canvas makeTiles();          // 256 x 256: 2 x 2 dark floor tiles with bright seams
Canvas makeTileNormals();
Canvas makeChrome();         // 256 x 256 sphere map: the dusk reflected in polished metal
Canvas makeSpark();          // 64 x 64: a cool white particle
Canvas makeEmber();          // 64 x 64: a warm orange particle

// The normal map of a height field, one texel apart in the units of the
// height times `strength`. wrapX / wrapY: the field repeats across that
// edge; otherwise the edge texel is repeated.
Canvas normalMapOf(const Plane& height, float strength, bool wrapX, bool wrapY);
