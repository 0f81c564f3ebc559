#pragma once
// MP3 encoding with libmp3lame: constant bit rate, joint stereo, with the
// encoder's Info tag in the first frame so that decoders drop the encoder
// delay and padding (the decoded length then equals the input's).
#include <string>

#include "tools/showgen/ImageFiles.h"  // Bytes
#include "tools/showgen/Tune.h"

// kbps: one of the MPEG-1 layer 3 rates (32 ... 320). False with *error on
// failure.
bool encodeMp3(const StereoTrack& track, int kbps, Bytes* out, std::string* error);
