#include "platform/gfx/gl/GlProgram.h"

#include "platform/gfx/D3D9Constants.h"

#include <string>

void clearGlErrors() {
  for (int i = 0; i < 32 && glGetError() != GL_NO_ERROR; ++i) {
  }
}

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

// The source with its entry point `void main(` renamed to vx_userMain.
std::string renameMain(const std::string& source) {
  const std::vector<GlslToken> t = tokenizeGlsl(source);
  for (size_t i = 1; i + 1 < t.size(); ++i) {
    if (t[i].text == "main" && t[i - 1].text == "void" && t[i + 1].text == "(") {
      std::string out = source;
      out.replace(t[i].offset, 4, "vx_userMain");
      return out;
    }
  }
  return source;
}

}  // namespace

// The system's vertex stage with the pixel-centre shift appended.
std::string wrapVertexStage(const std::string& source) {
  std::string out = renameMain(source);
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
  std::string output;
  for (const ShaderVarying& v : declaredVaryings(source, "out"))
    if (v.type == "vec4") {
      output = v.name;
      break;
    }
  if (output.empty()) return source;
  std::string out = renameMain(source);
  bool fogDeclared = false;
  for (const ShaderVarying& v : declaredVaryings(source, "in")) fogDeclared |= v.name == "FOG";
  const bool applyFog = fog && fogInput;
  if (applyFog && !fogDeclared) out += "\nin float FOG;\n";
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
