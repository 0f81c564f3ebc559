// "loadflash", "playflash", "stopflash", "freeflash".
#include "script/FlashCommands.h"

#include "layers/FlashPlayer.h"
#include "platform/os/MessageBox.h"
#include "platform/os/Process.h"
#include "script/Scripter.h"

#include <cstdio>


bool LoadFlash::Execute(float) {
  scripter->freeFlashSlot(name);
  scripter->flashes[name] = new FlashPlayer(scripter->device, scripter->width, scripter->height, file.c_str());
  return true;
}

bool PlayFlash::Execute(float) {
  auto it = scripter->flashes.find(name);
  if (it == scripter->flashes.end()) {
    char text[512];
    std::snprintf(text, sizeof text, "Flash slot %s is empty! PlayFlash failed.", name.c_str());
    MessageBoxA(nullptr, text, "PlayFlash error", MB_OK);
    ExitProcess(0);
  }
  scripter->currentFlash = it->second;
  scripter->currentFlash->SetQuality(quality);
  scripter->currentFlash->SetMode(mode);
  return true;
}

bool StopFlash::Execute(float) {
  scripter->currentFlash = nullptr;
  return true;
}

bool FreeFlash::Execute(float) {
  scripter->freeFlashSlot(name);
  return true;
}
