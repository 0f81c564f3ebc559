#pragma once
// The offline output and the sound layer's own controls, for the offline
// renderer and the tests. None of this exists in the FSOUND interface.
//
// Selecting the offline output without touching the system code: the music
// set-up asks FSOUND_SetOutput for a device output; after
// soundForceOutput(FSOUND_OUTPUT_OFFLINE) every FSOUND_SetOutput selects the
// offline output instead, so that set-up runs unchanged:
//
//   soundForceOutput(FSOUND_OUTPUT_OFFLINE);
//   InitMusicSystem();                    // FSOUND_SetOutput(2) ... FSOUND_Init(44100, ...)
//   for each frame:
//     ... run the frame (the script plays, stops, sets volumes) ...
//     soundOfflineAdvanceMs(1000.0 / fps);
//     soundOfflineTakeS16(&wav);           // the frame's share of the mix
//
// The offline output has no device and no audio thread: time stands still
// until the caller advances the virtual clock, and advancing mixes exactly
// the sample frames that the clock passes over, on the calling thread. The
// mix is interleaved stereo (left, right) at the mixing rate of FSOUND_Init
// (44100 Hz for the music system): 16-bit signed, or 32-bit float in
// -1 ... 1. Rounding of fractional milliseconds never drifts: after
// advancing t ms in any steps, round(t * rate / 1000) frames have been mixed.
#include <cstdint>
#include <vector>

// Every later FSOUND_SetOutput selects outputType instead of its argument
// (and FSOUND_SetOutput is applied once now). soundClearForcedOutput undoes it.
void soundForceOutput(int outputType);
void soundClearForcedOutput();

// Advance the offline output's virtual clock and mix what it passes over.
// Return the sample frames mixed; 0 (and nothing happens) when the offline
// output is not initialised, or for a negative or non-finite argument.
std::int64_t soundOfflineAdvanceMs(double ms);
std::int64_t soundOfflineAdvanceFrames(std::int64_t frames);

// The virtual clock: ms and sample frames since FSOUND_Init.
double soundOfflineClockMs();
std::int64_t soundOfflineClockFrames();

// Append the mix collected since the last take (interleaved stereo) to *out
// and forget it. Float samples are the mixer's sums (clipped to -1 ... 1);
// 16-bit ones are those times 32767, rounded. Both takes share one
// collection: whichever is called first empties it. Collection stops at
// soundOfflineSetCollect(false) (for renders that need only the clock).
void soundOfflineTakeS16(std::vector<std::int16_t>* out);
void soundOfflineTakeFloat(std::vector<float>* out);
void soundOfflineSetCollect(bool collect);

// The version FSOUND_GetVersion reports (for tests of version checks); a
// value <= 0 restores the real one.
void soundSetReportedVersion(float version);

// A device output held still, for tools that pause a show and seek in it.
// While held, the device plays silence and no stream moves, so music stands
// where it was; released, mixing goes on from there. soundHeldAdvanceMs moves
// every playing, unpaused stream on by the sample frames that a clock of its
// own passes over (the offline output's rounding, the clock starting at
// FSOUND_Init), as mixing would consume them but without decoding where the
// stream can seek: after the same steps, each stream stands on the sample an
// offline render left it on. A stream that reaches its end frees its channel,
// as in the mixer. Returns the frames advanced; 0 when not held, on no
// device output, or for a negative or non-finite step.
void soundSetHeld(bool held);
bool soundHeld();
std::int64_t soundHeldAdvanceMs(double ms);

// The sample frame the mixer takes next from an open stream; -1 for a stream
// that is not open.
struct FSOUND_STREAM;
std::int64_t soundStreamPositionFrames(FSOUND_STREAM* stream);
