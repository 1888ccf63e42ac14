#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Base/Geometry/Geometry.h"

namespace tavik {

/// The selected text: as the element gives it, else the selected slice of its value.
/// Absent when the slice is empty, leaves the value or would cut a character in two.
std::optional<std::string> selectedText(const std::optional<std::string>& fromAXSelectedText,
                                        const std::optional<std::string>& stringValue,
                                        const std::optional<TextRange>& selectedRange);

/// A tab that shows where the user is, as opposed to content that the user selected.
bool isNavigationTab(const std::optional<std::string>& role,
                     const std::optional<std::string>& roleDescription, std::string_view appStateDescription);

/// True when the first of the lines of a selection, "12 tab Home", is a tab.
bool selectedDescriptionIsNavigationChrome(std::string_view firstLine);

}  // namespace tavik
