#pragma once
// What a key does in vxtool preview's window, apart from the window: a key
// and its modifiers in, a command out. Digits are collected until Enter
// jumps to that second (Backspace takes one back).
#include "platform/os/Messages.h"

#include <string>

struct PreviewKeyCommand {
  enum Kind {
    None,
    TogglePause,
    SeekBy,      // ms: relative show time
    StepFrames,  // frames: grid frames (pauses first)
    GoTo,        // ms: absolute show time
    Reload,
    ToggleOverlay,
    Loop,
    Quit,
  };
  Kind kind = None;
  double ms = 0;
  int frames = 0;
};

class PreviewKeys {
 public:
  PreviewKeyCommand key(WPARAM virtualKey, bool shift, bool ctrl);
  // The digits typed so far (empty when none).
  const std::string& typed() const { return m_typed; }

 private:
  std::string m_typed;
};
