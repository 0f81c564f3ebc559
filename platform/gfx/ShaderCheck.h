#pragma once
// The graphics back end's check of one shader stage, for D3DX's compile.
//
// D3DXCompileShader validates the code it emits by asking the back end, so
// that D3DX itself holds no driver calls and no context of its own. A back
// end that can compile the system's shading language installs a checker
// while it can (the OpenGL back end: while one of its devices lives, in that
// device's context); without one, checkShaderStage answers Unchecked and
// D3DX keeps to its own structural checks.
#include <functional>
#include <string>

enum class ShaderCheck {
  Accepted,
  Rejected,   // *log holds the compiler's messages
  Unchecked,  // nothing could check the text now
};

// vertex: a vertex stage, else a pixel stage. code: the complete text of the
// stage. log: never null.
using ShaderChecker = std::function<ShaderCheck(bool vertex, const std::string& code, std::string* log)>;

// Installs the process's checker, replacing the earlier one; an empty
// function removes it. Called on the thread that draws.
void setShaderChecker(ShaderChecker checker);

// The installed checker's verdict; Unchecked without one. *log is cleared
// first; log may be null.
ShaderCheck checkShaderStage(bool vertex, const std::string& code, std::string* log);
