// vxtool convert: a model file into a scene file and its textures.
#include "tools/ArchiveCommands.h"
#include "tools/CommandLine.h"
#include "tools/ModelConverter.h"
#include "tools/ToolIO.h"

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace {

const char* kConvertHelp =
    "usage: vxtool convert MODEL OUT_DIR [--name NAME] [--scale S] [--up y|z] [--fps N]\n"
    "                      [--keep-names] [--force]\n"
    "Converts a 3D model (glTF, FBX, OBJ, Collada, 3DS and the other formats the\n"
    "model-import library reads) into OUT_DIR/NAME.vxk and the image files it names,\n"
    "ready for `vxtool pack -C OUT_DIR` and the script's \"loadscene\". NAME is the\n"
    "model's file name without its extension unless --name gives one.\n"
    "\n"
    "  --scale S     multiply every length by S (default 1)\n"
    "  --up y|z      the model's up axis where the file does not state one (default y)\n"
    "  --fps N       frames per second of baked skinned and morphing meshes (default 25)\n"
    "  --keep-names  keep node names exactly (else repeated names get #2, #3, ...)\n"
    "  --force       write into an existing OUT_DIR, replacing files of the same names\n"
    "\n"
    "Models are turned into the scene's axes (left-handed, z up; docs/coordinates.md).\n"
    "The first animation of the model is converted: node tracks into transform\n"
    "keyframes, skinned and morphing meshes into vertex frames. What was converted is\n"
    "printed, and everything dropped or approximated as a warning on standard error.\n"
    "A model that cannot be read leaves OUT_DIR untouched.\n";

bool parseNumber(const std::string& text, double* value) {
  char* end = nullptr;
  *value = std::strtod(text.c_str(), &end);
  return !text.empty() && *end == 0 && std::isfinite(*value);
}

}  // namespace

int convertCommand(const Args& args) {
  if (wantsHelp(args)) return help(kConvertHelp);
  Parsed p = parseArgs(args, {"--name", "--scale", "--up", "--fps"}, {"--keep-names", "--force"});
  if (!p.error.empty()) return fail(p.error);
  if (p.positional.size() != 2) return fail("convert takes a model and an output folder (see vxtool convert --help)");

  ConvertOptions options;
  options.model = p.positional[0];
  options.outDir = p.positional[1];
  options.keepNames = p.has("--keep-names");
  options.force = p.has("--force");
  if (const std::string* v = p.get("--name")) options.name = *v;
  if (const std::string* v = p.get("--scale")) {
    double scale;
    if (!parseNumber(*v, &scale) || !(scale > 0)) return fail("bad --scale '" + *v + "' (a number above 0)");
    options.scale = float(scale);
  }
  if (const std::string* v = p.get("--up")) {
    if (*v != "y" && *v != "z") return fail("bad --up '" + *v + "' (y or z)");
    options.up = (*v)[0];
  }
  if (const std::string* v = p.get("--fps")) {
    double fps;
    if (!parseNumber(*v, &fps) || fps < 1 || fps > 1000 || fps != std::floor(fps))
      return fail("bad --fps '" + *v + "' (a whole number, 1 ... 1000)");
    options.fps = unsigned(fps);
  }

  const auto start = std::chrono::steady_clock::now();
  ConvertReport report;
  std::string error;
  if (!convertModel(options, &report, &error)) return fail(error);
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();

  for (const std::string& warning : report.warnings) std::fprintf(stderr, "vxtool: warning: %s\n", warning.c_str());
  std::printf("%s: %zu nodes, %zu meshes, %zu vertices, %zu triangles, %zu materials, %zu textures, "
              "%zu cameras, %zu lights, %zu animations (%zu node tracks, %zu vertex animations)\n",
              report.sceneFile.c_str(), report.nodes, report.meshes, report.vertices, report.triangles,
              report.materials, report.textures, report.cameras, report.lights,
              report.nodeAnimations + report.vertexAnimations, report.nodeAnimations, report.vertexAnimations);
  std::printf("source axes %s; %zu files, %zu bytes, %.2f s\n", report.axes.c_str(), report.files.size(),
              report.bytes, seconds);
  return 0;
}
