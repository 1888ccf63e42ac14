#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "AccessibilitySupport/Input/VirtualKeyPress.h"

namespace tavik::XKeysymKeyCode {

/// The ANSI virtual key code of a key's X keysym name or of one of its everyday
/// names ("Return", "Page_Up", "arrowleft", "esc"); the name is also tried in lower
/// case and without "_" and "-".
std::optional<std::uint16_t> keyCode(const std::string& name);

/// The press of a named key with modifiers held; names of shifted characters
/// ("braceleft", "plus") hold shift by themselves. The press inserts no text.
std::optional<VirtualKeyPress> keyPress(const std::string& name, std::uint32_t modifiers);

}  // namespace tavik::XKeysymKeyCode
