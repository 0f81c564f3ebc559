#pragma once
// The example show's 3D scenes, written as VXK scene files (z is up, one
// unit is about a metre, times in ms of scene time). Their textures are
// named in sceneTextureNames() and made by ShowGenerator.
//
// orbit.vxk: a planet in space, lit by a sun (a point light with a glowing
// sprite) under a nebula sky box: the planet is normal-mapped with specular
// highlights and an atmosphere rim from its sphere map, two neon rings
// glow about it, two probes orbit it carrying beacons, and a disc of dust
// turns with the rings. Cameras "Wide", "Ring" and "Close".
//
// hall.vxk: a hall of pillars on a tiled floor under a dusk sky, fogged
// into the horizon: a spot light sweeps the floor beneath a spinning chrome
// knot, a cyan point light stands at the far end, the pillars carry neon
// bands and lamps, a neon grid lies on the floor and embers hang in the air.
// Cameras "Dolly", "Orbit" and "Crane".
//
// In both, the cameras cut on a loop of kSceneLoopMs (scene time):
// each cut lands kCutLeadMs before its bar line, so that a script command
// on the bar (a camera shake, a fog colour) meets the camera of the new
// shot.
#include <cstdint>
#include <string>
#include <vector>

#include "tools/showgen/ImageFiles.h"

constexpr std::uint32_t kSceneLoopMs = 32000;
constexpr std::uint32_t kCutLeadMs = 40;

Bytes makeOrbitScene();
Bytes makeHallScene();

// The texture files the scenes name, each once, in no particular order
// (orb.png is also one of the 2D show's pictures).
std::vector<std::string> sceneTextureNames();
// The file name of face `face` (0 ... 5) of a sky: "sky-space-0.jpg" ...
std::string skyFaceName(const std::string& sky, int face);
