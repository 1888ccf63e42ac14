#include "AccessibilitySupport/Input/VirtualKeyPress.h"

#include <array>

#include "AccessibilitySupport/Input/KeyboardLayoutSnapshotProvider.h"
#include "AccessibilitySupport/Input/ReverseLayout.h"
#include "Base/Text/Text.h"

namespace tavik {

namespace {

constexpr std::uint16_t tabKeyCode = 48;

struct FallbackKey {
  char16_t character;
  std::uint16_t keyCode;
  std::uint32_t modifiers;
};

/// Where a US layout has the characters that people type most; for layouts that
/// have no key for them.
constexpr std::array<FallbackKey, 34> fallbackASCIIKeys = {{
    {u' ', 49, 0},
    {u'\r', 36, 0},
    {u'!', 18, KeyModifier::shift},
    {u'@', 19, KeyModifier::shift},
    {u'#', 20, KeyModifier::shift},
    {u'$', 21, KeyModifier::shift},
    {u'%', 23, KeyModifier::shift},
    {u'^', 22, KeyModifier::shift},
    {u'&', 26, KeyModifier::shift},
    {u'*', 28, KeyModifier::shift},
    {u'(', 25, KeyModifier::shift},
    {u')', 29, KeyModifier::shift},
    {u'_', 27, KeyModifier::shift},
    {u'+', 24, KeyModifier::shift},
    {u'{', 33, KeyModifier::shift},
    {u'}', 30, KeyModifier::shift},
    {u'|', 42, KeyModifier::shift},
    {u':', 41, KeyModifier::shift},
    {u'"', 39, KeyModifier::shift},
    {u'<', 43, KeyModifier::shift},
    {u'>', 47, KeyModifier::shift},
    {u'?', 44, KeyModifier::shift},
    {u'~', 50, KeyModifier::shift},
    {u'-', 27, 0},
    {u'=', 24, 0},
    {u'[', 33, 0},
    {u']', 30, 0},
    {u'\\', 42, 0},
    {u';', 41, 0},
    {u'\'', 39, 0},
    {u',', 43, 0},
    {u'.', 47, 0},
    {u'/', 44, 0},
    {u'`', 50, 0},
}};

std::optional<VirtualKeyPress> fallbackASCIIKeyPress(char16_t unit) {
  for (const auto& key : fallbackASCIIKeys) {
    if (key.character == unit) return VirtualKeyPress{key.keyCode, key.modifiers, text::utf8({&unit, 1})};
  }
  return std::nullopt;
}

/// The key by which shortcuts mean a character that the layout has nowhere; a capital
/// letter is its small one's, with shift.
std::optional<VirtualKeyPress> pressForShortcut(const std::string& character, std::uint32_t modifiers,
                                                KeyboardLayoutSnapshotProvider& layouts) {
  const auto snapshot = layouts.currentSnapshot();
  const std::u16string units = text::utf16(character);
  if (!snapshot || units.size() != 1 || ReverseLayout(*snapshot->layout).press(units[0])) return std::nullopt;
  const std::u16string small = text::utf16(text::lowercased(character));
  const auto key = snapshot->layout->keyForMissingShortcutCharacter(small[0]);
  if (!key) return std::nullopt;
  return VirtualKeyPress{*key, small == units ? modifiers : modifiers | KeyModifier::shift};
}

}  // namespace

std::optional<std::vector<VirtualKeyPress>> VirtualKeyPress::keyPresses(
    const std::string& text, KeyboardLayoutSnapshotProvider& layouts) {
  const auto snapshot = layouts.currentSnapshot();
  if (!snapshot) return std::nullopt;
  const ReverseLayout layout(*snapshot->layout);
  std::vector<VirtualKeyPress> presses;
  for (char16_t unit : text::utf16(text)) {
    if (unit == u'\t') {
      presses.push_back({tabKeyCode, 0, "\t"});
      continue;
    }
    if (unit == u'\n') unit = u'\r';
    auto press = layout.press(unit);
    if (!press) press = fallbackASCIIKeyPress(unit);
    if (press) presses.push_back(*std::move(press));
  }
  return presses;
}

std::optional<VirtualKeyPress> singleCharacterKeyPress(const std::string& character, std::uint32_t modifiers,
                                                       KeyboardLayoutSnapshotProvider& layouts) {
  if (text::characterCount(character) != 1) return std::nullopt;
  constexpr std::uint32_t shortcutModifiers = KeyModifier::command | KeyModifier::option | KeyModifier::control;
  if (modifiers & shortcutModifiers) {
    if (auto press = pressForShortcut(character, modifiers, layouts)) return press;
  }
  auto presses = VirtualKeyPress::keyPresses(character, layouts);
  if (!presses || presses->empty()) return std::nullopt;
  VirtualKeyPress press = presses->front();
  const bool optionIsOfCharacter = (press.modifiers & KeyModifier::option) != 0;
  press.modifiers |= modifiers;
  if (press.modifiers & shortcutModifiers) {
    press.string.reset();
    press.optionIsOfCharacter = optionIsOfCharacter;
  }
  return press;
}

}  // namespace tavik
