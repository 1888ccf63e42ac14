#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Base/Geometry/Geometry.h"
#include "ComputerUsePlatform/Windows/WindowServerWindowSnapshot.h"

namespace tavik {

/// A window that may be the one to read and to picture.
struct TargetWindowCandidate {
  std::uint32_t windowID = 0;
  std::int32_t ownerPID = 0;
  int layer = 0;
  bool isOnScreen = false;
  /// Global points.
  Rect bounds;
  std::optional<std::string> title;

  bool operator==(const TargetWindowCandidate&) const = default;
};

/// The window of the process that a person would call its main one: the frontmost
/// ordinary window on screen; failing that one that is hidden or not ordinary.
/// Thin untitled strips, which some applications keep in front of their real
/// window, are taken only when there is nothing else.
std::optional<TargetWindowCandidate> preferredTargetWindowCandidate(std::int32_t pid,
                                                                    WindowServerWindowSnapshot& windows);

/// The process's window of that number while it is on screen and usable; else the
/// preferred one, so callers compare the number that they get.
std::optional<TargetWindowCandidate> targetWindowSnapshot(std::uint32_t windowID, std::int32_t pid,
                                                          WindowServerWindowSnapshot& windows);

/// The window of that number, whosever it is.
std::optional<TargetWindowCandidate> targetWindowCandidateFromSnapshot(std::uint32_t windowID,
                                                                       WindowServerWindowSnapshot& windows);

}  // namespace tavik
