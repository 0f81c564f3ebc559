#include "ToolRun.h"

#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <fstream>
#include <sstream>

ToolRun vxtool(const TempDir& dir, const std::string& args) { return vxtoolWithEnv(dir, "", args); }

ToolRun vxtoolWithEnv(const TempDir& dir, const std::string& env, const std::string& args) {
  const std::string errFile = dir.file(".stderr");
  const std::string command = "cd '" + dir.path() + "' && " + env + " '" VXTOOL_PATH "' " + args + " 2>'" + errFile + "'";
  ToolRun run{};
  std::FILE* pipe = ::popen(command.c_str(), "r");
  std::array<char, 4096> buffer;
  std::size_t got;
  while ((got = std::fread(buffer.data(), 1, buffer.size(), pipe)) > 0) run.out.append(buffer.data(), got);
  const int status = ::pclose(pipe);
  run.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  run.err = readText(errFile);
  return run;
}

std::string readText(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}
