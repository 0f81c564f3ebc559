#include "layers/FlashPlayer.h"

#include "archive/CFLArchive.h"
#include "archive/ResourceFilter.h"
#include "platform/gfx/recording/RecordingDevice.h"
#include "platform/movie/FileCalls.h"
#include "platform/os/MessageBox.h"
#include "platform/os/Process.h"
#include "tests/platform/movie/TestMovies.h"
#include "tools/ArchiveWriter.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

namespace {

int answerOk(const char*, const char*, UINT) { return IDOK; }

struct ExitCalled {
  UINT code;
};
[[noreturn]] void throwOnExit(UINT code) { throw ExitCalled{code}; }

const char* const kLoadFailed = "Error: Couldn't load 2d content!";

// Each test runs in a scratch directory of its own, with its own archive as
// the process's archive and the movie host class registered. Death tests
// fork at the statement, so the dying child shares the directory and the
// parent can look at what it left behind.
class FlashPlayerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    GTEST_FLAG_SET(death_test_style, "fast");
    SetMessageBoxHook(answerOk);
    AtlAxWinInit();
    char previous[4096];
    ASSERT_NE(::getcwd(previous, sizeof previous), nullptr);
    m_previousDirectory = previous;
    std::string pattern = (std::filesystem::temp_directory_path() / "vxflash-XXXXXX").string();
    ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
    m_directory = pattern;
    ASSERT_EQ(::chdir(m_directory.c_str()), 0);
    m_device = RecordingDevice::createOffscreen(800, 600);
    m_resourcesBefore = m_device->liveResourceCount();
  }
  void TearDown() override {
    g_archive = nullptr;
    m_archive.reset();
    EXPECT_EQ(m_device->liveResourceCount(), m_resourcesBefore);
    m_device->Release();
    EXPECT_EQ(::chdir(m_previousDirectory.c_str()), 0);
    std::error_code ignored;
    std::filesystem::remove_all(m_directory, ignored);
    if (!m_archivePath.empty()) std::filesystem::remove(m_archivePath, ignored);
    SetMessageBoxHook(nullptr);
  }

  // Makes an archive of the entries (stored with zlib) the process's archive.
  void useArchive(const std::vector<std::pair<std::string, MovieBytes>>& entries) {
    ArchiveWriter writer;
    for (const auto& [name, bytes] : entries) ASSERT_TRUE(writer.add(name, bytes.data(), bytes.size(), CFL_FILTER_ZLIB));
    std::vector<unsigned char> image;
    ASSERT_TRUE(writer.finish(&image)) << writer.error();
    // Beside the scratch directory, so that the directory shows only what
    // the player leaves there. Entries are read from it on extraction.
    const std::string path = m_directory + ".cfl";
    ASSERT_TRUE(writeMovieFile(path, image));
    m_archivePath = path;
    m_archive = std::make_unique<CFLArchive>();
    ASSERT_EQ(m_archive->Open(path.c_str()), 1);
    g_archive = m_archive.get();
  }

  std::string here(const std::string& name) const { return m_directory + "/" + name; }

  std::string loadedPath(FlashPlayer& player) {
    BSTR movie = nullptr;
    EXPECT_EQ(player.control()->get_Movie(&movie), S_OK);
    std::string path;
    EXPECT_TRUE(wideToUtf8(movie, SysStringLen(movie), &path));
    SysFreeString(movie);
    return path;
  }

  std::string m_previousDirectory, m_directory, m_archivePath;
  std::unique_ptr<CFLArchive> m_archive;
  RecordingDevice* m_device = nullptr;
  int m_resourcesBefore = 0;
};

TEST_F(FlashPlayerTest, LooseMovieIsUsedInPlaceAndKept) {
  useArchive({{"intro.swf", plainMovie(7)}});
  const MovieBytes loose = compressedMovie(42);
  ASSERT_TRUE(writeMovieFile(here("intro.swf"), loose));

  FlashPlayer player(m_device, 800, 600, "intro.swf");
  EXPECT_EQ(player.totalFrames(), 42);
  EXPECT_EQ(loadedPath(player), here("intro.swf"));
  EXPECT_EQ(readWholeFile(here("intro.swf")), std::string(loose.begin(), loose.end()));
}

