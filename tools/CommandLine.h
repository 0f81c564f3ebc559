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
// other argument starting with "-" is an error that names the nearest valid
// option, if one is near, and the command's --help.
Parsed parseArgs(const Args& args, const std::set<std::string>& withValue, const std::set<std::string>& flags);

// The command whose --help an unknown option points at ("render": "see vxtool
// render --help"); set once by vxtool before a command runs.
void setHelpCommand(const std::string& command);

// The candidate a mistyped word most likely meant, or "" when none is near:
// one of at most two edits away (a letter wrong, missing, extra or two
// swapped) that leaves more of the word than it changes, or the one
// candidate the word begins (leading dashes aside, at least two letters).
std::string nearestName(const std::string& word, const std::vector<std::string>& candidates);

bool wantsHelp(const Args& args);
// Prints text on standard output; returns 0.
int help(const char* text);
