#pragma once
// vxtool's argument handling: options and positional arguments in any order,
// "--" ends the options.
#include <set>
#include <string>
#include <utility>
#include <vector>

using Args = std::vector<std::string>;

struct Parsed {
  Args positional;
  std::vector<std::pair<std::string, std::string>> options;  // in order given
  std::string error;  // set when the arguments cannot be read

  // The last value given for an option, or null.
  const std::string* get(const std::string& name) const;
  bool has(const std::string& name) const;
};

// Options taking a value are named in withValue, the others in flags; any
// other argument starting with "-" is an error.
Parsed parseArgs(const Args& args, const std::set<std::string>& withValue, const std::set<std::string>& flags);

bool wantsHelp(const Args& args);
// Prints text on standard output; returns 0.
int help(const char* text);
