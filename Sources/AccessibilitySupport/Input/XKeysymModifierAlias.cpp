#include "AccessibilitySupport/Input/XKeysymModifierAlias.h"

#include <map>
#include <string_view>

#include "AccessibilitySupport/Input/VirtualKeyPress.h"
#include "Base/Text/Text.h"

namespace tavik::XKeysymModifierAlias {

namespace {

const std::map<std::string, std::uint32_t, std::less<>> modifierMap = {
    {"alt", KeyModifier::option},      {"option", KeyModifier::option}, {"ctrl", KeyModifier::control},
    {"control", KeyModifier::control}, {"shift", KeyModifier::shift},   {"super", KeyModifier::command},
    {"meta", KeyModifier::command},    {"command", KeyModifier::command}, {"cmd", KeyModifier::command},
};

}  // namespace

std::optional<std::uint32_t> modifierFlag(const std::string& name) {
  const auto found = modifierMap.find(text::lowercased(text::trimmed(name)));
  return found == modifierMap.end() ? std::nullopt : std::optional(found->second);
}

}  // namespace tavik::XKeysymModifierAlias
