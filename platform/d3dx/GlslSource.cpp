#include "platform/d3dx/GlslSource.h"

#include "platform/gfx/GlslScan.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>

namespace {

bool isIdentStart(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; }
bool isIdentPart(char c) { return isIdentStart(c) || (c >= '0' && c <= '9'); }

// --- Preprocessing -------------------------------------------------------------------
// Enough of the GLSL preprocessor to know which code the driver will see:
// comments and directives are blanked and lines of inactive conditional
// branches too, keeping every offset and newline of the source. Macros are
// not expanded; their bodies are kept so that a use of a macro counts as a
// use of the identifiers in it.

// The source with comments replaced by spaces (newlines kept).
std::string blankComments(const std::string& s) {
  std::string out = s;
  for (size_t i = 0; i < s.size(); ++i) {
    if (s[i] != '/' || i + 1 >= s.size()) continue;
    if (s[i + 1] == '/') {
      while (i < s.size() && s[i] != '\n') out[i++] = ' ';
    } else if (s[i + 1] == '*') {
      const size_t end = s.find("*/", i + 2);
      const size_t stop = end == std::string::npos ? s.size() : end + 2;
      for (; i < stop; ++i)
        if (s[i] != '\n') out[i] = ' ';
      --i;
    }
  }
  return out;
}

// #if expressions: integers, defined, the C operators without ?: and ','.
class ConditionEvaluator {
 public:
  // work: macro expansions left for the whole #if, shared with the nested
  // evaluators, so that macros built from macros cannot make it run away.
  ConditionEvaluator(const std::string& text, const std::map<std::string, std::string>& macros, int* work,
                     int depth = 0)
      : m_macros(macros), m_work(work), m_depth(depth) {
    for (size_t i = 0; i < text.size();) {
      const char c = text[i];
      if (c == ' ' || c == '\t' || c == '\r' || c == '\n') {
        ++i;
      } else if (isIdentPart(c)) {
        const size_t begin = i;
        while (i < text.size() && isIdentPart(text[i])) ++i;
        m_tokens.push_back(text.substr(begin, i - begin));
      } else {
        static const char* const kPairs[] = {"&&", "||", "==", "!=", "<=", ">=", "<<", ">>"};
        const std::string two = text.substr(i, 2);
        const bool pair = std::any_of(std::begin(kPairs), std::end(kPairs), [&](const char* p) { return two == p; });
        m_tokens.push_back(pair ? two : std::string(1, c));
        i += pair ? 2 : 1;
      }
    }
  }

  // The value; *error is set (and 0 returned) for a malformed expression.
  long long evaluate(std::string* error) {
    const long long value = binary(0);
    if (m_error.empty() && m_pos != m_tokens.size()) m_error = "unexpected '" + m_tokens[m_pos] + "' in #if";
    if (m_error.empty() && m_tokens.empty()) m_error = "#if without an expression";
    *error = m_error;
    return m_error.empty() ? value : 0;
  }

 private:
  const std::string& peek() const {
    static const std::string kEnd;
    return m_pos < m_tokens.size() ? m_tokens[m_pos] : kEnd;
  }
  bool accept(const char* token) {
    if (peek() != token) return false;
    ++m_pos;
    return true;
  }
  long long fail(const std::string& message) {
    if (m_error.empty()) m_error = message;
    m_pos = m_tokens.size();
    return 0;
  }

