#include "scene/SceneLoader.h"

#include "archive/ResourceLoader.h"
#include "platform/os/MessageBox.h"
#include "platform/os/Process.h"
#include "render/StateCache.h"
#include "render/VertexBuffer.h"
#include "scene/SceneGraph.h"

#include <cstdlib>
#include <memory>

void SceneLoader::LoadFile(const char* name, std::int32_t parentId, float animOffset, float animScale,
                           bool looping) {
  const char* file = name ? name : "";
  std::int32_t size = 0;
  // Owned here so that a fatal refusal further down (which unwinds when a
  // test or tool hooks the process exit) frees it too.
  std::unique_ptr<unsigned char, decltype(&std::free)> bytes(
      LoadWholeResource(file, kSceneFileMissing, &size, true), &std::free);
  fileName = file;
  parse(bytes.get(), size > 0 ? std::size_t(size) : 0, parentId, animOffset, animScale, looping);
}

void SceneLoader::LoadScene(const char* name) {
  LoadFile(name, -1, 0.0f, 1.0f, true);
  scene->loaded = true;
}
