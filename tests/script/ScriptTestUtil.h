#pragma once
// Helpers for the script tests: a Scripter on a recording device, a clock the
// test sets, and scripts written to a temporary current directory.
#include "ArchiveTestUtil.h"
#include "platform/gfx/recording/RecordingDevice.h"
#include "script/Scripter.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

// Sets the performance counter so that the demo clock reads `ms` (the clock
// is started at counter 0).
void setClockMs(double ms);

class ScriptTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  // Writes a script file into the test's current directory.
  void writeScript(const std::string& name, const std::string& text) { dir.write(name, bytesOf(text)); }
  Scripter& load(const std::string& name = "demo.vxc", float baseTime = 0);

  TempDir dir;
  CurrentDirectory inDir{dir.path()};
  RecordingDevice* device = nullptr;
  std::unique_ptr<Scripter> scripter;
};
