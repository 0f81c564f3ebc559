#pragma once
// Process-level calls shaped like their Win32 counterparts.
#include "platform/os/Types.h"

// Writes the text to standard error (the debugger output of the system).
void OutputDebugStringA(const char* text);

// Ends the process at once with the given exit code, without tearing anything
// down (standard streams are flushed first). A hook installed with
// SetExitProcessHook runs instead; it must not return (a test harness throws
// or jumps back to its entry point). If it does return, the process ends.
[[noreturn]] void ExitProcess(UINT code);

using ExitProcessHook = void (*)(UINT code);
void SetExitProcessHook(ExitProcessHook hook);

// Shows an error box (no owner, OK button) and ends the process with exitCode.
// The text is cut to fit the system's 256-byte message buffer.
[[noreturn]] void FatalMessage(const char* caption, UINT exitCode, const char* format, ...)
    __attribute__((format(printf, 3, 4)));
