// vxtool: the authoring and inspection tool for shows and their archives.
#include "tools/ArchiveCommands.h"

#include <cstdio>
#include <cstring>

namespace {

struct Command {
  const char* name;
  int (*run)(const Args&);
  const char* summary;
};

const Command kCommands[] = {
    {"pack", packCommand, "write a stand-alone archive from files"},
    {"list", listCommand, "list the entries of archives"},
    {"extract", extractCommand, "write entries of an archive to files"},
    {"append", appendCommand, "append an archive to a program"},
    {"render", renderCommand, "play a show off screen into PNG frames, a WAV and an MP4"},
    {"inspect", inspectCommand, "load a scene file and print its objects (tree or JSON)"},
    {"check", checkCommand, "report every problem of a show before it plays"},
    {"convert", convertCommand, "convert a 3D model (glTF, FBX, OBJ, ...) into a scene file and its textures"},
};

int usage(std::FILE* out) {
  std::fputs("usage: vxtool COMMAND [ARGS...]   (vxtool COMMAND --help for more)\n\ncommands:\n", out);
  for (const Command& c : kCommands) std::fprintf(out, "  %-8s %s\n", c.name, c.summary);
  return out == stdout ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return usage(stderr);
  if (!std::strcmp(argv[1], "--help") || !std::strcmp(argv[1], "-h") || !std::strcmp(argv[1], "help"))
    return usage(stdout);
  const Args args(argv + 2, argv + argc);
  for (const Command& c : kCommands)
    if (!std::strcmp(argv[1], c.name)) return c.run(args);
  std::fprintf(stderr, "vxtool: unknown command '%s'\n", argv[1]);
  return usage(stderr);
}
