#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace tavik::XKeysymModifierAlias {

/// The `KeyModifier` bit of a modifier's name in any case ("ctrl", "Shift", "cmd").
std::optional<std::uint32_t> modifierFlag(const std::string& name);

}  // namespace tavik::XKeysymModifierAlias
