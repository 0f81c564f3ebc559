#include "audio/MP3Player.h"

#include "audio/MusicSystem.h"
#include "platform/os/MessageBox.h"
#include "platform/os/Process.h"

MP3Player::MP3Player(const char* fileName) : m_fileName(fileName ? fileName : "") {
  // 0x20130: FSOUND_NORMAL (16-bit, signed, mono) | FSOUND_MPEGACCURATE.
  m_stream = FSOUND_Stream_Open(m_fileName.c_str(), FSOUND_NORMAL | FSOUND_MPEGACCURATE, 0, 0);
  if (!m_stream) {
    MessageBoxA(nullptr, GetMusicErrorText(FSOUND_GetError()), "MP3Player Error", MB_OK);
    FSOUND_Close();
    ExitProcess(0);
  }
}

void MP3Player::Play(std::int32_t startMs) {
  if (m_playing) return;
  // Results are not examined: a failed start still counts as playing, so a
  // later Stop is harmless and a Play waits for it.
  FSOUND_Stream_SetTime(m_stream, startMs);
  m_channel = FSOUND_Stream_PlayEx(FSOUND_FREE, m_stream, nullptr, TRUE);
  FSOUND_SetPaused(m_channel, FALSE);
  m_playing = true;
}

void MP3Player::Stop() {
  if (!m_playing) return;
  FSOUND_StopSound(m_channel);
  m_playing = false;
}

void MP3Player::SetVolume(std::int32_t volume) {
  if (m_playing) FSOUND_SetVolume(m_channel, volume);
}

void MP3Player::Close() {
  FSOUND_Stream_Close(m_stream);
  m_stream = nullptr;
  m_fileName.clear();
  m_fileName.shrink_to_fit();
}
