#include "audio/MusicSystem.h"

#include "archive/ResourceFile.h"
#include "platform/os/MessageBox.h"
#include "platform/os/Process.h"
#include "platform/sound/FSound.h"

#include <cstdio>

namespace {

// Indexed by FSOUND_GetError's code.
const char* const kErrorTexts[] = {
    "No errors",
    "Cannot call this command after FSOUND_Init.  Call FSOUND_Close first.",
    "This command failed because FSOUND_Init was not called",
    "Error initializing output device.",
    "The output device is already in use and cannot be reused.",
    "Playing the sound failed.",
    "Soundcard does not support the features needed for this soundsystem (16bit stereo output)",
    "Error setting cooperative level for hardware.",
    "Error creating hardware sound buffer.",
    "File not found",
    "Unknown file format",
    "Error loading file",
    "Not enough memory ",
    "The version number of this file format is not supported",
    "An invalid parameter was passed to this function",
    "Tried to use an EAX command on a non EAX enabled channel or output.",
    "Failed to allocate a new channel",
    "Recording not supported on this device",
    "Required Mediaplayer codec is not installed",
};

constexpr int kMixRate = 44100;          // Hz
constexpr int kSoftwareChannels = 32;
constexpr int kMixBufferMs = 150;
constexpr int kStreamBufferMs = 2000;

}  // namespace

const char* GetMusicErrorText(int errorCode) {
  if (errorCode < 0 || errorCode >= static_cast<int>(sizeof kErrorTexts / sizeof kErrorTexts[0]))
    return "Unknown error";
  return kErrorTexts[errorCode];
}

void InitMusicSystem() {
  if (FSOUND_GetVersion() < MUSIC_REQUIRED_VERSION) {
    char text[256];
    std::snprintf(text, sizeof text, "Error : You are using the wrong DLL version!  You should be using FMOD %.02f\n",
                  static_cast<double>(MUSIC_REQUIRED_VERSION));
    MessageBoxA(nullptr, text, "Error in MP3Player!", MB_OK);
    ExitProcess(0);
  }

  FSOUND_SetOutput(FSOUND_OUTPUT_DSOUND);
  FSOUND_SetDriver(0);
  FSOUND_SetBufferSize(kMixBufferMs);
  if (!FSOUND_Init(kMixRate, kSoftwareChannels, 0)) {
    MessageBoxA(nullptr, GetMusicErrorText(FSOUND_GetError()), "MP3Player Error", MB_OK);
    FSOUND_Close();
    ExitProcess(0);
  }
  FSOUND_Stream_SetBufferSize(kStreamBufferMs);
  FSOUND_File_SetCallbacks(musicFileOpen, musicFileClose, musicFileRead, musicFileSeek, musicFileTell);
}

void* musicFileOpen(const char* name) { return ResOpen(name); }

void musicFileClose(void* handle) { ResClose(static_cast<ResourceFile*>(handle)); }

int musicFileRead(void* buffer, int size, void* handle) {
  return ResRead(buffer, 1, size, static_cast<ResourceFile*>(handle));
}

// The 8-bit mode is widened with its sign: 0 from the start, 1 from the
// position, 2 from the end; anything else leaves the position.
int musicFileSeek(void* handle, int position, signed char mode) {
  return ResSeek(static_cast<ResourceFile*>(handle), position, static_cast<int>(mode));
}

int musicFileTell(void* handle) { return ResTell(static_cast<ResourceFile*>(handle)); }
