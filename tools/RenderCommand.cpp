// vxtool render: a show to PNG frames, a WAV and an MP4, off screen.
#include "tools/ArchiveCommands.h"
#include "tools/CommandLine.h"
#include "tools/OfflineRenderer.h"
#include "tools/ToolIO.h"

#include <cstdio>
#include <cstdlib>

namespace {

const char* kRenderHelp =
    "usage: vxtool render [--archive FILE] [--fps N] [--size WxH] [--from MS] [--to MS]\n"
    "                     [--frames DIR] [--video FILE.mp4] [--wav FILE.wav] [--stats MS]\n"
    "                     [--max-textures N] [--quiet]\n"
    "Plays a show off screen on a virtual clock (frame k at FROM + k * 1000 / N ms)\n"
    "and writes numbered PNG frames to DIR, the music to FILE.wav and, where ffmpeg\n"
    "is installed, an MP4 of both. The show comes from the archive FILE, or from\n"
    "loose files in the current directory (starting with demo.vxc). The run ends\n"
    "with the script, or at --to. Defaults: 30 fps, 800x600, from 0.\n"
    "--stats MS prints, every MS of show time, the resident memory and the count of\n"
    "live device resources on standard output (for soak runs).\n"
    "--max-textures N draws with a device that offers only N (1..8) texture stages,\n"
    "as an older device would: textures and glow passes take their fewer-stage paths.\n";

bool readNumber(const std::string& text, double* value) {
  char* end = nullptr;
  *value = std::strtod(text.c_str(), &end);
  return !text.empty() && end && *end == 0;
}

}  // namespace

int renderCommand(const Args& args) {
  if (wantsHelp(args)) return help(kRenderHelp);
  Parsed p = parseArgs(args, {"--archive", "--fps", "--size", "--from", "--to", "--frames", "--video", "--wav", "--stats",
                              "--max-textures"},
                       {"--quiet"});
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
  if (options.framesDir.empty() && options.videoPath.empty() && options.wavPath.empty() && options.statsEveryMs <= 0)
    return fail("render needs at least one of --frames, --video, --wav, --stats");

  RenderResult result;
  std::string error;
  if (!renderShow(options, &result, &error)) return fail(error);
  std::fprintf(stderr, "rendered %d frames (show time %.0f ms)%s\n", result.frames, result.lastFrameMs,
               result.scriptEnded ? ", to the end of the script" : "");
  return 0;
}
