#include "platform/sound/FSound.h"
#include "platform/sound/SoundOffline.h"
#include "tests/platform/sound/Mp3TestUtil.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <thread>

namespace {

constexpr int kRate = 44100;
// Seeking decodes from a frame or two before the target; the overlap of the
// MPEG filter bank then differs from a decode from the start by rounding only.
constexpr float kSeekTolerance = 1e-4f;

// One mono and one stereo test file on disk, shared by every case; each case
// starts and ends with the layer closed and its set-up at the defaults.
class SoundLayerTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    s_dir = new TempDir;
    s_mono = encodeTestMp3(TestSignal{});
    s_stereo = encodeTestMp3(TestSignal{kRate, 2, kRate * 2});
    s_monoPath = s_dir->write("mono.mp3", s_mono);
    s_stereoPath = s_dir->write("stereo.mp3", s_stereo);
    s_monoRef = decodeMp3(s_mono);
    s_stereoRef = decodeMp3(s_stereo);
  }
  static void TearDownTestSuite() { delete s_dir; }

  void SetUp() override {
    ASSERT_FALSE(s_mono.empty());
    ASSERT_EQ(s_monoRef.rate, kRate);
    ASSERT_EQ(s_monoRef.channels, 1);
    ASSERT_EQ(s_stereoRef.channels, 2);
  }
  void TearDown() override {
    soundSetHeld(false);
    FSOUND_Close();
    soundClearForcedOutput();
    FSOUND_SetOutput(FSOUND_OUTPUT_DSOUND);
    FSOUND_File_SetCallbacks(nullptr, nullptr, nullptr, nullptr, nullptr);
    soundOfflineSetCollect(true);
  }

  static void initOffline(int channels = 32) {
    ASSERT_TRUE(FSOUND_SetOutput(FSOUND_OUTPUT_OFFLINE));
    ASSERT_TRUE(FSOUND_Init(kRate, channels, 0));
  }
  static std::vector<float> advance(double ms) {
    soundOfflineAdvanceMs(ms);
    std::vector<float> mix;
    soundOfflineTakeFloat(&mix);
    return mix;
  }
  // Compares a mix with the reference from frame `from` on.
  static float differenceFrom(const Decoded& ref, std::int64_t from, const std::vector<float>& mix) {
    EXPECT_LE(from * 2 + static_cast<std::int64_t>(mix.size()), static_cast<std::int64_t>(ref.stereo.size()));
    return maxDifference(mix.data(), ref.stereo.data() + from * 2, mix.size());
  }

  static TempDir* s_dir;
  static Bytes s_mono, s_stereo;
  static std::string s_monoPath, s_stereoPath;
  static Decoded s_monoRef, s_stereoRef;
};

TempDir* SoundLayerTest::s_dir = nullptr;
Bytes SoundLayerTest::s_mono, SoundLayerTest::s_stereo;
std::string SoundLayerTest::s_monoPath, SoundLayerTest::s_stereoPath;
Decoded SoundLayerTest::s_monoRef, SoundLayerTest::s_stereoRef;

bool silent(const std::vector<float>& mix) {
  for (float sample : mix)
    if (sample != 0.0f) return false;
  return true;
}

}  // namespace

TEST_F(SoundLayerTest, OfflinePlaybackStartsExactlyAtTheRequestedTime) {
  initOffline();
  FSOUND_STREAM* stream = FSOUND_Stream_Open(s_monoPath.c_str(), FSOUND_NORMAL | FSOUND_MPEGACCURATE, 0, 0);
  ASSERT_NE(stream, nullptr) << FSOUND_GetError();
  EXPECT_EQ(FSOUND_Stream_GetLengthMs(stream), static_cast<int>(s_monoRef.frames() * 1000 / kRate));

  ASSERT_TRUE(FSOUND_Stream_SetTime(stream, 1234));
  const int channel = FSOUND_Stream_PlayEx(FSOUND_FREE, stream, nullptr, TRUE);
  ASSERT_GE(channel, 0);
  EXPECT_TRUE(FSOUND_GetPaused(channel));
  EXPECT_TRUE(silent(advance(100))) << "a paused channel adds nothing";
  EXPECT_EQ(FSOUND_Stream_GetTime(stream), 1234);

  ASSERT_TRUE(FSOUND_SetPaused(channel, FALSE));
  const std::vector<float> mix = advance(500);
  ASSERT_EQ(mix.size(), 2u * 22050);
  EXPECT_LT(differenceFrom(s_monoRef, 1234 * kRate / 1000, mix), kSeekTolerance)
      << "a mono file plays its own samples on both sides, from the requested frame";
  EXPECT_GT(differenceFrom(s_monoRef, 1234 * kRate / 1000 + 1, mix), 100 * kSeekTolerance)
      << "one frame off must show";
  EXPECT_EQ(FSOUND_Stream_GetTime(stream), 1734);

  // Moving a playing stream takes effect at the next mixed frame.
  ASSERT_TRUE(FSOUND_Stream_SetTime(stream, 200));
  EXPECT_LT(differenceFrom(s_monoRef, 200 * kRate / 1000, advance(50)), kSeekTolerance);
}

