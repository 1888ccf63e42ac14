#pragma once

#include <optional>
#include <string>
#include <vector>

#include "AccessibilitySupport/Access/LiveElementReader.h"
#include "AccessibilitySupport/Input/ScrollDirection.h"

namespace tavik {

/// Scrolling one element as far as the accessibility interface can, and where the
/// events are to land when it cannot. Every operation answers false or nothing
/// where the application does not comply; only `CancellationError` is thrown, at the
/// next element once the caller was given up. Any thread.
class UIElementScrollOperation {
 public:
  /// Where scroll events go, and the length of one page in points.
  struct EventPlan {
    Point point;
    double axisLength = 0;
    bool operator==(const EventPlan&) const = default;
  };

  /// `pages` may be a fraction.
  UIElementScrollOperation(AXWrapper& access, Scheduler& scheduler, AXElement element, ScrollDirection direction,
                           double pages);

  /// Brings an element that sticks out of its scrolled surroundings into view. False
  /// when it already is in view, or cannot be brought.
  bool makeTargetVisibleIfNeeded();
  bool prepareForEventScroll() { return makeTargetVisibleIfNeeded(); }

  EventPlan eventPlan(Point defaultPoint) const;

  /// The place of the first scroll bar of the direction that tells it, from 0 to 1.
  std::optional<double> currentScrollBarValue() const;

  /// Whole pages by actions, else the scroll bar.
  bool performAccessibilityFallbackIfPossible();
  bool performWholePageActionIfPossible();
  bool adjustScrollBarValueIfPossible();
  bool performScrollBarValueScrollIfPossible() { return adjustScrollBarValueIfPossible(); }

  // The arithmetic, without any element.

  static double scrollBarValueAfterScroll(double current, ScrollDirection direction, double pages);
  /// The lengths, in points, of what is shown and of all there is to show.
  static double scrollBarValueAfterScroll(double current, ScrollDirection direction, double pages,
                                          std::optional<double> visibleAxisLength,
                                          std::optional<double> contentAxisLength);
  /// The part of the screen that the element scrolls in; `ancestorFrames` are from
  /// the nearest ancestor outwards.
  static std::optional<Rect> selectedVisibleRect(const Rect& targetRect, const std::vector<Rect>& ancestorFrames,
                                                 ScrollDirection direction);
  /// How far the target sticks out, as a fraction of the visible side.
  static double makeScreenRectVisibleValue(const Rect& targetRect, const Rect& visibleRect);

 private:
  std::optional<Rect> enclosingVisibleRect(const Rect& targetRect) const;
  bool performScrollToVisible();
  bool setMakeScreenRectVisible(const AXElement& on, double value);
  void collectScrollBars(const AXElement& element, int depth, std::vector<AXElement>& bars) const;
  std::vector<AXElement> matchingScrollBars() const;
  void joinContentFrames(const AXElement& element, int depth, Rect& content) const;
  std::optional<double> contentAxisLength() const;

  AXWrapper& access_;
  Scheduler& scheduler_;
  LiveElementReader reader_;
  const AXElement element_;
  const ScrollDirection direction_;
  const double pages_;
};

}  // namespace tavik
