// "loadflash", "playflash", "stopflash", "freeflash". Movies are loaded into
// the hidden movie host and configured; nothing draws them.
#include "layers/FlashPlayer.h"
#include "platform/os/MessageBox.h"
#include "platform/os/Process.h"
#include "script/Scripter.h"
#include "script/SlotCommands.h"

#include <cstdio>

void Scripter::freeFlashSlot(const std::string& name) {
  auto it = flashes.find(name);
  if (it == flashes.end()) return;
  if (currentFlash == it->second) currentFlash = nullptr;
  delete it->second;
  flashes.erase(it);
}

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
