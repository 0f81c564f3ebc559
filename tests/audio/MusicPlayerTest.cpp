#include "audio/MP3Player.h"
#include "audio/MusicSystem.h"

#include "archive/CFLArchive.h"
#include "archive/ResourceFile.h"
#include "archive/ResourceFilter.h"
#include "platform/os/MessageBox.h"
#include "platform/sound/FSound.h"
#include "platform/sound/SoundOffline.h"
#include "tests/platform/sound/Mp3TestUtil.h"
#include "tools/ArchiveWriter.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

namespace {

constexpr int kRate = 44100;
constexpr float kSeekTolerance = 1e-4f;

int answerOk(const char*, const char*, UINT) { return IDOK; }

// Each case runs in a fresh current directory, with a global archive that
// holds "music/show.mp3" (zlib-filtered) and a music system that is not yet
// initialised.
class MusicPlayerTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    s_mp3 = encodeTestMp3(TestSignal{});
    s_ref = decodeMp3(s_mp3);
  }

  void SetUp() override {
    ASSERT_EQ(s_ref.rate, kRate);
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    SetMessageBoxHook(answerOk);
    char cwd[4096];
    ASSERT_NE(::getcwd(cwd, sizeof cwd), nullptr);
    m_oldDir = cwd;
    ArchiveWriter writer;
    ASSERT_TRUE(writer.add("music/show.mp3", s_mp3.data(), s_mp3.size(), CFL_FILTER_ZLIB));
    Bytes image;
    ASSERT_TRUE(writer.finish(&image));
    ASSERT_EQ(m_archive.Open(m_dir.write("show.cfl", image).c_str()), 1);
    ASSERT_EQ(::chdir(m_dir.path().c_str()), 0);
    g_archive = &m_archive;
  }

  void TearDown() override {
    FSOUND_Close();
    FSOUND_File_SetCallbacks(nullptr, nullptr, nullptr, nullptr, nullptr);
    soundClearForcedOutput();
    soundSetReportedVersion(0.0f);
    g_archive = nullptr;
    SetMessageBoxHook(nullptr);
    ASSERT_EQ(::chdir(m_oldDir.c_str()), 0);
  }

  static void initOffline() {
    soundForceOutput(FSOUND_OUTPUT_OFFLINE);
    InitMusicSystem();
  }
  static std::vector<float> advance(double ms) {
    soundOfflineAdvanceMs(ms);
    std::vector<float> mix;
    soundOfflineTakeFloat(&mix);
    return mix;
  }
  // Largest difference between mix / gain and the decode from startMs on.
  static float differenceFrom(int startMs, const std::vector<float>& mix, float gain = 1.0f) {
    const std::size_t from = static_cast<std::size_t>(startMs) * kRate / 1000 * 2;
    EXPECT_LE(from + mix.size(), s_ref.stereo.size());
    std::vector<float> scaled(mix);
    for (float& sample : scaled) sample /= gain;
    return maxDifference(scaled.data(), s_ref.stereo.data() + from, scaled.size());
  }
  static bool silent(const std::vector<float>& mix) {
    for (float sample : mix)
      if (sample != 0.0f) return false;
    return true;
  }

  static Bytes s_mp3;
  static Decoded s_ref;
  TempDir m_dir;
  CFLArchive m_archive;
  std::string m_oldDir;
};

Bytes MusicPlayerTest::s_mp3;
Decoded MusicPlayerTest::s_ref;

}  // namespace

