#pragma once
// Runs the real vxtool in a test's folder and collects what it printed.
#include "ArchiveTestUtil.h"

#include <string>

struct ToolRun {
  int code;  // exit code, -1 when it did not exit normally
  std::string out;
  std::string err;
};

ToolRun vxtool(const TempDir& dir, const std::string& args);
// The same with environment assignments ("NAME=value ...") for the tool alone.
ToolRun vxtoolWithEnv(const TempDir& dir, const std::string& env, const std::string& args);
std::string readText(const std::string& path);
