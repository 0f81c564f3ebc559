// vxtool render: the music in the WAV, sample by sample, against a reference
// decode of the same MP3.
//
// Timing rules the checks rely on: frame k of a render at N fps runs at show
// time k * 1000 / N ms, and the music of a frame is what plays
// from that time to the next frame's, so a command that runs in frame k
// changes the sound from sample round(time_k * 44.1) on. "waituntil T" lets
// the script through in the first frame whose time is strictly past T.
#include "ArchiveTestUtil.h"
#include "ToolRun.h"
#include "tests/platform/sound/Mp3TestUtil.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace {

constexpr int kRate = 44100;  // Hz, the music system's mixing rate
// The sound layer decodes with libmpg123 like the reference, but it seeks to
// the play position, and the filter bank's overlap after a seek differs from
// a decode from the start by float rounding (about 1e-4 at most, 3.3 steps
// of 16 bits); the WAV rounds once more (half a step).
constexpr int kTolerance = 4;  // 16-bit steps

// A music stretch: loaded at 0, started 1000 ms into the file after 200 ms,
// halved in volume after 700 ms, stopped after 1200 ms, then 300 ms more.
const char* kShow =
    "loadmusic tune.mp3 t\n"
    "waituntil 200\nplaymusic t 1000\n"
    "waituntil 700\nsetvolume 128\n"
    "waituntil 1200\nstopmusic\n"
    "wait 300\n";
constexpr double kPlayOffsetMs = 1000;
constexpr int kVolume = 128;

struct Wav {
  bool ok = false;
  std::string problem;
  std::vector<std::int16_t> samples;  // interleaved stereo
  std::int64_t frames() const { return std::int64_t(samples.size() / 2); }
};

std::uint32_t le32(const std::string& s, std::size_t at) {
  return std::uint32_t(std::uint8_t(s[at])) | std::uint32_t(std::uint8_t(s[at + 1])) << 8 |
         std::uint32_t(std::uint8_t(s[at + 2])) << 16 | std::uint32_t(std::uint8_t(s[at + 3])) << 24;
}
std::uint16_t le16(const std::string& s, std::size_t at) {
  return std::uint16_t(std::uint8_t(s[at]) | std::uint8_t(s[at + 1]) << 8);
}

// Reads a RIFF WAV chunk by chunk; only 16-bit PCM stereo at 44100 Hz is ok.
Wav readWav(const std::string& path) {
  Wav wav;
  const std::string bytes = readText(path);
  if (bytes.size() < 12 || bytes.compare(0, 4, "RIFF") != 0 || bytes.compare(8, 4, "WAVE") != 0)
    return wav.problem = "not a RIFF WAVE file", wav;
  if (le32(bytes, 4) != bytes.size() - 8) return wav.problem = "RIFF size does not match the file", wav;
  bool haveFormat = false;
  for (std::size_t at = 12; at + 8 <= bytes.size();) {
    const std::string id = bytes.substr(at, 4);
    const std::size_t size = le32(bytes, at + 4);
    if (at + 8 + size > bytes.size()) return wav.problem = "chunk '" + id + "' runs past the end", wav;
    if (id == "fmt ") {
      if (size < 16 || le16(bytes, at + 8) != 1 || le16(bytes, at + 10) != 2 || le32(bytes, at + 12) != kRate ||
          le32(bytes, at + 16) != kRate * 4 || le16(bytes, at + 20) != 4 || le16(bytes, at + 22) != 16)
        return wav.problem = "format is not 16-bit PCM stereo at 44100 Hz", wav;
      haveFormat = true;
    } else if (id == "data") {
      if (!haveFormat) return wav.problem = "data before fmt", wav;
      if (size % 4) return wav.problem = "data is not whole stereo frames", wav;
      wav.samples.resize(size / 2);
      std::memcpy(wav.samples.data(), bytes.data() + at + 8, size);  // little-endian host
      wav.ok = true;
      return wav;
    }
    at += 8 + size + (size & 1);
  }
  return wav.problem = "no data chunk", wav;
}

// The first sample frame of show time `ms` in a render from 0.
std::int64_t sampleAt(double ms) { return std::llround(ms * kRate / 1000.0); }

