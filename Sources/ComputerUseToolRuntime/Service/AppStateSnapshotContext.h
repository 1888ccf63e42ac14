#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Base/Concurrency/Time.h"
#include "Base/Geometry/Geometry.h"

namespace tavik {

/// What the last state that the model saw was taken from.
struct AppStateSnapshotContext {
  /// What the client asked for.
  std::string appQuery;
  std::string bundleIdentifier;
  std::int32_t pid = 0;
  std::string appName;
  std::optional<std::int32_t> frontmostPID;
  std::optional<std::string> focusedElementDescription;
  /// Made from the live element, so that a later look at it can be compared.
  bool focusedElementDescriptionIsComparable = false;
  std::optional<std::uint32_t> targetWindowID;
  std::optional<Rect> targetWindowBounds;
  /// Of the picture that the model got, in pixels.
  std::optional<Size> screenshotPixelSize;
  WallTime capturedAt{};
};

/// One application that the agent touched in this turn.
struct ComputerUseActiveSessionSummary {
  std::string bundleIdentifier;
  std::int32_t pid = 0;
  std::string appName;
  bool operator==(const ComputerUseActiveSessionSummary&) const = default;
};

}  // namespace tavik
