#include "platform/os/System.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstring>
#include <string>

namespace {

std::string exePath() {
  char path[4096];
  const ssize_t length = readlink("/proc/self/exe", path, sizeof path - 1);
  return length > 0 ? std::string(path, static_cast<size_t>(length)) : std::string();
}

TEST(GetModuleFileNameA, ReturnsTheExecutablePath) {
  char buffer[1024];
  const DWORD length = GetModuleFileNameA(nullptr, buffer, sizeof buffer);
  EXPECT_EQ(std::string(buffer), exePath());
  EXPECT_EQ(length, std::strlen(buffer));
  EXPECT_EQ(buffer[0], '/');
  EXPECT_NE(std::string(buffer).find("test_os"), std::string::npos);
}

TEST(GetModuleFileNameA, CutsALongPathAndReportsTheBufferSize) {
  char buffer[8];
  std::memset(buffer, 'x', sizeof buffer);
  EXPECT_EQ(GetModuleFileNameA(nullptr, buffer, sizeof buffer), sizeof buffer);
  EXPECT_EQ(buffer[7], '\0');
  EXPECT_EQ(std::string(buffer), exePath().substr(0, 7));
  EXPECT_EQ(GetModuleFileNameA(nullptr, buffer, 0), 0u);
  EXPECT_EQ(GetModuleFileNameA(nullptr, nullptr, 10), 0u);
}

TEST(ShowCursor, KeepsTheWin32DisplayCounter) {
  EXPECT_EQ(ShowCursor(0), -1);
  EXPECT_EQ(ShowCursor(0), -2);
  EXPECT_EQ(ShowCursor(1), -1);
  EXPECT_EQ(ShowCursor(1), 0);
}

TEST(DesktopDisplayMode, ReportsTheDesktopSize) {
  DesktopDisplayMode mode;
  ASSERT_TRUE(getDesktopDisplayMode(&mode));
  EXPECT_GT(mode.width, 0);
  EXPECT_GT(mode.height, 0);
  EXPECT_EQ(GetSystemMetrics(SM_CXSCREEN), mode.width);
  EXPECT_EQ(GetSystemMetrics(SM_CYSCREEN), mode.height);
  EXPECT_EQ(GetSystemMetrics(99), 0);
  EXPECT_FALSE(getDesktopDisplayMode(nullptr));
}

}  // namespace