  // Precedence climbing over the binary operators, loosest level first.
  long long binary(int level) {
    static const std::vector<std::vector<std::string>> kLevels = {
        {"||"}, {"&&"}, {"|"}, {"^"}, {"&"}, {"==", "!="}, {"<", ">", "<=", ">="}, {"<<", ">>"}, {"+", "-"},
        {"*", "/", "%"}};
    if (level == int(kLevels.size())) return unary();
    long long left = binary(level + 1);
    for (;;) {
      const auto& ops = kLevels[size_t(level)];
      const auto op = std::find(ops.begin(), ops.end(), peek());
      if (op == ops.end() || !m_error.empty()) return left;
      const std::string name = *op;
      ++m_pos;
      // The right side of a decided || or && is parsed but not evaluated.
      const bool skip = (name == "||" && left) || (name == "&&" && !left);
      m_skip += skip ? 1 : 0;
      const long long right = binary(level + 1);
      m_skip -= skip ? 1 : 0;
      if ((name == "/" || name == "%") && right == 0) {
        if (m_skip > 0) return 0;
        return fail("division by zero in #if");
      }
      if ((name == "<<" || name == ">>") && (right < 0 || right > 62)) return fail("shift out of range in #if");
      if (name == "||") left = left || right;
      else if (name == "&&") left = left && right;
      else if (name == "|") left |= right;
      else if (name == "^") left ^= right;
      else if (name == "&") left &= right;
      else if (name == "==") left = left == right;
      else if (name == "!=") left = left != right;
      else if (name == "<") left = left < right;
      else if (name == ">") left = left > right;
      else if (name == "<=") left = left <= right;
      else if (name == ">=") left = left >= right;
      else if (name == "<<") left = (long long)((unsigned long long)left << right);
      else if (name == ">>") left >>= right;
      else if (name == "+") left = (long long)((unsigned long long)left + (unsigned long long)right);
      else if (name == "-") left = (long long)((unsigned long long)left - (unsigned long long)right);
      else if (name == "*") left = (long long)((unsigned long long)left * (unsigned long long)right);
      else if (name == "/") left = (left == LLONG_MIN && right == -1) ? left : left / right;
      else left = (right == -1) ? 0 : left % right;
    }
  }

  long long unary() {
    if (m_nesting > 256) return fail("#if expression nests too deeply");
    ++m_nesting;
    const long long value = operand();
    --m_nesting;
    return value;
  }

  long long operand() {
    if (accept("!")) return !unary();
    if (accept("~")) return ~unary();
    if (accept("-")) return (long long)(0ull - (unsigned long long)unary());
    if (accept("+")) return unary();
    if (accept("(")) {
      const long long value = binary(0);
      if (!accept(")")) return fail("missing ')' in #if");
      return value;
    }
    const std::string token = peek();
    if (token.empty()) return fail("#if expression ends early");
    ++m_pos;
    if (token == "defined") {
      const bool paren = accept("(");
      const std::string name = peek();
      if (!isGlslIdentifier(name)) return fail("defined needs a macro name");
      ++m_pos;
      if (paren && !accept(")")) return fail("missing ')' after defined");
      return m_macros.count(name) ? 1 : 0;
    }
    if (token[0] >= '0' && token[0] <= '9') {
      char* end = nullptr;
      const unsigned long long value = std::strtoull(token.c_str(), &end, 0);
      if (*end != '\0' && std::strspn(end, "uU") != std::strlen(end)) return fail("bad number '" + token + "' in #if");
      return (long long)value;
    }
    if (!isGlslIdentifier(token)) return fail("unexpected '" + token + "' in #if");
    const auto macro = m_macros.find(token);
    if (macro == m_macros.end()) return m_skip > 0 ? 0 : fail("'" + token + "' is not defined (#if)");
    if (--*m_work < 0 || m_depth > 32) return fail("macro '" + token + "' expands without end");
    std::string error;
    const long long value = ConditionEvaluator(macro->second, m_macros, m_work, m_depth + 1).evaluate(&error);
    return error.empty() ? value : fail(error + " (in macro '" + token + "')");
  }

