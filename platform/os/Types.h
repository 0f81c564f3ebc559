#pragma once
// The few Win32 type names the system code is written against.
#include <cstdint>

using HWND = void*;   // a window handle; null means "no owner window"
using UINT = unsigned int;
using DWORD = std::uint32_t;
using BOOL = int;
