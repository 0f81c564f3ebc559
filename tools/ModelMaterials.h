#pragma once
// Materials and texture files for vxtool convert. Each imported material
// becomes one material record; each image it uses is written once into the
// output folder (PNG and JPEG files as they are, every other image the
// project can decode as PNG, height maps as normal maps) under a plain file
// name that the scene file names and the archive will hold.
#include "scene/VxkWriter.h"

#include <assimp/material.h>
#include <assimp/scene.h>

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

class ModelTextures {
 public:
  // modelDir: folder of the model file (relative texture paths start
  // there). outDir: where image files are written. nextId: the scene's file
  // id counter. warn: collects what could not be written.
  ModelTextures(const aiScene& scene, std::string modelDir, std::string outDir, std::uint32_t* nextId,
                std::function<void(const std::string&)> warn);

  // The file id of a texture chunk for the image at path (a file path or an
  // embedded "*N" reference), writing the image on first use; kNoId when it
  // cannot be had (a warning says why). asNormalMap: a height map, turned
  // into a normal map with the given strength.
  std::uint32_t image(const std::string& path, bool fromHeight = false, float strength = 1.0f);

  struct Written {
    std::uint32_t id;
    std::string fileName;  // inside outDir
  };
  const std::vector<Written>& written() const { return m_written; }

 private:
  // The image's file bytes, or (embedded raw texels) its ARGB texels with
  // *width set; *name: the file name it goes by.
  bool source(const std::string& path, std::vector<unsigned char>* bytes, std::vector<std::uint32_t>* texels,
              unsigned* width, unsigned* height, std::string* name, std::string* why);
  std::string uniqueName(const std::string& wanted);

  const aiScene& m_scene;
  std::string m_modelDir, m_outDir;
  std::uint32_t* m_nextId;
  std::function<void(const std::string&)> m_warn;
  std::map<std::string, std::uint32_t> m_done;  // (kind + path) -> id, kNoId for failures
  std::set<std::string> m_names;
  std::vector<Written> m_written;
};

// The material record of an imported material; textures through `textures`.
vxk::MaterialRecord convertMaterial(const aiMaterial& material, ModelTextures& textures, bool modelHasSecondUv,
                                    std::function<void(const std::string&)> warn);

// Float colour channel to a byte: >= 1 gives 255, <= 0 gives 0, otherwise
// the nearest step (the player's own packing rule).
std::uint32_t packArgb(float r, float g, float b, float a);

// Writes w x h ARGB texels (rows top first) as an 8-bit RGBA PNG.
bool writePngRgba(const std::string& path, const std::vector<std::uint32_t>& argb, unsigned width, unsigned height,
                  std::string* error);
// A tangent-space normal map from a height map's luminance: each texel
// (-dh/du, -dh/dv, 1) x strength on the slopes, normalised, stored as
// (n + 1) / 2 in red, green, blue; u to the right, v down, edges wrap.
std::vector<std::uint32_t> normalsFromHeights(const std::vector<std::uint32_t>& argb, unsigned width,
                                              unsigned height, float strength);
