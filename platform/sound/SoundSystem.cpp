// The FSOUND calls, the mixer and the outputs.
//
// Threads: every FSOUND call comes from the main thread. With a device
// output, SDL's audio thread runs the mixer and a streamer thread keeps each
// playing stream's buffer full; both only read channel state, under
// g.mixLock. Offline, the mixer runs on the thread that advances the clock.
#include "platform/sound/FSound.h"
#include "platform/sound/SoundOffline.h"
#include "platform/sound/SoundStream.h"

#include <SDL.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace {

constexpr float kVersion = 3.75f;
constexpr int kChannelBits = 12;  // channel handle: serial << 12 | index
constexpr int kMaxChannels = 1 << kChannelBits;

struct Channel {
  std::shared_ptr<FSOUND_STREAM> stream;  // null: free
  int volume = 255;                       // 0 ... 255
  bool paused = false;
  int serial = 0;                         // 1 ... 0x7FFFF, bumped at each start
};

struct SoundState {
  // Set-up, kept across FSOUND_Close.
  int output = FSOUND_OUTPUT_DSOUND;
  int forcedOutput = -1;
  int driver = 0;
  int bufferMs = 200;
  int streamBufferMs = 2000;
  FileCallbacks callbacks = stdioFileCallbacks();
  float reportedVersion = 0.0f;
  int error = FSOUND_ERR_NONE;

  // Between FSOUND_Init and FSOUND_Close.
  bool initialised = false;
  int activeOutput = FSOUND_OUTPUT_NOSOUND;
  int mixRate = 0;
  std::map<FSOUND_STREAM*, std::shared_ptr<FSOUND_STREAM>> streams;
  SDL_AudioDeviceID device = 0;

  // Taken by the mixer; guards channels and FSOUND_STREAM::channel.
  std::mutex mixLock;
  std::vector<Channel> channels;
  std::vector<float> scratch;  // one channel's frames in the mixer

  // Streamer thread (device outputs).
  std::thread streamer;
  std::mutex streamerLock;
  std::condition_variable streamerWake;
  bool streamerStop = false;

  // A held device output plays silence and moves no stream (tools that
  // pause and seek); guarded by mixLock.
  bool held = false;

  // Offline output, and the clock of a held device output's advances.
  std::int64_t clockFrames = 0;
  double clockMs = 0.0;
  bool collect = true;
  std::vector<float> collected;  // interleaved stereo, -1 ... 1
};

// Never destroyed: SDL's audio thread may still run while static objects are
// torn down at exit.
SoundState& g = *new SoundState;

signed char fail(int code) {
  g.error = code;
  return FALSE;
}

bool isDeviceOutput(int output) {
  return output == FSOUND_OUTPUT_WINMM || output == FSOUND_OUTPUT_DSOUND || output == FSOUND_OUTPUT_OSS ||
         output == FSOUND_OUTPUT_ESD || output == FSOUND_OUTPUT_ALSA;
}

bool isOutput(int output) {
  return output == FSOUND_OUTPUT_NOSOUND || output == FSOUND_OUTPUT_OFFLINE || isDeviceOutput(output);
}

// Mixes `frames` stereo frames into out; g.mixLock held. Volumes are linear
// gains of volume / 255, so a lone channel at 255 passes its samples
// unchanged. A stream that ends frees its channel.
void mixLocked(float* out, int frames) {
  std::fill(out, out + static_cast<std::ptrdiff_t>(frames) * 2, 0.0f);
  g.scratch.resize(static_cast<std::size_t>(frames) * 2);
  for (Channel& channel : g.channels) {
    if (!channel.stream || channel.paused) continue;
    const int got = channel.stream->read(g.scratch.data(), frames);
    const float gain = static_cast<float>(channel.volume) / 255.0f;
    for (int i = 0; i < got * 2; ++i) out[i] += g.scratch[static_cast<std::size_t>(i)] * gain;
    if (got < frames) {
      channel.stream->channel = -1;
      channel.stream.reset();
    }
  }
  for (int i = 0; i < frames * 2; ++i) out[i] = std::clamp(out[i], -1.0f, 1.0f);
}

void audioCallback(void*, Uint8* stream, int len) {
  std::lock_guard<std::mutex> hold(g.mixLock);
  if (g.held) {
    std::fill(stream, stream + len, Uint8(0));  // 0.0f in every sample
    return;
  }
  mixLocked(reinterpret_cast<float*>(stream), len / static_cast<int>(2 * sizeof(float)));
}