  const std::map<std::string, std::string>& m_macros;
  int* m_work;
  int m_depth;  // macro within macro
  int m_nesting = 0;  // open parentheses and unary operators
  std::vector<std::string> m_tokens;
  size_t m_pos = 0;
  int m_skip = 0;  // inside a right side that is not evaluated
  std::string m_error;
};

// Macros given before the source's first line are in `macros`; function-like
// macros are stored with their parameter list in front of the body.
GlslSource preprocess(const std::string& source, std::map<std::string, std::string> macros, GlslDiagnostics& diag) {
  GlslSource out;
  const std::string clean = blankComments(source);
  out.active = clean;
  out.everDefined = macros;
  struct Branch {
    bool parentActive, active, taken, elseSeen;
    size_t offset;
  };
  std::vector<Branch> branches;
  auto isActive = [&] { return branches.empty() || branches.back().active; };
  bool codeSeen = false;
  for (size_t line = 0; line < clean.size();) {
    size_t end = clean.find('\n', line);
    if (end == std::string::npos) end = clean.size();
    const size_t first = clean.find_first_not_of(" \t\r", line);
    if (first >= end || clean[first] != '#') {
      if (!isActive()) {
        for (size_t i = line; i < end; ++i) out.active[i] = ' ';
      } else if (first < end) {
        codeSeen = true;
      }
      line = end + 1;
      continue;
    }
    // A directive, continued over lines that end with a backslash.
    std::string text;
    for (;;) {
      std::string piece = clean.substr(line, end - line);
      while (!piece.empty() && (piece.back() == '\r' || piece.back() == ' ' || piece.back() == '\t')) piece.pop_back();
      for (size_t i = line; i < end; ++i) out.active[i] = ' ';
      const bool more = !piece.empty() && piece.back() == '\\' && end < clean.size();
      if (more) piece.pop_back();
      text += piece + " ";
      line = end + 1;
      if (!more) break;
      end = clean.find('\n', line);
      if (end == std::string::npos) end = clean.size();
    }
    size_t i = text.find('#') + 1;
    while (i < text.size() && (text[i] == ' ' || text[i] == '\t')) ++i;
    size_t nameEnd = i;
    while (nameEnd < text.size() && isIdentPart(text[nameEnd])) ++nameEnd;
    const std::string directive = text.substr(i, nameEnd - i);
    std::string rest = text.substr(nameEnd);
    rest.erase(0, rest.find_first_not_of(" \t"));
    while (!rest.empty() && (rest.back() == ' ' || rest.back() == '\t')) rest.pop_back();
    std::string word;  // the first identifier of the rest
    for (size_t k = 0; k < rest.size() && isIdentPart(rest[k]); ++k) word += rest[k];
    auto condition = [&]() -> bool {
      std::string error;
      int work = 4096;
      const long long value = ConditionEvaluator(rest, macros, &work).evaluate(&error);
      if (!error.empty()) diag.error(first, error);
      return value != 0;
    };

    if (directive == "if" || directive == "ifdef" || directive == "ifndef") {
      const bool parent = isActive();
      bool on = false;
      if (directive != "if" && !isGlslIdentifier(word)) diag.error(first, "#" + directive + " needs a macro name");
      if (parent) on = directive == "if" ? condition() : (macros.count(word) != 0) == (directive == "ifdef");
      branches.push_back({parent, parent && on, on, false, first});
    } else if (directive == "elif" || directive == "else") {
      if (branches.empty() || branches.back().elseSeen) {
        diag.error(first, "#" + directive + (branches.empty() ? " without #if" : " after #else"));
        continue;
      }
      Branch& b = branches.back();
      const bool on = b.parentActive && !b.taken && (directive == "else" || condition());
      b.active = on;
      b.taken = b.taken || on;
      b.elseSeen = directive == "else";
    } else if (directive == "endif") {
      if (branches.empty()) diag.error(first, "#endif without #if");
      else branches.pop_back();
    } else if (!isActive()) {
      continue;
    } else if (directive == "define") {
      if (!isGlslIdentifier(word)) {
        diag.error(first, "#define needs a macro name");
        continue;
      }
      std::string body = rest.substr(word.size());
      if (body.empty() || body[0] != '(') body.erase(0, body.find_first_not_of(" \t"));
      macros[word] = body;
      out.everDefined[word] = body;
    } else if (directive == "undef") {
      macros.erase(word);
    } else if (directive == "version") {
      if (codeSeen || out.versionEnd != 0) diag.error(first, "#version must come first");
      out.versionEnd = std::min(line, source.size());
      if (rest.find("compatibility") != std::string::npos) macros.erase("GL_core_profile");
      macros["__VERSION__"] = word;
    } else if (directive == "error") {
      diag.error(first, "#error " + rest);
    } else if (directive == "include") {
      diag.error(first, "#include is not supported (no include handler)");
    } else if (!directive.empty() && directive != "pragma" && directive != "extension" && directive != "line") {
      diag.error(first, "unknown directive #" + directive);
    }
    codeSeen = codeSeen || directive != "version";
  }
  for (const Branch& b : branches) diag.error(b.offset, "#if without #endif");
  out.macros = std::move(macros);
  return out;
}

// --- Global declarations ----------------------------------------------------------------

constexpr GlslUniformType kGlslUniformTypes[] = {
    {"float", D3DXPC_SCALAR, D3DXPT_FLOAT, 1, 1, D3DXRS_FLOAT4, 1},
    {"vec2", D3DXPC_VECTOR, D3DXPT_FLOAT, 1, 2, D3DXRS_FLOAT4, 1},
    {"vec3", D3DXPC_VECTOR, D3DXPT_FLOAT, 1, 3, D3DXRS_FLOAT4, 1},
    {"vec4", D3DXPC_VECTOR, D3DXPT_FLOAT, 1, 4, D3DXRS_FLOAT4, 1},
    {"mat3", D3DXPC_MATRIX_COLUMNS, D3DXPT_FLOAT, 3, 3, D3DXRS_FLOAT4, 3},
    {"mat4", D3DXPC_MATRIX_COLUMNS, D3DXPT_FLOAT, 4, 4, D3DXRS_FLOAT4, 4},
    {"int", D3DXPC_SCALAR, D3DXPT_INT, 1, 1, D3DXRS_INT4, 1},
    {"bool", D3DXPC_SCALAR, D3DXPT_BOOL, 1, 1, D3DXRS_BOOL, 1},
    {"sampler2D", D3DXPC_OBJECT, D3DXPT_SAMPLER2D, 1, 1, D3DXRS_SAMPLER, 1},
    {"sampler3D", D3DXPC_OBJECT, D3DXPT_SAMPLER3D, 1, 1, D3DXRS_SAMPLER, 1},
    {"samplerCube", D3DXPC_OBJECT, D3DXPT_SAMPLERCUBE, 1, 1, D3DXRS_SAMPLER, 1},
};

const GlslUniformType* uniformType(const std::string& name) {
  for (const GlslUniformType& t : kGlslUniformTypes)
    if (name == t.name) return &t;
  return nullptr;
}

class DeclarationParser {
 public:
  DeclarationParser(GlslSource& glsl, GlslDiagnostics& diag)
      : m_text(glsl.active), m_macros(glsl.macros), m_t(tokenizeGlsl(glsl.active)), m_diag(diag), m_scan(glsl) {}