// Time of the first frame strictly past `ms` at `fps`, from 0.
double firstFramePast(double ms, double fps) {
  for (int k = 0;; ++k)
    if (k * 1000.0 / fps > ms) return k * 1000.0 / fps;
}

// The WAV's sample frames [from, to) against the reference from frame
// refFrom on, times gain, as the mixer would round it to 16 bits. Returns
// the largest difference in 16-bit steps; a reference too short counts as
// a mismatch of 65536.
int worstDifference(const Wav& wav, std::int64_t from, std::int64_t to, const Decoded& ref, std::int64_t refFrom,
                    float gain) {
  if (from < 0 || to > wav.frames() || refFrom < 0 || refFrom + (to - from) > ref.frames()) return 65536;
  int worst = 0;
  for (std::int64_t i = from * 2; i < to * 2; ++i) {
    const float mixed = std::clamp(ref.stereo[std::size_t(refFrom * 2 + (i - from * 2))] * gain, -1.0f, 1.0f);
    const long expected = std::lround(mixed * 32767.0f);
    worst = std::max(worst, int(std::labs(long(wav.samples[std::size_t(i)]) - expected)));
  }
  return worst;
}

bool silent(const Wav& wav, std::int64_t from, std::int64_t to) {
  return std::all_of(wav.samples.begin() + from * 2, wav.samples.begin() + to * 2,
                     [](std::int16_t s) { return s == 0; });
}

int countPngs(const std::string& dir) {
  int n = 0;
  for (const auto& entry : std::filesystem::directory_iterator(dir)) n += entry.path().extension() == ".png";
  return n;
}

class RenderMusicTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    // Three seconds of a stereo sweep: every stretch differs from its
    // neighbours, so a shift by one sample shows.
    s_mp3 = new Bytes(encodeTestMp3(TestSignal{kRate, 2, kRate * 3}));
    s_ref = new Decoded(decodeMp3(*s_mp3));
  }
  static void TearDownTestSuite() {
    delete s_mp3;
    delete s_ref;
  }
  void SetUp() override {
    ASSERT_FALSE(s_mp3->empty()) << "no MP3 encoder";
    ASSERT_EQ(s_ref->rate, kRate);
    ASSERT_EQ(s_ref->channels, 2);
    dir.write("tune.mp3", *s_mp3);
    dir.write("demo.vxc", bytesOf(kShow));
  }

  // Each call renders over the last one's WAV.
  Wav render(const std::string& options) {
    const ToolRun run = vxtool(dir, "render " + options + " --wav s.wav --quiet --force");
    EXPECT_EQ(run.code, 0) << run.err;
    Wav wav = readWav(dir.file("s.wav"));
    EXPECT_TRUE(wav.ok) << wav.problem;
    return wav;
  }

  static Bytes* s_mp3;
  static Decoded* s_ref;
  TempDir dir;
};

Bytes* RenderMusicTest::s_mp3 = nullptr;
Decoded* RenderMusicTest::s_ref = nullptr;

}  // namespace

TEST_F(RenderMusicTest, MusicStartsChangesVolumeAndStopsOnTheSampleOfItsFrame) {
  constexpr double fps = 50;  // 20 ms, 882 sample frames a frame
  const Wav wav = render("--fps 50 --frames f");
  ASSERT_TRUE(wav.ok);

  const double playMs = firstFramePast(200, fps);   // 220
  const double volumeMs = firstFramePast(700, fps); // 720
  const double stopMs = firstFramePast(1200, fps);  // 1220
  // The wait starts in the stop frame and ends in the first frame past +300.
  const double endMs = firstFramePast(stopMs + 300, fps);  // 1540, the last frame
  const int frames = int(std::lround(endMs * fps / 1000)) + 1;
  EXPECT_EQ(countPngs(dir.file("f")), frames);
  ASSERT_EQ(wav.frames(), sampleAt(frames * 1000.0 / fps)) << "the WAV covers every frame's interval";

  const std::int64_t play = sampleAt(playMs), volume = sampleAt(volumeMs), stop = sampleAt(stopMs);
  const std::int64_t offset = sampleAt(kPlayOffsetMs);  // where playing starts in the file
  EXPECT_TRUE(silent(wav, 0, play)) << "nothing plays before the frame of playmusic";
  EXPECT_LE(worstDifference(wav, play, volume, *s_ref, offset, 1.0f), kTolerance) << "full volume from the offset";
  const float half = float(kVolume) / 255.0f;  // the mixer's gain is volume / 255
  EXPECT_LE(worstDifference(wav, volume, stop, *s_ref, offset + (volume - play), half), kTolerance)
      << "volume 128 from its frame on";
  EXPECT_TRUE(silent(wav, stop, wav.frames())) << "silence after stopmusic";

  // The comparison is tight enough to see a start one sample off, a volume
  // change a frame early, and a gain of 128 / 256 instead of 128 / 255.
  EXPECT_GT(worstDifference(wav, play, volume, *s_ref, offset + 1, 1.0f), 20 * kTolerance);
  EXPECT_GT(worstDifference(wav, play, volume, *s_ref, offset - 1, 1.0f), 20 * kTolerance);
  EXPECT_GT(worstDifference(wav, volume - 882, volume, *s_ref, offset + (volume - 882 - play), half), 20 * kTolerance);
  EXPECT_GT(worstDifference(wav, volume, stop, *s_ref, offset + (volume - play), 128.0f / 256.0f), 4 * kTolerance);
  // The first stretch is not near silence by chance.
  EXPECT_GT(worstDifference(wav, play, volume, *s_ref, offset, 0.0f), 5000);
}

