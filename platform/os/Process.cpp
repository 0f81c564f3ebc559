#include "platform/os/Process.h"

#include "platform/os/MessageBox.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace {
ExitProcessHook g_exitHook = nullptr;
}

void OutputDebugStringA(const char* text) {
  if (!text) return;
  std::fputs(text, stderr);
  std::fflush(stderr);
}

void SetExitProcessHook(ExitProcessHook hook) { g_exitHook = hook; }

void ExitProcess(UINT code) {
  std::fflush(nullptr);
  if (g_exitHook) g_exitHook(code);
  std::_Exit(static_cast<int>(code));
}

void FatalMessage(const char* caption, UINT exitCode, const char* format, ...) {
  char text[256];  // the system's message buffer; longer texts are cut
  va_list args;
  va_start(args, format);
  std::vsnprintf(text, sizeof text, format, args);
  va_end(args);
  MessageBoxA(nullptr, text, caption, MB_OK);
  ExitProcess(exitCode);
}
