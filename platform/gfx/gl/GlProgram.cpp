#include "platform/gfx/gl/GlProgram.h"

#include "platform/gfx/D3D9Constants.h"

#include <regex>
#include <string>

GLuint compileGlShader(GLenum stage, const std::string& source, std::string* log) {
  GLuint shader = glCreateShader(stage);
  const char* text = source.c_str();
  glShaderSource(shader, 1, &text, nullptr);
  glCompileShader(shader);
  GLint ok = GL_FALSE;
  glGetShaderiv(shader, GL_COMPILE_STATUS, &ok);
  if (!ok) {
    GLint length = 0;
    glGetShaderiv(shader, GL_INFO_LOG_LENGTH, &length);
    std::string text(static_cast<size_t>(length > 0 ? length : 1), '\0');
    glGetShaderInfoLog(shader, length, nullptr, text.data());
    if (log) *log = (stage == GL_VERTEX_SHADER ? "vertex program: " : "fragment program: ") + text;
    glDeleteShader(shader);
    return 0;
  }
  return shader;
}

GLuint linkGlShaders(GLuint vertexShader, GLuint fragmentShader, std::string* log) {
  GLuint program = glCreateProgram();
  glAttachShader(program, vertexShader);
  glAttachShader(program, fragmentShader);
  glBindAttribLocation(program, glattr::kPosition, "in_Position");
  glBindAttribLocation(program, glattr::kNormal, "in_Normal");
  glBindAttribLocation(program, glattr::kColor0, "in_Color0");
  glBindAttribLocation(program, glattr::kColor1, "in_Color1");
  glBindAttribLocation(program, glattr::kPointSize, "in_PointSize");
  for (GLuint i = 0; i < 8; ++i) {
    const std::string name = "in_TexCoord" + std::to_string(i);
    glBindAttribLocation(program, glattr::kTexCoord0 + i, name.c_str());
  }
  glLinkProgram(program);
  glDetachShader(program, vertexShader);
  glDetachShader(program, fragmentShader);
  GLint ok = GL_FALSE;
  glGetProgramiv(program, GL_LINK_STATUS, &ok);
  if (!ok) {
    GLint length = 0;
    glGetProgramiv(program, GL_INFO_LOG_LENGTH, &length);
    std::string text(static_cast<size_t>(length > 0 ? length : 1), '\0');
    glGetProgramInfoLog(program, length, nullptr, text.data());
    if (log) *log = "link: " + text;
    glDeleteProgram(program);
    return 0;
  }
  return program;
}

GLuint linkGlProgram(const std::string& vertexSource, const std::string& fragmentSource, std::string* log) {
  GLuint vertex = compileGlShader(GL_VERTEX_SHADER, vertexSource, log);
  if (!vertex) return 0;
  GLuint fragment = compileGlShader(GL_FRAGMENT_SHADER, fragmentSource, log);
  if (!fragment) {
    glDeleteShader(vertex);
    return 0;
  }
  GLuint program = linkGlShaders(vertex, fragment, log);
  glDeleteShader(vertex);
  glDeleteShader(fragment);
  return program;
}

namespace {
const std::regex& mainPattern() {
  static const std::regex pattern(R"(\bvoid\s+main\s*\(\s*(void)?\s*\))");
  return pattern;
}

}  // namespace

// The system's vertex stage with the pixel-centre shift appended.
std::string wrapVertexStage(const std::string& source) {
  std::string out = std::regex_replace(source, mainPattern(), "void vx_userMain()");
  out +=
      "\nuniform vec4 vx_viewport;\n"
      "void main() {\n"
      "  vx_userMain();\n"
      "  gl_Position.xy += vec2(1.0 / vx_viewport.z, -0.984375 / vx_viewport.w) * gl_Position.w;\n"
      "}\n";
  return out;
}

// The system's pixel stage with saturation, alpha test and fog appended.
std::string wrapPixelStage(const std::string& source, unsigned char alphaFunc, bool fog, bool fogInput) {
  static const std::regex outputPattern(R"(\bout\s+vec4\s+(\w+)\s*;)");
  std::smatch match;
  if (!std::regex_search(source, match, outputPattern)) return source;
  const std::string output = match[1].str();
  std::string out = std::regex_replace(source, mainPattern(), "void vx_userMain()");
  static const std::regex fogDeclared(R"(\bin\s+float\s+FOG\s*;)");
  const bool applyFog = fog && fogInput;
  if (applyFog && !std::regex_search(source, fogDeclared)) out += "\nin float FOG;\n";
  out += "\nuniform vec4 vx_fogColor;\nuniform float vx_alphaRef;\nvoid main() {\n  vx_userMain();\n";
  out += "  " + output + " = clamp(" + output + ", 0.0, 1.0);\n";
  static const char* ops[] = {nullptr, nullptr, "<", "==", "<=", ">", "!=", ">="};
  if (alphaFunc == D3DCMP_NEVER) {
    out += "  discard;\n";
  } else if (alphaFunc >= D3DCMP_LESS && alphaFunc <= D3DCMP_GREATEREQUAL) {
    out += "  if (!(floor(" + output + ".a * 255.0 + 0.5) " + ops[alphaFunc] + " vx_alphaRef)) discard;\n";
  }
  if (applyFog) out += "  " + output + ".rgb = mix(vx_fogColor.rgb, " + output + ".rgb, FOG);\n";
  out += "}\n";
  return out;
}

