#include "platform/os/MessageBoxDiagnosis.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <string>

namespace {
using ::testing::HasSubstr;

TEST(MessageBoxDiagnosis, NamesTheMissingDisplay) {
  EXPECT_THAT(describeMissingMessageBox(nullptr, nullptr), HasSubstr("DISPLAY and WAYLAND_DISPLAY are unset"));
  EXPECT_THAT(describeMissingMessageBox("", ""), HasSubstr("DISPLAY and WAYLAND_DISPLAY are unset"));
  EXPECT_THAT(describeMissingMessageBox(nullptr, "wayland-0"), HasSubstr("zenity"));
}

TEST(MessageBoxDiagnosis, NamesAnXDisplayThatDoesNotAnswer) {
  // A local display number with no server socket behind it.
  int number = 4321;
  struct stat info {};
  while (stat(("/tmp/.X11-unix/X" + std::to_string(number)).c_str(), &info) == 0) ++number;
  const std::string name = ":" + std::to_string(number);
  EXPECT_EQ(describeMissingMessageBox(name.c_str(), nullptr),
            "cannot open the X display \"" + name + "\" (no X server answers there, or this user may not connect to it)");
}
}  // namespace
