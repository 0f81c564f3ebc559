#pragma once
// The Direct3D object of the OpenGL back end, and its registration.
//
// The executable (and any test that wants the real device) calls
// registerGlDirect3DBackend() once at start; Direct3DCreate9 then picks the
// OpenGL back end by its priority unless another one is selected by name.
#include "platform/gfx/Direct3D9.h"

// Name and priority under which the OpenGL back end registers.
inline constexpr const char* kGlBackendName = "gl";
inline constexpr int kGlBackendPriority = 100;

void registerGlDirect3DBackend();

// A new OpenGL Direct3D object (one reference), without the registry.
IDirect3D9* createGlDirect3D();