  void scan() {
    if (!bracketsBalance()) return;
    for (size_t i = 0; i < m_t.size(); ++i) {
      const size_t start = i;
      int paren = 0;
      bool function = false;
      for (; i < m_t.size(); ++i) {
        const std::string& s = m_t[i].text;
        if (s == "(") ++paren;
        if (s == ")") --paren;
        if (paren != 0) continue;
        if (s == ";") break;
        if (s == "{") {
          const size_t close = matching(i);
          if (i > start && m_t[i - 1].text == ")") {
            function = true;
            addFunction(start, i, close);
            i = close;
            break;
          }
          i = close;  // a struct or an interface block: the statement goes on to ';'
        }
      }
      if (i == m_t.size()) {
        m_diag.error(m_t[start].offset, "declaration without ';' at the end of the source");
        break;
      }
      if (!function) addUniforms(start, i);
    }
  }

 private:
  bool bracketsBalance() {
    std::vector<size_t> open;
    for (size_t i = 0; i < m_t.size(); ++i) {
      const std::string& s = m_t[i].text;
      if (s == "(" || s == "[" || s == "{") open.push_back(i);
      if (s != ")" && s != "]" && s != "}") continue;
      const char expected = s == ")" ? '(' : s == "]" ? '[' : '{';
      if (open.empty() || m_t[open.back()].text[0] != expected) {
        m_diag.error(m_t[i].offset, "unbalanced '" + s + "'");
        return false;
      }
      open.pop_back();
    }
    if (open.empty()) return true;
    m_diag.error(m_t[open.back()].offset, "'" + m_t[open.back()].text + "' is never closed");
    return false;
  }
  size_t matching(size_t open) const {
    int depth = 0;
    for (size_t i = open; i < m_t.size(); ++i) {
      depth += m_t[i].text == "{" ? 1 : m_t[i].text == "}" ? -1 : 0;
      if (depth == 0) return i;
    }
    return m_t.size() - 1;  // unreachable: brackets balance
  }

