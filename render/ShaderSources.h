#pragma once
// The source texts of the shared shaders: GLSL stages in the form
// D3DXCompileShader takes (several entry points per text, constants and
// samplers by name, see platform/d3dx/D3DXShader.h). SharedShaders.cpp
// compiles them at start; nothing else should need them.

// Entry points "PPLVShader" (with the "Spot" define: the hard-edged cone
// test) and "PPLVShaderEnv": the per-pixel lighting vertex programs, fed by
// the 64-byte lit vertex (LitDecl).
extern const char* const LitVertexShaderSource;
// Entry points "PPLPShader", "PPLPShaderNoTex", "PPLPShaderSpecular" and
// "PPLPShaderEnv": the pixel programs of the diffuse, specular and
// environment passes.
extern const char* const LitPixelShaderSource;
// Entry point "SpriteShader": the particle-cloud vertex program (the pixel
// stage stays fixed-function).
extern const char* const SpriteShaderSource;
