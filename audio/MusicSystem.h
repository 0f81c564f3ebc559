#pragma once
// Set-up of the sound library for music, its error texts, and the file
// callbacks through which every music stream is read from the resource files
// (a loose file first, else the archive).
//
// InitMusicSystem runs once, from the Scripter's constructor, before anything
// else that uses sound; FSOUND_Close, from the Scripter's destructor after
// every MP3Player is closed, undoes it.

// The lowest interface version the music code accepts.
constexpr float MUSIC_REQUIRED_VERSION = 3.73f;

// Checks the library version, opens the output (DirectSound-type device,
// default driver, 150 ms mixing buffer, 44100 Hz, 32 software channels),
// sets 2000 ms of stream buffering and installs the resource-file callbacks.
// A wrong version or a failed initialisation shows a message box and ends
// the process with exit code 0.
void InitMusicSystem();

// The text for an FSOUND_GetError code; "Unknown error" outside 0 ... 18.
const char* GetMusicErrorText(int errorCode);

// The file callbacks (FSOUND_File_SetCallbacks shapes) over ResOpen / ResRead
// / ResSeek / ResTell / ResClose; the handle is the ResourceFile.
void* musicFileOpen(const char* name);
void musicFileClose(void* handle);
int musicFileRead(void* buffer, int size, void* handle);
int musicFileSeek(void* handle, int position, signed char mode);
int musicFileTell(void* handle);
