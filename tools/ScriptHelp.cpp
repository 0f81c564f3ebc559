#include "tools/ScriptHelp.h"

namespace {

struct ScriptCommandHelp {
  const char* keyword;
  const char* arguments;
  const char* summary;
};

// Times and durations in ms (whole numbers); positions in pixels of the
// 800 × 600 virtual screen, y down; opacity 0..1; speeds per second.
const ScriptCommandHelp kCommands[] = {
    {"waituntil", "TIME", "hold the script until script time TIME"},
    {"wait", "DURATION", "hold the script for DURATION from the moment it is reached"},
    {"settime", "TIME", "script time jumps to TIME (layer motion, the scene and later waits jump too)"},
    {"include", "FILE BASE", "read FILE here, BASE added to its times and durations"},
    {"loadimage", "FILE NAME", "load a picture or an image sequence into slot NAME"},
    {"createcolor", "R G B NAME", "a solid colour (0-255 each) as slot NAME"},
    {"freeimage", "NAME", "free a picture or colour and the layers showing it"},
    {"setlayer", "NAME LAYER", "show NAME on LAYER (below 0: under the scene)"},
    {"removelayer", "LAYER", "empty a layer"},
    {"clearlayers", "", "empty every layer"},
    {"setlayerpos", "LAYER X Y", "move a layer to X, Y"},
    {"setlayerposdelta", "LAYER DX DY", "move a layer on by DX, DY pixels per second"},
    {"setlayeralpha", "LAYER ALPHA", "a layer's opacity"},
    {"setlayeralphadelta", "LAYER SPEED", "change a layer's opacity by SPEED per second"},
    {"setlayeradditive", "LAYER 0|1", "1 adds the layer onto what lies beneath"},
    {"loadmusic", "FILE NAME", "open an MP3 file as slot NAME"},
    {"playmusic", "NAME START", "play a tune from START ms into it"},
    {"setvolume", "VOLUME", "the playing tune's volume, 0-255"},
    {"stopmusic", "", "stop the playing tune"},
    {"freemusic", "NAME", "free a tune"},
    {"loadflash", "FILE NAME", "load a movie as slot NAME"},
    {"playflash", "NAME QUALITY MODE", "start a movie"},
    {"setflashtime", "TIME", "the movie's time base"},
    {"stopflash", "", "stop the movie"},
    {"freeflash", "NAME", "free a movie"},
    {"loadscene", "FILE NAME", "load a scene file as slot NAME (loads in the frame it runs in)"},
    {"playscene", "NAME SPEED", "show a scene (SPEED 1 when left out)"},
    {"setscenetime", "TIME", "the playing scene's time becomes TIME now"},
    {"xfadescene", "NAME DURATION OFFSET SPEED", "cross-fade to NAME, starting at its time OFFSET"},
    {"stopscene", "", "show no scene"},
    {"freescene", "NAME", "free a scene"},
    {"setactivecamera", "CAMERA", "switch the playing scene to its camera of that name"},
    {"setfogcolor", "AARRGGBB", "the active camera's fog colour (hexadecimal)"},
    {"shakecamera", "PERIOD DEGREES AXIS ATTACK DECAY", "shake the active camera"},
    {"setbluramount", "AMOUNT", "the glow's width (0.007 to start with)"},
    {"setgamma", "GAMMA", "the playing scene's gamma value"},
};

}  // namespace

int printScriptHelp(std::FILE* out) {
  std::fputs("The show script: one command per line, # starts a comment line.\n"
             "Times in ms; positions in pixels of the 800 x 600 screen, y down; opacity 0..1.\n"
             "More in docs/script.md.\n\n",
             out);
  for (const ScriptCommandHelp& c : kCommands) std::fprintf(out, "  %-18s %-32s %s\n", c.keyword, c.arguments, c.summary);
  return 0;
}
