#pragma once

#include <cstdint>
#include <exception>
#include <optional>
#include <vector>

#include "Base/Geometry/Geometry.h"
#include "PlatformInterfaces/EventPostingPort.h"

namespace tavik {

/// Mouse input for one process: it reaches that process alone, and the user's
/// pointer stays where it is. Immutable; any thread.
///
/// A sequence of events is made as a whole before the first is posted, so that a
/// failure leaves the process untouched. Nothing waits for the process to react.
class MouseEventTarget {
 public:
  enum class MouseButton { left = 0, right = 1, middle = 2 };

  /// The window that the points lie in.
  struct TargetGeometry {
    /// Global points.
    Rect windowFrame;
    /// Window-local y counts from the bottom edge.
    bool flipped = false;
  };

  class Error : public std::exception {
   public:
    enum class Kind { failedToCreateCGEvent, failedToCreateNSEvent, resolverUnavailable };
    explicit Error(Kind kind) : kind_(kind) {}
    Kind kind() const { return kind_; }
    const char* what() const noexcept override;

   private:
    Kind kind_;
  };

  MouseEventTarget(EventPostingPort& port, std::int32_t pid, std::optional<std::uint32_t> windowID = {},
                   std::optional<TargetGeometry> geometry = {});

  /// `clickCount` is at least 1. `includeMove` sends a move first, for applications
  /// that look at what lies under the pointer. Points are global. Throws `Error`.
  void click(Point at, MouseButton button, int clickCount, bool includeMove);
  void drag(Point from, Point to, MouseButton button);
  /// The same: applications need no more steps than the three that it takes anyway.
  void drag(Point from, Point to, MouseButton button, int /*steps*/) { drag(from, to, button); }
  void move(Point to);

 private:
  InputEvent createEvent(std::uint32_t type, Point point, std::int64_t button, int clickCount,
                         std::int64_t eventNumber);
  InputEvent createMoveEvent(Point location);
  void sendEventsSynchronously(std::vector<InputEvent> events);

  EventPostingPort& port_;
  const std::int32_t pid_;
  const std::optional<std::uint32_t> windowID_;
  const std::optional<TargetGeometry> geometry_;
};

/// The window-local point of a global one.
Point windowLocalPoint(Point point, const MouseEventTarget::TargetGeometry& geometry);

/// The present time as events carry it.
std::uint64_t eventTimestamp(EventPostingPort& port);

}  // namespace tavik
