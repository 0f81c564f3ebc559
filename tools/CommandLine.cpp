#include "tools/CommandLine.h"

#include <cstdio>

const std::string* Parsed::get(const std::string& name) const {
  const std::string* found = nullptr;
  for (const auto& [key, value] : options)
    if (key == name) found = &value;
  return found;
}

bool Parsed::has(const std::string& name) const {
  for (const auto& option : options)
    if (option.first == name) return true;
  return false;
}

Parsed parseArgs(const Args& args, const std::set<std::string>& withValue, const std::set<std::string>& flags) {
  Parsed parsed;
  bool optionsDone = false;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    if (!optionsDone && a == "--") {
      optionsDone = true;
    } else if (!optionsDone && withValue.count(a)) {
      if (i + 1 >= args.size()) {
        parsed.error = "option " + a + " needs a value";
        return parsed;
      }
      parsed.options.emplace_back(a, args[++i]);
    } else if (!optionsDone && flags.count(a)) {
      parsed.options.emplace_back(a, "");
    } else if (!optionsDone && a.size() > 1 && a[0] == '-') {
      parsed.error = "unknown option " + a;
      return parsed;
    } else {
      parsed.positional.push_back(a);
    }
  }
  return parsed;
}

bool wantsHelp(const Args& args) {
  for (const auto& a : args)
    if (a == "--help" || a == "-h") return true;
  return false;
}

int help(const char* text) {
  std::fputs(text, stdout);
  return 0;
}