// Keeps the buffers of playing streams full, so that the audio thread
// decodes only when a stream has just been started or moved.
void streamerMain() {
  // Well under the shortest stream buffer (50 ms), so a buffer never runs dry
  // between two rounds.
  constexpr auto interval = std::chrono::milliseconds(20);
  std::unique_lock<std::mutex> wait(g.streamerLock);
  while (!g.streamerStop) {
    wait.unlock();
    std::vector<std::shared_ptr<FSOUND_STREAM>> playing;
    {
      std::lock_guard<std::mutex> hold(g.mixLock);
      for (const Channel& channel : g.channels)
        if (channel.stream) playing.push_back(channel.stream);
    }
    for (const auto& stream : playing) stream->fill();
    wait.lock();
    g.streamerWake.wait_for(wait, interval);
  }
}

void wakeStreamer() {
  std::lock_guard<std::mutex> hold(g.streamerLock);
  g.streamerWake.notify_one();
}

// The channel a handle names, or null (error set) for a bad or stale handle.
Channel* channelOf(int handle) {
  if (!g.initialised) {
    g.error = FSOUND_ERR_UNINITIALIZED;
    return nullptr;
  }
  const int index = handle & (kMaxChannels - 1);
  if (handle < 0 || index >= static_cast<int>(g.channels.size()) ||
      g.channels[static_cast<std::size_t>(index)].serial != handle >> kChannelBits ||
      !g.channels[static_cast<std::size_t>(index)].stream) {
    g.error = FSOUND_ERR_INVALID_PARAM;
    return nullptr;
  }
  return &g.channels[static_cast<std::size_t>(index)];
}

// Runs apply on the channel a handle names, or on every busy one for
// FSOUND_ALL, under the mixer lock.
template <typename Apply>
signed char forChannels(int handle, Apply apply) {
  std::lock_guard<std::mutex> hold(g.mixLock);
  if (handle == FSOUND_ALL) {
    if (!g.initialised) return fail(FSOUND_ERR_UNINITIALIZED);
    for (Channel& channel : g.channels)
      if (channel.stream) apply(channel);
    return TRUE;
  }
  Channel* channel = channelOf(handle);
  if (!channel) return FALSE;
  apply(*channel);
  return TRUE;
}

void stopLocked(Channel& channel) {
  if (channel.stream) channel.stream->channel = -1;
  channel.stream.reset();
}

bool openDevice() {
  if (SDL_InitSubSystem(SDL_INIT_AUDIO) != 0) return false;
  const char* name = nullptr;
  if (g.driver > 0) {
    name = SDL_GetAudioDeviceName(g.driver - 1, 0);
    if (!name) {
      SDL_QuitSubSystem(SDL_INIT_AUDIO);
      return false;
    }
  }
  // The device buffer is half the mixing buffer, as a power of two frames
  // (SDL's requirement on some drivers).
  const int halfFrames = std::max(1, g.bufferMs * g.mixRate / 2000);
  Uint16 samples = 64;
  while (samples < 16384 && samples * 2 <= halfFrames) samples = static_cast<Uint16>(samples * 2);
  SDL_AudioSpec want{};
  want.freq = g.mixRate;
  want.format = AUDIO_F32SYS;
  want.channels = 2;
  want.samples = samples;
  want.callback = audioCallback;
  SDL_AudioSpec have{};
  g.device = SDL_OpenAudioDevice(name, 0, &want, &have, 0);  // SDL converts to what the device takes
  if (g.device == 0) {
    SDL_QuitSubSystem(SDL_INIT_AUDIO);
    return false;
  }
  return true;
}

}  // namespace

float FSOUND_GetVersion() { return g.reportedVersion > 0.0f ? g.reportedVersion : kVersion; }

int FSOUND_GetError() { return g.error; }

signed char FSOUND_SetOutput(int outputType) {
  if (g.initialised) return fail(FSOUND_ERR_BUSY);
  if (g.forcedOutput >= 0) outputType = g.forcedOutput;
  if (!isOutput(outputType)) return fail(FSOUND_ERR_INVALID_PARAM);
  g.output = outputType;
  return TRUE;
}

int FSOUND_GetOutput() { return g.initialised ? g.activeOutput : g.output; }

