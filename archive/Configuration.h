#pragma once
// "key = value" texts: the settings of scene objects and sequence files.
//
// One pair per line; a line starting with "#" is a comment; a run of "="
// separates key from value (more pieces are ignored); both are trimmed of
// white space; keys are lower-cased; the first occurrence of a key wins, also
// across several parsed texts. No quotes, escapes or sections.
#include <cstdint>
#include <map>
#include <string>

class Configuration {
 public:
  Configuration() = default;
  virtual ~Configuration() = default;

  // Adds the pairs of a zero-terminated text; may be called again.
  void Parse(const char* text);

  // The value, or null when the key is absent; the key's ASCII case is
  // ignored. The pointer lives as long as the Configuration.
  const char* GetString(const char* key) const;
  // Decimal integer prefix of the value (wrapping on overflow); 0 when absent
  // or unreadable.
  std::int32_t GetInt(const char* key) const;
  // Decimal floating-point prefix of the value; 0.0 when absent or unreadable.
  double GetFloat(const char* key) const;

  std::size_t Count() const { return m_values.size(); }

 private:
  std::map<std::string, std::string> m_values;  // byte order of the keys
};

// The number readers behind GetInt and GetFloat, shared with other text
// readers of the system (the C library's atol and atof, minus locale, hex,
// infinity and NaN forms).
std::int32_t ParseDecimalInt(const char* text);
// ASCII letters A-Z lower-cased; every other byte kept (names and keywords
// of the show are compared this way, whatever the locale).
std::string AsciiLower(std::string text);
double ParseDecimalFloat(const char* text);
