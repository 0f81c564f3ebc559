// vxtool: the authoring and inspection tool for shows and their archives.
#include "tools/ArchiveCommands.h"
#include "tools/ScriptHelp.h"

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

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
    {"preview", previewCommand, "play a show in a window: pause, exact seeks, reload on edits, figures"},
    {"join", joinCommand, "put the chunks of a render together: frames, WAV and MP4"},
    {"inspect", inspectCommand, "load a scene file and print its objects (tree or JSON)"},
    {"check", checkCommand, "report every problem of a show before it plays"},
    {"convert", convertCommand, "convert a 3D model (glTF, FBX, OBJ, ...) into a scene file and its textures"},
};

int usage(std::FILE* out) {
  std::fputs("usage: vxtool COMMAND [ARGS...]   (vxtool COMMAND --help for more; vxtool help script: the script's commands)\n\ncommands:\n", out);
  for (const Command& c : kCommands) std::fprintf(out, "  %-8s %s\n", c.name, c.summary);
  return out == stdout ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return usage(stderr);
  if (!std::strcmp(argv[1], "help") && argc == 3 && !std::strcmp(argv[2], "script")) return printScriptHelp(stdout);
  if (!std::strcmp(argv[1], "--help") || !std::strcmp(argv[1], "-h") || !std::strcmp(argv[1], "help"))
    return usage(stdout);
  const Args args(argv + 2, argv + argc);
  std::vector<std::string> names;
  for (const Command& c : kCommands) {
    if (!std::strcmp(argv[1], c.name)) {
      setHelpCommand(c.name);
      return c.run(args);
    }
    names.push_back(c.name);
  }
  const std::string nearest = nearestName(argv[1], names);
  std::fprintf(stderr, "vxtool: unknown command '%s'%s (see vxtool --help)\n", argv[1],
               nearest.empty() ? "" : ("; did you mean '" + nearest + "'?").c_str());
  return 1;
}