signed char FSOUND_SetDriver(int driver) {
  if (g.initialised) return fail(FSOUND_ERR_BUSY);
  if (driver < 0) return fail(FSOUND_ERR_INVALID_PARAM);
  g.driver = driver;
  return TRUE;
}

int FSOUND_GetNumDrivers() {
  // Driver 0 is the default device; SDL's playback devices follow.
  const bool started = g.device != 0;
  if (!started && SDL_InitSubSystem(SDL_INIT_AUDIO) != 0) return 1;
  const int devices = SDL_GetNumAudioDevices(0);
  if (!started) SDL_QuitSubSystem(SDL_INIT_AUDIO);
  return 1 + std::max(devices, 0);
}

signed char FSOUND_SetBufferSize(int lenMs) {
  if (g.initialised) return fail(FSOUND_ERR_BUSY);
  if (lenMs < 10 || lenMs > 2000) return fail(FSOUND_ERR_INVALID_PARAM);
  g.bufferMs = lenMs;
  return TRUE;
}

signed char FSOUND_Init(int mixRate, int maxSoftwareChannels, unsigned int) {
  if (g.initialised) return fail(FSOUND_ERR_BUSY);
  if (mixRate < 8000 || mixRate > 192000 || maxSoftwareChannels < 1 || maxSoftwareChannels > kMaxChannels)
    return fail(FSOUND_ERR_INVALID_PARAM);
  g.mixRate = mixRate;
  g.activeOutput = g.output;
  if (isDeviceOutput(g.output) && !openDevice()) return fail(FSOUND_ERR_INIT);
  {
    std::lock_guard<std::mutex> hold(g.mixLock);
    g.channels.assign(static_cast<std::size_t>(maxSoftwareChannels), Channel{});
  }
  g.clockFrames = 0;
  g.clockMs = 0.0;
  g.collected.clear();
  g.initialised = true;
  if (g.device) {
    g.streamerStop = false;
    g.streamer = std::thread(streamerMain);
    SDL_PauseAudioDevice(g.device, 0);
  }
  return TRUE;
}

void FSOUND_Close() {
  if (!g.initialised) return;
  if (g.device) {
    SDL_CloseAudioDevice(g.device);  // waits for the audio thread to leave the callback
    g.device = 0;
    SDL_QuitSubSystem(SDL_INIT_AUDIO);
    {
      std::lock_guard<std::mutex> hold(g.streamerLock);
      g.streamerStop = true;
      g.streamerWake.notify_one();
    }
    g.streamer.join();
  }
  {
    std::lock_guard<std::mutex> hold(g.mixLock);
    g.channels.clear();
  }
  g.streams.clear();
  g.initialised = false;
  g.mixRate = 0;
}

int FSOUND_GetMixer() { return g.initialised ? g.mixRate : 0; }

signed char FSOUND_Stream_SetBufferSize(int ms) {
  if (ms < 50 || ms > 20000) return fail(FSOUND_ERR_INVALID_PARAM);
  g.streamBufferMs = ms;
  return TRUE;
}

signed char FSOUND_File_SetCallbacks(FSOUND_OPENCALLBACK open, FSOUND_CLOSECALLBACK close, FSOUND_READCALLBACK read,
                                     FSOUND_SEEKCALLBACK seek, FSOUND_TELLCALLBACK tell) {
  const int given = (open != nullptr) + (close != nullptr) + (read != nullptr) + (seek != nullptr) + (tell != nullptr);
  if (given == 0) {
    g.callbacks = stdioFileCallbacks();
    return TRUE;
  }
  if (given != 5) return fail(FSOUND_ERR_INVALID_PARAM);
  g.callbacks = FileCallbacks{open, close, read, seek, tell};
  return TRUE;
}

FSOUND_STREAM* FSOUND_Stream_Open(const char* nameOrData, unsigned int mode, int offset, int length) {
  if (!g.initialised) {
    g.error = FSOUND_ERR_UNINITIALIZED;
    return nullptr;
  }
  int error = FSOUND_ERR_NONE;
  std::unique_ptr<StreamSource> source = (mode & FSOUND_LOADMEMORY)
                                             ? StreamSource::openMemory(nameOrData, offset, length, &error)
                                             : StreamSource::openFile(g.callbacks, nameOrData, offset, length, &error);
  if (!source) {
    g.error = error;
    return nullptr;
  }
  std::unique_ptr<Mp3Decoder> decoder =
      Mp3Decoder::open(std::move(source), (mode & FSOUND_MPEGACCURATE) != 0, g.mixRate, &error);
  if (!decoder) {
    g.error = error;
    return nullptr;
  }
  const int bufferFrames = static_cast<int>(static_cast<std::int64_t>(g.streamBufferMs) * g.mixRate / 1000);
  auto stream = std::make_shared<FSOUND_STREAM>(std::move(decoder), mode, bufferFrames);
  g.streams[stream.get()] = stream;
  return stream.get();
}