TEST_F(RenderMusicTest, SoundFollowsTheFrameClockAtAnyRate) {
  // 48 fps: 20.833 ms and 918.75 sample frames a frame, so frames start
  // between samples and the rounding of each start shows.
  constexpr double fps = 48;
  const Wav wav = render("--fps 48");
  ASSERT_TRUE(wav.ok);
  const double playMs = firstFramePast(200, fps);   // frame 10, 208.33 ms
  const double volumeMs = firstFramePast(700, fps); // frame 34, 708.33 ms
  const double stopMs = firstFramePast(1200, fps);  // frame 58, 1208.33 ms
  const std::int64_t play = sampleAt(playMs), volume = sampleAt(volumeMs), stop = sampleAt(stopMs);
  const std::int64_t offset = sampleAt(kPlayOffsetMs);
  EXPECT_TRUE(silent(wav, 0, play));
  EXPECT_NE(wav.samples[std::size_t(play * 2)] | wav.samples[std::size_t(play * 2 + 2)], 0)
      << "the music starts on sample " << play;
  EXPECT_LE(worstDifference(wav, play, volume, *s_ref, offset, 1.0f), kTolerance);
  EXPECT_LE(worstDifference(wav, volume, stop, *s_ref, offset + (volume - play), float(kVolume) / 255.0f),
            kTolerance);
  EXPECT_TRUE(silent(wav, stop, wav.frames()));
}

TEST_F(RenderMusicTest, WavLengthMatchesTheFramesOfFromAndTo) {
  // 48 fps: 918.75 sample frames a frame. A range holds the frames of a whole
  // render whose times fall inside it, and exactly their samples: frames 5
  // (104.17 ms) ... 28 (583.33 ms), samples round(5 * 918.75) = 4594 up to
  // round(29 * 918.75) = 26644.
  Wav wav = render("--fps 48 --from 100 --to 600 --frames a");
  ASSERT_TRUE(wav.ok);
  EXPECT_EQ(countPngs(dir.file("a")), 24);
  EXPECT_EQ(wav.frames(), 26644 - 4594);
  // From 0 the total is rounded once, never frame by frame: 25 frames are
  // 22968.75 -> 22969 sample frames.
  wav = render("--fps 48 --from 0 --to 500");
  EXPECT_EQ(wav.frames(), 22969);

  // 30 fps up to 1000 ms: frames 0 ... 30, 1470 sample frames each.
  wav = render("--fps 30 --to 1000");
  EXPECT_EQ(wav.frames(), 31 * 1470);

  // A --to past the end of the script stops with the script, as without --to.
  const std::int64_t whole = render("--fps 50").frames();
  EXPECT_EQ(whole, 78 * 882) << "frames 0 ... 1540 ms";
  EXPECT_EQ(render("--fps 50 --to 100000").frames(), whole);
  // --from without --to: the whole render's frames from there to the end.
  EXPECT_EQ(render("--fps 50 --from 1000").frames(), 28 * 882) << "frames 1000 ... 1540 ms";
}
