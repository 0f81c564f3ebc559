#include "tests/platform/sound/Mp3TestUtil.h"

#include <lame/lame.h>
#include <mpg123.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numbers>
#include <sys/types.h>

Bytes encodeTestMp3(const TestSignal& signal) {
  std::vector<float> left(static_cast<std::size_t>(signal.frames)), right(left.size());
  const double seconds = static_cast<double>(signal.frames) / signal.rate;
  for (int i = 0; i < signal.frames; ++i) {
    const double t = static_cast<double>(i) / signal.rate;
    // Instantaneous frequency 220 ... 1760 Hz, linear in time.
    const double phase = 2.0 * std::numbers::pi * (220.0 * t + (1760.0 - 220.0) * t * t / (2.0 * seconds));
    left[static_cast<std::size_t>(i)] = static_cast<float>(0.5 * std::sin(phase));
    right[static_cast<std::size_t>(i)] =
        static_cast<float>(0.5 * (t / seconds) * std::sin(2.0 * std::numbers::pi * 330.0 * t));
  }

  lame_global_flags* lame = lame_init();
  lame_set_num_channels(lame, signal.channels);
  lame_set_in_samplerate(lame, signal.rate);
  lame_set_out_samplerate(lame, signal.rate);
  lame_set_mode(lame, signal.channels == 1 ? MONO : STEREO);
  lame_set_brate(lame, 128);
  lame_set_quality(lame, 7);
  lame_set_bWriteVbrTag(lame, 1);  // the header frame records encoder delay and padding
  if (lame_init_params(lame) < 0) {
    lame_close(lame);
    return {};
  }
  Bytes out(static_cast<std::size_t>(signal.frames) + signal.frames / 4 + 7200 + 16384);
  int used = lame_encode_buffer_ieee_float(lame, left.data(), right.data(), signal.frames, out.data(),
                                           static_cast<int>(out.size()));
  if (used >= 0) {
    const int flushed = lame_encode_flush(lame, out.data() + used, static_cast<int>(out.size()) - used);
    used = flushed < 0 ? -1 : used + flushed;
  }
  if (used < 0) {
    lame_close(lame);
    return {};
  }
  out.resize(static_cast<std::size_t>(used));
  unsigned char tag[4096];
  const std::size_t tagSize = lame_get_lametag_frame(lame, tag, sizeof tag);
  if (tagSize > 0 && tagSize <= out.size()) std::copy_n(tag, tagSize, out.begin());
  lame_close(lame);
  return out;
}

namespace {
struct MemoryReader {
  const Bytes* bytes;
  std::size_t position;
};
ssize_t memoryRead(void* handle, void* buffer, size_t size) {
  auto* reader = static_cast<MemoryReader*>(handle);
  const std::size_t count = std::min(size, reader->bytes->size() - reader->position);
  std::copy_n(reader->bytes->data() + reader->position, count, static_cast<unsigned char*>(buffer));
  reader->position += count;
  return static_cast<ssize_t>(count);
}
off_t memorySeek(void* handle, off_t offset, int whence) {
  auto* reader = static_cast<MemoryReader*>(handle);
  const off_t base = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? static_cast<off_t>(reader->position)
                                                                  : static_cast<off_t>(reader->bytes->size());
  const off_t target = base + offset;
  if (target < 0 || target > static_cast<off_t>(reader->bytes->size())) return -1;
  reader->position = static_cast<std::size_t>(target);
  return target;
}
}  // namespace

Decoded decodeMp3(const Bytes& mp3) {
  Decoded result;
  mpg123_handle* handle = mpg123_new(nullptr, nullptr);
  if (!handle) return result;
  mpg123_param(handle, MPG123_ADD_FLAGS, MPG123_QUIET | MPG123_GAPLESS, 0.0);
  mpg123_format_none(handle);
  const long* rates = nullptr;
  size_t count = 0;
  mpg123_rates(&rates, &count);
  for (size_t i = 0; i < count; ++i) mpg123_format(handle, rates[i], MPG123_MONO | MPG123_STEREO, MPG123_ENC_FLOAT_32);
  MemoryReader reader{&mp3, 0};
  long rate = 0;
  int encoding = 0;
  if (mpg123_replace_reader_handle(handle, memoryRead, memorySeek, nullptr) != MPG123_OK ||
      mpg123_open_handle(handle, &reader) != MPG123_OK ||
      mpg123_getformat(handle, &rate, &result.channels, &encoding) != MPG123_OK) {
    mpg123_delete(handle);
    return result;
  }
  result.rate = static_cast<int>(rate);
  std::vector<float> buffer(8192);
  for (;;) {
    size_t done = 0;
    const int status = mpg123_read(handle, buffer.data(), buffer.size() * sizeof(float), &done);
    const std::size_t samples = done / sizeof(float);
    for (std::size_t i = 0; i < samples; ++i) {
      result.stereo.push_back(buffer[i]);
      if (result.channels == 1) result.stereo.push_back(buffer[i]);
    }
    if (status != MPG123_OK && status != MPG123_NEW_FORMAT) break;
  }
  mpg123_close(handle);
  mpg123_delete(handle);
  return result;
}

float maxDifference(const float* a, const float* b, std::size_t count) {
  float worst = 0.0f;
  for (std::size_t i = 0; i < count; ++i) worst = std::max(worst, std::fabs(a[i] - b[i]));
  return worst;
}
