#pragma once
// vxtool inspect: a scene file loaded on the recording device (no display),
// prepared, optionally given a scene time, and described either as a
// readable tree or as one JSON object:
//
//   {"root": id|null, "skybox": id|null, "activeCamera": id|null,
//    "ambient": [r, g, b, a],
//    "objects": [{"id": n, "class": "Group", ...fields by their scene names}, ...],   creation order
//    "controllers": [{"class": "...", "target": id|null, "looping": bool, ...keys}, ...]}  list order
//
// Floats are printed with nine significant digits, so they read back to the
// same single-precision value; NaN and infinities print as null.
#include <optional>
#include <string>

class SceneGraph;

struct InspectOptions {
  std::string scene;             // resource name of the scene file
  std::string archive;           // archive to read resources from; empty: loose files only
  bool json = false;
  std::optional<double> timeMs;  // scene time given to every controller before printing
};

// Loads, prepares and describes the scene. False with *error when the scene
// cannot be read: the player's own fatal messages (missing or damaged files,
// missing textures) come back as "CAPTION: TEXT" instead of ending the
// process.
bool inspectScene(const InspectOptions& options, std::string* out, std::string* error);

// The two descriptions of a loaded scene.
std::string sceneJson(SceneGraph& scene);
std::string sceneTree(SceneGraph& scene);
