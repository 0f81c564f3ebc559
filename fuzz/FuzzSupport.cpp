#include "fuzz/FuzzSupport.h"

#include "archive/CFLArchive.h"
#include "platform/gfx/recording/RecordingDevice.h"
#include "platform/movie/AxHost.h"
#include "platform/os/Clock.h"
#include "platform/os/MessageBox.h"
#include "platform/os/Process.h"
#include "platform/sound/FSound.h"
#include "platform/sound/SoundOffline.h"
#include "script/DemoClock.h"
#include "tools/ArchiveWriter.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace {

constexpr const char* kMarker = "%%file ";
constexpr std::size_t kMaxNameLength = 200;  // bytes

void writeFileOrDie(const std::string& path, const void* data, std::size_t size) {
  std::FILE* f = std::fopen(path.c_str(), "wb");
  if (!f || std::fwrite(data, 1, size, f) != size || std::fclose(f) != 0) {
    std::fprintf(stderr, "fuzz: cannot write %s\n", path.c_str());
    std::abort();
  }
}

std::string g_scratch;

void removeScratch() {
  std::error_code ignored;
  std::filesystem::remove_all(g_scratch, ignored);
}

}  // namespace

void initFuzzProcess() {
  // Scratch folder: below TMPDIR (or /tmp), one per process, so parallel
  // fuzzers never share files; removed when the process exits normally (a
  // crashed run leaves it for inspection).
  const char* tmp = std::getenv("TMPDIR");
  std::string pattern = std::string(tmp && *tmp ? tmp : "/tmp") + "/vxfuzz-XXXXXX";
  if (!::mkdtemp(pattern.data()) || ::chdir(pattern.c_str()) != 0) {
    std::fprintf(stderr, "fuzz: cannot make a scratch folder\n");
    std::abort();
  }
  g_scratch = pattern;
  std::atexit(removeScratch);
  setenv("SDL_AUDIODRIVER", "dummy", 1);
  setenv("SDL_VIDEODRIVER", "offscreen", 1);
  SetMessageBoxHook([](const char*, const char*, UINT) { return IDOK; });
  SetExitProcessHook([](UINT code) { throw FatalExit{code}; });
  soundForceOutput(FSOUND_OUTPUT_OFFLINE);
  AtlAxWinInit();
}

std::vector<FuzzFile> splitShowFiles(const std::uint8_t* data, std::size_t size, const std::string& firstName) {
  const std::string input(reinterpret_cast<const char*>(data), size);
  std::vector<FuzzFile> files;
  auto add = [&files](std::string name, std::string bytes) {
    for (FuzzFile& file : files)
      if (file.name == name) {
        file.bytes = std::move(bytes);
        return;
      }
    files.push_back({std::move(name), std::move(bytes)});
  };
  // A marker counts at the start of a line only.
  std::vector<std::size_t> markers;
  for (std::size_t at = 0; (at = input.find(kMarker, at)) != std::string::npos; ++at)
    if (at == 0 || input[at - 1] == '\n') markers.push_back(at);
  std::string name = firstName;
  std::size_t start = 0;
  for (const std::size_t marker : markers) {
    if (marker < start) continue;  // inside the previous marker's line
    // The file ends before the line feed that precedes its successor's marker.
    add(name, input.substr(start, (marker > start ? marker - 1 : start) - start));
    const std::size_t nameStart = marker + std::strlen(kMarker);
    std::size_t nameEnd = input.find('\n', nameStart);
    if (nameEnd == std::string::npos) nameEnd = input.size();
    name = input.substr(nameStart, std::min(nameEnd - nameStart, kMaxNameLength));
    name.resize(std::strlen(name.c_str()));  // names are C strings
    start = nameEnd < input.size() ? nameEnd + 1 : input.size();
  }
  add(name, input.substr(start));
  return files;
}

std::string joinShowFiles(const std::vector<FuzzFile>& files) {
  std::string out;
  for (std::size_t i = 0; i < files.size(); ++i) {
    if (i > 0) out += "\n" + std::string(kMarker) + files[i].name + "\n";
    out += files[i].bytes;
  }
  return out;
}

ShowArchive::ShowArchive(const std::vector<FuzzFile>& files) : m_archive(new CFLArchive), m_previous(g_archive) {
  ArchiveWriter writer;
  for (const FuzzFile& file : files) {
    // Movies are written out of the archive under their own name: names that
    // could leave the scratch folder are not served. Nor is the empty name,
    // which the show cannot ask for.
    if (file.name.empty() || file.name[0] == '/' || file.name.find("..") != std::string::npos) continue;
    if (!writer.add(file.name, file.bytes.data(), file.bytes.size(), 0x00000000)) {
      std::fprintf(stderr, "fuzz: archive writer refused %s: %s\n", file.name.c_str(), writer.error().c_str());
      std::abort();
    }
  }
  std::vector<unsigned char> image;
  if (!writer.finish(&image)) {
    std::fprintf(stderr, "fuzz: archive writer failed: %s\n", writer.error().c_str());
    std::abort();
  }
  m_path = "show-" + std::to_string(::getpid()) + ".cfl";
  writeFileOrDie(m_path, image.data(), image.size());
  if (!m_archive->Open(m_path.c_str())) {
    std::fprintf(stderr, "fuzz: the reader refused an archive of the writer\n");
    std::abort();
  }
  g_archive = m_archive;
}

ShowArchive::~ShowArchive() {
  g_archive = m_previous;
  delete m_archive;
  ::unlink(m_path.c_str());
}

void writeScratchFile(const std::string& name, const std::uint8_t* data, std::size_t size) {
  writeFileOrDie(name, data, size);
}

void removeScratchFile(const std::string& name) { ::unlink(name.c_str()); }

FuzzDevice::FuzzDevice()
    : m_device(RecordingDevice::createOffscreen()), m_baseline(m_device->liveResourceCount()) {
  m_device->BeginScene();
}

FuzzDevice::~FuzzDevice() {
  // The device holds what the last draws bound until it is replaced, as
  // Direct3D does; those references are the device's, not a leak of the
  // input's, so they are let go before counting.
  for (UINT stream = 0; stream < 16; ++stream) m_device->SetStreamSource(stream, nullptr, 0, 0);
  m_device->SetIndices(nullptr);
  for (DWORD stage = 0; stage < 8; ++stage) m_device->SetTexture(stage, nullptr);
  m_device->SetVertexShader(nullptr);
  m_device->SetPixelShader(nullptr);
  m_device->SetVertexDeclaration(nullptr);
  m_device->SetRenderTarget(0, m_device->backBuffer());
  m_device->SetDepthStencilSurface(m_device->autoDepthStencil());
  const int live = m_device->liveResourceCount() - m_baseline;
  if (live != 0) {
    std::fprintf(stderr, "fuzz: %d device resource(s) outlived the input (a leak)\n", live);
    std::abort();
  }
  m_device->Release();
}

void setShowClockMs(double ms) {
  LARGE_INTEGER frequency;
  QueryPerformanceFrequency(&frequency);
  SetPerformanceCounterOverride(std::int64_t(ms * double(frequency.QuadPart) / 1000.0 + 0.5));
}
