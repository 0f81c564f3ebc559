#include "tools/CommandLine.h"

#include <algorithm>
#include <cstdio>

namespace {

std::string g_helpCommand;

// Edit distance with adjacent swaps counted as one edit (optimal string
// alignment); words here are a few dozen letters at most.
std::size_t editDistance(const std::string& a, const std::string& b) {
  std::vector<std::vector<std::size_t>> d(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
  for (std::size_t i = 0; i <= a.size(); ++i) d[i][0] = i;
  for (std::size_t j = 0; j <= b.size(); ++j) d[0][j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i)
    for (std::size_t j = 1; j <= b.size(); ++j) {
      d[i][j] = std::min({d[i - 1][j] + 1, d[i][j - 1] + 1, d[i - 1][j - 1] + (a[i - 1] != b[j - 1])});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) d[i][j] = std::min(d[i][j], d[i - 2][j - 2] + 1);
    }
  return d[a.size()][b.size()];
}

std::string withoutDashes(const std::string& word) { return word.substr(std::min(word.find_first_not_of('-'), word.size())); }

std::string unknownOption(const std::string& option, const std::set<std::string>& withValue,
                          const std::set<std::string>& flags) {
  std::vector<std::string> known(withValue.begin(), withValue.end());
  known.insert(known.end(), flags.begin(), flags.end());
  known.push_back("--help");
  std::string message = "unknown option " + option;
  const std::string nearest = nearestName(option, known);
  if (!nearest.empty()) message += "; did you mean " + nearest + "?";
  return message + " (see vxtool " + (g_helpCommand.empty() ? "" : g_helpCommand + " ") + "--help)";
}

}  // namespace

void setHelpCommand(const std::string& command) { g_helpCommand = command; }

std::string nearestName(const std::string& word, const std::vector<std::string>& candidates) {
  const std::string stem = withoutDashes(word);
  std::string best;
  std::size_t bestDistance = 3;  // more edits than this suggest nothing
  for (const std::string& candidate : candidates) {
    const std::size_t distance = editDistance(word, candidate);
    if (distance < bestDistance && 2 * distance < stem.size()) {
      best = candidate;
      bestDistance = distance;
    }
  }
  if (!best.empty() || stem.size() < 2) return best;
  std::string prefixOf;
  for (const std::string& candidate : candidates) {
    const std::string candidateStem = withoutDashes(candidate);
    const bool sameDashes = word.size() - stem.size() == candidate.size() - candidateStem.size();
    if (sameDashes && candidateStem.rfind(stem, 0) == 0) {
      if (!prefixOf.empty()) return "";  // two candidates begin so: no guess
      prefixOf = candidate;
    }
  }
  return prefixOf;
}

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
      parsed.error = unknownOption(a, withValue, flags);
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
