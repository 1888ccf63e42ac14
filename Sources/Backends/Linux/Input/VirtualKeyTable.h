#pragma once

#include <cstdint>
#include <optional>

namespace tavik {

/// The X keycode of the key that lies where an ANSI virtual key code has it; absent
/// for codes without a key. Keycodes are those of the evdev rules, which every X
/// server of today uses.
std::optional<std::uint8_t> xKeycode(std::uint16_t virtualKeyCode);

}  // namespace tavik
