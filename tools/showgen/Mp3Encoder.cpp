#include "tools/showgen/Mp3Encoder.h"

#include <lame/lame.h>

#include <algorithm>
#include <memory>

namespace {

struct LameDeleter {
  void operator()(lame_global_flags* flags) const { lame_close(flags); }
};

// Frames handed to the encoder per call; the output buffer bound is LAME's
// documented worst case, 1.25 x samples + 7200 bytes.
constexpr int kChunkFrames = 8192;

}  // namespace

bool encodeMp3(const StereoTrack& track, int kbps, Bytes* out, std::string* error) {
  out->clear();
  if (track.rate <= 0 || track.samples.size() % 2 != 0) {
    *error = "the track is not interleaved stereo at a positive rate";
    return false;
  }
  std::unique_ptr<lame_global_flags, LameDeleter> lame(lame_init());
  if (!lame) {
    *error = "lame: cannot create an encoder";
    return false;
  }
  lame_set_in_samplerate(lame.get(), track.rate);
  lame_set_out_samplerate(lame.get(), track.rate);
  lame_set_num_channels(lame.get(), 2);
  lame_set_mode(lame.get(), JOINT_STEREO);
  lame_set_brate(lame.get(), kbps);
  lame_set_VBR(lame.get(), vbr_off);
  lame_set_quality(lame.get(), 2);  // 0 best ... 9 fastest; 2 is "high quality"
  lame_set_bWriteVbrTag(lame.get(), 1);
  lame_set_write_id3tag_automatic(lame.get(), 0);
  if (lame_init_params(lame.get()) < 0) {
    *error = "lame: the encoder refuses " + std::to_string(kbps) + " kbps at " + std::to_string(track.rate) + " Hz";
    return false;
  }

  Bytes buffer(std::size_t(kChunkFrames * 5 / 4 + 7200));
  const std::size_t frames = track.frames();
  for (std::size_t first = 0; first < frames; first += kChunkFrames) {
    const int count = int(std::min<std::size_t>(kChunkFrames, frames - first));
    const int written = lame_encode_buffer_interleaved_ieee_float(lame.get(), track.samples.data() + 2 * first, count,
                                                                  buffer.data(), int(buffer.size()));
    if (written < 0) {
      *error = "lame: encoding failed (" + std::to_string(written) + ")";
      return false;
    }
    out->insert(out->end(), buffer.begin(), buffer.begin() + written);
  }
  const int flushed = lame_encode_flush(lame.get(), buffer.data(), int(buffer.size()));
  if (flushed < 0) {
    *error = "lame: flushing failed (" + std::to_string(flushed) + ")";
    return false;
  }
  out->insert(out->end(), buffer.begin(), buffer.begin() + flushed);

  // The stream starts with a placeholder frame; the finished Info tag
  // (frame count, encoder delay and padding) replaces it.
  const std::size_t tagSize = lame_get_lametag_frame(lame.get(), buffer.data(), buffer.size());
  if (tagSize == 0 || tagSize > out->size()) {
    *error = "lame: no Info tag";
    return false;
  }
  std::copy(buffer.begin(), buffer.begin() + std::ptrdiff_t(tagSize), out->begin());
  return true;
}
