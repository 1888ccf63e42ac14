#pragma once

#include <optional>
#include <string>
#include <vector>

#include "AccessibilitySupport/Input/VirtualKeyPress.h"

namespace tavik {

/// A part of a text that is to be typed: keys type it, or no key gives it and it is to
/// be put in as it is.
struct TypedPiece {
  std::string text;
  /// Empty for text without keys.
  std::vector<VirtualKeyPress> presses = {};

  bool operator==(const TypedPiece&) const = default;

  /// The text in pieces, in order, on the user's present layout; control characters
  /// other than tabs and line ends are left out. Absent when no layout is known.
  static std::optional<std::vector<TypedPiece>> pieces(const std::string& text,
                                                       KeyboardLayoutSnapshotProvider& layouts);
};

}  // namespace tavik
