#pragma once
// Streamed music playback with the call names, constant values and result
// conventions of the FSOUND 3.x interface the music player is written
// against. libmpg123 decodes (through user file callbacks, with sample-exact
// seeking), SDL2 audio plays, and a small mixer sums the software channels
// with their 0 ... 255 volumes. An offline output without a device renders
// the same mix into memory against a virtual clock (see SoundOffline.h).
//
// Conventions kept from the interface:
// - calls that can fail return TRUE (1) or FALSE (0) as signed char, or a
//   null stream / a channel of -1; FSOUND_GetError then tells why, as one of
//   the FSOUND_ERR_* codes below (the music player's error table is indexed
//   by them). A successful call does not clear the last error.
// - a channel is a handle, not an index: the low 12 bits are the channel
//   index, the bits above count how often that channel was started, so a
//   handle of a sound that has since been stopped or replaced is refused.
// - the mode flags of FSOUND_Stream_Open describe raw sample data (bits,
//   sign, channel count). An MPEG stream carries its own format: it is
//   decoded in its own channel layout (a mono file plays the same samples on
//   both sides) whatever the flags say.
//
// All calls are made from one thread (the main thread). The mixer runs on
// SDL's audio thread for a device output, and reads the streams, and so the
// file callbacks, from there.

// An open stream; created by FSOUND_Stream_Open, freed by FSOUND_Stream_Close
// or FSOUND_Close.
struct FSOUND_STREAM;
// DSP units do not exist here; FSOUND_Stream_PlayEx takes null.
struct FSOUND_DSPUNIT;

#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif

// Channel selectors.
constexpr int FSOUND_FREE = -1;  // FSOUND_Stream_PlayEx: pick a free channel
constexpr int FSOUND_ALL = -3;   // SetPaused / SetVolume / StopSound: every channel

// Output types for FSOUND_SetOutput. Every device output is SDL2 audio (its
// driver chosen by SDL, e.g. SDL_AUDIODRIVER=dummy for a silent device).
constexpr int FSOUND_OUTPUT_NOSOUND = 0;  // no output: streams open, nothing is mixed
constexpr int FSOUND_OUTPUT_WINMM = 1;
constexpr int FSOUND_OUTPUT_DSOUND = 2;
constexpr int FSOUND_OUTPUT_OSS = 4;
constexpr int FSOUND_OUTPUT_ESD = 5;
constexpr int FSOUND_OUTPUT_ALSA = 6;
// No device: the mix is rendered into memory when the virtual clock is
// advanced (SoundOffline.h).
constexpr int FSOUND_OUTPUT_OFFLINE = 12;

// Stream mode flags.
constexpr unsigned int FSOUND_LOOP_OFF = 0x00000001;
constexpr unsigned int FSOUND_LOOP_NORMAL = 0x00000002;  // restart at the beginning at the end
constexpr unsigned int FSOUND_8BITS = 0x00000008;
constexpr unsigned int FSOUND_16BITS = 0x00000010;
constexpr unsigned int FSOUND_MONO = 0x00000020;
constexpr unsigned int FSOUND_STEREO = 0x00000040;
constexpr unsigned int FSOUND_UNSIGNED = 0x00000080;
constexpr unsigned int FSOUND_SIGNED = 0x00000100;
// name_or_data points at the file's bytes in memory (length bytes, which
// must be given); the memory must stay valid until the stream is closed.
constexpr unsigned int FSOUND_LOADMEMORY = 0x00008000;
// Sample-exact seeking: the whole stream is indexed when it is opened.
// Without it, seeks may land near the position instead of on it.
constexpr unsigned int FSOUND_MPEGACCURATE = 0x00020000;
constexpr unsigned int FSOUND_NORMAL = FSOUND_16BITS | FSOUND_SIGNED | FSOUND_MONO;

// Error codes (FSOUND_GetError).
enum : int {
  FSOUND_ERR_NONE = 0,
  FSOUND_ERR_BUSY = 1,             // not allowed after FSOUND_Init
  FSOUND_ERR_UNINITIALIZED = 2,    // needs FSOUND_Init first
  FSOUND_ERR_INIT = 3,             // the output device could not be opened
  FSOUND_ERR_ALLOCATED = 4,
  FSOUND_ERR_PLAY = 5,
  FSOUND_ERR_OUTPUT_FORMAT = 6,
  FSOUND_ERR_COOPERATIVELEVEL = 7,
  FSOUND_ERR_CREATEBUFFER = 8,
  FSOUND_ERR_FILE_NOTFOUND = 9,    // the open callback returned null
  FSOUND_ERR_FILE_FORMAT = 10,     // no MPEG audio in the file
  FSOUND_ERR_FILE_BAD = 11,        // the file could not be read or decoded
  FSOUND_ERR_MEMORY = 12,
  FSOUND_ERR_VERSION = 13,
  FSOUND_ERR_INVALID_PARAM = 14,   // a bad argument, or a stale channel handle
  FSOUND_ERR_NO_EAX = 15,
  FSOUND_ERR_CHANNEL_ALLOC = 16,   // every software channel is busy
  FSOUND_ERR_RECORD = 17,
  FSOUND_ERR_MEDIAPLAYER = 18,
};

