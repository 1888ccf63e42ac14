#include "AccessibilitySupport/Input/VirtualKeyPress.h"

#include <array>
#include <map>
#include <memory>

#include "AccessibilitySupport/Input/KeyboardLayoutSnapshotProvider.h"
#include "Base/Text/Text.h"

namespace tavik {

namespace {

constexpr std::uint16_t tabKeyCode = 48;
constexpr std::uint16_t keyCodeCount = 128;
constexpr int modifierStateShift = 8;

/// In the order in which a character is looked for.
constexpr std::array<std::uint32_t, 8> reverseLookUpModifiers = {
    0,
    KeyModifier::shift,
    KeyModifier::option,
    KeyModifier::option | KeyModifier::shift,
    KeyModifier::control,
    KeyModifier::control | KeyModifier::shift,
    KeyModifier::control | KeyModifier::option,
    KeyModifier::control | KeyModifier::option | KeyModifier::shift,
};

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

/// A layout read backwards: the press for each character. The first modifier state
/// that has a character wins, in it the lowest key code.
class ReverseLayout {
 public:
  explicit ReverseLayout(const KeyboardLayout& layout) {
    for (const std::uint32_t modifiers : reverseLookUpModifiers) {
      for (std::uint16_t keyCode = 0; keyCode < keyCodeCount; ++keyCode) {
        const auto units = layout.translate(keyCode, modifiers >> modifierStateShift);
        if (units && units->size() == 1) presses_.try_emplace(units->front(), keyCode, modifiers, text::utf8(*units));
      }
    }
  }

  std::optional<VirtualKeyPress> press(char16_t unit) const {
    const auto found = presses_.find(unit);
    return found == presses_.end() ? fallbackASCIIKeyPress(unit) : found->second;
  }

 private:
  std::map<char16_t, VirtualKeyPress> presses_;
};

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
    if (auto press = layout.press(unit)) presses.push_back(*std::move(press));
  }
  return presses;
}

std::optional<VirtualKeyPress> singleCharacterKeyPress(const std::string& character, std::uint32_t modifiers,
                                                       KeyboardLayoutSnapshotProvider& layouts) {
  if (text::characterCount(character) != 1) return std::nullopt;
  auto presses = VirtualKeyPress::keyPresses(character, layouts);
  if (!presses || presses->empty()) return std::nullopt;
  VirtualKeyPress press = presses->front();
  press.modifiers |= modifiers;
  constexpr std::uint32_t shortcutModifiers = KeyModifier::command | KeyModifier::option | KeyModifier::control;
  if (press.modifiers & shortcutModifiers) press.string.reset();
  return press;
}

}  // namespace tavik
