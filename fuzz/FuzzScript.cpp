// fuzz_script: a show from the input, loaded and played.
//
// The input is split into files (FuzzSupport.h: "%%file NAME" lines); the
// first one is the script "demo.vxc", the others are what it includes and
// loads (scripts, pictures, sequences, music, movies). They are served from
// an archive. The script is parsed, then played on the recording device for
// a few dozen frames of a virtual clock, music mixed offline, so that every
// command runs on whatever the files hold.
#include "fuzz/FuzzSupport.h"
#include "platform/gfx/recording/RecordingDevice.h"
#include "platform/sound/SoundOffline.h"
#include "script/Show.h"

#include <vector>

namespace {
constexpr int kFrames = 40;
constexpr double kFrameMs = 400;  // show time per frame: 16 s in all
}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  initFuzzProcess();
  soundOfflineSetCollect(false);  // the mix is not examined
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ShowArchive show(splitShowFiles(data, size, "demo.vxc"));
  FuzzDevice device;
  refused([&] {
    device.get()->AddRef();  // the show's reference, released with it
    Show player(device.get(), Show::Clock::Virtual);
    player.Start("demo.vxc");
    for (int k = 0; k < kFrames; ++k) {
      player.SetTime(k * kFrameMs);
      // Every other frame only advances, so that both paths meet every show.
      if (player.Frame(k % 2 == 0)) break;
      soundOfflineAdvanceMs(kFrameMs);
    }
  });
  return 0;
}
