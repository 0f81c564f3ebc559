#pragma once
// MPEG audio (layers 1 to 3) decoded with libmpg123 from a StreamSource into
// float stereo at the mixing rate. A mono stream gives the same sample on
// both sides; a stream at another rate is resampled with SDL_AudioStream.
// Positions and lengths are in sample frames at the mixing rate.
//
// Encoder delay and padding are dropped (gapless decoding) where the file
// records them, so frame 0 is the first sample of the music.
#include "platform/sound/StreamSource.h"

#include <cstdint>
#include <memory>
#include <vector>

struct mpg123_handle_struct;
struct _SDL_AudioStream;

class Mp3Decoder {
 public:
  // accurate: index the whole stream now so that seeks are sample-exact and
  // the length is exact; otherwise seeks may land a little off and the
  // length is estimated. Null with *error (FSOUND_ERR_*) on failure.
  static std::unique_ptr<Mp3Decoder> open(std::unique_ptr<StreamSource> source, bool accurate, int mixRate,
                                          int* error);
  ~Mp3Decoder();
  Mp3Decoder(const Mp3Decoder&) = delete;
  Mp3Decoder& operator=(const Mp3Decoder&) = delete;

  // Decodes up to `frames` frames into out (2 floats each). Returns the count
  // written, fewer only at the end of the stream or on a decoding error
  // (failed() then tells).
  int read(float* out, int frames);
  // Moves to a frame, clamped into 0 ... length. False when the decoder
  // refuses (the position is then unknown and reads give nothing).
  bool seek(std::int64_t frame);

  std::int64_t position() const { return m_position; }
  std::int64_t length() const { return m_length; }  // -1 when unknown
  int sourceRate() const { return m_rate; }
  int sourceChannels() const { return m_channels; }
  bool failed() const { return m_failed; }
  // Everything has been read (or decoding failed).
  bool ended() const;

 private:
  Mp3Decoder() = default;
  // Decodes the next block into m_block (stereo at the source rate); false
  // at the end or on error.
  bool decodeBlock();

  std::unique_ptr<StreamSource> m_source;
  mpg123_handle_struct* m_handle = nullptr;
  _SDL_AudioStream* m_resampler = nullptr;  // null when the rates match
  int m_mixRate = 0;
  int m_rate = 0;       // Hz of the stream
  int m_channels = 0;   // 1 or 2
  std::int64_t m_position = 0;  // next frame read() gives
  std::int64_t m_length = -1;
  std::vector<float> m_decoded;  // mpg123's output at the source rate
  std::vector<float> m_stereo;   // the same made stereo, before resampling
  std::vector<float> m_block;   // decoded stereo frames not yet handed out
  std::size_t m_blockUsed = 0;  // floats of m_block already handed out
  bool m_sourceEnded = false;   // the decoder has nothing more
  bool m_failed = false;
};
