#pragma once
// `vxtool help script`: the show script's commands with their arguments and
// a line on each, for authors at a terminal; docs/script.md tells more.
#include <cstdio>

// Prints the command list; returns the exit code (0).
int printScriptHelp(std::FILE* out);
