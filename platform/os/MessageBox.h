#pragma once
// Message boxes shaped like the Win32 call the system makes. The box is shown
// with SDL where a display exists; its text also goes to standard error
// as "CAPTION: TEXT", so headless runs and tests read what the user would see.
#include "platform/os/Types.h"

// Buttons (low nibble) and flags; the values are Win32's.
constexpr UINT MB_OK = 0x00000000;
constexpr UINT MB_YESNOCANCEL = 0x00000003;
constexpr UINT MB_ICONERROR = 0x00000010;
constexpr UINT MB_ICONQUESTION = 0x00000020;
constexpr UINT MB_ICONWARNING = 0x00000030;
constexpr UINT MB_ICONINFORMATION = 0x00000040;
constexpr UINT MB_TOPMOST = 0x00040000;

// Results.
constexpr int IDOK = 1;
constexpr int IDCANCEL = 2;
constexpr int IDYES = 6;
constexpr int IDNO = 7;

// Shows a box and waits for the answer. Returns IDOK for MB_OK boxes,
// IDYES / IDNO / IDCANCEL for MB_YESNOCANCEL (Return answers Yes; Escape and
// closing the box answer Cancel), and 0 when no box can be shown.
int MessageBoxA(HWND owner, const char* text, const char* caption, UINT type);

// Replaces the on-screen box (tests, off-screen rendering). The hook gets the
// same arguments and its result is returned; the standard-error line is still
// written. Pass null to restore the real box.
using MessageBoxHook = int (*)(const char* text, const char* caption, UINT type);
void SetMessageBoxHook(MessageBoxHook hook);
// Whether a box's text goes to standard error (on until turned off). A tool
// whose hook reports each box its own way turns it off while the hook is in,
// so that one message is one line.
void SetMessageBoxEcho(bool echo);
