#pragma once
// Reading the text of one GLSL stage the way D3DXCompileShader needs it,
// without a driver: enough of the preprocessor to know which lines the
// driver will compile (conditionals evaluated with the macros; comments,
// directives and inactive lines blanked; macros recorded, not expanded), the
// global function definitions and uniform declarations, and what an entry
// point reaches. Offsets and lines are those of the source text.
#include "platform/d3dx/D3DXShader.h"

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <vector>

bool isGlslIdentifier(const std::string& text);

// Messages in the "(line): error: text" form, lines counted in the source.
class GlslDiagnostics {
 public:
  explicit GlslDiagnostics(const std::string& source) : m_source(source) {}
  int lineAt(std::size_t offset) const;
  void error(std::size_t offset, const std::string& text);
  bool failed() const { return !m_text.empty(); }
  const std::string& text() const { return m_text; }

 private:
  const std::string& m_source;
  std::string m_text;
};

// A uniform type the constant tables know, with its D3DX description.
struct GlslUniformType {
  const char* name;
  D3DXPARAMETER_CLASS cls;
  D3DXPARAMETER_TYPE type;
  UINT rows, columns;
  D3DXREGISTER_SET set;
  UINT registersPerElement;
};

struct GlslUniform {
  std::string name;
  const GlslUniformType* type = nullptr;
  UINT elements = 1;
  bool isArray = false;
  UINT binding = 0;  // layout(binding = N); samplers only
  bool hasDefault = false;
  std::vector<double> defaults;  // rows x columns x elements, packed, GLSL constructor order
};

struct GlslFunction {
  std::string name;
  bool isVoid = false;
  bool noParameters = false;
  std::size_t begin = 0, end = 0;  // the whole definition, qualifiers to '}'
  std::vector<std::string> identifiers;  // every identifier in it
};

struct GlslSource {
  std::string active;  // as long as the source; only what the driver compiles is left
  std::map<std::string, std::string> everDefined;  // every macro defined on the way: name -> body
  std::map<std::string, std::string> macros;       // the macros still defined at the end
  std::size_t versionEnd = 0;                      // just past the #version line; 0 without one
  std::vector<GlslFunction> functions;
  std::vector<GlslUniform> uniforms;  // declaration order
};

// `macros` are defined before the source's first line (name -> body;
// function-like bodies keep their parameter list in front). Errors go to
// diag; the result is then incomplete.
GlslSource analyseGlsl(const std::string& source, const std::map<std::string, std::string>& macros,
                       GlslDiagnostics& diag);

// Every identifier the entry point reaches through function calls and macros
// (the entry point's own name included).
std::set<std::string> reachedIdentifiers(const std::string& entry, const GlslSource& glsl);

// The source with the definitions of functions not named in `keep` replaced
// by spaces (newlines kept, so lines still count). A definition whose text
// holds directives other than balanced conditionals is kept.
std::string withoutFunctions(const std::string& source, const GlslSource& glsl, const std::set<std::string>& keep);