TEST_F(FlashPlayerTest, ArchivedMovieIsWrittenOutLoadedAndDeleted) {
  useArchive({{"intro.swf", compressedMovie(1234)}, {"other.swf", plainMovie(5)}});
  {
    FlashPlayer player(m_device, 800, 600, "intro.swf");
    EXPECT_EQ(player.totalFrames(), 1234);
    EXPECT_EQ(loadedPath(player), here("intro.swf"));
    EXPECT_FALSE(fileExists(here("intro.swf")));
  }
  FlashPlayer second(m_device, 800, 600, "other.swf");
  EXPECT_EQ(second.totalFrames(), 5);
  EXPECT_FALSE(fileExists(here("other.swf")));
  EXPECT_TRUE(std::filesystem::is_empty(m_directory));
}

TEST_F(FlashPlayerTest, NewPlayerHasTheControlSettingsAndAStoppedMovie) {
  ASSERT_TRUE(writeMovieFile(here("m.swf"), plainMovie(3)));
  FlashPlayer player(m_device, 800, 600, "m.swf");
  IShockwaveFlash* flash = player.control();
  ASSERT_NE(flash, nullptr);
  VARIANT_BOOL menu = VARIANT_TRUE, playing = VARIANT_TRUE;
  LONG background = -1;
  int quality = -1;
  flash->get_Menu(&menu);
  flash->get_Playing(&playing);
  flash->get_BackgroundColor(&background);
  flash->get_Quality(&quality);
  EXPECT_EQ(menu, VARIANT_FALSE);
  EXPECT_EQ(playing, VARIANT_FALSE);
  EXPECT_EQ(background, 0);
  EXPECT_EQ(quality, 0);
  EXPECT_EQ(player.mode(), 0);
  EXPECT_EQ(player.lastFrame(), 0x0FFFFFFF);

  // Hidden popup window whose client area is the movie surface.
  ASSERT_NE(player.window(), nullptr);
  EXPECT_EQ(player.window()->GetStyle(), WS_POPUP);
  EXPECT_FALSE(player.window()->IsWindowVisible());
  RECT rect;
  ASSERT_TRUE(player.window()->GetWindowRect(&rect));
  EXPECT_EQ(rect.right - rect.left, 800);
  EXPECT_EQ(rect.bottom - rect.top, 600);
  EXPECT_EQ(player.captureBuffer(0).pixels.size(), 800u * 600u);
  EXPECT_EQ(player.captureBuffer(1).pixels.size(), 800u * 600u);
}

TEST_F(FlashPlayerTest, TextureAndQuadCoverTheSurface) {
  ASSERT_TRUE(writeMovieFile(here("m.swf"), plainMovie(3)));
  FlashPlayer player(m_device, 640, 480, "m.swf");
  ASSERT_NE(player.texture(), nullptr);
  D3DSURFACE_DESC desc;
  ASSERT_EQ(player.texture()->GetLevelDesc(0, &desc), D3D_OK);
  EXPECT_EQ(desc.Format, D3DFMT_A8R8G8B8);
  EXPECT_EQ(desc.Usage, D3DUSAGE_DYNAMIC);
  EXPECT_EQ(desc.Pool, D3DPOOL_DEFAULT);
  EXPECT_EQ(player.texture()->GetLevelCount(), 1u);
  EXPECT_EQ(player.textureWidth(), 640u);
  EXPECT_EQ(player.textureHeight(), 480u);
  const FlashVertex expected[4] = {{-1, -1, 1, 0, 1}, {-1, 1, 1, 0, 0}, {1, -1, 1, 1, 1}, {1, 1, 1, 1, 0}};
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(player.quad()[i].x, expected[i].x) << i;
    EXPECT_EQ(player.quad()[i].y, expected[i].y) << i;
    EXPECT_EQ(player.quad()[i].z, expected[i].z) << i;
    EXPECT_EQ(player.quad()[i].u, expected[i].u) << i;
    EXPECT_EQ(player.quad()[i].v, expected[i].v) << i;
  }
  EXPECT_EQ(m_device->log().count("DrawPrimitiveUP") + m_device->log().count("DrawPrimitive"), 0u);  // nothing drawn
}

