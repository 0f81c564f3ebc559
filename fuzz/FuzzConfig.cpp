// fuzz_config: a configuration text parsed, then looked up by every key
// its lines could name, as string, integer and float.
#include "archive/Configuration.h"
#include "fuzz/FuzzSupport.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  initFuzzProcess();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);  // Parse reads up to the first zero
  Configuration config;
  config.Parse(text.c_str());
  // A second text adds nothing for keys already present.
  const std::size_t count = config.Count();
  config.Parse(text.c_str());
  if (config.Count() != count) {
    std::fprintf(stderr, "fuzz_config: parsing the same text twice added keys\n");
    std::abort();
  }

  // Candidate keys: the text before each "=", raw and trimmed, plus whole lines.
  std::size_t lineStart = 0;
  while (lineStart <= text.size()) {
    std::size_t lineEnd = text.find('\n', lineStart);
    if (lineEnd == std::string::npos) lineEnd = text.size();
    const std::string line = text.substr(lineStart, lineEnd - lineStart);
    const std::string key = line.substr(0, line.find('='));
    const std::size_t first = key.find_first_not_of(" \t\r");
    const std::size_t last = key.find_last_not_of(" \t\r");
    for (const std::string& candidate :
         {key, line, first == std::string::npos ? std::string() : key.substr(first, last - first + 1)}) {
      const char* value = config.GetString(candidate.c_str());
      const std::int32_t asInt = config.GetInt(candidate.c_str());
      const double asFloat = config.GetFloat(candidate.c_str());
      if (!value) {
        if (asInt != 0 || asFloat != 0.0) std::abort();  // an absent key reads as 0
      } else if (asInt != ParseDecimalInt(value)) {
        std::fprintf(stderr, "fuzz_config: GetInt disagrees with the value's text\n");
        std::abort();
      }
    }
    lineStart = lineEnd + 1;
  }
  ParseDecimalFloat(text.c_str());
  AsciiLower(text);
  return 0;
}
