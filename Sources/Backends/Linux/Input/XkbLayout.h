#pragma once

#include <xkbcommon/xkbcommon.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "PlatformInterfaces/KeyboardLayoutPort.h"

namespace tavik {

/// One group of an X keymap as a keyboard layout. Option is the modifier of the third
/// level ("AltGr"); a key gives no text while control is held, and a dead key none of
/// its own; of control characters there is only the line end. Any thread.
class XkbLayout : public KeyboardLayout {
 public:
  /// Shares the keymap, which is not changed.
  XkbLayout(xkb_keymap* keymap, xkb_layout_index_t group);

  /// The layout of a name ("de", "us(intl)"); null when the system has none.
  static std::shared_ptr<const XkbLayout> named(const std::string& layout, const std::string& variant = {});

  std::optional<std::u16string> translate(std::uint16_t keyCode, std::uint32_t modifierState) const override;
  /// Letters and digits by their places on a US keyboard, as toolkits look for them.
  std::optional<std::uint16_t> keyForMissingShortcutCharacter(char16_t character) const override;
  /// Of keysym names and single characters, those that print; not of the keypad's keys.
  std::optional<std::string> characterOfKeyName(const std::string& name) const override;

  xkb_layout_index_t group() const { return group_; }
  /// The X modifier bits that give the third level.
  std::uint32_t thirdLevelMask() const { return thirdLevelMask_; }

 private:
  struct Unref {
    void operator()(xkb_keymap* keymap) const { xkb_keymap_unref(keymap); }
    void operator()(xkb_state* state) const { xkb_state_unref(state); }
  };

  std::uint32_t findThirdLevelMask() const;

  const std::unique_ptr<xkb_keymap, Unref> keymap_;
  const xkb_layout_index_t group_;
  const std::uint32_t thirdLevelMask_;
};

}  // namespace tavik