TEST(MusicErrorText, CoversTheWholeTable) {
  EXPECT_STREQ(GetMusicErrorText(0), "No errors");
  EXPECT_STREQ(GetMusicErrorText(1), "Cannot call this command after FSOUND_Init.  Call FSOUND_Close first.");
  EXPECT_STREQ(GetMusicErrorText(2), "This command failed because FSOUND_Init was not called");
  EXPECT_STREQ(GetMusicErrorText(3), "Error initializing output device.");
  EXPECT_STREQ(GetMusicErrorText(4), "The output device is already in use and cannot be reused.");
  EXPECT_STREQ(GetMusicErrorText(5), "Playing the sound failed.");
  EXPECT_STREQ(GetMusicErrorText(6),
               "Soundcard does not support the features needed for this soundsystem (16bit stereo output)");
  EXPECT_STREQ(GetMusicErrorText(7), "Error setting cooperative level for hardware.");
  EXPECT_STREQ(GetMusicErrorText(8), "Error creating hardware sound buffer.");
  EXPECT_STREQ(GetMusicErrorText(9), "File not found");
  EXPECT_STREQ(GetMusicErrorText(10), "Unknown file format");
  EXPECT_STREQ(GetMusicErrorText(11), "Error loading file");
  EXPECT_STREQ(GetMusicErrorText(12), "Not enough memory ");
  EXPECT_STREQ(GetMusicErrorText(13), "The version number of this file format is not supported");
  EXPECT_STREQ(GetMusicErrorText(14), "An invalid parameter was passed to this function");
  EXPECT_STREQ(GetMusicErrorText(15), "Tried to use an EAX command on a non EAX enabled channel or output.");
  EXPECT_STREQ(GetMusicErrorText(16), "Failed to allocate a new channel");
  EXPECT_STREQ(GetMusicErrorText(17), "Recording not supported on this device");
  EXPECT_STREQ(GetMusicErrorText(18), "Required Mediaplayer codec is not installed");
  EXPECT_STREQ(GetMusicErrorText(19), "Unknown error");
  EXPECT_STREQ(GetMusicErrorText(-1), "Unknown error");
  EXPECT_STREQ(GetMusicErrorText(-2147483647 - 1), "Unknown error");
  // The codes the layer reports land on the matching texts.
  EXPECT_STREQ(GetMusicErrorText(FSOUND_ERR_FILE_NOTFOUND), "File not found");
  EXPECT_STREQ(GetMusicErrorText(FSOUND_ERR_INIT), "Error initializing output device.");
}

TEST_F(MusicPlayerTest, FileCallbacksForwardToTheResourceFiles) {
  EXPECT_EQ(musicFileOpen("absent.mp3"), nullptr);
  void* file = musicFileOpen("music/show.mp3");
  ASSERT_NE(file, nullptr) << "found in the archive";
  unsigned char head[4] = {};
  EXPECT_EQ(musicFileRead(head, 4, file), 4);
  EXPECT_EQ(std::vector<unsigned char>(head, head + 4), std::vector<unsigned char>(s_mp3.begin(), s_mp3.begin() + 4));
  EXPECT_EQ(musicFileTell(file), 4);
  EXPECT_EQ(musicFileSeek(file, -10, 2), 0);
  EXPECT_EQ(musicFileTell(file), static_cast<int>(s_mp3.size()) - 10);
  EXPECT_EQ(musicFileSeek(file, 3, 1), 0);
  EXPECT_EQ(musicFileTell(file), static_cast<int>(s_mp3.size()) - 7);
  EXPECT_EQ(musicFileRead(head, 4, file), 4);
  EXPECT_EQ(musicFileRead(head, 4, file), 3) << "only what is left";
  EXPECT_EQ(musicFileSeek(file, 1000000, 0), 0);
  EXPECT_EQ(musicFileTell(file), static_cast<int>(s_mp3.size())) << "clamped to the file";
  EXPECT_EQ(musicFileSeek(file, 5, static_cast<signed char>(-1)), 0);
  EXPECT_EQ(musicFileTell(file), static_cast<int>(s_mp3.size())) << "an unknown mode leaves the position";
  musicFileClose(file);

  ASSERT_EQ(::mkdir("music", 0777), 0);
  m_dir.write("music/show.mp3", Bytes{'l', 'o', 'o', 's', 'e'});
  void* loose = musicFileOpen("music/show.mp3");
  ASSERT_NE(loose, nullptr);
  char text[8] = {};
  EXPECT_EQ(musicFileRead(text, 8, loose), 5);
  EXPECT_STREQ(text, "loose") << "a loose file wins over the archive";
  musicFileClose(loose);
}

