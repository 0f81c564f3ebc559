// fuzz_imageseq: the text of an image sequence, parsed, then loaded as an
// image layer and drawn over a minute of show time.
//
// The frames it can name are served from an archive made once with the
// test image writers: "a.png" and "b.png" (4 x 4, alike), "c.bmp" (another
// size) and "d.jpg" (another format), so that sequences of matching and
// mismatching frames both load.
#include "TestImages.h"
#include "fuzz/FuzzSupport.h"
#include "layers/ImageBlitter.h"
#include "platform/gfx/recording/RecordingDevice.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

namespace {

std::string text(const Bytes& bytes) { return std::string(bytes.begin(), bytes.end()); }

std::unique_ptr<ShowArchive> g_frames;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  initFuzzProcess();
  PngOptions alpha;
  alpha.alpha = true;
  g_frames = std::make_unique<ShowArchive>(std::vector<FuzzFile>{
      {"a.png", text(makePng(4, 4, patternPixels(4, 4), alpha))},
      {"b.png", text(makePng(4, 4, std::vector<D3DCOLOR>(16, 0x80FF8040u), alpha))},
      {"c.bmp", text(makeBmp(3, 5, patternPixels(3, 5), 32))},
      {"d.jpg", text(makeJpeg(4, 4, patternPixels(4, 4)))},
  });
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string input(reinterpret_cast<const char*>(data), size);
  const std::vector<ImageSequenceFrame> frames = ParseImageSequence(input.c_str());
  // Every frame comes from a line of its own.
  std::size_t lines = 1;
  for (char c : input.substr(0, std::strlen(input.c_str())))
    if (c == '\n') ++lines;
  if (frames.size() > lines) {
    std::fprintf(stderr, "fuzz_imageseq: %zu frames from %zu lines\n", frames.size(), lines);
    std::abort();
  }

  // The layer reads its sequence as a loose file ("...seq").
  writeScratchFile("input.seq", data, size);
  FuzzDevice device;
  refused([&] {
    ImageBlitter layer(device.get(), "input.seq", 800, 600, false, 0xFFFFFFFFu);
    for (float t = 0; t < 60000.0f; t += 250.0f) layer.Draw(t);
    layer.Draw(1.0e12f);  // far ahead: wraps in one step
  });
  return 0;
}
