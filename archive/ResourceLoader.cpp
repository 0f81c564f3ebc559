#include "archive/ResourceLoader.h"

#include "archive/ResourceFile.h"
#include "platform/os/Process.h"

#include <cstdlib>

unsigned char* LoadWholeResource(const char* name, const char* missingFormat, std::int32_t* outSize,
                                 bool requireComplete) {
  ResourceFile* file = ResOpen(name);
  if (!file) FatalMessage("Error", 0, missingFormat, name ? name : "");
  ResSeek(file, 0, 2);
  const int size = ResTell(file);
  ResSeek(file, 0, 0);
  auto* data = static_cast<unsigned char*>(std::malloc(size ? std::size_t(size) : 1));
  if (!data) FatalMessage("Error", 0, "%s", kSceneFileShortRead);
  const int read = ResRead(data, 1, size, file);
  ResClose(file);
  if (requireComplete && read != size) {
    std::free(data);
    FatalMessage("Error", 0, "%s", kSceneFileShortRead);
  }
  if (outSize) *outSize = size;
  return data;
}
