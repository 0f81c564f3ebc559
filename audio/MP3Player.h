#pragma once
// One music stream, opened by name through the resource files (a loose file
// first, else the archive) and played on one channel at a time.
//
// States: opened (stream open, not playing) -> playing (Play) -> opened
// (Stop) -> closed (Close; the owner deletes the object right after). Play
// while playing, and Stop or SetVolume while not playing, do nothing.
#include "platform/sound/FSound.h"

#include <cstdint>
#include <string>

class MP3Player {
 public:
  // Opens the stream (16-bit signed mono raw-data flags with accurate MPEG
  // seeking; the MP3 itself plays in its own layout). A stream that cannot
  // be opened shows "MP3Player Error" with the library's error text and ends
  // the process with exit code 0. InitMusicSystem must have run.
  explicit MP3Player(const char* fileName);

  // Starts from startMs (ms into the music) unless already playing.
  void Play(std::int32_t startMs);
  void Stop();
  // 0 (silent) ... 255 (full); only while playing, and not remembered for a
  // later Play (each start plays at full volume).
  void SetVolume(std::int32_t volume);
  // Closes the stream and releases the name.
  void Close();

  const std::string& fileName() const { return m_fileName; }
  bool playing() const { return m_playing; }
  FSOUND_STREAM* stream() const { return m_stream; }
  std::int32_t channel() const { return m_channel; }  // meaningful only while playing

 private:
  std::string m_fileName;
  bool m_playing = false;
  FSOUND_STREAM* m_stream = nullptr;
  std::int32_t m_channel = 0;
};
