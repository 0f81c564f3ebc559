// What each key of the preview's window asks for.
#include "tools/PreviewKeys.h"

#include <gtest/gtest.h>

namespace {
using K = PreviewKeyCommand;
}  // namespace

TEST(PreviewKeys, ArrowsSeekBySecondsOrStepByFrames) {
  PreviewKeys keys;
  auto seek = [&](WPARAM vk, bool shift, bool ctrl) { return keys.key(vk, shift, ctrl); };
  EXPECT_EQ(seek(VK_RIGHT, false, false).kind, K::SeekBy);
  EXPECT_EQ(seek(VK_RIGHT, false, false).ms, 1000);
  EXPECT_EQ(seek(VK_LEFT, false, false).ms, -1000);
  EXPECT_EQ(seek(VK_LEFT, true, false).ms, -10000);
  EXPECT_EQ(seek(VK_RIGHT, true, false).ms, 10000);
  const K step = seek(VK_LEFT, false, true);
  EXPECT_EQ(step.kind, K::StepFrames);
  EXPECT_EQ(step.frames, -1);
  EXPECT_EQ(seek(VK_RIGHT, true, true).frames, 1) << "Ctrl wins over Shift: one frame";
  EXPECT_EQ(seek(VK_HOME, false, false).kind, K::GoTo);
  EXPECT_EQ(seek(VK_HOME, false, false).ms, 0);
  EXPECT_EQ(seek(VK_SPACE, false, false).kind, K::TogglePause);
  EXPECT_EQ(seek('R', false, false).kind, K::Reload);
  EXPECT_EQ(seek('F', false, false).kind, K::ToggleOverlay);
  EXPECT_EQ(seek('L', false, false).kind, K::Loop);
  EXPECT_EQ(seek(VK_ESCAPE, false, false).kind, K::Quit);
  EXPECT_EQ(seek('Q', false, false).kind, K::None);
  EXPECT_EQ(seek(VK_UP, false, false).kind, K::None);
}

TEST(PreviewKeys, DigitsThenEnterGoToThatSecond) {
  PreviewKeys keys;
  EXPECT_EQ(keys.key(VK_RETURN, false, false).kind, K::None) << "Enter without digits";
  EXPECT_EQ(keys.key('1', false, false).kind, K::None);
  EXPECT_EQ(keys.key(VK_NUMPAD0 + 2, false, false).kind, K::None);
  EXPECT_EQ(keys.key('7', false, false).kind, K::None);
  EXPECT_EQ(keys.typed(), "127");
  keys.key(VK_BACK, false, false);
  EXPECT_EQ(keys.typed(), "12");
  K go = keys.key(VK_RETURN, false, false);
  EXPECT_EQ(go.kind, K::GoTo);
  EXPECT_EQ(go.ms, 12000);
  EXPECT_EQ(keys.typed(), "");
  // Another key drops the number; Backspace on nothing does nothing.
  keys.key('4', false, false);
  EXPECT_EQ(keys.key(VK_SPACE, false, false).kind, K::TogglePause);
  EXPECT_EQ(keys.key(VK_RETURN, false, false).kind, K::None);
  keys.key(VK_BACK, false, false);
  // At most seven digits (the clock's 32-bit ms end within them).
  for (int i = 0; i < 12; ++i) keys.key('9', false, false);
  go = keys.key(VK_RETURN, false, false);
  EXPECT_EQ(go.ms, 9999999000.0);
}
