#include "tools/OfflineRenderer.h"

#include "archive/CFLArchive.h"
#include "platform/gfx/Direct3D9.h"
#include "platform/gfx/gl/GlDevice.h"
#include "platform/gfx/gl/GlDirect3D.h"
#include "platform/movie/AxHost.h"
#include "platform/os/Clock.h"
#include "platform/os/MessageBox.h"
#include "platform/os/Process.h"
#include "platform/sound/FSound.h"
#include "platform/sound/SoundOffline.h"
#include "script/Show.h"
#include "script/ScriptItem.h"
#include "tools/MediaWriters.h"
#include "tools/DeviceHolder.h"
#include "tools/FrameGrid.h"
#include "tools/RenderProgress.h"
#include "tools/ShowFailure.h"
#include "tools/ToolIO.h"

#include <malloc.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <exception>
#include <memory>
#include <system_error>

namespace {

bool isFrameName(const std::string& name) {
  return name.size() > 9 && name.compare(0, 5, "frame") == 0 && name.compare(name.size() - 4, 4, ".png") == 0;
}

// The frame*.png entries directly in dir (none when dir does not exist).
std::vector<std::filesystem::path> framesIn(const std::string& dir) {
  std::vector<std::filesystem::path> found;
  std::error_code ec;
  for (std::filesystem::directory_iterator it(dir, ec), end; !ec && it != end; it.increment(ec))
    if (isFrameName(it->path().filename().string()) && !it->is_directory()) found.push_back(it->path());
  return found;
}

bool exists(const std::string& path) {
  struct stat st;
  return ::lstat(path.c_str(), &st) == 0;
}

// Outputs the user already has are refused without force; checked before
// anything is loaded or written.
bool checkOutputs(const RenderOptions& options, std::string* error) {
  for (const std::string* file : {&options.wavPath, &options.videoPath})
    if (!file->empty() && exists(*file) && !options.force)
      return *error = "'" + *file + "' exists (use --force to overwrite)", false;
  if (options.framesDir.empty() || !exists(options.framesDir)) return true;
  if (!std::filesystem::is_directory(options.framesDir))
    return *error = "'" + options.framesDir + "' is not a folder", false;
  const std::size_t frames = framesIn(options.framesDir).size();
  if (frames > 0 && !options.force)
    return *error = "'" + options.framesDir + "' already holds " + std::to_string(frames) +
                    " frame*.png files (use --force to replace them)",
           false;
  return true;
}

// A scratch folder for a video's frames or sound, gone with the render.
struct ScratchDir {
  std::string path;
  ~ScratchDir() {
    std::error_code ec;
    if (!path.empty()) std::filesystem::remove_all(path, ec);
  }
};

constexpr unsigned kSampleRate = 44100;  // the offline mixer's rate

// The demo clock counts 32-bit ms: no frame may lie beyond.
constexpr double kClockLimitMs = 4294967295.0;
// A show that is chunked without an end must end within this much show time.
constexpr double kLongestShowMs = 24 * 3600 * 1000.0;

// Replays the whole show without drawing or mixing: the number of frames a
// full render writes (the frame in which the script ends is the last).
bool countShowFrames(IDirect3DDevice9* device, double fps, const std::string& archive, std::int64_t* frames,
                     std::string* error) {
  device->AddRef();
  Show show(device, Show::Clock::Virtual);
  if (!startShow(show, archive, error)) return false;
  const ScriptRunning running(show);
  for (std::int64_t k = 0;; ++k) {
    const double ms = frameMs(k, fps);
    if (ms > kLongestShowMs)
      return *error = "the show does not end within 24 hours of show time; give --to or --frames-to with --chunk",
             false;
    show.SetTime(ms);
    if (show.Frame(false)) return *frames = k + 1, true;
    printHeldBox();
  }
}

bool haveFfmpeg() { return std::system("command -v ffmpeg >/dev/null 2>&1") == 0; }

std::string shellQuote(const std::string& s) {
  std::string out = "'";
  for (char c : s) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return out + "'";
}

// Resident memory of this process in KiB (VmRSS), or -1 when unknown.
long residentKb() {
  std::FILE* status = std::fopen("/proc/self/status", "r");
  if (!status) return -1;
  char line[256];
  long kb = -1;
  while (std::fgets(line, sizeof line, status))
    if (std::sscanf(line, "VmRSS: %ld kB", &kb) == 1) break;
  std::fclose(status);
  return kb;
}

bool render(const RenderOptions& options, RenderResult* result, std::string* error) {
  *result = RenderResult{};
  if (!(options.fps > 0 && options.fps <= 1000)) return *error = "--fps must be between 0 and 1000", false;
  const double fps = options.fps;
  if (!(options.fromMs >= 0 && options.fromMs <= kClockLimitMs) ||
      (options.toMs && !(*options.toMs >= 0 && *options.toMs <= kClockLimitMs)))
    return *error = "--from and --to must be between 0 and 4294967295 ms", false;
  const std::int64_t frameLimit = lastFrameTo(kClockLimitMs, fps);
  if ((options.fromFrame && !(*options.fromFrame >= 0 && *options.fromFrame <= frameLimit)) ||
      (options.toFrame && !(*options.toFrame >= 0 && *options.toFrame <= frameLimit)))
    return *error = "--frames-from and --frames-to must be between 0 and " + std::to_string(frameLimit) + " at this --fps",
           false;
  if (options.chunkIndex != 0 && !(options.chunkCount >= 1 && options.chunkIndex >= 1 &&
                                   options.chunkIndex <= options.chunkCount))
    return *error = "--chunk K/N needs 1 <= K <= N", false;
  // The range by frame number: [first, last], no last until the script ends.
  std::int64_t first = options.fromFrame ? *options.fromFrame : firstFrameFrom(options.fromMs, fps);
  std::optional<std::int64_t> last;
  if (options.toFrame) last = *options.toFrame;
  if (options.toMs) last = lastFrameTo(*options.toMs, fps);
  if (options.toMs && *options.toMs < options.fromMs) return *error = "--to is earlier than --from", false;
  if (last && *last < first) return *error = "the range holds no frame", false;
  if (options.width < 16 || options.height < 16 || options.width > 8192 || options.height > 8192)
    return *error = "--size must be between 16x16 and 8192x8192", false;

  if (!checkOutputs(options, error)) return false;
  const bool wantVideo = !options.videoPath.empty() && haveFfmpeg();
  if (!options.videoPath.empty() && !wantVideo) {
    if (options.framesDir.empty() && options.wavPath.empty() && options.statsEveryMs <= 0)
      return *error = "ffmpeg is not installed, and the video is the only output asked for", false;
    std::fprintf(stderr, "vxtool: ffmpeg is not installed; no video is written (frames and sound still are)\n");
  }

  // Frames for a video go to a scratch folder unless the user keeps them.
  std::string framesDir = options.framesDir;
  ScratchDir scratch;

  setenv("SDL_VIDEODRIVER", "offscreen", 0);
  auto archive = std::make_unique<CFLArchive>();
  if (!options.archive.empty() && !archive->Open(options.archive.c_str()))
    return *error = "cannot open archive '" + options.archive + "'", false;
  g_archive = archive.get();

  DeviceHolder gfx;
  if (options.maxTextures < 1 || options.maxTextures > 8)
    return *error = "the device offers 1 to 8 texture stages, not " + std::to_string(options.maxTextures), false;
  GlDeviceOptions deviceOptions;
  deviceOptions.maxSimultaneousTextures = options.maxTextures;
  registerGlDirect3DBackend(deviceOptions);
  gfx.d3d = Direct3DCreate9(D3D_SDK_VERSION);
  if (!gfx.d3d) return *error = "no OpenGL device available", false;
  const HRESULT created =
      createShowDevice(gfx.d3d, UINT(options.width), UINT(options.height), nullptr, &gfx.device);
  if (FAILED(created)) return *error = "cannot create the off-screen device (" + std::to_string(created) + ")", false;

  soundForceOutput(FSOUND_OUTPUT_OFFLINE);
  AtlAxWinInit();

  if (options.chunkIndex != 0) {
    std::int64_t total = 0;
    if (last) {
      total = *last + 1;
    } else {
      soundOfflineSetCollect(false);
      if (!countShowFrames(gfx.device, fps, options.archive, &total, error)) return false;
    }
    if (total < options.chunkCount)
      return *error = "the show has " + std::to_string(total) + " frames, fewer than " +
                      std::to_string(options.chunkCount) + " chunks",
             false;
    // Chunk K holds frames [(K-1) * total / N, K * total / N): every frame
    // once, lengths within one of each other.
    first = (options.chunkIndex - 1) * total / options.chunkCount;
    last = options.chunkIndex * total / options.chunkCount - 1;
  }
  result->firstFrame = first;

  // The mix is kept only for a file that wants it (a long render would
  // otherwise hold all of its music in memory).
  const bool keepSound = !options.wavPath.empty() || wantVideo;
  soundOfflineSetCollect(keepSound);
  std::vector<std::int16_t> sound;
  const auto* glDevice = dynamic_cast<const GlDevice*>(gfx.device);
  double nextStatsMs = frameMs(first, fps);
  auto printStats = [&](double ms, int frame) {
    // In use on the heap: arena chunks plus blocks mapped on their own (the
    // allocator moves blocks between the two as its mmap threshold adapts).
    const struct mallinfo2 heap = mallinfo2();
    std::printf("stats show_ms=%.0f frame=%d rss_kb=%ld heap_kb=%zu live_resources=%zu programs=%llu\n", ms, frame,
                residentKb(), (heap.uordblks + heap.hblkhd) / 1024,
                glDevice ? glDevice->liveResourceCount() : std::size_t(0),
                glDevice ? static_cast<unsigned long long>(glDevice->compiledProgramCount()) : 0ull);
    std::fflush(stdout);
  };
  std::optional<RenderProgress> progress;
  if (options.progress)
    progress.emplace(stderr, RenderProgress::styleFor(stderr), frameMs(first, fps),
                     last ? std::optional<double>(frameMs(*last, fps)) : std::nullopt);
  // A show that fails ends the bar's line before its error is printed.
  struct EndOnFailure {
    std::optional<RenderProgress>& progress;
    ~EndOnFailure() {
      if (progress && std::uncaught_exceptions() > 0) progress->end();
    }
  } endOnFailure{progress};
  {
    gfx.device->AddRef();  // the show's own reference
    Show show(gfx.device, Show::Clock::Virtual);
    if (!startShow(show, options.archive, error)) return false;
    // The script has loaded: now the outputs are made, the user's stale
    // frames (only those) removed first.
    if (options.force && !options.framesDir.empty())
      for (const auto& stale : framesIn(options.framesDir)) {
        std::error_code ec;
        if (!std::filesystem::remove(stale, ec) && ec)
          return *error = "cannot remove '" + stale.string() + "': " + ec.message(), false;
      }
    if (wantVideo && (framesDir.empty() || options.wavPath.empty())) {
      char pattern[] = "/tmp/vxtool-render-XXXXXX";
      if (!::mkdtemp(pattern)) return *error = "cannot create a scratch folder", false;
      scratch.path = pattern;
      if (framesDir.empty()) framesDir = scratch.path;
    }
    if (!framesDir.empty() && !makeDirectories(framesDir, error)) return false;
    const ScriptRunning running(show);
    std::vector<D3DCOLOR> pixels;
    for (std::int64_t k = 0; !last || k <= *last; ++k) {
      const double ms = frameMs(k, fps);
      const bool keep = k >= first;
      // Frames before the range: the script's step only, but the last few
      // drawn, for the render states they leave to the first kept frame.
      const bool draw = k + kWarmUpFrames >= first;
      show.SetTime(ms);
      soundOfflineSetCollect(keepSound && keep);
      const bool ended = show.Frame(draw);
      printHeldBox();

      if (keep && !framesDir.empty()) {
        UINT width = 0, height = 0;
        const HRESULT read = readBackBuffer(gfx.device, pixels, width, height);
        char name[40];
        std::snprintf(name, sizeof name, "/frame%06lld.png", static_cast<long long>(k));
        if (FAILED(read)) return *error = "cannot read the frame back", false;
        if (!writePngRgb(framesDir + name, pixels, width, height, error)) return false;
      }
      // The music of this frame's interval, in the same steps as a full
      // render so that the rounding of sample positions is the same.
      soundOfflineAdvanceMs(1000.0 / fps);
      if (keep && keepSound) soundOfflineTakeS16(&sound);  // appends

      if (keep) {
        ++result->frames;
        result->lastFrameMs = ms;
        if (progress) progress->frame(result->frames, ms);
        const bool lastOne = ended || (last && k == *last);
        if (options.statsEveryMs > 0 && (ms >= nextStatsMs || lastOne)) {
          printStats(ms, int(k));
          while (nextStatsMs <= ms) nextStatsMs += options.statsEveryMs;
        }
      }
      if (ended) {
        result->scriptEnded = true;
        if (!keep) {
          char text[128];
          std::snprintf(text, sizeof text, "the show ends at frame %lld (%.0f ms), before the range starts",
                        static_cast<long long>(k), ms);
          return *error = text, false;
        }
        break;
      }
    }
  }
  if (progress) progress->end();

  std::string wavPath = options.wavPath;
  if (wavPath.empty() && wantVideo) wavPath = scratch.path + "/sound.wav";
  if (!wavPath.empty() && !writeWav16(wavPath, sound, kSampleRate, error)) return false;

  if (wantVideo) {
    char rate[32];
    std::snprintf(rate, sizeof rate, "%g", fps);
    const std::string command = "ffmpeg -loglevel error -y -framerate " + std::string(rate) +
                                " -start_number " + std::to_string(first) + " -i " +
                                shellQuote(framesDir + "/frame%06d.png") + " -i " + shellQuote(wavPath) +
                                " -c:v libx264 -pix_fmt yuv420p -c:a aac -b:a 192k -shortest " +
                                shellQuote(options.videoPath);
    if (std::system(command.c_str()) != 0) return *error = "ffmpeg failed to write '" + options.videoPath + "'", false;
  }
  return true;
}

}  // namespace

bool renderShow(const RenderOptions& options, RenderResult* result, std::string* error) {
  const ShowFailureCatcher catcher;
  // Whatever way this returns, the process is left as it was found: no
  // archive pointer to a closed archive, the mix collected.
  struct Restore {
    ~Restore() {
      soundOfflineSetCollect(true);
      g_archive = nullptr;
    }
  } restore;
  try {
    return render(options, result, error);
  } catch (const ShowFatal& fatal) {
    *error = fatal.message;
    return false;
  }
}