TEST_F(SoundLayerTest, StereoFilesKeepTheirSidesAndVolumeScales) {
  initOffline();
  // The raw-data mode says mono; the MP3's own layout wins.
  FSOUND_STREAM* stream = FSOUND_Stream_Open(s_stereoPath.c_str(), FSOUND_NORMAL | FSOUND_MPEGACCURATE, 0, 0);
  ASSERT_NE(stream, nullptr);
  const int channel = FSOUND_Stream_PlayEx(FSOUND_FREE, stream, nullptr, FALSE);
  ASSERT_GE(channel, 0);
  EXPECT_EQ(maxDifference(advance(250).data(), s_stereoRef.stereo.data(), 2 * 11025), 0.0f)
      << "from the start, with volume 255, the mix is the decode itself";
  EXPECT_EQ(FSOUND_GetVolume(channel), 255);

  ASSERT_TRUE(FSOUND_SetVolume(channel, 51));
  EXPECT_EQ(FSOUND_GetVolume(channel), 51);
  std::vector<float> quiet = advance(100);
  for (float& sample : quiet) sample *= 5.0f;
  EXPECT_LT(differenceFrom(s_stereoRef, 11025, quiet), 1e-5f) << "volume 51 is a gain of 0.2";

  FSOUND_SetVolume(channel, 999);
  EXPECT_EQ(FSOUND_GetVolume(channel), 255) << "volumes are clamped to 0 ... 255";
  FSOUND_SetVolume(channel, 0);
  EXPECT_TRUE(silent(advance(20)));
}

TEST_F(SoundLayerTest, StopFreesTheChannelAndStaleHandlesAreRefused) {
  initOffline(1);
  FSOUND_STREAM* a = FSOUND_Stream_Open(s_monoPath.c_str(), FSOUND_NORMAL, 0, 0);
  FSOUND_STREAM* b = FSOUND_Stream_Open(s_stereoPath.c_str(), FSOUND_NORMAL, 0, 0);
  ASSERT_TRUE(a && b);
  const int first = FSOUND_Stream_PlayEx(FSOUND_FREE, a, nullptr, FALSE);
  ASSERT_GE(first, 0);
  EXPECT_EQ(FSOUND_Stream_PlayEx(FSOUND_FREE, b, nullptr, FALSE), -1);
  EXPECT_EQ(FSOUND_GetError(), FSOUND_ERR_CHANNEL_ALLOC);

  ASSERT_TRUE(FSOUND_StopSound(first));
  EXPECT_FALSE(FSOUND_IsPlaying(first));
  EXPECT_TRUE(silent(advance(50)));
  const int second = FSOUND_Stream_PlayEx(FSOUND_FREE, b, nullptr, FALSE);
  ASSERT_GE(second, 0);
  EXPECT_NE(second, first) << "the same channel index gets a new handle";
  EXPECT_FALSE(FSOUND_SetVolume(first, 10)) << "a handle of a stopped sound";
  EXPECT_EQ(FSOUND_GetError(), FSOUND_ERR_INVALID_PARAM);
  EXPECT_EQ(FSOUND_GetVolume(second), 255);
  EXPECT_FALSE(FSOUND_StopSound(-1));
  EXPECT_FALSE(FSOUND_SetPaused(123456, TRUE));

  ASSERT_TRUE(FSOUND_Stream_Close(b));
  EXPECT_FALSE(FSOUND_IsPlaying(second)) << "closing a stream stops its channel";
  EXPECT_FALSE(FSOUND_Stream_Close(b)) << "a closed stream is unknown";
  EXPECT_EQ(FSOUND_Stream_PlayEx(FSOUND_FREE, b, nullptr, FALSE), -1);
  EXPECT_TRUE(FSOUND_Stream_Close(a));
}

