// "loadmusic", "playmusic", "setvolume", "stopmusic", "freemusic".
#include "script/MusicCommands.h"

#include "audio/MP3Player.h"
#include "platform/os/MessageBox.h"
#include "platform/os/Process.h"
#include "script/Scripter.h"

#include <cstdio>


bool LoadMusic::Execute(float) {
  scripter->freeMusicSlot(name);
  scripter->musics[name] = new MP3Player(file.c_str());
  return true;
}

bool PlayMusic::Execute(float) {
  auto it = scripter->musics.find(name);
  if (it == scripter->musics.end()) {
    char text[512];
    std::snprintf(text, sizeof text, "Music slot %s is empty! PlayMusic failed.", name.c_str());
    MessageBoxA(nullptr, text, "PlayMusic error", MB_OK);
    ExitProcess(0);
  }
  if (scripter->currentMusic) scripter->currentMusic->Stop();
  scripter->currentMusic = it->second;
  scripter->currentMusic->Play(startPosition);
  return true;
}

bool SetVolume::Execute(float) {
  if (scripter->currentMusic) scripter->currentMusic->SetVolume(volume);
  return true;
}

bool StopMusic::Execute(float) {
  if (scripter->currentMusic) scripter->currentMusic->Stop();
  scripter->currentMusic = nullptr;
  return true;
}

bool FreeMusic::Execute(float) {
  scripter->freeMusicSlot(name);
  return true;
}
