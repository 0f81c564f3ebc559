#pragma once
// Files the offline renderer writes: PNG frames from the device's ARGB
// read-back and 16-bit stereo WAV files.
#include <cstdint>
#include <string>
#include <vector>

// rows top first, ARGB words (alpha ignored: frames are opaque RGB).
bool writePngRgb(const std::string& path, const std::vector<std::uint32_t>& argb, unsigned width, unsigned height,
                 std::string* error);
// interleaved stereo samples.
bool writeWav16(const std::string& path, const std::vector<std::int16_t>& stereo, unsigned sampleRate,
                std::string* error);
