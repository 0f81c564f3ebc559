#pragma once
// The file calls the movie player makes around the control, shaped like
// their Win32 counterparts.
#include "platform/os/Types.h"

// Copies the current directory (no trailing separator except for "/") into
// buffer. Returns its length without the terminator; when the buffer of
// bufferLength bytes is too small, returns the size needed (terminator
// included) and leaves the buffer alone; 0 on failure.
DWORD GetCurrentDirectoryA(DWORD bufferLength, char* buffer);

// Deletes a file (never a directory). TRUE on success.
BOOL DeleteFileA(const char* fileName);
