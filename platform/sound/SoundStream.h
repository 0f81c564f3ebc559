#pragma once
// One open stream: its decoder and the decoded music buffered ahead of the
// mixer. The mixer (on the audio thread, or the caller's thread offline)
// takes frames with read(); the streamer thread tops the buffer up with
// fill() so that the mixer seldom decodes itself; the main thread moves the
// position. The stream's own lock serialises the three.
#include "platform/sound/FSound.h"
#include "platform/sound/Mp3Decoder.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

struct FSOUND_STREAM {
  // bufferFrames: how many decoded frames fill() keeps ahead (>= 1).
  FSOUND_STREAM(std::unique_ptr<Mp3Decoder> decoder, unsigned int mode, int bufferFrames);

  // Up to `frames` stereo frames into out, from the buffer first, then
  // straight from the decoder. A looping stream wraps to its start; any
  // other returns fewer frames at its end.
  int read(float* out, int frames);
  // Moves on by up to `frames` frames as read() would, without handing them
  // out: the same count comes back and the stream ends up where read() would
  // leave it. A stream of known length seeks instead of decoding.
  int skip(int frames);
  // Decodes into the buffer until it is full or the stream ends.
  void fill();
  // Moves to a frame (clamped to the stream) and empties the buffer.
  void setPosition(std::int64_t frame);
  // The frame the mixer takes next.
  std::int64_t position();
  std::int64_t length();  // frames; -1 when unknown
  bool atEnd();           // not looping, and nothing more to read

  const unsigned int mode;
  // Index of the channel it plays on, -1 when none; guarded by the mixer lock.
  int channel = -1;

 private:
  std::mutex m_lock;
  std::unique_ptr<Mp3Decoder> m_decoder;
  std::vector<float> m_ring;  // bufferFrames stereo frames
  std::size_t m_head = 0;     // first buffered frame (index into the ring)
  std::size_t m_count = 0;    // buffered frames
  std::int64_t m_position = 0;
};
