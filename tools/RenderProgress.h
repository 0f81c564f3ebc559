#pragma once
// The progress of an offline render, on standard error.
//
// On a terminal: one bar redrawn in place (carriage return, at most ten
// redraws a second). Anywhere else (a log file, CI): whole lines, one each
// time another tenth of the FROM..TO range is done, or, when the render runs
// until the script ends and its length is unknown, one every 5 s of wall
// time; a log then holds a dozen lines, not thousands of carriage returns.
#include <cstdio>
#include <functional>
#include <optional>
#include <string>

class RenderProgress {
 public:
  enum class Style { Bar, Lines };
  // Wall time in seconds from any fixed origin (steady_clock when left empty;
  // tests drive their own).
  using WallClock = std::function<double()>;

  // Bar when the stream is a terminal, Lines otherwise.
  static Style styleFor(std::FILE* stream);

  // fromMs, toMs: the show-time range rendered; no toMs: until the script ends.
  RenderProgress(std::FILE* out, Style style, double fromMs, std::optional<double> toMs, WallClock clock = {});

  // After each frame: `done` frames so far, the last one at showMs.
  void frame(int done, double showMs);
  // After the last frame: the final state, once, and the bar's line ended.
  void end();

 private:
  bool knownLength() const { return m_toMs && *m_toMs > m_fromMs; }
  double part(double showMs) const;  // 0..1 of the range
  std::string describe(bool withBar) const;
  void draw();
  void writeLine();

  std::FILE* m_out;
  Style m_style;
  double m_fromMs;
  std::optional<double> m_toMs;
  WallClock m_clock;
  double m_start;
  int m_done = 0;
  double m_showMs = 0;
  int m_shownDone = 0;     // `done` of the last thing written
  double m_lastWrite = 0;  // wall seconds of the last bar or line
  int m_tenthsWritten = 0;
};
