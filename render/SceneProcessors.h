#pragma once
// The processors every prepared scene gets, in drawing order: the default
// processor (the scene's defaultProcessor, also used by the cross-fade's
// quad) and then the glow processor, each with the next scene id.
class SceneGraph;

// The scene's processor factory (see SetSceneProcessorFactory); installed
// as the default, so every prepared scene gets its processors.
void CreateSceneProcessors(SceneGraph& scene);
