// The render's progress: a bar redrawn in place on a terminal, whole lines in
// a log (one per tenth of the range, or one per 5 s of wall time).
#include "ArchiveTestUtil.h"
#include "ToolRun.h"
#include "tools/RenderProgress.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

namespace {

// Collects what a RenderProgress writes, on a wall clock the test moves.
class ProgressCapture {
 public:
  ProgressCapture() { m_file = ::open_memstream(&m_buffer, &m_size); }
  ~ProgressCapture() {
    std::fclose(m_file);
    std::free(m_buffer);
  }
  std::FILE* file() { return m_file; }
  RenderProgress::WallClock clock() {
    return [this] { return seconds; };
  }
  std::string text() {
    std::fflush(m_file);
    return std::string(m_buffer, m_size);
  }
  std::vector<std::string> lines() {
    std::vector<std::string> out;
    std::istringstream in(text());
    for (std::string line; std::getline(in, line);) out.push_back(line);
    return out;
  }
  double seconds = 100;

 private:
  std::FILE* m_file = nullptr;
  char* m_buffer = nullptr;
  std::size_t m_size = 0;
};

TEST(RenderProgress, LogGetsOneLinePerTenthOfTheRange) {
  ProgressCapture capture;
  {
    // 0..2000 ms at 100 fps: 201 frames, the last exactly at 2000.
    RenderProgress progress(capture.file(), RenderProgress::Style::Lines, 0, 2000.0, capture.clock());
    for (int k = 0; k <= 200; ++k) {
      capture.seconds += 0.01;
      progress.frame(k + 1, k * 10.0);
    }
    progress.end();
  }
  const std::vector<std::string> lines = capture.lines();
  ASSERT_EQ(lines.size(), 10u) << capture.text();
  EXPECT_EQ(capture.text().find('\r'), std::string::npos);
  EXPECT_EQ(lines.front(), "render  10%  21 frames  show 0.20 s  100.0 fps");
  EXPECT_EQ(lines.back(), "render 100%  201 frames  show 2.00 s  100.0 fps");
  for (std::size_t i = 0; i < lines.size(); ++i)
    EXPECT_EQ(lines[i].substr(0, 11), "render " + std::string(i == 9 ? "" : " ") + std::to_string((i + 1) * 10) + "%")
        << lines[i];
}

TEST(RenderProgress, LogRangeStartsAtFromAndEndsWhereTheScriptEnds) {
  ProgressCapture capture;
  {
    // 5000..6000 ms, but the script ends at 5300: three tenths, then the end.
    RenderProgress progress(capture.file(), RenderProgress::Style::Lines, 5000, 6000.0, capture.clock());
    for (int k = 0; k <= 35; ++k) progress.frame(k + 1, 5000 + k * 10.0);
    progress.end();
  }
  const std::vector<std::string> lines = capture.lines();
  ASSERT_EQ(lines.size(), 4u) << capture.text();
  EXPECT_EQ(lines[0].substr(0, 11), "render  10%");
  EXPECT_EQ(lines[2].substr(0, 11), "render  30%");
  EXPECT_EQ(lines[3].substr(0, 25), "render  35%  36 frames  s") << "the last frame, once";
}

TEST(RenderProgress, LogWithoutAnEndWritesEveryFiveSecondsAndAtTheEnd) {
  ProgressCapture capture;
  {
    RenderProgress progress(capture.file(), RenderProgress::Style::Lines, 0, std::nullopt, capture.clock());
    // 481 frames at 1/16 s of wall time each (exact in binary): a line
    // every 80 frames, six in all, and the last frame at the end.
    for (int k = 0; k < 481; ++k) {
      capture.seconds += 0.0625;
      progress.frame(k + 1, k * 1000.0 / 30);
    }
    progress.end();
  }
  const std::vector<std::string> lines = capture.lines();
  ASSERT_EQ(lines.size(), 7u) << capture.text();
  EXPECT_EQ(lines[0], "render  80 frames  show 2.63 s  16.0 fps");
  EXPECT_EQ(lines[5], "render  480 frames  show 15.97 s  16.0 fps");
  EXPECT_EQ(lines[6], "render  481 frames  show 16.00 s  16.0 fps");
}

TEST(RenderProgress, TerminalBarRedrawsInPlaceAtMostTenTimesASecond) {
  ProgressCapture capture;
  {
    RenderProgress progress(capture.file(), RenderProgress::Style::Bar, 0, 1000.0, capture.clock());
    // 1 s of wall time for 101 frames: the first frame, ten redraws, and
    // the final state drawn by end().
    for (int k = 0; k <= 100; ++k) {
      progress.frame(k + 1, k * 10.0);
      capture.seconds += 0.01;
    }
    progress.end();
  }
  const std::string text = capture.text();
  std::size_t redraws = 0;
  for (char c : text) redraws += c == '\r';
  EXPECT_GE(redraws, 10u);
  EXPECT_LE(redraws, 12u);
  EXPECT_EQ(text.find('\n'), text.size() - 1) << "one line, ended once";
  const std::string last = text.substr(text.rfind('\r') + 1);
  EXPECT_EQ(last, "render [==============================] 100%  101 frames  show 1.00 s  101.0 fps\033[K\n");
}

TEST(RenderProgress, NothingWrittenForNoFrames) {
  ProgressCapture capture;
  RenderProgress(capture.file(), RenderProgress::Style::Bar, 0, 1000.0, capture.clock()).end();
  RenderProgress(capture.file(), RenderProgress::Style::Lines, 0, std::nullopt, capture.clock()).end();
  EXPECT_EQ(capture.text(), "");
}

TEST(RenderProgress, VxtoolWritesLinesWhenStandardErrorIsAFile) {
  TempDir dir;
  dir.write("demo.vxc", bytesOf("createcolor 0 0 255 blue\nsetlayer blue 1\nwait 100000\n"));
  ToolRun run = vxtool(dir, "render --fps 100 --size 32x32 --to 2000 --wav s.wav");
  ASSERT_EQ(run.code, 0) << run.err;
  EXPECT_EQ(run.err.find('\r'), std::string::npos) << run.err;
  std::istringstream in(run.err);
  std::vector<std::string> progress;
  for (std::string line; std::getline(in, line);)
    if (line.rfind("render ", 0) == 0) progress.push_back(line);
  ASSERT_EQ(progress.size(), 10u) << run.err;
  EXPECT_EQ(progress.back().substr(0, 25), "render 100%  201 frames  ");
  EXPECT_NE(run.err.find("rendered 201 frames"), std::string::npos) << run.err;
}

}  // namespace