// File callbacks (FSOUND_File_SetCallbacks). open returns a handle, null when
// the name is not found; read returns the bytes copied; seek's mode is 0 from
// the start, 1 from the current position, 2 from the end, and it returns 0 on
// success; tell returns the position or -1.
using FSOUND_OPENCALLBACK = void* (*)(const char* name);
using FSOUND_CLOSECALLBACK = void (*)(void* handle);
using FSOUND_READCALLBACK = int (*)(void* buffer, int size, void* handle);
using FSOUND_SEEKCALLBACK = int (*)(void* handle, int pos, signed char mode);
using FSOUND_TELLCALLBACK = int (*)(void* handle);

// The interface version this layer implements.
float FSOUND_GetVersion();
int FSOUND_GetError();

// Set-up; only before FSOUND_Init (FSOUND_ERR_BUSY after).
signed char FSOUND_SetOutput(int outputType);  // FSOUND_OUTPUT_*
int FSOUND_GetOutput();
// 0: the default device; n > 0: SDL's n-th playback device (1-based).
signed char FSOUND_SetDriver(int driver);
// Drivers: the default device plus SDL's playback devices (1 when SDL's
// audio cannot start).
int FSOUND_GetNumDrivers();
// Mixing buffer length, 10 ... 2000 ms (default 200). The device buffer is
// about half of it, so the mix runs this far ahead of what is heard.
signed char FSOUND_SetBufferSize(int lenMs);

// Opens the output and the mixer: mixRate 8000 ... 192000 Hz, 1 ... 4096
// software channels, flags (none are defined; ignored). An output device that
// cannot be opened fails with FSOUND_ERR_INIT.
signed char FSOUND_Init(int mixRate, int maxSoftwareChannels, unsigned int flags);
// Stops every channel, frees every stream, closes the output. Set-up values
// (output, driver, buffer sizes, callbacks) are kept for a later FSOUND_Init.
void FSOUND_Close();
int FSOUND_GetMixer();  // mixing rate in Hz while initialised, else 0

// How much decoded music each playing stream keeps ahead of the mixer,
// 50 ... 20000 ms (default 2000). Applies to streams opened afterwards.
signed char FSOUND_Stream_SetBufferSize(int ms);
// Replaces the file access of streams opened afterwards (stdio by default).
// All five null restores stdio; a partial set is FSOUND_ERR_INVALID_PARAM.
signed char FSOUND_File_SetCallbacks(FSOUND_OPENCALLBACK open, FSOUND_CLOSECALLBACK close,
                                     FSOUND_READCALLBACK read, FSOUND_SEEKCALLBACK seek,
                                     FSOUND_TELLCALLBACK tell);

// Opens an MPEG audio stream from a file (through the callbacks) or, with
// FSOUND_LOADMEMORY, from memory. offset: first byte of the stream in the
// file; length: its byte count, 0 for the rest of the file. Null on failure.
FSOUND_STREAM* FSOUND_Stream_Open(const char* nameOrData, unsigned int mode, int offset, int length);
// Stops its channel if playing and frees the stream.
signed char FSOUND_Stream_Close(FSOUND_STREAM* stream);
// Moves the stream to ms (clamped to its length); takes effect at once, also
// while it plays.
signed char FSOUND_Stream_SetTime(FSOUND_STREAM* stream, int ms);
int FSOUND_Stream_GetTime(FSOUND_STREAM* stream);       // ms of what the mixer has consumed
int FSOUND_Stream_GetLengthMs(FSOUND_STREAM* stream);
// Starts the stream on a channel (FSOUND_FREE or an index; a sound already on
// that index is stopped) from its current time, paused if asked. A stream
// plays on one channel at a time: starting it again moves it. Returns the
// channel handle, or -1.
int FSOUND_Stream_PlayEx(int channel, FSOUND_STREAM* stream, FSOUND_DSPUNIT* dsp, signed char paused);

// Channel calls; channel is a handle from FSOUND_Stream_PlayEx or FSOUND_ALL.
signed char FSOUND_SetPaused(int channel, signed char paused);
signed char FSOUND_GetPaused(int channel);
signed char FSOUND_StopSound(int channel);
signed char FSOUND_SetVolume(int channel, int volume);  // 0 silent ... 255 full; clamped
int FSOUND_GetVolume(int channel);                      // -1 for a bad handle
// TRUE while the channel holds its sound (paused or not); a stream that
// reached its end frees its channel.
signed char FSOUND_IsPlaying(int channel);
