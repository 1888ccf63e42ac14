#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Base/Encoding/Bytes.h"

namespace tavik {

/// One keyboard layout, read-only and safe on any thread.
class KeyboardLayout {
 public:
  virtual ~KeyboardLayout() = default;
  /// The UTF-16 units that a key gives with the modifiers held and no dead key
  /// pending. `keyCode` is an ANSI virtual key code from 0 to 127, `modifierState`
  /// the `KeyModifier` bits shifted right by 8. Absent when the layout has nothing
  /// there; a dead key gives nothing of its own.
  virtual std::optional<std::u16string> translate(std::uint16_t keyCode, std::uint32_t modifierState) const = 0;
  /// The key by which the platform's shortcuts mean a Latin character that the layout
  /// itself does not have; absent where they cannot.
  virtual std::optional<std::uint16_t> keyForMissingShortcutCharacter(char16_t) const { return std::nullopt; }
  /// The character that a name of a key stands for, UTF-8, where the platform's names
  /// mean characters; absent for other names, and where names mean places.
  virtual std::optional<std::string> characterOfKeyName(const std::string&) const { return std::nullopt; }
};

/// The layout in use at one moment.
struct KeyboardLayoutSnapshot {
  std::shared_ptr<const KeyboardLayout> layout;
  /// The platform's number of the keyboard's kind.
  std::uint32_t keyboardType = 0;
};

/// The user's keyboard layout. Operations do not throw.
class KeyboardLayoutPort {
 public:
  virtual ~KeyboardLayoutPort() = default;

  /// The layout that the user types with now, as a copy of its own. Absent when the
  /// platform knows none. Main thread only.
  virtual std::optional<KeyboardLayoutSnapshot> copyCurrentLayout() = 0;
  /// Called on any thread whenever the user switches to another layout; an empty
  /// handler ends it. No call of an earlier handler begins once this has returned.
  virtual void setLayoutChangedHandler(std::function<void()> handler) = 0;
  /// Whether applications take Control where the platform of the virtual key codes
  /// takes Command.
  virtual bool shortcutsUseControl() const = 0;
  /// Whether text that no key gives is to be put in through the accessibility
  /// interface; elsewhere it is left out.
  virtual bool acceptsTextWithoutKeys() const { return false; }
};

}  // namespace tavik
