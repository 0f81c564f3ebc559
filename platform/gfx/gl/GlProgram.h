#pragma once
// Compiling and linking GLSL programs, with the driver's log on failure.
//
// Vertex attributes have fixed locations for every program, generated or the
// system's own: vertexAttributeLocation() of Device.h (0 position, 1 normal,
// 2 COLOR0, 3 COLOR1, 4 PSIZE, 5 + n TEXCOORDn, 13 tangent, 14 binormal,
// 15 blend weight), so one vertex layout serves any program. The generated
// programs name their inputs in_Position, in_Normal, in_Color0, in_Color1,
// in_PointSize and in_TexCoord0..7; those names are bound to the locations.
#include <epoxy/gl.h>

#include "platform/gfx/GlslScan.h"
#include "platform/gfx/gl/FfpKey.h"

#include <cstddef>
#include <string>
#include <vector>

namespace glattr {
constexpr GLuint kPosition = 0;
constexpr GLuint kNormal = 1;
constexpr GLuint kColor0 = 2;
constexpr GLuint kColor1 = 3;
constexpr GLuint kPointSize = 4;
constexpr GLuint kTexCoord0 = 5;
constexpr GLuint kCount = 16;
}  // namespace glattr

// Drops pending OpenGL errors (a bounded number: a lost context may report
// errors forever), so the next glGetError speaks of what follows.
void clearGlErrors();

// Compiles one stage; 0 with the log in *log on failure.
GLuint compileGlShader(GLenum stage, const std::string& source, std::string* log);
// Links compiled stages (not deleted here). 0 with the log on failure.
GLuint linkGlShaders(GLuint vertexShader, GLuint fragmentShader, std::string* log);
// Both at once; the stages are deleted afterwards.
GLuint linkGlProgram(const std::string& vertexSource, const std::string& fragmentSource, std::string* log);

// The system's vertex stage with the pixel-centre shift appended: its main
// becomes vx_userMain, and a new main moves gl_Position half a pixel right
// and (0.5 - 1/128) pixel down, as the generated programs do (see
// FfpGenerator.cpp; uniform vx_viewport = x, y, width, height).
std::string wrapVertexStage(const std::string& source);
// The system's pixel stage with Direct3D's output stage appended: the colour
// output saturated, the alpha test (alphaFunc a D3DCMP_* value, 0 = off,
// against uniform vx_alphaRef 0..255) and, with fog and a FOG input from the
// vertex stage, mix(vx_fogColor, colour, FOG). Sources without a vec4 output
// come back unchanged.
std::string wrapPixelStage(const std::string& source, unsigned char alphaFunc, bool fog, bool fogInput);
