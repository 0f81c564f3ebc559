#include "platform/os/Video.h"

#include <SDL.h>

bool acquireVideo(std::string* error) {
  // SDL counts SDL_InitSubSystem calls per subsystem itself.
  if (SDL_InitSubSystem(SDL_INIT_VIDEO) != 0) {
    if (error) *error = SDL_GetError();
    return false;
  }
  return true;
}

void releaseVideo() { SDL_QuitSubSystem(SDL_INIT_VIDEO); }