TEST_F(SoundLayerTest, StreamsEndOrLoop) {
  initOffline();
  const int lengthMs = static_cast<int>(s_monoRef.frames() * 1000 / kRate);
  FSOUND_STREAM* once = FSOUND_Stream_Open(s_monoPath.c_str(), FSOUND_NORMAL | FSOUND_MPEGACCURATE, 0, 0);
  ASSERT_NE(once, nullptr);
  FSOUND_Stream_SetTime(once, lengthMs - 100);
  const int channel = FSOUND_Stream_PlayEx(FSOUND_FREE, once, nullptr, FALSE);
  const std::vector<float> tail = advance(300);
  EXPECT_FALSE(FSOUND_IsPlaying(channel)) << "the end frees the channel";
  const std::size_t played = static_cast<std::size_t>(s_monoRef.frames() - (lengthMs - 100) * kRate / 1000) * 2;
  ASSERT_LT(played, tail.size());
  EXPECT_LT(maxDifference(tail.data(), s_monoRef.stereo.data() + s_monoRef.stereo.size() - played, played),
            kSeekTolerance);
  EXPECT_TRUE(silent(std::vector<float>(tail.begin() + static_cast<std::ptrdiff_t>(played), tail.end())));
  const int again = FSOUND_Stream_PlayEx(FSOUND_FREE, once, nullptr, FALSE);
  EXPECT_LT(differenceFrom(s_monoRef, 0, advance(20)), kSeekTolerance) << "a stream that ended starts over";
  FSOUND_StopSound(again);
  FSOUND_Stream_SetTime(once, 5 * lengthMs);
  EXPECT_EQ(FSOUND_Stream_GetTime(once), lengthMs) << "times past the end are clamped";

  FSOUND_STREAM* loop =
      FSOUND_Stream_Open(s_monoPath.c_str(), FSOUND_NORMAL | FSOUND_MPEGACCURATE | FSOUND_LOOP_NORMAL, 0, 0);
  ASSERT_NE(loop, nullptr);
  FSOUND_Stream_SetTime(loop, lengthMs - 100);
  const int looping = FSOUND_Stream_PlayEx(FSOUND_FREE, loop, nullptr, FALSE);
  const std::vector<float> wrapped = advance(300);
  EXPECT_TRUE(FSOUND_IsPlaying(looping));
  EXPECT_LT(maxDifference(wrapped.data() + played, s_monoRef.stereo.data(), wrapped.size() - played),
            kSeekTolerance)
      << "a looping stream continues with its first frame";
}

TEST_F(SoundLayerTest, OtherRatesAreResampledToTheMixRate) {
  const Bytes low = encodeTestMp3(TestSignal{22050, 1, 22050 * 2});
  const Decoded lowRef = decodeMp3(low);
  ASSERT_EQ(lowRef.rate, 22050);
  initOffline();
  FSOUND_STREAM* stream =
      FSOUND_Stream_Open(reinterpret_cast<const char*>(low.data()), FSOUND_LOADMEMORY | FSOUND_MPEGACCURATE, 0,
                         static_cast<int>(low.size()));
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(FSOUND_Stream_GetLengthMs(stream), static_cast<int>(lowRef.frames() * 1000 / 22050));
  FSOUND_Stream_SetTime(stream, 500);
  FSOUND_Stream_PlayEx(FSOUND_FREE, stream, nullptr, FALSE);
  const std::vector<float> mix = advance(400);
  // Every other output frame falls on a source frame; the resampler's
  // filter keeps the tone within a small error.
  double worst = 0.0;
  for (std::size_t i = 200; i < mix.size() / 2 - 200; i += 2) {
    const float expected = lowRef.stereo[(11025 + i / 2) * 2];
    worst = std::max(worst, static_cast<double>(std::fabs(mix[i * 2] - expected)));
  }
  EXPECT_LT(worst, 0.05);
}

