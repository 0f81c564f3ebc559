#include "platform/sound/SoundStream.h"

#include <algorithm>

namespace {
// Frames decoded per lock hold in fill(), so that the mixer never waits long.
constexpr std::size_t kFillPiece = 4096;
}  // namespace

FSOUND_STREAM::FSOUND_STREAM(std::unique_ptr<Mp3Decoder> decoder, unsigned int mode, int bufferFrames)
    : mode(mode), m_decoder(std::move(decoder)), m_ring(static_cast<std::size_t>(std::max(bufferFrames, 1)) * 2) {
  m_position = m_decoder->position();
}

int FSOUND_STREAM::read(float* out, int frames) {
  std::lock_guard<std::mutex> hold(m_lock);
  const std::size_t capacity = m_ring.size() / 2;
  int delivered = 0;
  bool wrapped = false;
  while (delivered < frames) {
    if (m_count > 0) {
      const std::size_t take =
          std::min({m_count, static_cast<std::size_t>(frames - delivered), capacity - m_head});
      std::copy_n(m_ring.begin() + static_cast<std::ptrdiff_t>(m_head * 2), take * 2, out + delivered * 2);
      m_head = (m_head + take) % capacity;
      m_count -= take;
      delivered += static_cast<int>(take);
      m_position += static_cast<std::int64_t>(take);
      continue;
    }
    const int got = m_decoder->read(out + delivered * 2, frames - delivered);
    delivered += got;
    m_position += got;
    if (got > 0) {
      wrapped = false;
      continue;
    }
    // The end. A looping stream starts over, unless starting over yields
    // nothing at all (an empty or undecodable stream would spin here).
    if (!(mode & FSOUND_LOOP_NORMAL) || wrapped || m_decoder->failed() || !m_decoder->seek(0)) break;
    wrapped = true;
    m_position = 0;
  }
  return delivered;
}

int FSOUND_STREAM::skip(int frames) {
  if (frames <= 0) return 0;
  std::int64_t length, position;
  bool failed;
  {
    std::lock_guard<std::mutex> hold(m_lock);
    length = m_decoder->length();
    position = m_position;
    failed = m_decoder->failed();
  }
  if (length < 0 || failed) {
    // Unknown length: read and drop, in pieces.
    std::vector<float> scratch(static_cast<std::size_t>(std::min(frames, 4096)) * 2);
    int done = 0;
    while (done < frames) {
      const int want = std::min(frames - done, 4096);
      const int got = read(scratch.data(), want);
      done += got;
      if (got < want) break;
    }
    return done;
  }
  if (mode & FSOUND_LOOP_NORMAL) {
    // read() wraps to the start; a stream of no frames yields nothing.
    if (length == 0) return 0;
    setPosition((position + frames) % length);
    return frames;
  }
  const std::int64_t left = std::max<std::int64_t>(length - position, 0);
  const int taken = static_cast<int>(std::min<std::int64_t>(frames, left));
  setPosition(position + taken);
  return taken;
}

void FSOUND_STREAM::fill() {
  for (;;) {
    std::lock_guard<std::mutex> hold(m_lock);
    const std::size_t capacity = m_ring.size() / 2;
    if (m_count >= capacity) return;
    const std::size_t tail = (m_head + m_count) % capacity;
    const std::size_t piece = std::min({kFillPiece, capacity - m_count, capacity - tail});
    const int got = m_decoder->read(m_ring.data() + tail * 2, static_cast<int>(piece));
    m_count += static_cast<std::size_t>(got);
    if (static_cast<std::size_t>(got) < piece) return;  // the end: read() wraps a looping stream
  }
}

void FSOUND_STREAM::setPosition(std::int64_t frame) {
  std::lock_guard<std::mutex> hold(m_lock);
  m_decoder->seek(frame);
  m_head = 0;
  m_count = 0;
  m_position = m_decoder->position();
}

std::int64_t FSOUND_STREAM::position() {
  std::lock_guard<std::mutex> hold(m_lock);
  return m_position;
}

std::int64_t FSOUND_STREAM::length() {
  std::lock_guard<std::mutex> hold(m_lock);
  return m_decoder->length();
}

bool FSOUND_STREAM::atEnd() {
  std::lock_guard<std::mutex> hold(m_lock);
  if (mode & FSOUND_LOOP_NORMAL) return false;
  if (m_count > 0) return false;
  const std::int64_t length = m_decoder->length();
  return m_decoder->ended() || (length >= 0 && m_decoder->position() >= length);
}
