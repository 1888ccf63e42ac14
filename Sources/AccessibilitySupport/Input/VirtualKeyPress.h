#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tavik {

class KeyboardLayoutSnapshotProvider;

/// The modifier bits of a key press.
namespace KeyModifier {
inline constexpr std::uint32_t command = 0x0100;
inline constexpr std::uint32_t shift = 0x0200;
inline constexpr std::uint32_t option = 0x0800;
inline constexpr std::uint32_t control = 0x1000;
}  // namespace KeyModifier

/// The unit of typing: a key, the modifiers held with it and the text it inserts.
struct VirtualKeyPress {
  /// The place of the key: an ANSI virtual key code, the same on every layout.
  std::uint16_t keyCode = 0;
  /// `KeyModifier` bits.
  std::uint32_t modifiers = 0;
  /// Absent for a key that acts and inserts nothing.
  std::optional<std::string> string = {};
  /// Whether a shortcut holds option because the layout gives its character so, and not
  /// as a modifier of its own.
  bool optionIsOfCharacter = false;

  bool operator==(const VirtualKeyPress&) const = default;

  /// The presses that type the text on the user's present layout. A character that
  /// no key has is left out. Absent when no layout is known.
  static std::optional<std::vector<VirtualKeyPress>> keyPresses(const std::string& text,
                                                                KeyboardLayoutSnapshotProvider& layouts);
};

/// The press for a text of exactly one character, with more modifiers held. As a
/// shortcut it inserts nothing. Absent for any other text, and for a character that
/// no key has.
std::optional<VirtualKeyPress> singleCharacterKeyPress(const std::string& character, std::uint32_t modifiers,
                                                       KeyboardLayoutSnapshotProvider& layouts);

}  // namespace tavik