  // Tokens [start, open) are the header `type name(params)`, `open` the body's '{'.
  void addFunction(size_t start, size_t open, size_t close) {
    size_t paren = open - 1;
    for (int depth = 0; paren > start; --paren) {
      depth += m_t[paren].text == ")" ? 1 : m_t[paren].text == "(" ? -1 : 0;
      if (depth == 0) break;
    }
    if (paren == start || !isGlslIdentifier(m_t[paren - 1].text)) {
      m_diag.error(m_t[start].offset, "malformed function definition");
      return;
    }
    GlslFunction f;
    f.name = m_t[paren - 1].text;
    f.isVoid = paren - 1 > start && m_t[paren - 2].text == "void";
    f.noParameters = paren + 2 == open || (paren + 3 == open && m_t[paren + 1].text == "void");
    f.begin = m_t[start].offset;
    f.end = m_t[close].offset + 1;
    for (size_t i = start; i <= close; ++i)
      if (isGlslIdentifier(m_t[i].text)) f.identifiers.push_back(m_t[i].text);
    m_scan.functions.push_back(std::move(f));
  }

  // Statement tokens [start, end) with `end` its ';'.
  void addUniforms(size_t start, size_t end) {
    UINT binding = 0;
    size_t i = start;
    for (; i < end && m_t[i].text != "uniform"; ++i) {
      const std::string& s = m_t[i].text;
      if (s == "layout" && i + 1 < end && m_t[i + 1].text == "(") {
        for (i += 2; i < end && m_t[i].text != ")"; ++i)
          if (m_t[i].text == "binding" && i + 2 < end && m_t[i + 1].text == "=")
            binding = UINT(std::strtoul(m_t[i + 2].text.c_str(), nullptr, 0));
      } else if (s != "lowp" && s != "mediump" && s != "highp") {
        return;  // not a uniform declaration
      }
    }
    if (i == end) return;
    for (++i; i < end && (m_t[i].text == "lowp" || m_t[i].text == "mediump" || m_t[i].text == "highp");) ++i;
    if (i + 1 >= end) return m_diag.error(m_t[start].offset, "incomplete uniform declaration");
    const std::string& typeName = m_t[i].text;
    if (m_t[i + 1].text == "{")
      return m_diag.error(m_t[i].offset, "uniform blocks are not supported ('" + typeName + "')");
    const GlslUniformType* type = uniformType(typeName);
    if (!type) return m_diag.error(m_t[i].offset, "uniform type '" + typeName + "' is not supported");
    ++i;
    UINT typeElements = 0;
    bool typeArray = false;
    if (m_t[i].text == "[") {
      typeArray = true;
      if (!arraySize(i, end, &typeElements)) return;
    }
    for (;;) {
      GlslUniform u;
      u.type = type;
      u.binding = binding;
      if (i >= end || !isGlslIdentifier(m_t[i].text))
        return m_diag.error(m_t[std::min(i, end)].offset, "uniform name expected");
      u.name = m_t[i++].text;
      u.isArray = typeArray;
      u.elements = typeArray ? typeElements : 1;
      if (i < end && m_t[i].text == "[") {
        if (typeArray) return m_diag.error(m_t[i].offset, "arrays of arrays are not supported");
        u.isArray = true;
        if (!arraySize(i, end, &u.elements)) return;
      }
      if (i < end && m_t[i].text == "=") {
        const size_t at = m_t[i].offset;
        ++i;
        u.hasDefault = true;
        if (type->cls == D3DXPC_OBJECT) return m_diag.error(at, "a sampler has no initialiser");
        if (!parseValue(i, end, &u.defaults, 0)) return;
        const size_t wanted = size_t(type->rows) * type->columns * u.elements;
        if (u.defaults.size() != wanted)
          return m_diag.error(at, "initialiser of '" + u.name + "' has " + std::to_string(u.defaults.size()) +
                                      " values, " + std::to_string(wanted) + " expected");
      }
      if (i < end && m_t[i].text != ",") {
        const std::string what = u.hasDefault ? "initialiser of '" + u.name + "' is not a literal or constructor"
                                              : "unexpected '" + m_t[i].text + "' in uniform declaration";
        return m_diag.error(m_t[i].offset, what);
      }
      m_scan.uniforms.push_back(std::move(u));
      if (i == end) return;
      ++i;
    }
  }

