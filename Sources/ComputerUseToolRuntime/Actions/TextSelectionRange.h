#pragma once

#include <optional>
#include <string>

#include "Base/Geometry/Geometry.h"
#include "ComputerUseContracts/ComputerUseIPCAction.h"

namespace tavik {

/// Where in `haystack` the one occurrence of `text` is that stands right behind
/// `prefix` and right before `suffix`: its range, or the place at one of its ends. In
/// UTF-16 units. Absent when there is none, or more than one.
std::optional<TextRange> textSelectionRange(const std::string& haystack, const std::string& text,
                                            const std::optional<std::string>& prefix,
                                            const std::optional<std::string>& suffix, TextSelectionMode selection);

}  // namespace tavik