TEST_F(SoundLayerTest, FileCallbacksReadAWindowOfTheFile) {
  // A 1000-byte prefix (not MPEG data) before the music: offset skips it.
  Bytes padded(1000 + s_mono.size(), 'x');
  std::copy(s_mono.begin(), s_mono.end(), padded.begin() + 1000);
  const std::string path = s_dir->write("padded.bin", padded);
  static int opens, closes;
  opens = closes = 0;
  FSOUND_File_SetCallbacks(
      [](const char* name) -> void* { return ++opens, std::fopen(name, "rb"); },
      [](void* handle) { ++closes, std::fclose(static_cast<FILE*>(handle)); },
      [](void* buffer, int size, void* handle) {
        return static_cast<int>(std::fread(buffer, 1, static_cast<std::size_t>(size), static_cast<FILE*>(handle)));
      },
      [](void* handle, int pos, signed char mode) { return std::fseek(static_cast<FILE*>(handle), pos, mode); },
      [](void* handle) { return static_cast<int>(std::ftell(static_cast<FILE*>(handle))); });
  initOffline();
  FSOUND_STREAM* stream = FSOUND_Stream_Open(path.c_str(), FSOUND_NORMAL | FSOUND_MPEGACCURATE, 1000, 0);
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(opens, 1);
  FSOUND_Stream_SetTime(stream, 700);
  FSOUND_Stream_PlayEx(FSOUND_FREE, stream, nullptr, FALSE);
  EXPECT_LT(differenceFrom(s_monoRef, 700 * kRate / 1000, advance(100)), kSeekTolerance);
  FSOUND_Stream_Close(stream);
  EXPECT_EQ(closes, 1);

  EXPECT_FALSE(FSOUND_File_SetCallbacks([](const char*) -> void* { return nullptr; }, nullptr, nullptr, nullptr,
                                        nullptr));
  EXPECT_EQ(FSOUND_GetError(), FSOUND_ERR_INVALID_PARAM) << "callbacks come as a set of five";
}

TEST_F(SoundLayerTest, OpenFailuresReportTheirCodes) {
  EXPECT_EQ(FSOUND_Stream_Open(s_monoPath.c_str(), FSOUND_NORMAL, 0, 0), nullptr);
  EXPECT_EQ(FSOUND_GetError(), FSOUND_ERR_UNINITIALIZED);
  initOffline();
  EXPECT_EQ(FSOUND_Stream_Open((s_dir->path() + "/absent.mp3").c_str(), FSOUND_NORMAL, 0, 0), nullptr);
  EXPECT_EQ(FSOUND_GetError(), FSOUND_ERR_FILE_NOTFOUND);
  const std::string text = s_dir->write("text.mp3", Bytes(5000, 'a'));
  EXPECT_EQ(FSOUND_Stream_Open(text.c_str(), FSOUND_NORMAL | FSOUND_MPEGACCURATE, 0, 0), nullptr);
  EXPECT_EQ(FSOUND_GetError(), FSOUND_ERR_FILE_FORMAT);
  const std::string empty = s_dir->write("empty.mp3", Bytes());
  EXPECT_EQ(FSOUND_Stream_Open(empty.c_str(), FSOUND_NORMAL, 0, 0), nullptr);
  EXPECT_EQ(FSOUND_GetError(), FSOUND_ERR_FILE_FORMAT);
  EXPECT_EQ(FSOUND_Stream_Open(s_monoPath.c_str(), FSOUND_NORMAL, -1, 0), nullptr);
  EXPECT_EQ(FSOUND_GetError(), FSOUND_ERR_INVALID_PARAM);
  EXPECT_EQ(FSOUND_Stream_Open(s_monoPath.c_str(), FSOUND_NORMAL, static_cast<int>(s_mono.size()) + 1, 0), nullptr);
  EXPECT_EQ(FSOUND_GetError(), FSOUND_ERR_INVALID_PARAM);
  EXPECT_EQ(FSOUND_Stream_Open(nullptr, FSOUND_NORMAL, 0, 0), nullptr);
  // The first 2000 bytes: the header frame, a few frames and a cut one.
  const Bytes cut(s_mono.begin(), s_mono.begin() + 2000);
  FSOUND_STREAM* shortStream = FSOUND_Stream_Open(reinterpret_cast<const char*>(cut.data()),
                                                  FSOUND_LOADMEMORY | FSOUND_MPEGACCURATE, 0, 2000);
  ASSERT_NE(shortStream, nullptr) << "a truncated file opens, plays what it has, then ends";
  const int channel = FSOUND_Stream_PlayEx(FSOUND_FREE, shortStream, nullptr, FALSE);
  advance(1000);
  EXPECT_FALSE(FSOUND_IsPlaying(channel));
}

