#pragma once
// Pixel checks of the OpenGL device's read-back against images worked out by
// hand. A failing comparison writes NAME-expected.png, NAME-actual.png and
// NAME-diff.png (per-channel |difference| × 8, so a small miss shows) into
// pixel-failures/ under the test's working directory (the suite's build
// folder when ctest runs it), and says where in the failure message.
#include "platform/gfx/Device.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

// Both images width × height ARGB words, top row first. Every channel
// (alpha included unless ignoreAlpha) must be within `tolerance` levels.
::testing::AssertionResult ImagesMatch(const std::string& name, const std::vector<D3DCOLOR>& expected,
                                       const std::vector<D3DCOLOR>& actual, unsigned width, unsigned height,
                                       int tolerance, bool ignoreAlpha = true);

// The folder failing comparisons write into (created on demand).
std::string pixelFailureFolder();
