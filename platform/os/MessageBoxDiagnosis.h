#pragma once
// Why a message box could not be shown, in words a user can act on.
//
// SDL's own error text is little help here: its X11 box is drawn by a forked
// child, whose reason (a font it could not load, a display it could not open)
// dies with the child, and the fallback tried after it (zenity) overwrites the
// error of this process. So the X server is asked directly: can it be opened,
// and does it hold a core font of the kind the box is drawn with.
#include <string>

// The X core font pattern of SDL's message box text (12 point, medium,
// upright, any family). Debian's xfonts-base provides matching fonts; a bare
// X server has only "fixed" and "cursor", which do not match.
inline constexpr const char* kMessageBoxFontPattern = "-*-*-medium-r-normal--*-120-*-*-*-*-*-*";

// One sentence for standard error, or "" when the display looks able to show
// a box and nothing more is known. x11Display and waylandDisplay are the
// values of DISPLAY and WAYLAND_DISPLAY (null or "" when unset).
std::string describeMissingMessageBox(const char* x11Display, const char* waylandDisplay);
