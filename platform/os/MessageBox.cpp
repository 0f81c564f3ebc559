#include "platform/os/MessageBox.h"

#include "platform/os/MessageBoxDiagnosis.h"

#include <SDL.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {
MessageBoxHook g_messageBoxHook = nullptr;
bool g_echo = true;

Uint32 sdlFlags(UINT type) {
  switch (type & 0xF0) {
    case MB_ICONERROR: return SDL_MESSAGEBOX_ERROR;
    case MB_ICONWARNING: return SDL_MESSAGEBOX_WARNING;
    default: return SDL_MESSAGEBOX_INFORMATION;
  }
}
}  // namespace

void SetMessageBoxHook(MessageBoxHook hook) { g_messageBoxHook = hook; }

void SetMessageBoxEcho(bool echo) { g_echo = echo; }

int MessageBoxA(HWND, const char* text, const char* caption, UINT type) {
  if (!text) text = "";
  if (!caption) caption = "Error";
  if (g_echo) {
    std::fprintf(stderr, "%s: %s\n", caption, text);
    std::fflush(stderr);
  }

  if (g_messageBoxHook) return g_messageBoxHook(text, caption, type);

  // SDL lists buttons right to left on some back ends unless told otherwise;
  // the ids are the Win32 results so the answer maps straight through.
  const bool question = (type & 0xF) == MB_YESNOCANCEL;
  SDL_MessageBoxButtonData buttons[3];
  int count = 0;
  if (question) {
    buttons[count++] = {SDL_MESSAGEBOX_BUTTON_RETURNKEY_DEFAULT, IDYES, "Yes"};
    buttons[count++] = {0, IDNO, "No"};
    buttons[count++] = {SDL_MESSAGEBOX_BUTTON_ESCAPEKEY_DEFAULT, IDCANCEL, "Cancel"};
  } else {
    buttons[count++] = {SDL_MESSAGEBOX_BUTTON_RETURNKEY_DEFAULT | SDL_MESSAGEBOX_BUTTON_ESCAPEKEY_DEFAULT,
                        IDOK, "OK"};
  }
  SDL_MessageBoxData data{};
  data.flags = sdlFlags(type) | SDL_MESSAGEBOX_BUTTONS_LEFT_TO_RIGHT;
  data.title = caption;
  data.message = text;
  data.numbuttons = count;
  data.buttons = buttons;

  int pressed = -1;
  if (SDL_ShowMessageBox(&data, &pressed) != 0) {
    // No box: the caller decides what that means (the start-up question ends
    // the program); say why first, so the user can mend it.
    const std::string sdlError = SDL_GetError();
    const std::string why = describeMissingMessageBox(std::getenv("DISPLAY"), std::getenv("WAYLAND_DISPLAY"));
    std::fprintf(stderr, "MessageBox: no box could be shown: %s%s(SDL: %s)\n", why.c_str(), why.empty() ? "" : " ",
                 sdlError.empty() ? "no reason given" : sdlError.c_str());
    std::fflush(stderr);
    return 0;
  }
  if (pressed < 0) return question ? IDCANCEL : IDOK;      // closed without a button
  return pressed;
}
