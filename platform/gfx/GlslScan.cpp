#include "platform/gfx/GlslScan.h"

// A small tokenizer instead of <regex>: identifiers and single punctuation
// characters, comments and preprocessor lines skipped, each with its offset.

std::vector<GlslToken> tokenizeGlsl(const std::string& source) {
  std::vector<GlslToken> tokens;
  const size_t n = source.size();
  auto isStart = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; };
  auto isPart = [&](char c) { return isStart(c) || (c >= '0' && c <= '9'); };
  size_t i = 0;
  bool lineStart = true;
  while (i < n) {
    const char c = source[i];
    if (c == '\n') {
      lineStart = true;
      ++i;
    } else if (c == ' ' || c == '\t' || c == '\r') {
      ++i;
    } else if (c == '/' && i + 1 < n && source[i + 1] == '/') {
      while (i < n && source[i] != '\n') ++i;
    } else if (c == '/' && i + 1 < n && source[i + 1] == '*') {
      const size_t end = source.find("*/", i + 2);
      i = end == std::string::npos ? n : end + 2;
    } else if (c == '#' && lineStart) {
      while (i < n && source[i] != '\n') ++i;
    } else if (isStart(c)) {
      const size_t begin = i;
      while (i < n && isPart(source[i])) ++i;
      tokens.push_back({source.substr(begin, i - begin), begin});
      lineStart = false;
    } else if (c >= '0' && c <= '9') {  // a number, with its fraction, exponent and suffix
      const size_t begin = i;
      while (i < n && (isPart(source[i]) || source[i] == '.')) ++i;
      tokens.push_back({source.substr(begin, i - begin), begin});
      lineStart = false;
    } else {
      tokens.push_back({std::string(1, c), i});
      ++i;
      lineStart = false;
    }
  }
  return tokens;
}

std::vector<ShaderVarying> declaredVaryings(const std::string& source, const char* direction) {
  static const char* const kTypes[] = {"float", "vec2", "vec3", "vec4"};
  const std::vector<GlslToken> t = tokenizeGlsl(source);
  std::vector<ShaderVarying> found;
  int depth = 0;  // braces: only global declarations count
  for (size_t i = 0; i < t.size(); ++i) {
    if (t[i].text == "{") ++depth;
    if (t[i].text == "}") --depth;
    if (depth != 0 || t[i].text != direction || i + 3 >= t.size() || t[i + 3].text != ";") continue;
    for (const char* type : kTypes)
      if (t[i + 1].text == type) found.push_back({type, t[i + 2].text});
  }
  return found;
}

bool mentionsIdentifier(const std::string& source, const std::string& name) {
  for (const GlslToken& token : tokenizeGlsl(source))
    if (token.text == name) return true;
  return false;
}
