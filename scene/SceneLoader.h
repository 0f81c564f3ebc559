#pragma once
// Scene file loaders. A loader is itself a scene object (it has a scene id
// and lives as long as its scene); it reads one file, and every file that
// file names, into its scene.
//
// Loading a scene: SceneGraph scene(device);
//   auto* loader = new VXKSceneLoader(scene.AllocateId(), &scene);  // id 0, owned by the scene
//   loader->LoadScene("world.vxk");
//   scene.Prepare();
//
// Damaged files end the show the way every content error does: an "Error"
// box naming the file, then exit code 0. Nothing is read outside the file.
#include "scene/Base.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

class Group;

class SceneLoader : public Base {
 public:
  SceneLoader(std::uint32_t id, SceneGraph* scene) : Base(id, scene) {}

  // Reads a whole file's bytes into the scene. parentId: scene id given to
  // nodes stored without a parent (-1 for a top-level file, whose parentless
  // nodes become the scene root). Times: t × animScale + animOffset (ms);
  // looping goes to every controller the file creates.
  virtual void parse(const std::uint8_t* bytes, std::size_t length, std::int32_t parentId, float animOffset,
                     float animScale, bool looping) = 0;

  // Reads the named file whole through the resource layer (a loose file
  // first, then the archive; a missing file or short read is fatal) and
  // parses it.
  void LoadFile(const char* name, std::int32_t parentId, float animOffset, float animScale, bool looping);
  // The top-level file of a scene: no parent, unshifted and unscaled times,
  // looping controllers; the scene is marked loaded afterwards.
  void LoadScene(const char* name);

  // The file being (or last) read, for messages; "(memory)" when parse was
  // called on bytes directly.
  std::string fileName = "(memory)";
  // Files open above this one (the files whose nodes led to it), outermost
  // first. A nested file that is already on this chain would load itself
  // forever and is refused.
  std::vector<std::string> openFiles;
};

class VXKSceneLoader : public SceneLoader {
 public:
  VXKSceneLoader(std::uint32_t id, SceneGraph* scene) : SceneLoader(id, scene) {}

  void parse(const std::uint8_t* bytes, std::size_t length, std::int32_t parentId, float animOffset,
             float animScale, bool looping) override;

  std::int32_t parentId = -1;
  float animOffset = 0.0f;   // ms added to every animation time
  float animScale = 1.0f;    // multiplies every animation time
  bool looping = true;
  std::unordered_map<std::uint32_t, std::uint32_t> idMap;  // file id -> scene id
  std::vector<std::uint32_t> normalMapIds;                 // file ids of textures used as normal maps

  // The scene id of a file id, handing out the next scene id on first sight.
  std::uint32_t mapId(std::uint32_t fileId);
  // The scene id of a reference field: -1 for kNoId (no object), else mapId.
  std::int32_t mapRef(std::uint32_t fileId);
  // The scene object an earlier chunk of this file created under the file id,
  // or null (never mentioned, mentioned but not created). No id is handed out.
  Base* existing(std::uint32_t fileId) const;

  // A scene time (ms) from a file time: whole part of t × animScale +
  // animOffset, as an unsigned 32-bit value (negative and out-of-range
  // results wrap modulo 2³² as the format's unsigned arithmetic does; NaN
  // gives 0).
  std::uint32_t scaleTime(std::uint32_t t) const;

  // The four times of an old-layout (sampled) animation, ms after scaling.
  struct SampleTimes {
    std::uint32_t rangeStart = 0, rangeEnd = 0, firstSample = 0, lastSample = 0;
  };

 private:
  class Chunk;
  std::uint32_t nextKeyTime(Chunk& c, std::uint32_t time) const;
  SampleTimes readSampleTimes(Chunk& c) const;
  void readChunk(std::uint16_t type, std::uint16_t version, std::uint32_t objectId, Chunk& c);
  void readNode(Group& node, std::uint16_t type, std::uint16_t version, Chunk& c);
  void nodeKeys(Group& node);
  void readAmbient(Chunk& c);
  void readGroup(std::uint16_t version, std::uint32_t objectId, Chunk& c);
  void readCamera(std::uint16_t version, std::uint32_t objectId, Chunk& c);
  void readLight(std::uint16_t version, std::uint32_t objectId, Chunk& c);
  void readMesh(std::uint32_t objectId, Chunk& c);
  void readVertices(std::uint32_t objectId, Chunk& c);
  void readIndices(std::uint32_t objectId, Chunk& c);
  void readMaterial(std::uint16_t version, std::uint32_t objectId, Chunk& c);
  void readTexture(std::uint32_t objectId, Chunk& c);
  void readPRSAnimation(std::uint16_t version, Chunk& c);
  void readVertexAnimation(Chunk& c);
  void readFloatAnimation(std::uint16_t version, Chunk& c);
  void readSprite(std::uint16_t version, std::uint32_t objectId, Chunk& c);
  void readCloud(std::uint16_t version, std::uint32_t objectId, Chunk& c);
};

// Converts a float to the unsigned 32-bit value the format's time
// arithmetic keeps: truncated toward zero, wrapped modulo 2³², NaN as 0.
std::uint32_t VxkTimeToUnsigned(float value);
