// fuzz_vxk: a scene from the input, loaded, prepared, animated and drawn on
// the recording device.
//
// The input is split into files (FuzzSupport.h: "%%file NAME" lines); the
// first one is the scene "scene.vxk", the others what it names (nested scene
// files, textures), served from an archive. A texture's sequence file is
// read only as a loose file: files named "*.seq" are also written to the
// scratch folder.
#include "fuzz/FuzzSupport.h"
#include "platform/gfx/recording/RecordingDevice.h"
#include "scene/SceneGraph.h"
#include "scene/SceneLoader.h"

#include <string>
#include <vector>

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  initFuzzProcess();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::vector<FuzzFile> files = splitShowFiles(data, size, "scene.vxk");
  ShowArchive show(files);
  std::vector<std::string> loose;
  for (const FuzzFile& file : files) {
    const std::string& name = file.name;
    if (name.size() > 4 && name.compare(name.size() - 4, 4, ".seq") == 0 && name.find('/') == std::string::npos) {
      writeScratchFile(name, reinterpret_cast<const std::uint8_t*>(file.bytes.data()), file.bytes.size());
      loose.push_back(name);
    }
  }
  FuzzDevice device;
  refused([&] {
    SceneGraph scene(device.get());
    auto* loader = new VXKSceneLoader(scene.AllocateId(), &scene);  // owned by the scene
    loader->LoadScene("scene.vxk");
    scene.Prepare();
    for (float t : {0.0f, 16.0f, 500.0f, 1234.5f, 1.0e6f, -50.0f}) {
      scene.SetTime(t);
      scene.Render();
    }
  });
  for (const std::string& name : loose) removeScratchFile(name);
  return 0;
}
