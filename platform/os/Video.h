#pragma once
// Reference-counted start and stop of SDL's video subsystem. Windows, the
// cursor and the display-mode queries need it; message boxes do not. Headless
// runs select SDL's "offscreen" driver with SDL_VIDEODRIVER=offscreen (an EGL
// context on Mesa's software rasteriser, no X server).
#include <string>

// Starts the video subsystem (counted). On failure returns false and, when
// error is given, stores SDL's reason.
bool acquireVideo(std::string* error = nullptr);
// Undoes one successful acquireVideo.
void releaseVideo();
