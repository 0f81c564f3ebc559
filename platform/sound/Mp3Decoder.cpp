#include "platform/sound/Mp3Decoder.h"

#include <SDL.h>
#include <mpg123.h>

#include <algorithm>
#include <cstdio>
#include <sys/types.h>

namespace {

ssize_t readSource(void* handle, void* buffer, size_t size) {
  return static_cast<ssize_t>(static_cast<StreamSource*>(handle)->read(buffer, size));
}

off_t seekSource(void* handle, off_t offset, int whence) {
  return static_cast<off_t>(static_cast<StreamSource*>(handle)->seek(offset, whence));
}

// Source frames decoded per mpg123_read: a few MPEG frames (1152 samples each).
constexpr int kDecodeFrames = 4608;

}  // namespace

std::unique_ptr<Mp3Decoder> Mp3Decoder::open(std::unique_ptr<StreamSource> source, bool accurate, int mixRate,
                                             int* error) {
  std::unique_ptr<Mp3Decoder> decoder(new Mp3Decoder);
  decoder->m_mixRate = mixRate;
  decoder->m_source = std::move(source);

  int status = MPG123_OK;
  mpg123_handle* handle = mpg123_new(nullptr, &status);
  if (!handle) {
    *error = FSOUND_ERR_MEMORY;
    return nullptr;
  }
  decoder->m_handle = handle;
  long flags = MPG123_QUIET | MPG123_GAPLESS;
  if (!accurate) flags |= MPG123_FUZZY;
  mpg123_param(handle, MPG123_ADD_FLAGS, flags, 0.0);
  if (accurate) mpg123_param(handle, MPG123_REMOVE_FLAGS, MPG123_FUZZY, 0.0);

  // Float output at the stream's own rate and channel count.
  mpg123_format_none(handle);
  const long* rates = nullptr;
  size_t rateCount = 0;
  mpg123_rates(&rates, &rateCount);
  for (size_t i = 0; i < rateCount; ++i) mpg123_format(handle, rates[i], MPG123_MONO | MPG123_STEREO, MPG123_ENC_FLOAT_32);

  if (mpg123_replace_reader_handle(handle, readSource, seekSource, nullptr) != MPG123_OK ||
      mpg123_open_handle(handle, decoder->m_source.get()) != MPG123_OK) {
    *error = FSOUND_ERR_FILE_BAD;
    return nullptr;
  }
  long rate = 0;
  int channels = 0, encoding = 0;
  if (mpg123_getformat(handle, &rate, &channels, &encoding) != MPG123_OK || rate <= 0 ||
      (channels != 1 && channels != 2) || encoding != MPG123_ENC_FLOAT_32) {
    *error = FSOUND_ERR_FILE_FORMAT;
    return nullptr;
  }
  decoder->m_rate = static_cast<int>(rate);
  decoder->m_channels = channels;
  if (accurate && mpg123_scan(handle) != MPG123_OK) {
    *error = FSOUND_ERR_FILE_BAD;
    return nullptr;
  }
  const off_t length = mpg123_length(handle);
  if (length >= 0) decoder->m_length = static_cast<std::int64_t>(length) * mixRate / decoder->m_rate;

  if (decoder->m_rate != mixRate) {
    decoder->m_resampler = SDL_NewAudioStream(AUDIO_F32SYS, 2, decoder->m_rate, AUDIO_F32SYS, 2, mixRate);
    if (!decoder->m_resampler) {
      *error = FSOUND_ERR_MEMORY;
      return nullptr;
    }
  }
  return decoder;
}

Mp3Decoder::~Mp3Decoder() {
  if (m_resampler) SDL_FreeAudioStream(m_resampler);
  if (m_handle) {
    mpg123_close(m_handle);
    mpg123_delete(m_handle);
  }
}

bool Mp3Decoder::decodeBlock() {
  m_block.clear();
  m_blockUsed = 0;
  // Kept off the stack: SDL's audio thread, which decodes too, has a small one.
  m_decoded.resize(kDecodeFrames * 2);
  float* decoded = m_decoded.data();
  for (;;) {
    if (m_resampler) {
      const int available = SDL_AudioStreamAvailable(m_resampler);
      if (available > 0) {
        m_block.resize(static_cast<std::size_t>(available) / sizeof(float));
        const int got = SDL_AudioStreamGet(m_resampler, m_block.data(), available);
        m_block.resize(got > 0 ? static_cast<std::size_t>(got) / sizeof(float) & ~std::size_t(1) : 0);
        if (!m_block.empty()) return true;
      }
    }
    if (m_sourceEnded) return false;

    size_t bytes = 0;
    const int status = mpg123_read(m_handle, decoded, kDecodeFrames * m_channels * sizeof(float), &bytes);
    if (status == MPG123_NEW_FORMAT) {
      long rate = 0;
      int channels = 0, encoding = 0;
      mpg123_getformat(m_handle, &rate, &channels, &encoding);
      // A stream whose rate changes midway keeps its first rate: the mixer
      // cannot follow without a gap, and such files are broken in practice.
      if (channels == 1 || channels == 2) m_channels = channels;
    } else if (status != MPG123_OK && status != MPG123_DONE) {
      m_failed = true;
    }
    const std::size_t frames = bytes / (sizeof(float) * m_channels);
    if (frames == 0) {
      if (status == MPG123_NEW_FORMAT) continue;
      m_sourceEnded = true;
      if (m_resampler) {
        SDL_AudioStreamFlush(m_resampler);
        continue;
      }
      return false;
    }

    std::vector<float>& target = m_resampler ? m_stereo : m_block;
    target.resize(frames * 2);
    if (m_channels == 2) {
      std::copy_n(decoded, frames * 2, target.begin());
    } else {
      for (std::size_t i = 0; i < frames; ++i) target[2 * i] = target[2 * i + 1] = decoded[i];
    }
    if (!m_resampler) return true;
    if (SDL_AudioStreamPut(m_resampler, m_stereo.data(), static_cast<int>(m_stereo.size() * sizeof(float))) != 0) {
      m_failed = true;
      m_sourceEnded = true;
      return false;
    }
  }
}

int Mp3Decoder::read(float* out, int frames) {
  int written = 0;
  while (written < frames) {
    if (m_blockUsed >= m_block.size() && !decodeBlock()) break;
    const std::size_t take =
        std::min<std::size_t>(static_cast<std::size_t>(frames - written) * 2, m_block.size() - m_blockUsed);
    std::copy_n(m_block.begin() + static_cast<std::ptrdiff_t>(m_blockUsed), take, out + written * 2);
    m_blockUsed += take;
    written += static_cast<int>(take / 2);
  }
  m_position += written;
  return written;
}

bool Mp3Decoder::ended() const {
  return m_sourceEnded && m_blockUsed >= m_block.size() && (!m_resampler || SDL_AudioStreamAvailable(m_resampler) == 0);
}

bool Mp3Decoder::seek(std::int64_t frame) {
  frame = std::max<std::int64_t>(frame, 0);
  if (m_length >= 0) frame = std::min(frame, m_length);
  const std::int64_t sourceFrame = frame * m_rate / m_mixRate;
  m_block.clear();
  m_blockUsed = 0;
  if (m_resampler) SDL_AudioStreamClear(m_resampler);
  if (mpg123_seek(m_handle, static_cast<off_t>(sourceFrame), SEEK_SET) < 0) {
    m_failed = true;
    m_sourceEnded = true;
    return false;
  }
  m_sourceEnded = false;
  m_failed = false;
  m_position = frame;
  return true;
}
