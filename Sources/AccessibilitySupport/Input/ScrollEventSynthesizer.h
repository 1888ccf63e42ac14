#pragma once

#include <cstdint>
#include <exception>
#include <optional>
#include <utility>
#include <vector>

#include "AccessibilitySupport/Input/MouseEventTarget.h"
#include "AccessibilitySupport/Input/ScrollDirection.h"
#include "PlatformInterfaces/EventPostingPort.h"

namespace tavik {

/// Scroll-wheel input for one process. Any thread.
class ScrollEventSynthesizer {
 public:
  using Direction = ScrollDirection;
  /// Pixels, horizontal and vertical.
  using Delta = std::pair<std::int64_t, std::int64_t>;

  class Error : public std::exception {
   public:
    enum class Kind { failedToCreateCGEvent, invalidDelta };
    explicit Error(Kind kind) : kind_(kind) {}
    Kind kind() const { return kind_; }
    const char* what() const noexcept override;

   private:
    Kind kind_;
  };

  ScrollEventSynthesizer(EventPostingPort& port, std::int32_t pid, std::optional<std::uint32_t> windowID = {},
                         std::optional<MouseEventTarget::TargetGeometry> geometry = {});

  /// Posts the whole gesture at a global point. `axisLength` is the length of one
  /// page in points. Throws `Error` when an event cannot be made or posted; what
  /// was posted before stays posted.
  void scroll(Direction direction, double pages, Point at, double axisLength);

  /// No movement when the distance is not a number or too large to count.
  static Delta computeDeltas(Direction direction, double pages, double axisLength);
  /// The movement in steps of about 50 pixels, never more than 32.
  static std::vector<Delta> scrollEventDeltaChunks(Delta delta);

 private:
  InputEvent createScrollEvent(Delta delta, Point location);

  EventPostingPort& port_;
  const std::int32_t pid_;
  const std::optional<std::uint32_t> windowID_;
  const std::optional<MouseEventTarget::TargetGeometry> geometry_;
};

}  // namespace tavik
