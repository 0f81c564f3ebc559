#include "tools/RenderProgress.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>

namespace {
constexpr double kBarRedrawSeconds = 0.1;
constexpr double kLineEverySeconds = 5;  // lines without a known length
constexpr int kBarWidth = 30;            // characters
}  // namespace

RenderProgress::Style RenderProgress::styleFor(std::FILE* stream) {
  return ::isatty(::fileno(stream)) ? Style::Bar : Style::Lines;
}

RenderProgress::RenderProgress(std::FILE* out, Style style, double fromMs, std::optional<double> toMs,
                               WallClock clock)
    : m_out(out), m_style(style), m_fromMs(fromMs), m_toMs(toMs), m_clock(std::move(clock)) {
  if (!m_clock)
    m_clock = [] {
      return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
    };
  m_start = m_clock();
  m_lastWrite = m_start;
}

double RenderProgress::part(double showMs) const {
  return std::clamp((showMs - m_fromMs) / (*m_toMs - m_fromMs), 0.0, 1.0);
}

std::string RenderProgress::describe(bool withBar) const {
  const double seconds = m_clock() - m_start;
  const double rate = seconds > 0 ? m_done / seconds : 0;
  char text[160];
  if (knownLength()) {
    const double p = part(m_showMs);
    const int filled = int(p * kBarWidth);
    if (withBar)
      std::snprintf(text, sizeof text, "render [%s%*s] %3d%%  %d frames  show %.2f s  %.1f fps",
                    std::string(std::size_t(filled), '=').c_str(), kBarWidth - filled, "", int(p * 100), m_done,
                    m_showMs / 1000, rate);
    else
      std::snprintf(text, sizeof text, "render %3d%%  %d frames  show %.2f s  %.1f fps", int(p * 100), m_done,
                    m_showMs / 1000, rate);
  } else {
    std::snprintf(text, sizeof text, "render  %d frames  show %.2f s  %.1f fps", m_done, m_showMs / 1000, rate);
  }
  return text;
}

void RenderProgress::draw() {
  // Back to the line's start; the erase-to-end drops what a longer line left.
  std::fprintf(m_out, "\r%s\033[K", describe(true).c_str());
  std::fflush(m_out);
  m_shownDone = m_done;
  m_lastWrite = m_clock();
}

void RenderProgress::writeLine() {
  std::fprintf(m_out, "%s\n", describe(false).c_str());
  std::fflush(m_out);
  m_shownDone = m_done;
  m_lastWrite = m_clock();
}

void RenderProgress::frame(int done, double showMs) {
  m_done = done;
  m_showMs = showMs;
  const double now = m_clock();
  if (m_style == Style::Bar) {
    if (m_shownDone == 0 || now - m_lastWrite >= kBarRedrawSeconds) draw();
    return;
  }
  if (knownLength()) {
    // A small epsilon: the last frame lands exactly on TO, where the share
    // done is 1.0 and must count as the tenth tenth.
    const int tenths = int(std::floor(part(showMs) * 10 + 1e-9));
    if (tenths > m_tenthsWritten) {
      m_tenthsWritten = tenths;
      writeLine();
    }
  } else if (now - m_lastWrite >= kLineEverySeconds) {
    writeLine();
  }
}

void RenderProgress::end() {
  if (m_done == 0) return;
  if (m_style == Style::Bar) {
    if (m_shownDone != m_done) draw();
    std::fputs("\n", m_out);
    std::fflush(m_out);
  } else if (m_shownDone != m_done) {
    writeLine();
  }
}
