#pragma once

#include <optional>
#include <string>

#include "AccessibilitySupport/Access/AXWrapper.h"

namespace tavik {

/// The text of a text or web area that is in sight, in the best form that the element
/// offers: by its visible characters, else by its text markers. Asks the live element.
std::optional<std::string> fetchVisibleText(AXWrapper& access, const AXElement& from);

/// The plain string of an attributed text; absent when the element gives none.
std::optional<std::string> fetchAttributedString(AXWrapper& access, const AXElement& from,
                                                 const std::string& attribute, const AXValue& parameter);
std::optional<std::string> fetchString(AXWrapper& access, const AXElement& from, const std::string& attribute,
                                       const AXValue& parameter);

}  // namespace tavik