signed char FSOUND_Stream_Close(FSOUND_STREAM* stream) {
  if (!g.initialised) return fail(FSOUND_ERR_UNINITIALIZED);
  auto found = g.streams.find(stream);
  if (found == g.streams.end()) return fail(FSOUND_ERR_INVALID_PARAM);
  {
    std::lock_guard<std::mutex> hold(g.mixLock);
    if (stream->channel >= 0) stopLocked(g.channels[static_cast<std::size_t>(stream->channel)]);
  }
  g.streams.erase(found);  // the streamer may hold it a moment longer
  return TRUE;
}

signed char FSOUND_Stream_SetTime(FSOUND_STREAM* stream, int ms) {
  if (!g.initialised) return fail(FSOUND_ERR_UNINITIALIZED);
  if (!g.streams.count(stream) || ms < 0) return fail(FSOUND_ERR_INVALID_PARAM);
  std::lock_guard<std::mutex> hold(g.mixLock);
  stream->setPosition(static_cast<std::int64_t>(ms) * g.mixRate / 1000);
  return TRUE;
}

int FSOUND_Stream_GetTime(FSOUND_STREAM* stream) {
  if (!g.initialised || !g.streams.count(stream)) return 0;
  // Rounded, so that the time set by FSOUND_Stream_SetTime reads back unchanged.
  return static_cast<int>((stream->position() * 1000 + g.mixRate / 2) / g.mixRate);
}

int FSOUND_Stream_GetLengthMs(FSOUND_STREAM* stream) {
  if (!g.initialised || !g.streams.count(stream)) return 0;
  const std::int64_t length = stream->length();
  return length < 0 ? 0 : static_cast<int>(length * 1000 / g.mixRate);
}

int FSOUND_Stream_PlayEx(int channel, FSOUND_STREAM* stream, FSOUND_DSPUNIT* dsp, signed char paused) {
  if (!g.initialised) {
    g.error = FSOUND_ERR_UNINITIALIZED;
    return -1;
  }
  auto found = g.streams.find(stream);
  if (found == g.streams.end() || dsp != nullptr ||
      (channel != FSOUND_FREE && (channel < 0 || channel >= static_cast<int>(g.channels.size())))) {
    g.error = FSOUND_ERR_INVALID_PARAM;
    return -1;
  }
  // A stream that played to its end starts over.
  if (stream->atEnd()) stream->setPosition(0);

  int handle;
  {
    std::lock_guard<std::mutex> hold(g.mixLock);
    if (stream->channel >= 0) stopLocked(g.channels[static_cast<std::size_t>(stream->channel)]);
    int index = channel;
    if (index == FSOUND_FREE) {
      auto free = std::find_if(g.channels.begin(), g.channels.end(), [](const Channel& c) { return !c.stream; });
      if (free == g.channels.end()) {
        g.error = FSOUND_ERR_CHANNEL_ALLOC;
        return -1;
      }
      index = static_cast<int>(free - g.channels.begin());
    }
    Channel& target = g.channels[static_cast<std::size_t>(index)];
    stopLocked(target);
    target.stream = found->second;
    target.volume = 255;
    target.paused = paused != 0;
    target.serial = target.serial % 0x7FFFF + 1;
    stream->channel = index;
    handle = target.serial << kChannelBits | index;
  }
  if (g.device) wakeStreamer();
  return handle;
}

signed char FSOUND_SetPaused(int channel, signed char paused) {
  return forChannels(channel, [&](Channel& c) { c.paused = paused != 0; });
}

signed char FSOUND_GetPaused(int channel) {
  std::lock_guard<std::mutex> hold(g.mixLock);
  const Channel* c = channelOf(channel);
  return c && c->paused ? TRUE : FALSE;
}

signed char FSOUND_StopSound(int channel) { return forChannels(channel, stopLocked); }

signed char FSOUND_SetVolume(int channel, int volume) {
  return forChannels(channel, [&](Channel& c) { c.volume = std::clamp(volume, 0, 255); });
}

