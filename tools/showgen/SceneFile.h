#pragma once
// The example show's 3D scene: a camera above an orbiting, spinning box with
// a point light, and a cloud of stars, written as a VXK scene file. Its
// textures are the show's own pictures (orb.png on the box, stars.png on the
// cloud).
#include "tools/showgen/ImageFiles.h"

// The scene file's bytes; the same on every run.
Bytes makeOrbitScene();
