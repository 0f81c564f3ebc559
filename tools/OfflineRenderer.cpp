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
#include "script/DemoClock.h"
#include "script/Scripter.h"
#include "tools/MediaWriters.h"
#include "tools/RenderProgress.h"
#include "tools/ToolIO.h"

#include <malloc.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>

namespace {

constexpr unsigned kSampleRate = 44100;  // the offline mixer's rate

void setClock(double ms) {
  LARGE_INTEGER frequency;
  QueryPerformanceFrequency(&frequency);
  // Round up so that the demo clock's truncating division gives whole `ms`.
  SetPerformanceCounterOverride(std::int64_t(std::ceil(ms * double(frequency.QuadPart) / 1000.0)));
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

struct DeviceHolder {
  IDirect3D9* d3d = nullptr;
  IDirect3DDevice9* device = nullptr;
  ~DeviceHolder() {
    if (device) device->Release();
    if (d3d) d3d->Release();
  }
};

}  // namespace

bool renderShow(const RenderOptions& options, RenderResult* result, std::string* error) {
  *result = RenderResult{};
  if (!(options.fps > 0 && options.fps <= 1000)) return *error = "--fps must be between 0 and 1000", false;
  if (options.toMs && *options.toMs < options.fromMs) return *error = "--to is earlier than --from", false;
  if (options.width < 16 || options.height < 16 || options.width > 8192 || options.height > 8192)
    return *error = "--size must be between 16x16 and 8192x8192", false;

  // Frames for a video go to a scratch folder unless the user keeps them.
  std::string framesDir = options.framesDir;
  std::string scratch;
  const bool wantVideo = !options.videoPath.empty() && haveFfmpeg();
  if (!options.videoPath.empty() && !wantVideo)
    std::fprintf(stderr, "vxtool: ffmpeg is not installed; no video is written (frames and sound still are)\n");
  if (wantVideo && (framesDir.empty() || options.wavPath.empty())) {
    char pattern[] = "/tmp/vxtool-render-XXXXXX";
    if (!::mkdtemp(pattern)) return *error = "cannot create a scratch folder", false;
    scratch = pattern;
    if (framesDir.empty()) framesDir = scratch;
  }
  if (!framesDir.empty() && !makeDirectories(framesDir, error)) return false;

  setenv("SDL_VIDEODRIVER", "offscreen", 0);
  // The show's messages still go to standard error; nobody is there to press OK.
  SetMessageBoxHook([](const char*, const char*, UINT) { return IDOK; });
  SetExitProcessHook([](UINT) {
    std::fprintf(stderr, "\nvxtool: the show stopped with an error; rendering ended\n");
    std::fflush(stderr);
    std::_Exit(1);
  });

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
  D3DPRESENT_PARAMETERS params{};
  params.BackBufferWidth = UINT(options.width);
  params.BackBufferHeight = UINT(options.height);
  params.BackBufferFormat = D3DFMT_X8R8G8B8;
  params.BackBufferCount = 1;
  params.SwapEffect = D3DSWAPEFFECT_DISCARD;
  params.Windowed = TRUE;
  params.EnableAutoDepthStencil = TRUE;
  params.AutoDepthStencilFormat = D3DFMT_D24X8;
  const HRESULT created = gfx.d3d->CreateDevice(D3DADAPTER_DEFAULT, D3DDEVTYPE_HAL, nullptr,
                                                D3DCREATE_HARDWARE_VERTEXPROCESSING, &params, &gfx.device);
  if (FAILED(created)) return *error = "cannot create the off-screen device (" + std::to_string(created) + ")", false;

  soundForceOutput(FSOUND_OUTPUT_OFFLINE);
  AtlAxWinInit();
  setClock(0);
  StartDemoClock();  // show time 0 is counter 0

  // The mix is kept only for a file that wants it (a long render would
  // otherwise hold all of its music in memory).
  const bool keepSound = !options.wavPath.empty() || wantVideo;
  soundOfflineSetCollect(keepSound);
  std::vector<std::int16_t> sound;
  const auto* glDevice = dynamic_cast<const GlDevice*>(gfx.device);
  double nextStatsMs = options.fromMs;
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
    progress.emplace(stderr, RenderProgress::styleFor(stderr), options.fromMs, options.toMs);
  {
    Scripter scripter(gfx.device, 800, 600);
    scripter.LoadScript("demo.vxc", 0.0f);
    std::vector<D3DCOLOR> pixels;
    for (int k = 0;; ++k) {
      const double ms = options.fromMs + k * 1000.0 / options.fps;
      if (options.toMs && ms > *options.toMs) break;
      setClock(ms);
      gfx.device->Clear(0, nullptr, D3DCLEAR_TARGET | D3DCLEAR_ZBUFFER, 0, 1.0f, 0);
      gfx.device->BeginScene();
      result->scriptEnded = scripter.Update(GetDemoTime());
      gfx.device->EndScene();
      gfx.device->Present(nullptr, nullptr, nullptr, nullptr);

      if (!framesDir.empty()) {
        IDirect3DSurface9* backBuffer = nullptr;
        UINT width = 0, height = 0;
        gfx.device->GetBackBuffer(0, 0, D3DBACKBUFFER_TYPE_MONO, &backBuffer);
        const HRESULT read = gfx.device->readSurfaceARGB(backBuffer, pixels, width, height);
        if (backBuffer) backBuffer->Release();
        char name[32];
        std::snprintf(name, sizeof name, "/frame%06d.png", k);
        if (FAILED(read)) return *error = "cannot read the frame back", false;
        if (!writePngRgb(framesDir + name, pixels, width, height, error)) return false;
      }
      // The music of this frame's interval.
      soundOfflineAdvanceMs(1000.0 / options.fps);
      if (keepSound) soundOfflineTakeS16(&sound);  // appends

      result->frames = k + 1;
      result->lastFrameMs = ms;
      if (progress) progress->frame(k + 1, ms);
      const bool last = result->scriptEnded || (options.toMs && ms + 1000.0 / options.fps > *options.toMs);
      if (options.statsEveryMs > 0 && (ms >= nextStatsMs || last)) {
        printStats(ms, k);
        while (nextStatsMs <= ms) nextStatsMs += options.statsEveryMs;
      }
      if (result->scriptEnded) break;
    }
  }
  if (progress) progress->end();
  soundOfflineSetCollect(true);
  g_archive = nullptr;
  SetExitProcessHook(nullptr);

  std::string wavPath = options.wavPath;
  if (wavPath.empty() && wantVideo) wavPath = scratch + "/sound.wav";
  if (!wavPath.empty() && !writeWav16(wavPath, sound, kSampleRate, error)) return false;

  if (wantVideo) {
    char fps[32];
    std::snprintf(fps, sizeof fps, "%g", options.fps);
    const std::string command = "ffmpeg -loglevel error -y -framerate " + std::string(fps) + " -i " +
                                shellQuote(framesDir + "/frame%06d.png") + " -i " + shellQuote(wavPath) +
                                " -c:v libx264 -pix_fmt yuv420p -c:a aac -b:a 192k -shortest " +
                                shellQuote(options.videoPath);
    if (std::system(command.c_str()) != 0) return *error = "ffmpeg failed to write '" + options.videoPath + "'", false;
  }
  if (!scratch.empty()) std::filesystem::remove_all(scratch);
  return true;
}
