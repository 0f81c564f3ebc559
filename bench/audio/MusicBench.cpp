// Cost of music on the offline output: decoding and mixing one stream, and
// starting a stream at a new position (an accurate seek).
#include "platform/sound/FSound.h"
#include "platform/sound/SoundOffline.h"
#include "tests/platform/sound/Mp3TestUtil.h"

#include <benchmark/benchmark.h>

namespace {

constexpr int kRate = 44100;

// A 20-second mono and stereo test file, encoded once.
const Bytes& testMp3(int channels) {
  static const Bytes mono = encodeTestMp3(TestSignal{kRate, 1, kRate * 20});
  static const Bytes stereo = encodeTestMp3(TestSignal{kRate, 2, kRate * 20});
  return channels == 1 ? mono : stereo;
}

FSOUND_STREAM* openStream(const Bytes& mp3, unsigned int extraMode) {
  return FSOUND_Stream_Open(reinterpret_cast<const char*>(mp3.data()),
                            FSOUND_NORMAL | FSOUND_LOADMEMORY | extraMode, 0, static_cast<int>(mp3.size()));
}

// One second of music per iteration, decoded and mixed (items = frames).
void BM_OfflineMixOneSecond(benchmark::State& state) {
  const Bytes& mp3 = testMp3(static_cast<int>(state.range(0)));
  FSOUND_SetOutput(FSOUND_OUTPUT_OFFLINE);
  FSOUND_Init(kRate, 32, 0);
  soundOfflineSetCollect(false);
  FSOUND_STREAM* stream = openStream(mp3, FSOUND_LOOP_NORMAL);
  const int channel = FSOUND_Stream_PlayEx(FSOUND_FREE, stream, nullptr, FALSE);
  if (!stream || channel < 0) state.SkipWithError("the test stream did not start");
  for (auto _ : state) benchmark::DoNotOptimize(soundOfflineAdvanceMs(1000.0));
  state.SetItemsProcessed(state.iterations() * kRate);
  soundOfflineSetCollect(true);
  FSOUND_Close();
}
BENCHMARK(BM_OfflineMixOneSecond)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond);

// Set a time and mix 10 ms from it (what "playmusic" at a position costs).
void BM_SeekAndStart(benchmark::State& state) {
  const Bytes& mp3 = testMp3(2);
  FSOUND_SetOutput(FSOUND_OUTPUT_OFFLINE);
  FSOUND_Init(kRate, 32, 0);
  soundOfflineSetCollect(false);
  FSOUND_STREAM* stream = openStream(mp3, FSOUND_MPEGACCURATE);
  const int channel = FSOUND_Stream_PlayEx(FSOUND_FREE, stream, nullptr, FALSE);
  if (!stream || channel < 0) state.SkipWithError("the test stream did not start");
  int ms = 0;
  for (auto _ : state) {
    ms = (ms + 7919) % 19000;
    FSOUND_Stream_SetTime(stream, ms);
    soundOfflineAdvanceMs(10.0);
  }
  benchmark::DoNotOptimize(channel);
  soundOfflineSetCollect(true);
  FSOUND_Close();
}
BENCHMARK(BM_SeekAndStart)->Unit(benchmark::kMicrosecond);

// Opening with accurate seeking indexes the whole file.
void BM_OpenAccurate(benchmark::State& state) {
  const Bytes& mp3 = testMp3(2);
  FSOUND_SetOutput(FSOUND_OUTPUT_OFFLINE);
  FSOUND_Init(kRate, 32, 0);
  for (auto _ : state) FSOUND_Stream_Close(openStream(mp3, FSOUND_MPEGACCURATE));
  FSOUND_Close();
}
BENCHMARK(BM_OpenAccurate)->Unit(benchmark::kMicrosecond);

}  // namespace