  // At '[': reads `[N]` (N a number or a macro holding one); unsized arrays are not allowed.
  bool arraySize(size_t& i, size_t end, UINT* size) {
    const size_t at = m_t[i].offset;
    if (i + 2 >= end || m_t[i + 2].text != "]") {
      m_diag.error(at, "array size must be one number");
      return false;
    }
    std::string text = m_t[i + 1].text;
    const auto macro = m_macros.find(text);
    if (macro != m_macros.end()) text = macro->second;
    char* stop = nullptr;
    const unsigned long value = std::strtoul(text.c_str(), &stop, 0);
    if (text.empty() || !(text[0] >= '0' && text[0] <= '9') || (*stop != '\0' && std::strcmp(stop, "u") != 0 &&
                                                                 std::strcmp(stop, "U") != 0) ||
        value == 0 || value > 4096) {
      m_diag.error(at, "array size must be a number from 1 to 4096");
      return false;
    }
    *size = UINT(value);
    i += 3;
    return true;
  }

  // One value of an initialiser: a literal, a signed one, or a constructor,
  // flattened into its components.
  bool parseValue(size_t& i, size_t end, std::vector<double>* out, int depth) {
    if (i >= end || depth > 64) {
      m_diag.error(m_t[std::min(i, end)].offset, i >= end ? "initialiser expected" : "initialiser nests too deeply");
      return false;
    }
    const std::string& s = m_t[i].text;
    if (s == "-" || s == "+") {
      std::vector<double> inner;
      ++i;
      if (!parseValue(i, end, &inner, depth + 1)) return false;
      for (double v : inner) out->push_back(s == "-" ? -v : v);
      return true;
    }
    if (s == "true" || s == "false") {
      out->push_back(s == "true" ? 1.0 : 0.0);
      ++i;
      return true;
    }
    if ((s[0] >= '0' && s[0] <= '9') || (s == "." && i + 1 < end && m_t[i + 1].offset == m_t[i].offset + 1)) {
      const char* begin = m_text.c_str() + m_t[i].offset;
      char* stop = nullptr;
      out->push_back(std::strtod(begin, &stop));
      const size_t after = size_t(stop - m_text.c_str());
      while (i < end && m_t[i].offset < after) ++i;
      while (i < end && isIdentPart(m_text[m_t[i].offset]) && m_t[i].offset == after) ++i;  // suffix f, u, lf
      return true;
    }
    const GlslUniformType* type = uniformType(s);
    if (!type || type->cls == D3DXPC_OBJECT) {
      m_diag.error(m_t[i].offset, "initialisers hold literal numbers and constructors, not '" + s + "'");
      return false;
    }
    const size_t at = m_t[i].offset;
    ++i;
    bool array = false;
    if (i < end && m_t[i].text == "[") {
      array = true;
      while (i < end && m_t[i].text != "]") ++i;
      ++i;
    }
    if (i >= end || m_t[i].text != "(") {
      m_diag.error(at, "'(' expected after '" + std::string(type->name) + "'");
      return false;
    }
    ++i;
    std::vector<std::vector<double>> args;
    while (i < end && m_t[i].text != ")") {
      args.emplace_back();
      if (!parseValue(i, end, &args.back(), depth + 1)) return false;
      if (i < end && m_t[i].text == ",") ++i;
      else if (i >= end || m_t[i].text != ")") {
        m_diag.error(m_t[std::min(i, end)].offset, "',' or ')' expected in initialiser");
        return false;
      }
    }
    ++i;
    const size_t components = size_t(type->rows) * type->columns;
    if (array) {
      for (const auto& a : args) out->insert(out->end(), a.begin(), a.end());
      return true;
    }
    std::vector<double> flat;
    for (const auto& a : args) flat.insert(flat.end(), a.begin(), a.end());
    if (args.size() == 1 && args[0].size() == 1 && components > 1) {
      // A single scalar fills a vector and makes a matrix's diagonal.
      const bool matrix = type->rows > 1;
      for (size_t k = 0; k < components; ++k)
        out->push_back(!matrix || k % (type->columns + 1) == 0 ? flat[0] : 0.0);
      return true;
    }
    if (flat.size() < components) {
      m_diag.error(at, std::string(type->name) + " needs " + std::to_string(components) + " values");
      return false;
    }
    out->insert(out->end(), flat.begin(), flat.begin() + std::ptrdiff_t(components));
    return true;
  }