TEST_F(FlashPlayerTest, FailedTextureCreationStillLoadsTheMovie) {
  ASSERT_TRUE(writeMovieFile(here("m.swf"), plainMovie(9)));
  m_device->failCreation(D3DERR_OUTOFVIDEOMEMORY, 1, "CreateTexture");
  FlashPlayer player(m_device, 800, 600, "m.swf");
  EXPECT_EQ(player.texture(), nullptr);
  EXPECT_EQ(player.totalFrames(), 9);
  EXPECT_EQ(player.quad()[3].u, 1.0f);
}

TEST_F(FlashPlayerTest, DestructionReleasesWindowControlAndTexture) {
  ASSERT_TRUE(writeMovieFile(here("m.swf"), plainMovie(3)));
  const int windows = liveHostWindows();
  const int controls = liveFlashControls();
  auto* player = new FlashPlayer(m_device, 800, 600, "m.swf");
  EXPECT_EQ(liveHostWindows(), windows + 1);
  EXPECT_EQ(liveFlashControls(), controls + 1);
  EXPECT_GT(m_device->liveResourceCount(), m_resourcesBefore);
  delete player;
  EXPECT_EQ(liveHostWindows(), windows);
  EXPECT_EQ(liveFlashControls(), controls);
  EXPECT_EQ(m_device->liveResourceCount(), m_resourcesBefore);
}

TEST_F(FlashPlayerTest, SetModeOneMakesTheBackgroundBlackAgain) {
  ASSERT_TRUE(writeMovieFile(here("m.swf"), plainMovie(3)));
  FlashPlayer player(m_device, 800, 600, "m.swf");
  LONG background = 0;
  ASSERT_EQ(player.control()->put_BackgroundColor(0xFF00FF), S_OK);
  player.SetMode(2);
  EXPECT_EQ(player.mode(), 2);
  player.control()->get_BackgroundColor(&background);
  EXPECT_EQ(background, 0xFF00FF);
  player.SetMode(1);
  EXPECT_EQ(player.mode(), 1);
  player.control()->get_BackgroundColor(&background);
  EXPECT_EQ(background, 0);

  player.SetQuality(3);
  int quality = 0;
  player.control()->get_Quality(&quality);
  EXPECT_EQ(quality, 3);
}

TEST_F(FlashPlayerTest, LoadFailureReleasesWhatWasMadeWhenTheExitHookUnwinds) {
  const MovieBytes text = {'n', 'o', 't', ' ', 'a', ' ', 'm', 'o', 'v', 'i', 'e'};
  useArchive({{"page.swf", text}});
  const int windows = liveHostWindows();
  const int controls = liveFlashControls();
  SetExitProcessHook(throwOnExit);
  UINT code = 99;
  try {
    FlashPlayer player(m_device, 800, 600, "page.swf");
    ADD_FAILURE() << "a file that is not a movie was loaded";
  } catch (const ExitCalled& exit) {
    code = exit.code;
  }
  SetExitProcessHook(nullptr);
  EXPECT_EQ(code, 0u);
  EXPECT_EQ(liveHostWindows(), windows);
  EXPECT_EQ(liveFlashControls(), controls);
  EXPECT_EQ(m_device->liveResourceCount(), m_resourcesBefore);
  EXPECT_FALSE(fileExists(here("page.swf")));
}

TEST(FlashMoviePathTest, DriveNamesAndAbsolutePathsAreKept) {
  EXPECT_EQ(flashMoviePath("C:\\movies\\intro.swf", "C:\\show"), "C:\\movies\\intro.swf");
  EXPECT_EQ(flashMoviePath("intro.swf", "C:\\show"), "C:\\show/intro.swf");
  EXPECT_EQ(flashMoviePath("intro.swf", "C:\\show\\"), "C:\\show\\intro.swf");
  EXPECT_EQ(flashMoviePath("movies/intro.swf", "/home/show/"), "/home/show/movies/intro.swf");
  EXPECT_EQ(flashMoviePath("intro.swf", "/"), "/intro.swf");
  EXPECT_EQ(flashMoviePath("/data/intro.swf", "/home/show"), "/data/intro.swf");
  EXPECT_EQ(flashMoviePath("x", "/home"), "/home/x");  // one character: no drive
}

