#include "Backends/Linux/Input/XkbLayout.h"

#include <xkbcommon/xkbcommon-keysyms.h>

#include <array>
#include <map>

#include "Backends/Linux/Input/VirtualKeyTable.h"
#include "Base/Text/Text.h"

namespace tavik {

namespace {

// Virtual key modifiers, shifted right by 8.
constexpr std::uint32_t shiftState = 0x02;
constexpr std::uint32_t optionState = 0x08;
constexpr std::uint32_t controlState = 0x10;

constexpr std::uint32_t shiftMask = 0x01;
/// The customary bit of the third level.
constexpr std::uint32_t mod5Mask = 0x80;

bool isDeadKey(xkb_keysym_t keysym) { return keysym >= XKB_KEY_dead_grave && keysym <= XKB_KEY_dead_greek; }

}  // namespace

XkbLayout::XkbLayout(xkb_keymap* keymap, xkb_layout_index_t group)
    : keymap_(xkb_keymap_ref(keymap)), group_(group), thirdLevelMask_(findThirdLevelMask()) {}

std::shared_ptr<const XkbLayout> XkbLayout::named(const std::string& layout, const std::string& variant) {
  xkb_context* context = xkb_context_new(XKB_CONTEXT_NO_FLAGS);
  if (!context) return nullptr;
  xkb_context_set_log_level(context, XKB_LOG_LEVEL_CRITICAL);
  const xkb_rule_names names{"evdev", "pc105", layout.c_str(), variant.c_str(), ""};
  xkb_keymap* keymap = xkb_keymap_new_from_names(context, &names, XKB_KEYMAP_COMPILE_NO_FLAGS);
  xkb_context_unref(context);
  if (!keymap) return nullptr;
  auto made = std::make_shared<const XkbLayout>(keymap, 0);
  xkb_keymap_unref(keymap);
  return made;
}

std::optional<std::u16string> XkbLayout::translate(std::uint16_t keyCode, std::uint32_t modifierState) const {
  const auto key = xKeycode(keyCode);
  if (!key || (modifierState & controlState) != 0) return std::nullopt;
  const std::unique_ptr<xkb_state, Unref> state(xkb_state_new(keymap_.get()));
  if (!state) return std::nullopt;
  const std::uint32_t modifiers = ((modifierState & shiftState) != 0 ? shiftMask : 0) |
                                  ((modifierState & optionState) != 0 ? thirdLevelMask_ : 0);
  xkb_state_update_mask(state.get(), modifiers, 0, 0, 0, 0, group_);
  if (isDeadKey(xkb_state_key_get_one_sym(state.get(), *key))) return std::nullopt;
  std::array<char, 16> utf8{};
  const int length = xkb_state_key_get_utf8(state.get(), *key, utf8.data(), utf8.size());
  if (length <= 0 || static_cast<std::size_t>(length) >= utf8.size()) return std::nullopt;
  const std::u16string units = text::utf16(std::string_view(utf8.data(), static_cast<std::size_t>(length)));
  const bool isControl = units.size() == 1 && (units[0] < u' ' || units[0] == 0x7F);
  return isControl && units[0] != u'\r' ? std::nullopt : std::optional(units);
}

std::optional<std::uint16_t> XkbLayout::keyForMissingShortcutCharacter(char16_t character) const {
  static const std::shared_ptr<const XkbLayout> us = named("us");
  const bool isLetterOrDigit = (character >= u'a' && character <= u'z') || (character >= u'0' && character <= u'9');
  if (!us || !isLetterOrDigit) return std::nullopt;
  for (std::uint16_t key = 0; key < 128; ++key) {
    if (us->translate(key, 0) == std::u16string(1, character)) return key;
  }
  return std::nullopt;
}

std::optional<std::string> XkbLayout::characterOfKeyName(const std::string& name) const {
  static const std::map<std::string, std::string> everydayNames = {
      {"quote", "'"}, {"backquote", "`"}, {"equals", "="}, {"leftbracket", "["}, {"rightbracket", "]"}};
  if (const auto everyday = everydayNames.find(name); everyday != everydayNames.end()) return everyday->second;
  if (text::characterCount(name) == 1) return name;
  if (name.starts_with("KP_")) return std::nullopt;
  const std::uint32_t character = xkb_keysym_to_utf32(xkb_keysym_from_name(name.c_str(), XKB_KEYSYM_NO_FLAGS));
  if (character <= U' ' || character == 0x7F || character > 0xFFFF) return std::nullopt;
  return text::utf8(std::u16string(1, static_cast<char16_t>(character)));
}

/// What the keymap itself does when its key for the third level is held.
std::uint32_t XkbLayout::findThirdLevelMask() const {
  for (auto key = xkb_keymap_min_keycode(keymap_.get()); key <= xkb_keymap_max_keycode(keymap_.get()); ++key) {
    const std::unique_ptr<xkb_state, Unref> state(xkb_state_new(keymap_.get()));
    if (!state) break;
    if (xkb_state_key_get_one_sym(state.get(), key) != XKB_KEY_ISO_Level3_Shift) continue;
    xkb_state_update_key(state.get(), key, XKB_KEY_DOWN);
    const std::uint32_t mask = xkb_state_serialize_mods(state.get(), XKB_STATE_MODS_EFFECTIVE) & 0xFF;
    if (mask != 0) return mask;
  }
  return mod5Mask;
}

}  // namespace tavik