int FSOUND_GetVolume(int channel) {
  std::lock_guard<std::mutex> hold(g.mixLock);
  const Channel* c = channelOf(channel);
  return c ? c->volume : -1;
}

signed char FSOUND_IsPlaying(int channel) {
  std::lock_guard<std::mutex> hold(g.mixLock);
  return channelOf(channel) ? TRUE : FALSE;
}

// ---- the sound layer's own controls (SoundOffline.h) ----

void soundForceOutput(int outputType) {
  g.forcedOutput = outputType;
  FSOUND_SetOutput(outputType);
}

void soundClearForcedOutput() { g.forcedOutput = -1; }

std::int64_t soundOfflineAdvanceFrames(std::int64_t frames) {
  if (!g.initialised || g.activeOutput != FSOUND_OUTPUT_OFFLINE || frames <= 0) return 0;
  constexpr int kPiece = 1024;
  float piece[kPiece * 2];
  std::lock_guard<std::mutex> hold(g.mixLock);
  for (std::int64_t done = 0; done < frames;) {
    const int n = static_cast<int>(std::min<std::int64_t>(kPiece, frames - done));
    mixLocked(piece, n);
    if (g.collect) g.collected.insert(g.collected.end(), piece, piece + n * 2);
    done += n;
  }
  g.clockFrames += frames;
  g.clockMs = static_cast<double>(g.clockFrames) * 1000.0 / g.mixRate;
  return frames;
}

std::int64_t soundOfflineAdvanceMs(double ms) {
  if (!g.initialised || g.activeOutput != FSOUND_OUTPUT_OFFLINE || !std::isfinite(ms) || ms <= 0.0) return 0;
  // The clock keeps the exact ms; frames follow its rounded position, so
  // steps of 1000 / 30 ms add up to whole seconds of frames.
  const double target = g.clockMs + ms;
  const auto targetFrames = static_cast<std::int64_t>(std::llround(target * g.mixRate / 1000.0));
  const std::int64_t mixed = soundOfflineAdvanceFrames(targetFrames - g.clockFrames);
  g.clockMs = target;
  return mixed;
}

double soundOfflineClockMs() { return g.clockMs; }
std::int64_t soundOfflineClockFrames() { return g.clockFrames; }

void soundOfflineTakeFloat(std::vector<float>* out) {
  out->insert(out->end(), g.collected.begin(), g.collected.end());
  g.collected.clear();
}

void soundOfflineTakeS16(std::vector<std::int16_t>* out) {
  out->reserve(out->size() + g.collected.size());
  for (float sample : g.collected) out->push_back(static_cast<std::int16_t>(std::lround(sample * 32767.0f)));
  g.collected.clear();
}

void soundOfflineSetCollect(bool collect) { g.collect = collect; }

void soundSetReportedVersion(float version) { g.reportedVersion = version; }

void soundSetHeld(bool held) {
  std::lock_guard<std::mutex> hold(g.mixLock);
  g.held = held;
}

bool soundHeld() {
  std::lock_guard<std::mutex> hold(g.mixLock);
  return g.held;
}

std::int64_t soundHeldAdvanceMs(double ms) {
  if (!g.initialised || !g.device || !std::isfinite(ms) || ms <= 0.0) return 0;
  std::lock_guard<std::mutex> hold(g.mixLock);
  if (!g.held) return 0;
  // The offline output's rounding, so that the streams stand where an
  // offline render that advanced by the same steps left them.
  const double target = g.clockMs + ms;
  const auto targetFrames = static_cast<std::int64_t>(std::llround(target * g.mixRate / 1000.0));
  const std::int64_t frames = targetFrames - g.clockFrames;
  for (Channel& channel : g.channels) {
    if (!channel.stream || channel.paused) continue;
    std::int64_t done = 0;
    while (done < frames) {
      const int want = static_cast<int>(std::min<std::int64_t>(frames - done, 1 << 30));
      const int got = channel.stream->skip(want);
      done += got;
      if (got < want) break;
    }
    // As in the mixer: a stream that ends frees its channel.
    if (done < frames) stopLocked(channel);
  }
  g.clockFrames = targetFrames;
  g.clockMs = target;
  return frames;
}

std::int64_t soundStreamPositionFrames(FSOUND_STREAM* stream) {
  if (!g.initialised || !g.streams.count(stream)) return -1;
  return stream->position();
}
