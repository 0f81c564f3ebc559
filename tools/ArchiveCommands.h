#pragma once
// vxtool's archive sub-commands. Each takes the arguments after its own name
// and returns the process exit code (0 success, 1 failure, with one line on
// standard error).
#include <string>
#include <vector>

#include "tools/CommandLine.h"

int packCommand(const Args& args);
int listCommand(const Args& args);
int extractCommand(const Args& args);
int appendCommand(const Args& args);
int renderCommand(const Args& args);
int previewCommand(const Args& args);
int joinCommand(const Args& args);
int inspectCommand(const Args& args);
int checkCommand(const Args& args);
int convertCommand(const Args& args);
