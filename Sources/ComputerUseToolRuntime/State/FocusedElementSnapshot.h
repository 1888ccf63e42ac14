#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "AccessibilitySupport/Access/LiveElementReader.h"

namespace tavik {

/// What an element that had the focus said of itself at one moment.
struct FocusedElementSnapshot {
  AXElement axElement;
  std::optional<std::string> role = {};
  std::optional<std::string> roleDescription = {};
  std::optional<std::string> subrole = {};
  std::optional<std::string> title = {};
  std::optional<std::string> elementDescription = {};
  std::optional<std::string> identifier = {};
  std::optional<std::string> value = {};

  /// Reads the live element; what it does not tell stays absent.
  static FocusedElementSnapshot of(const AXElement& element, const LiveElementReader& reader);
  /// The present fields as "AXRole=AXButton AXTitle=Save"; absent without any.
  std::optional<std::string> rawDescription() const;
};

/// The snapshot of the application's focused element; absent when it names none.
std::optional<FocusedElementSnapshot> focusedElementSnapshot(std::int32_t pid, const LiveElementReader& reader);

}  // namespace tavik
