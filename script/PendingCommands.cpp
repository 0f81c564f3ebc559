// The shared shaders and the glow targets of the scene renderer. The scene
// commands load, time, play and cross-fade scenes; the processors that
// draw them, with their shaders and glow targets, plug in here and through
// the scene's processor factory when the render pipeline lands. Until then a
// scene is loaded, animated and culled but draws nothing.
#include "script/Scripter.h"

void Scripter::createRenderTargets() {}
void Scripter::releaseRenderTargets() {}
