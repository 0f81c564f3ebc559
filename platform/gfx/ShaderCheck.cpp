#include "platform/gfx/ShaderCheck.h"

#include <mutex>
#include <utility>

namespace {

std::mutex& checkerMutex() {
  static std::mutex mutex;
  return mutex;
}

ShaderChecker& installedChecker() {
  static ShaderChecker checker;
  return checker;
}

}  // namespace

void setShaderChecker(ShaderChecker checker) {
  std::lock_guard<std::mutex> lock(checkerMutex());
  installedChecker() = std::move(checker);
}

ShaderCheck checkShaderStage(bool vertex, const std::string& code, std::string* log) {
  std::string ignored;
  std::string* messages = log ? log : &ignored;
  messages->clear();
  ShaderChecker checker;
  {
    // A copy, so that a checker may install another one while it runs.
    std::lock_guard<std::mutex> lock(checkerMutex());
    checker = installedChecker();
  }
  if (!checker) return ShaderCheck::Unchecked;
  return checker(vertex, code, messages);
}
