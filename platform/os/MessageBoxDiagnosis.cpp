#include "platform/os/MessageBoxDiagnosis.h"

#include <X11/Xlib.h>

namespace {
bool isSet(const char* value) { return value && *value; }
}  // namespace

std::string describeMissingMessageBox(const char* x11Display, const char* waylandDisplay) {
  if (!isSet(x11Display)) {
    if (!isSet(waylandDisplay)) return "there is no display (DISPLAY and WAYLAND_DISPLAY are unset)";
    return "on Wayland the box is shown by the zenity program; is it installed?";
  }
  const std::string name = x11Display;
  Display* display = XOpenDisplay(name.c_str());
  if (!display)
    return "cannot open the X display \"" + name +
           "\" (no X server answers there, or this user may not connect to it)";
  int count = 0;
  char** fonts = XListFonts(display, kMessageBoxFontPattern, 1, &count);
  if (fonts) XFreeFontNames(fonts);
  XCloseDisplay(display);
  if (count == 0)
    return "the X server \"" + name + "\" has no core font matching " + kMessageBoxFontPattern +
           ", which the box's text needs (install the X core fonts: Debian's xfonts-base)";
  return "";
}