// --- Failures: message, caption and exit code ---------------------------------

using FlashPlayerDeathTest = FlashPlayerTest;

TEST_F(FlashPlayerDeathTest, MovieFoundNowhereEndsTheShow) {
  useArchive({{"intro.swf", plainMovie(1)}});
  EXPECT_EXIT(FlashPlayer(m_device, 800, 600, "Intro.swf"), ::testing::ExitedWithCode(0), kLoadFailed);
  g_archive = nullptr;
  EXPECT_EXIT(FlashPlayer(m_device, 800, 600, "intro.swf"), ::testing::ExitedWithCode(0), kLoadFailed);
  EXPECT_EXIT(FlashPlayer(m_device, 800, 600, ""), ::testing::ExitedWithCode(0), kLoadFailed);
}

TEST_F(FlashPlayerDeathTest, ArchivedFileThatIsNotAMovieIsRefusedAndRemoved) {
  const MovieBytes text = {'<', 'h', 't', 'm', 'l', '>', ' ', 'n', 'o', 't', ' ', 'a', ' ', 'm', 'o', 'v', 'i', 'e'};
  TestMovie lzma;
  lzma.signature = 'Z';
  useArchive({{"page.swf", text}, {"lzma.swf", movieFile(lzma)}, {"empty.swf", {}}});
  for (const char* name : {"page.swf", "lzma.swf", "empty.swf"}) {
    EXPECT_EXIT(FlashPlayer(m_device, 800, 600, name), ::testing::ExitedWithCode(0), kLoadFailed) << name;
    EXPECT_FALSE(fileExists(here(name))) << name;
  }
}

TEST_F(FlashPlayerDeathTest, ExtractionNeverWritesThroughAnExistingName) {
  // A dangling link of the movie's name: not readable, but there. Writing the
  // entry "into" it would create the link's target.
  useArchive({{"intro.swf", plainMovie(1)}});
  ASSERT_EQ(::symlink("elsewhere.swf", here("intro.swf").c_str()), 0);
  EXPECT_EXIT(FlashPlayer(m_device, 800, 600, "intro.swf"), ::testing::ExitedWithCode(0), kLoadFailed);
  EXPECT_FALSE(fileExists(here("elsewhere.swf")));
  EXPECT_TRUE(std::filesystem::is_symlink(here("intro.swf")));
}

TEST_F(FlashPlayerDeathTest, MissingHostClassIsALoadFailureAndCleansUp) {
  useArchive({{"intro.swf", plainMovie(1)}});
  AtlAxWinTerm();
  EXPECT_EXIT(FlashPlayer(m_device, 800, 600, "intro.swf"), ::testing::ExitedWithCode(0), kLoadFailed);
  EXPECT_FALSE(fileExists(here("intro.swf")));
  AtlAxWinInit();
}

TEST_F(FlashPlayerDeathTest, OverlongCurrentDirectoryFailsCleanly) {
  std::string deep = m_directory;
  while (deep.size() < 300) {
    deep += "/abcdefghijklmnopqrstuvwxyz";
    ASSERT_TRUE(std::filesystem::create_directory(deep));
  }
  ASSERT_EQ(::chdir(deep.c_str()), 0);
  ASSERT_TRUE(writeMovieFile("m.swf", plainMovie(1)));
  EXPECT_EXIT(FlashPlayer(m_device, 800, 600, "m.swf"), ::testing::ExitedWithCode(0), kLoadFailed);
  EXPECT_EQ(GetCurrentDirectoryA(256, nullptr), DWORD(deep.size() + 1));
}

TEST_F(FlashPlayerDeathTest, RefusedControlCallAfterLoadingEndsTheShow) {
  ASSERT_TRUE(writeMovieFile(here("m.swf"), plainMovie(3)));
  FlashPlayer player(m_device, 800, 600, "m.swf");
  EXPECT_EXIT(player.SetQuality(9), ::testing::ExitedWithCode(0),
              "Error: Flash control call put_Quality failed \\(0x80070057\\)!");
}

}  // namespace