TEST_F(SoundLayerTest, SetUpIsRefusedOnceInitialised) {
  EXPECT_GE(FSOUND_GetVersion(), 3.73f);
  EXPECT_FALSE(FSOUND_SetOutput(99));
  EXPECT_EQ(FSOUND_GetError(), FSOUND_ERR_INVALID_PARAM);
  EXPECT_FALSE(FSOUND_SetBufferSize(5));
  EXPECT_FALSE(FSOUND_Init(44100, 0, 0));
  EXPECT_FALSE(FSOUND_Init(1000, 32, 0));
  initOffline();
  EXPECT_EQ(FSOUND_GetMixer(), kRate);
  EXPECT_FALSE(FSOUND_SetOutput(FSOUND_OUTPUT_NOSOUND));
  EXPECT_EQ(FSOUND_GetError(), FSOUND_ERR_BUSY);
  EXPECT_FALSE(FSOUND_SetDriver(0));
  EXPECT_FALSE(FSOUND_SetBufferSize(150));
  EXPECT_FALSE(FSOUND_Init(kRate, 32, 0));
  EXPECT_EQ(FSOUND_GetError(), FSOUND_ERR_BUSY);
  FSOUND_Close();
  EXPECT_EQ(FSOUND_GetMixer(), 0);
  EXPECT_FALSE(FSOUND_SetVolume(FSOUND_ALL, 10));
  EXPECT_EQ(FSOUND_GetError(), FSOUND_ERR_UNINITIALIZED);
  EXPECT_TRUE(FSOUND_SetBufferSize(150));
}

TEST_F(SoundLayerTest, ForcedOutputOverridesTheRequestedOne) {
  soundForceOutput(FSOUND_OUTPUT_OFFLINE);
  ASSERT_TRUE(FSOUND_SetOutput(FSOUND_OUTPUT_DSOUND));
  ASSERT_TRUE(FSOUND_Init(kRate, 4, 0));
  EXPECT_EQ(FSOUND_GetOutput(), FSOUND_OUTPUT_OFFLINE);
  EXPECT_EQ(soundOfflineAdvanceMs(-5.0), 0);
  // 30 steps of 1000 / 30 ms are one second exactly.
  std::int64_t frames = 0;
  for (int i = 0; i < 30; ++i) frames += soundOfflineAdvanceMs(1000.0 / 30.0);
  EXPECT_EQ(frames, kRate);
  EXPECT_EQ(soundOfflineClockFrames(), kRate);
  EXPECT_DOUBLE_EQ(soundOfflineClockMs(), 1000.0);
  std::vector<std::int16_t> s16;
  soundOfflineTakeS16(&s16);
  EXPECT_EQ(s16.size(), 2u * kRate);
  soundOfflineSetCollect(false);
  soundOfflineAdvanceFrames(100);
  soundOfflineTakeS16(&s16);
  EXPECT_EQ(s16.size(), 2u * kRate) << "nothing collected while collection is off";
}

TEST_F(SoundLayerTest, SixteenBitTakeRoundsTheFloatMix) {
  initOffline();
  FSOUND_STREAM* stream = FSOUND_Stream_Open(s_monoPath.c_str(), FSOUND_NORMAL, 0, 0);
  FSOUND_Stream_PlayEx(FSOUND_FREE, stream, nullptr, FALSE);
  soundOfflineAdvanceFrames(4410);
  std::vector<std::int16_t> s16;
  soundOfflineTakeS16(&s16);
  ASSERT_EQ(s16.size(), 2u * 4410);
  for (std::size_t i = 0; i < s16.size(); ++i)
    ASSERT_NEAR(s16[i], s_monoRef.stereo[i] * 32767.0f, 0.5f) << i;
}

