// Commands whose subsystem this build does not have yet: 3D scenes, with the
// shared shaders and glow targets. The parser builds their items with every
// stored value; running one writes a line to the debugger output, once per
// command class, and the show goes on without it. The group moves to its own
// file when the scene renderer lands.
#include "platform/os/Process.h"
#include "script/SceneCommands.h"
#include "script/Scripter.h"
#include "script/SlotCommands.h"

#include <string>

namespace {
bool unavailable(ScriptItem* item, bool* reported, const char* what) {
  if (!*reported) {
    *reported = true;
    OutputDebugStringA(("'" + item->text + "' skipped: this build has no " + what + "\n").c_str());
  }
  return true;
}
}  // namespace

#define VX_UNAVAILABLE(Class, what)            \
  bool Class::Execute(float) {                 \
    static bool reported = false;              \
    return unavailable(this, &reported, what); \
  }

VX_UNAVAILABLE(LoadScene, "3D scenes")
VX_UNAVAILABLE(FreeScene, "3D scenes")
VX_UNAVAILABLE(PlayScene, "3D scenes")
VX_UNAVAILABLE(PlaySceneXFade, "3D scenes")
VX_UNAVAILABLE(StopScene, "3D scenes")
VX_UNAVAILABLE(SetSceneTime, "3D scenes")
VX_UNAVAILABLE(SetActiveCamera, "3D scenes")
VX_UNAVAILABLE(SetFogColor, "3D scenes")
VX_UNAVAILABLE(ShakeCamera, "3D scenes")
VX_UNAVAILABLE(SetGlowAmount, "3D scenes")
VX_UNAVAILABLE(SetGamma, "3D scenes")

// Nothing can fill the scene slots in this build.
void Scripter::freeSceneSlot(const std::string&) {}
void Scripter::drawScene(float) {}
void Scripter::createRenderTargets() {}
void Scripter::releaseRenderTargets() {}