TEST_F(MusicPlayerTest, PlaysFromTheArchiveStopsAndRestarts) {
  initOffline();
  EXPECT_EQ(FSOUND_GetMixer(), kRate);
  MP3Player player("music/show.mp3");
  EXPECT_EQ(player.fileName(), "music/show.mp3");
  EXPECT_FALSE(player.playing());
  ASSERT_NE(player.stream(), nullptr);

  player.SetVolume(40);  // not playing: nothing happens, nothing is remembered
  EXPECT_TRUE(silent(advance(100)));
  player.Play(1500);
  EXPECT_TRUE(player.playing());
  EXPECT_EQ(FSOUND_GetVolume(player.channel()), 255);
  EXPECT_FALSE(FSOUND_GetPaused(player.channel()));
  EXPECT_LT(differenceFrom(1500, advance(300)), kSeekTolerance);

  const int channel = player.channel();
  player.Play(0);  // already playing: ignored
  EXPECT_EQ(player.channel(), channel);
  EXPECT_LT(differenceFrom(1800, advance(100)), kSeekTolerance);

  player.Stop();
  EXPECT_FALSE(player.playing());
  EXPECT_FALSE(FSOUND_IsPlaying(channel));
  EXPECT_TRUE(silent(advance(100)));
  player.Stop();  // not playing: nothing happens

  player.Play(400);
  EXPECT_LT(differenceFrom(400, advance(200)), kSeekTolerance) << "restarted at the new position";

  player.SetVolume(64);
  EXPECT_EQ(FSOUND_GetVolume(player.channel()), 64);
  EXPECT_LT(differenceFrom(600, advance(200), 64.0f / 255.0f), 1e-4f);

  player.Stop();
  player.SetVolume(200);
  player.Play(1000);
  EXPECT_EQ(FSOUND_GetVolume(player.channel()), 255) << "a start plays at full volume";
  EXPECT_LT(differenceFrom(1000, advance(100)), kSeekTolerance);

  FSOUND_STREAM* stream = player.stream();
  player.Close();
  EXPECT_TRUE(player.fileName().empty());
  EXPECT_FALSE(FSOUND_Stream_Close(stream)) << "the stream is already closed";
  EXPECT_TRUE(silent(advance(50)));
}

TEST_F(MusicPlayerTest, TwoPlayersMix) {
  Bytes quiet = encodeTestMp3(TestSignal{kRate, 2, kRate});
  m_dir.write("second.mp3", quiet);
  const Decoded quietRef = decodeMp3(quiet);
  initOffline();
  MP3Player first("music/show.mp3");
  MP3Player second("second.mp3");
  first.Play(0);
  second.Play(0);
  second.SetVolume(0);
  EXPECT_LT(differenceFrom(0, advance(100)), kSeekTolerance) << "a silent second channel adds nothing";
  first.SetVolume(0);
  second.SetVolume(255);
  const std::vector<float> mix = advance(100);
  EXPECT_LT(maxDifference(mix.data(), quietRef.stereo.data() + 4410 * 2, mix.size()), kSeekTolerance);
  first.Close();
  second.Close();
}

TEST_F(MusicPlayerTest, RunsOnTheSilentDeviceDriver) {
  // SDL_AUDIODRIVER=dummy in this test's environment: the device output opens.
  InitMusicSystem();
  EXPECT_EQ(FSOUND_GetOutput(), FSOUND_OUTPUT_DSOUND);
  EXPECT_EQ(FSOUND_GetMixer(), kRate);
  MP3Player player("music/show.mp3");
  player.Play(0);
  EXPECT_TRUE(FSOUND_IsPlaying(player.channel()));
  player.Stop();
  player.Close();
}

TEST_F(MusicPlayerTest, VersionExactlyAtTheMinimumIsAccepted) {
  soundSetReportedVersion(3.73f);
  initOffline();
  EXPECT_EQ(FSOUND_GetMixer(), kRate);
}

using MusicPlayerDeathTest = MusicPlayerTest;

TEST_F(MusicPlayerDeathTest, MissingMusicFileEndsTheProcess) {
  EXPECT_EXIT(
      {
        initOffline();
        MP3Player player("music/absent.mp3");
      },
      ::testing::ExitedWithCode(0), "MP3Player Error: File not found");
}

TEST_F(MusicPlayerDeathTest, MusicThatIsNoMp3EndsTheProcess) {
  m_dir.write("notes.mp3", Bytes(3000, 'n'));
  EXPECT_EXIT(
      {
        initOffline();
        MP3Player player("notes.mp3");
      },
      ::testing::ExitedWithCode(0), "MP3Player Error: Unknown file format");
}

TEST_F(MusicPlayerDeathTest, OlderLibraryVersionEndsTheProcess) {
  EXPECT_EXIT(
      {
        soundSetReportedVersion(3.72f);
        InitMusicSystem();
      },
      ::testing::ExitedWithCode(0),
      "Error in MP3Player!: Error : You are using the wrong DLL version!  You should be using FMOD 3.73\n");
}

TEST_F(MusicPlayerDeathTest, MissingOutputDeviceEndsTheProcess) {
  EXPECT_EXIT(
      {
        ::setenv("SDL_AUDIODRIVER", "no-such-driver", 1);
        InitMusicSystem();
      },
      ::testing::ExitedWithCode(0), "MP3Player Error: Error initializing output device\\.");
}