// A real device output: SDL's silent driver (SDL_AUDIODRIVER=dummy in this
// test's environment) runs the mixer on its own thread in real time.
TEST_F(SoundLayerTest, DeviceOutputPlaysOnTheAudioThread) {
  ASSERT_TRUE(FSOUND_SetOutput(FSOUND_OUTPUT_DSOUND));
  ASSERT_TRUE(FSOUND_SetBufferSize(150));
  ASSERT_TRUE(FSOUND_Init(kRate, 32, 0)) << FSOUND_GetError();
  FSOUND_STREAM* stream = FSOUND_Stream_Open(s_monoPath.c_str(), FSOUND_NORMAL | FSOUND_MPEGACCURATE, 0, 0);
  ASSERT_NE(stream, nullptr);
  FSOUND_Stream_SetTime(stream, 1000);
  const int channel = FSOUND_Stream_PlayEx(FSOUND_FREE, stream, nullptr, FALSE);
  ASSERT_GE(channel, 0);
  // Waits (at most 10 s) for the audio thread to consume some music.
  for (int i = 0; i < 1000 && FSOUND_Stream_GetTime(stream) == 1000; ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  EXPECT_GT(FSOUND_Stream_GetTime(stream), 1000);
  EXPECT_TRUE(FSOUND_IsPlaying(channel));

  // Every channel and stream call while the audio thread mixes.
  EXPECT_TRUE(FSOUND_Stream_SetTime(stream, 0));
  EXPECT_LT(FSOUND_Stream_GetTime(stream), 1000);
  EXPECT_TRUE(FSOUND_SetVolume(channel, 100));
  EXPECT_TRUE(FSOUND_SetPaused(channel, TRUE));
  EXPECT_TRUE(FSOUND_StopSound(channel));
  const int again = FSOUND_Stream_PlayEx(FSOUND_FREE, stream, nullptr, FALSE);
  FSOUND_STREAM* other = FSOUND_Stream_Open(s_stereoPath.c_str(), FSOUND_NORMAL, 0, 0);
  const int second = FSOUND_Stream_PlayEx(FSOUND_FREE, other, nullptr, FALSE);
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_TRUE(FSOUND_Stream_Close(stream));
  EXPECT_FALSE(FSOUND_IsPlaying(again));
  EXPECT_TRUE(FSOUND_IsPlaying(second));
  FSOUND_Close();
  EXPECT_FALSE(FSOUND_IsPlaying(second));
}

TEST_F(SoundLayerTest, MissingDeviceFailsInitialisation) {
  const char* previous = std::getenv("SDL_AUDIODRIVER");
  const std::string saved = previous ? previous : "";
  ::setenv("SDL_AUDIODRIVER", "no-such-driver", 1);
  EXPECT_FALSE(FSOUND_Init(kRate, 32, 0));
  EXPECT_EQ(FSOUND_GetError(), FSOUND_ERR_INIT);
  EXPECT_EQ(FSOUND_GetMixer(), 0);
  EXPECT_GE(FSOUND_GetNumDrivers(), 1);
  ASSERT_TRUE(FSOUND_SetDriver(50));
  if (previous) ::setenv("SDL_AUDIODRIVER", saved.c_str(), 1); else ::unsetenv("SDL_AUDIODRIVER");
  EXPECT_FALSE(FSOUND_Init(kRate, 32, 0)) << "driver 50 does not exist";
  EXPECT_EQ(FSOUND_GetError(), FSOUND_ERR_INIT);
  ASSERT_TRUE(FSOUND_SetDriver(0));
}

// A held device output moves its streams only when told, by the frames an
// offline render consumes in the same steps: the stream stands on the same
// sample, and the end and the loop come where mixing would bring them.
TEST_F(SoundLayerTest, HeldDeviceOutputAdvancesStreamsLikeAnOfflineRender) {
  // Where offline mixing of 75 steps of 40 ms (3000 ms) and 7 of 1000/30 ms
  // leaves a stream started at 500 ms: 132300 + 10290 frames on from 22050.
  auto stepAll = [](std::int64_t (*advance)(double)) {
    for (int i = 0; i < 75; ++i) advance(40.0);
    for (int i = 0; i < 7; ++i) advance(1000.0 / 30.0);
  };
  initOffline();
  FSOUND_STREAM* offline = FSOUND_Stream_Open(s_stereoPath.c_str(), FSOUND_NORMAL | FSOUND_MPEGACCURATE, 0, 0);
  ASSERT_NE(offline, nullptr);
  const std::int64_t length = FSOUND_Stream_GetLengthMs(offline) * std::int64_t(kRate) / 1000;
  ASSERT_GE(length, kRate * 2 - 1);
  FSOUND_Stream_SetTime(offline, 500);
  ASSERT_GE(FSOUND_Stream_PlayEx(FSOUND_FREE, offline, nullptr, FALSE), 0);
  soundOfflineSetCollect(false);
  for (int i = 0; i < 10; ++i) soundOfflineAdvanceMs(40.0);  // 400 ms of 2 s left
  const std::int64_t offlineAt = soundStreamPositionFrames(offline);
  EXPECT_EQ(offlineAt, 22050 + 17640);
  FSOUND_Close();

  ASSERT_TRUE(FSOUND_SetOutput(FSOUND_OUTPUT_DSOUND));
  ASSERT_TRUE(FSOUND_Init(kRate, 32, 0)) << FSOUND_GetError();
  soundSetHeld(true);
  EXPECT_TRUE(soundHeld());
  FSOUND_STREAM* stream = FSOUND_Stream_Open(s_stereoPath.c_str(), FSOUND_NORMAL | FSOUND_MPEGACCURATE, 0, 0);
  FSOUND_STREAM* looping =
      FSOUND_Stream_Open(s_monoPath.c_str(), FSOUND_NORMAL | FSOUND_MPEGACCURATE | FSOUND_LOOP_NORMAL, 0, 0);
  ASSERT_TRUE(stream && looping);
  FSOUND_Stream_SetTime(stream, 500);
  const int channel = FSOUND_Stream_PlayEx(FSOUND_FREE, stream, nullptr, FALSE);
  const int loopChannel = FSOUND_Stream_PlayEx(FSOUND_FREE, looping, nullptr, FALSE);
  ASSERT_GE(channel, 0);
  // Held: the audio thread runs but takes nothing.
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  EXPECT_EQ(soundStreamPositionFrames(stream), 22050);
  EXPECT_EQ(soundStreamPositionFrames(looping), 0);

  for (int i = 0; i < 10; ++i) EXPECT_EQ(soundHeldAdvanceMs(40.0), 1764);
  EXPECT_EQ(soundStreamPositionFrames(stream), offlineAt);
  EXPECT_TRUE(FSOUND_IsPlaying(channel));
  // Past the end of a 2 s stream: its channel is freed, as the mixer frees
  // it; the 3 s looping one wraps.
  stepAll(soundHeldAdvanceMs);
  EXPECT_FALSE(FSOUND_IsPlaying(channel));
  const std::int64_t loopLength = FSOUND_Stream_GetLengthMs(looping) * std::int64_t(kRate) / 1000;
  ASSERT_GT(loopLength, 0);
  EXPECT_TRUE(FSOUND_IsPlaying(loopChannel));
  EXPECT_NEAR(double(soundStreamPositionFrames(looping)), double((17640 + 132300 + 10290) % loopLength), 1.0);

  // A paused channel does not move; released, the audio thread mixes again.
  FSOUND_SetPaused(loopChannel, TRUE);
  const std::int64_t pausedAt = soundStreamPositionFrames(looping);
  soundHeldAdvanceMs(500.0);
  EXPECT_EQ(soundStreamPositionFrames(looping), pausedAt);
  FSOUND_SetPaused(loopChannel, FALSE);
  soundSetHeld(false);
  EXPECT_EQ(soundHeldAdvanceMs(40.0), 0) << "only a held output advances by hand";
  for (int i = 0; i < 1000 && soundStreamPositionFrames(looping) == pausedAt; ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  EXPECT_NE(soundStreamPositionFrames(looping), pausedAt);
  EXPECT_EQ(soundStreamPositionFrames(nullptr), -1);
}
