// vxtool render: a show to PNG frames, a WAV and an MP4, off screen.
#include "tools/ArchiveCommands.h"
#include "tools/CommandLine.h"
#include "tools/OfflineRenderer.h"
#include "tools/ToolIO.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

const char* kRenderHelp =
    "usage: vxtool render [--archive FILE] [--fps N] [--size WxH]\n"
    "                     [--from MS | --frames-from K] [--to MS | --frames-to L] [--chunk K/N]\n"
    "                     [--frames DIR] [--video FILE.mp4] [--wav FILE.wav] [--stats MS]\n"
    "                     [--max-textures N] [--quiet] [--force]\n"
    "Plays a show off screen on a virtual clock (frame k at k * 1000 / N ms) and\n"
    "writes PNG frames to DIR (frame k as frameK.png, 6 digits), the music to\n"
    "FILE.wav and, where ffmpeg is installed, an MP4 of both. The show comes from\n"
    "the archive FILE, or from loose files in the current directory (starting with\n"
    "demo.vxc). The run ends with the script, or at the range's end.\n"
    "Defaults: 30 fps, 800x600, from 0.\n"
    "An existing WAV or MP4, and a frames folder that already holds frame*.png\n"
    "files, are refused unless --force, which removes those frame files (and no\n"
    "others) before the first new frame. Nothing is written until the script has\n"
    "loaded; a show that fails says where: FILE:LINE: COMMAND: MESSAGE.\n"
    "A range (inclusive; --from/--to by show time, --frames-from/--frames-to by\n"
    "frame number) gives exactly the frames and samples that a whole render gives\n"
    "for it: the show is replayed from 0 without drawing up to its start.\n"
    "--chunk K/N renders the K-th of N equal ranges of the show's frames (to --to\n"
    "or --frames-to if given, else to its end); vxtool join puts chunks together.\n"
    "--stats MS prints, every MS of show time, the resident memory and the count of\n"
    "live device resources on standard output (for soak runs).\n"
    "--max-textures N draws with a device that offers only N (1..8) texture stages,\n"
    "as an older device would: textures and glow passes take their fewer-stage paths.\n";

bool readNumber(const std::string& text, double* value) {
  char* end = nullptr;
  *value = std::strtod(text.c_str(), &end);
  return !text.empty() && end && *end == 0;
}

// A frame number: decimal digits only, at most 12 of them.
bool readFrame(const std::string& text, std::int64_t* value) {
  if (text.empty() || text.size() > 12 || text.find_first_not_of("0123456789") != std::string::npos) return false;
  *value = std::stoll(text);
  return true;
}

}  // namespace

int renderCommand(const Args& args) {
  if (wantsHelp(args)) return help(kRenderHelp);
  Parsed p = parseArgs(args, {"--archive", "--fps", "--size", "--from", "--to", "--frames-from", "--frames-to", "--chunk",
                              "--frames", "--video", "--wav", "--stats", "--max-textures"},
                       {"--quiet", "--force"});
  if (!p.error.empty()) return fail(p.error);
  if (!p.positional.empty()) return fail("render takes no positional arguments (see vxtool render --help)");

  RenderOptions options;
  if (const std::string* v = p.get("--archive")) options.archive = *v;
  if (const std::string* v = p.get("--fps"); v && !readNumber(*v, &options.fps)) return fail("bad --fps '" + *v + "'");
  if (const std::string* v = p.get("--size")) {
    unsigned w = 0, h = 0;
    char tail = 0;
    if (std::sscanf(v->c_str(), "%ux%u%c", &w, &h, &tail) != 2) return fail("bad --size '" + *v + "' (WxH)");
    options.width = int(w);
    options.height = int(h);
  }
  if (const std::string* v = p.get("--from"); v && !readNumber(*v, &options.fromMs)) return fail("bad --from '" + *v + "'");
  if (const std::string* v = p.get("--to")) {
    double to = 0;
    if (!readNumber(*v, &to)) return fail("bad --to '" + *v + "'");
    options.toMs = to;
  }
  if (p.has("--from") && p.has("--frames-from")) return fail("give --from or --frames-from, not both");
  if (p.has("--to") && p.has("--frames-to")) return fail("give --to or --frames-to, not both");
  if (const std::string* v = p.get("--frames-from")) {
    std::int64_t k = 0;
    if (!readFrame(*v, &k)) return fail("bad --frames-from '" + *v + "' (a frame number, 0 or more)");
    options.fromFrame = k;
  }
  if (const std::string* v = p.get("--frames-to")) {
    std::int64_t k = 0;
    if (!readFrame(*v, &k)) return fail("bad --frames-to '" + *v + "' (a frame number, 0 or more)");
    options.toFrame = k;
  }
  if (const std::string* v = p.get("--chunk")) {
    if (p.has("--from") || p.has("--frames-from")) return fail("--chunk sets where the render starts; drop --from");
    unsigned k = 0, n = 0;
    char tail = 0;
    if (std::sscanf(v->c_str(), "%u/%u%c", &k, &n, &tail) != 2 || v->find_first_of("+- ") != std::string::npos ||
        k < 1 || k > n || n > 100000)
      return fail("bad --chunk '" + *v + "' (K/N: the K-th of N chunks, 1 <= K <= N <= 100000)");
    options.chunkIndex = int(k);
    options.chunkCount = int(n);
  }
  if (const std::string* v = p.get("--frames")) options.framesDir = *v;
  if (const std::string* v = p.get("--video")) options.videoPath = *v;
  if (const std::string* v = p.get("--wav")) options.wavPath = *v;
  if (const std::string* v = p.get("--stats"); v && (!readNumber(*v, &options.statsEveryMs) || !(options.statsEveryMs > 0)))
    return fail("bad --stats '" + *v + "' (ms of show time, more than 0)");
  if (const std::string* v = p.get("--max-textures")) {
    double n = 0;
    // The range first: converting a NaN or a huge value to unsigned is undefined.
    if (!readNumber(*v, &n) || !(n >= 1 && n <= 8) || n != double(unsigned(n)))
      return fail("bad --max-textures '" + *v + "' (texture stages, 1 to 8)");
    options.maxTextures = unsigned(n);
  }
  options.progress = !p.has("--quiet");
  options.force = p.has("--force");
  if (options.framesDir.empty() && options.videoPath.empty() && options.wavPath.empty() && options.statsEveryMs <= 0)
    return fail("render needs at least one of --frames, --video, --wav, --stats");

  RenderResult result;
  std::string error;
  if (!renderShow(options, &result, &error)) return fail(error);
  std::fprintf(stderr, "rendered %d frames from frame %lld (show time %.0f ms)%s\n", result.frames,
               static_cast<long long>(result.firstFrame), result.lastFrameMs,
               result.scriptEnded ? ", to the end of the script" : "");
  return 0;
}
