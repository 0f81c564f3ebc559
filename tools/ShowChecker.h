#pragma once
// vxtool check: a whole show read and walked the way the player would, on
// the player's own parser, commands and loaders, with every problem kept
// instead of the first one ending the process.
//
// The script is parsed by the Scripter (archive first, then the loose file;
// includes with their base times). Its items then run in script order, which
// is timeline order, on the recording device with the offline sound output:
// each load command opens and decodes its files through the same resource
// access and loaders as the player. A command that would end the show (a
// message box, then ExitProcess) is caught, recorded with its file and line,
// and the walk goes on with the next command. Waits are not waited for: the
// walk keeps the script time itself (waits, "waituntil", "settime" jumps)
// and the show's length in wall time.
//
// Beyond what the player refuses, the walk reports what would stop the show
// later or go wrong silently (see ShowChecker.cpp for the list).
#include <cstdint>
#include <string>
#include <vector>

struct CheckOptions {
  std::string script = "demo.vxc";  // as the player names it
  std::string archive;               // empty: the process's open archive (g_archive), if any
  // Standard error stays silent while the player's code runs (its message
  // boxes and debugger lines would repeat the report). Off for the fuzz
  // target, whose sanitizer reports go there.
  bool quiet = true;
};

struct CheckProblem {
  enum class Severity { Error, Warning };
  Severity severity = Severity::Error;
  std::string file;     // the script file, or the content file the message is about
  int line = 0;         // editor's line in a script file; 0 for content
  std::string message;  // the player's own text where it has one
  std::string command;  // the script line that led to it ("demo.vxc:12: loadimage a.png a"); may be empty
};

struct CheckSummary {
  double lengthMs = 0;      // wall time of the walked timeline (waits; "settime" jumps take none)
  double endScriptMs = 0;   // script time when the last command has run
  int scenes = 0, pictures = 0, sequences = 0, colours = 0, tunes = 0, movies = 0;  // distinct loads
  std::uint64_t peakTextureBytes = 0;  // device textures alive at once, mip chains included
  std::string peakAt;                  // "FILE:LINE" of the command after which the peak was reached
};

struct CheckReport {
  std::vector<CheckProblem> problems;  // in the order met
  CheckSummary summary;
  // Every file the show reads, in first-use order: the scripts, and each file
  // a command loads with what it names in turn (sequence frames, nested
  // scene files, textures, animated-texture sequence files and images).
  std::vector<std::string> files;
  // The animated-texture sequence files among them: the scene loader reads
  // these only as loose files, never from an archive.
  std::vector<std::string> looseOnlyFiles;

  int errorCount() const;
  int warningCount() const;
};

// Walks the show. False with *error only when the check cannot start (an
// archive that cannot be opened); problems of the show are in *report.
bool checkShow(const CheckOptions& options, CheckReport* report, std::string* error);

// "FILE:LINE: error: MESSAGE [COMMAND]" (no ":LINE" for content).
std::string formatProblem(const CheckProblem& problem);
// Every problem, one per line, then the summary lines.
std::string reportText(const CheckReport& report);
// {"problems": [{"file", "line" (null for content), "severity", "message",
//   "command"}], "summary": {...}, "files": [...], "errors": n, "warnings": n}
std::string reportJson(const CheckReport& report);

// The keyword nearest to an unknown command word (edit distance), or empty
// when none is near enough to be a likely slip.
std::string nearestKeyword(const std::string& word, const std::vector<std::string>& keywords);
