// fuzz_animseq: the sequence text of an animated scene texture, loaded into
// a scene, then animated over its control fields.
//
// The images it can name are served from an archive made once with the
// test image writers: "a.tga", "b.png", "c.jpg" and the texture's own
// "own.tga".
#include "TestImages.h"
#include "fuzz/FuzzSupport.h"
#include "platform/gfx/recording/RecordingDevice.h"
#include "scene/SceneGraph.h"
#include "scene/Texture.h"

#include <memory>
#include <string>

namespace {

std::string text(const Bytes& bytes) { return std::string(bytes.begin(), bytes.end()); }

std::unique_ptr<ShowArchive> g_images;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  initFuzzProcess();
  g_images = std::make_unique<ShowArchive>(std::vector<FuzzFile>{
      {"a.tga", text(makeTga(4, 4, patternPixels(4, 4), 24))},
      {"b.png", text(makePng(8, 2, patternPixels(8, 2)))},
      {"c.jpg", text(makeJpeg(4, 4, patternPixels(4, 4)))},
      {"own.tga", text(makeTga(2, 2, patternPixels(2, 2), 32))},
  });
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string sequence(reinterpret_cast<const char*>(data), size);
  FuzzDevice device;
  refused([&] {
    SceneGraph scene(device.get());
    auto* texture = new AnimatedTexture(scene.AllocateId(), &scene);  // owned by the scene
    texture->name = "own.tga";
    texture->loadSequence(sequence.c_str(), 1.5f, 100.0f);
    for (const char* field : {"Active Image", "Tex U Offset", "Tex V Scale", "Opacity"})
      if (float* value = texture->getControlField(field)) *value = -7.25f;
    texture->update(true);
    scene.loaded = true;  // controllers run only in a loaded scene
    for (float t : {0.0f, 99.0f, 100.0f, 2500.0f, 1.0e7f}) {
      scene.SetTime(t);
      texture->update(false);
    }
  });
  return 0;
}
