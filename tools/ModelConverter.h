#pragma once
// vxtool convert: a model file of any format the model-import library reads
// (glTF, FBX, OBJ, Collada, 3DS, ...) turned into one VXK scene file and the
// textures it names, written through the project's own scene writer.
//
// The scene format is left-handed, row vectors, z up; models are converted
// into that convention (docs/coordinates.md). Everything the format cannot
// hold is dropped or approximated and said so in the report's warnings.
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

struct ConvertOptions {
  std::string model;              // path of the model file
  std::string outDir;             // folder receiving NAME.vxk and its textures
  std::string name;               // scene file name without ".vxk"; empty: the model's base name
  float scale = 1.0f;             // multiplies every length (positions, translations, clip planes, ranges)
  std::optional<char> up;         // 'y' or 'z': the source's up axis where the file does not state one
  unsigned fps = 25;              // frames per second of baked vertex animation, 1 ... 1000
  bool keepNames = false;         // names exactly as the model has them (else unique and never empty)
  bool force = false;             // OUT_DIR may exist; files of the same names in it are replaced
};

struct ConvertReport {
  std::size_t nodes = 0;          // groups, cameras and lights written
  std::size_t meshes = 0;
  std::size_t vertices = 0;       // over every vertex buffer
  std::size_t triangles = 0;
  std::size_t materials = 0;
  std::size_t textures = 0;       // image files written beside the scene
  std::size_t cameras = 0;
  std::size_t lights = 0;
  std::size_t nodeAnimations = 0;    // transform keyframe controllers
  std::size_t vertexAnimations = 0;  // baked vertex frame controllers
  std::string axes;               // the source frame used: "y up, z front", ...
  std::string sceneFile;          // OUT_DIR/NAME.vxk
  std::vector<std::string> files; // every file written, scene first (names inside OUT_DIR)
  std::size_t bytes = 0;          // their total size
  std::vector<std::string> warnings;  // what was dropped or approximated
};

// Converts options.model. On failure returns false with *error set (one
// line) and leaves OUT_DIR as it was: everything is written into a private
// folder first and moved into place only once complete.
bool convertModel(const ConvertOptions& options, ConvertReport* report, std::string* error);
