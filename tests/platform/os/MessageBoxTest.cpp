// The standard-error line of a message box, with a hook in place of the box.
#include "platform/os/MessageBox.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string g_seen;

int answerOk(const char* text, const char* caption, UINT) {
  g_seen = std::string(caption) + "|" + text;
  return IDOK;
}

class MessageBoxEcho : public ::testing::Test {
 protected:
  void SetUp() override { SetMessageBoxHook(answerOk); }
  void TearDown() override {
    SetMessageBoxEcho(true);
    SetMessageBoxHook(nullptr);
  }
};

}  // namespace

TEST_F(MessageBoxEcho, TheTextGoesToStandardErrorAsCaptionAndText) {
  testing::internal::CaptureStderr();
  EXPECT_EQ(MessageBoxA(nullptr, "Image load failed: a.png", "Error", MB_OK), IDOK);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: Image load failed: a.png\n");
  EXPECT_EQ(g_seen, "Error|Image load failed: a.png");
}

TEST_F(MessageBoxEcho, OffLeavesTheLineToTheHookUntilTurnedOnAgain) {
  SetMessageBoxEcho(false);
  testing::internal::CaptureStderr();
  EXPECT_EQ(MessageBoxA(nullptr, "quiet", "Error", MB_OK), IDOK);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(g_seen, "Error|quiet") << "the hook still gets the box";

  SetMessageBoxEcho(true);
  testing::internal::CaptureStderr();
  MessageBoxA(nullptr, "heard", nullptr, MB_OK);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: heard\n") << "a missing caption reads Error";
}
