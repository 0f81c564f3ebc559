#include "tools/PreviewKeys.h"

namespace {
// Enough for any second a show's 32-bit ms clock reaches.
constexpr std::size_t kMostDigits = 7;
}  // namespace

PreviewKeyCommand PreviewKeys::key(WPARAM vk, bool shift, bool ctrl) {
  PreviewKeyCommand command;
  auto digit = [&](char c) {
    if (m_typed.size() < kMostDigits) m_typed += c;
    return command;
  };
  if (vk >= '0' && vk <= '9') return digit(char(vk));
  if (vk >= VK_NUMPAD0 && vk <= VK_NUMPAD0 + 9) return digit(char('0' + (vk - VK_NUMPAD0)));
  if (vk == VK_BACK) {
    if (!m_typed.empty()) m_typed.pop_back();
    return command;
  }
  if (vk == VK_RETURN) {
    if (!m_typed.empty()) {
      command.kind = PreviewKeyCommand::GoTo;
      command.ms = double(std::stol(m_typed)) * 1000.0;
      m_typed.clear();
    }
    return command;
  }
  // Any other key ends a number being typed without using it.
  m_typed.clear();
  switch (vk) {
    case VK_SPACE: command.kind = PreviewKeyCommand::TogglePause; break;
    case VK_LEFT:
    case VK_RIGHT: {
      const int sign = vk == VK_LEFT ? -1 : 1;
      if (ctrl) {
        command.kind = PreviewKeyCommand::StepFrames;
        command.frames = sign;
      } else {
        command.kind = PreviewKeyCommand::SeekBy;
        command.ms = sign * (shift ? 10000.0 : 1000.0);
      }
      break;
    }
    case VK_HOME: command.kind = PreviewKeyCommand::GoTo; command.ms = 0; break;
    case 'R': command.kind = PreviewKeyCommand::Reload; break;
    case 'F': command.kind = PreviewKeyCommand::ToggleOverlay; break;
    case 'L': command.kind = PreviewKeyCommand::Loop; break;
    case VK_ESCAPE: command.kind = PreviewKeyCommand::Quit; break;
    default: break;
  }
  return command;
}