  const std::string& m_text;
  const std::map<std::string, std::string>& m_macros;
  std::vector<GlslToken> m_t;
  GlslDiagnostics& m_diag;
  GlslSource& m_scan;
};

// Whether a source range may be blanked without breaking the directives in
// it: only balanced conditionals are allowed inside.
bool safeToBlank(const std::string& clean, size_t begin, size_t end) {
  int depth = 0;
  const size_t lineStart = clean.rfind('\n', begin);
  for (size_t line = lineStart == std::string::npos ? 0 : lineStart + 1; line < end;) {
    size_t next = clean.find('\n', line);
    if (next == std::string::npos) next = clean.size();
    const size_t first = clean.find_first_not_of(" \t\r", line);
    if (first < next && clean[first] == '#') {
      size_t i = clean.find_first_not_of(" \t", first + 1);
      std::string directive;
      while (i < next && isIdentPart(clean[i])) directive += clean[i++];
      if (directive.rfind("if", 0) == 0) ++depth;
      else if (directive == "endif") --depth;
      else if (directive != "else" && directive != "elif") return false;
      if (depth < 0 || (depth == 0 && (directive == "else" || directive == "elif"))) return false;
    }
    line = next + 1;
  }
  return depth == 0;
}

}  // namespace

bool isGlslIdentifier(const std::string& s) {
  return !s.empty() && isIdentStart(s[0]) && std::all_of(s.begin(), s.end(), isIdentPart);
}

int GlslDiagnostics::lineAt(size_t offset) const {
  offset = std::min(offset, m_source.size());
  return 1 + int(std::count(m_source.begin(), m_source.begin() + std::ptrdiff_t(offset), '\n'));
}

void GlslDiagnostics::error(size_t offset, const std::string& text) {
  m_text += "(" + std::to_string(lineAt(offset)) + "): error: " + text + "\n";
}

GlslSource analyseGlsl(const std::string& source, const std::map<std::string, std::string>& macros,
                       GlslDiagnostics& diag) {
  GlslSource glsl = preprocess(source, macros, diag);
  DeclarationParser(glsl, diag).scan();
  return glsl;
}

std::set<std::string> reachedIdentifiers(const std::string& entry, const GlslSource& glsl) {
  std::map<std::string, std::vector<std::string>> uses;
  for (const GlslFunction& f : glsl.functions) {
    auto& list = uses[f.name];
    list.insert(list.end(), f.identifiers.begin(), f.identifiers.end());
  }
  for (const auto& [name, body] : glsl.everDefined)
    for (const GlslToken& token : tokenizeGlsl(body))
      if (isGlslIdentifier(token.text)) uses[name].push_back(token.text);
  std::set<std::string> reached{entry};
  std::vector<std::string> pending{entry};
  while (!pending.empty()) {
    const std::string name = pending.back();
    pending.pop_back();
    const auto it = uses.find(name);
    if (it == uses.end()) continue;
    for (const std::string& id : it->second)
      if (reached.insert(id).second) pending.push_back(id);
  }
  return reached;
}

std::string withoutFunctions(const std::string& source, const GlslSource& glsl, const std::set<std::string>& keep) {
  std::string out = source;
  const std::string clean = blankComments(source);
  for (const GlslFunction& f : glsl.functions) {
    if (keep.count(f.name) || !safeToBlank(clean, f.begin, f.end)) continue;
    for (size_t i = f.begin; i < f.end; ++i)
      if (out[i] != '\n') out[i] = ' ';
  }
  return out;
}
