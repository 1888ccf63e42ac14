#pragma once

#include <map>
#include <optional>

#include "AccessibilitySupport/Input/VirtualKeyPress.h"
#include "PlatformInterfaces/KeyboardLayoutPort.h"

namespace tavik {

/// A layout read backwards: the press for each character. The first modifier state
/// that has a character wins, in it the lowest key code.
class ReverseLayout {
 public:
  explicit ReverseLayout(const KeyboardLayout& layout);

  /// Absent when no key gives the UTF-16 unit.
  std::optional<VirtualKeyPress> press(char16_t unit) const;

 private:
  std::map<char16_t, VirtualKeyPress> presses_;
};

}  // namespace tavik
