// fuzz_swf: the movie header reader on any bytes, then the same bytes loaded
// by the movie player (a loose movie file), whose refusal must be clean.
#include "fuzz/FuzzSupport.h"
#include "layers/FlashPlayer.h"
#include "platform/gfx/recording/RecordingDevice.h"
#include "platform/movie/SwfHeader.h"

#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  initFuzzProcess();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  SwfHeader header;
  const SwfStatus status = readSwfHeader(data, size, &header);
  if (status == SwfStatus::ok &&
      (header.headerLength < 8 + 1 + 4 || header.headerLength > kSwfMaxHeaderLength ||
       header.fileLength < header.headerLength)) {
    std::fprintf(stderr, "fuzz_swf: accepted a header of %u bytes in a file of %u\n", header.headerLength,
                 header.fileLength);
    std::abort();
  }
  swfStatusText(status);
  header.widthPixels();
  header.heightPixels();

  writeScratchFile("input.swf", data, size);
  FuzzDevice device;
  refused([&] {
    FlashPlayer player(device.get(), 800, 600, "input.swf");
    player.SetQuality(int(size % 7) - 1);  // -1 and 6 are outside the control's range
    player.SetMode(1);
  });
  removeScratchFile("input.swf");
  return 0;
}
