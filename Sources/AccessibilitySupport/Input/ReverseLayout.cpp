#include "AccessibilitySupport/Input/ReverseLayout.h"

#include <array>

#include "Base/Text/Text.h"

namespace tavik {

namespace {

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

}  // namespace

ReverseLayout::ReverseLayout(const KeyboardLayout& layout) {
  for (const std::uint32_t modifiers : reverseLookUpModifiers) {
    for (std::uint16_t keyCode = 0; keyCode < keyCodeCount; ++keyCode) {
      const auto units = layout.translate(keyCode, modifiers >> modifierStateShift);
      if (units && units->size() == 1) presses_.try_emplace(units->front(), keyCode, modifiers, text::utf8(*units));
    }
  }
}

std::optional<VirtualKeyPress> ReverseLayout::press(char16_t unit) const {
  const auto found = presses_.find(unit);
  return found == presses_.end() ? std::nullopt : std::optional(found->second);
}

}  // namespace tavik
