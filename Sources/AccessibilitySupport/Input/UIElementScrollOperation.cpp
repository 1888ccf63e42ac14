#include "AccessibilitySupport/Input/UIElementScrollOperation.h"

#include <algorithm>
#include <cmath>
#include <tuple>

#include "AccessibilitySupport/Access/AXActions.h"
#include "AccessibilitySupport/Access/AXAttributes.h"

namespace tavik {

namespace {

constexpr double axisLengthWithoutFrame = 800;
constexpr double shortestPage = 100;
constexpr double pageOfUnknownLength = 0.35;
constexpr double smallestUnknownStep = 0.05;
constexpr double sufficientCrossOverlap = 0.25;
constexpr int mostAncestors = 8;
/// Longer than any real one; an application may name its parents in a circle.
constexpr int longestAncestry = 512;
constexpr int deepestScrollBar = 4;
constexpr int deepestContent = 5;

bool isFinite(const Rect& rect) {
  return std::isfinite(rect.origin.x) && std::isfinite(rect.origin.y) && std::isfinite(rect.size.width) &&
         std::isfinite(rect.size.height) && !rect.isInfinite() && !rect.isNull();
}

bool isUsable(const Rect& rect) {
  return isFinite(rect) && !rect.isEmpty() && rect.size.width > 0 && rect.size.height > 0;
}

/// The extent of a rectangle along one axis.
struct Span {
  double min = 0;
  double max = 0;
  double length() const { return max - min; }
  double overlap(Span other) const { return std::max(0.0, std::min(max, other.max) - std::max(min, other.min)); }
  double gap(Span other) const { return std::max({0.0, other.min - max, min - other.max}); }
};

Span horizontalSpan(const Rect& rect) { return {rect.minX(), rect.maxX()}; }
Span verticalSpan(const Rect& rect) { return {rect.minY(), rect.maxY()}; }

Span scrollSpan(const Rect& rect, ScrollDirection direction) {
  return isVertical(direction) ? verticalSpan(rect) : horizontalSpan(rect);
}

Span crossSpan(const Rect& rect, ScrollDirection direction) {
  return isVertical(direction) ? horizontalSpan(rect) : verticalSpan(rect);
}

double axisLengthOf(const Rect& rect, ScrollDirection direction) { return scrollSpan(rect, direction).length(); }

/// A frame that may be the surroundings which the target scrolls in.
struct Candidate {
  Rect rect;
  /// The place in the list of ancestors. It is unique and compared first, so the
  /// nearest ancestor that qualifies wins.
  int order = 0;
  int rank = 0;
  double distance = 0;
  double area = 0;

  bool operator<(const Candidate& other) const {
    return std::tie(order, rank, distance, area) < std::tie(other.order, other.rank, other.distance, other.area);
  }
};

bool sharesCrossAxis(const Rect& frame, const Rect& target, ScrollDirection direction) {
  const Span ofFrame = crossSpan(frame, direction);
  const Span ofTarget = crossSpan(target, direction);
  const double overlap = ofFrame.overlap(ofTarget);
  const double smaller = std::min(ofFrame.length(), ofTarget.length());
  return (smaller >= 1 ? overlap / smaller : overlap) >= sufficientCrossOverlap;
}

std::optional<Candidate> candidate(const Rect& frame, int order, const Rect& target, ScrollDirection direction) {
  const double gap = scrollSpan(frame, direction).gap(scrollSpan(target, direction));
  if (frame.contains(target.center())) return Candidate{frame, order, 0, 0, frame.area()};
  if (frame.intersects(target)) return Candidate{frame, order, 1, gap, frame.area()};
  if (!sharesCrossAxis(frame, target, direction)) return std::nullopt;
  return Candidate{frame, order, 2, gap, frame.area()};
}

/// The nearest place well inside the rectangle.
Point clamp(Point point, const Rect& to) {
  const double dx = std::min(std::max(to.size.width * 0.25, 0.0), 1.0);
  const double dy = std::min(std::max(to.size.height * 0.25, 0.0), 1.0);
  Rect inside = to.inset(dx, dy);
  if (inside.isEmpty()) inside = to;
  return {std::clamp(point.x, inside.minX(), inside.maxX()), std::clamp(point.y, inside.minY(), inside.maxY())};
}

const std::string& wholePageAction(ScrollDirection direction) {
  switch (direction) {
    case ScrollDirection::up:
      return AXActions::scrollUpByPage;
    case ScrollDirection::left:
      return AXActions::scrollLeftByPage;
    case ScrollDirection::right:
      return AXActions::scrollRightByPage;
    case ScrollDirection::down:
      break;
  }
  return AXActions::scrollDownByPage;
}

}  // namespace

UIElementScrollOperation::UIElementScrollOperation(AXWrapper& access, Scheduler& scheduler, AXElement element,
                                                   ScrollDirection direction, double pages)
    : access_(access),
      scheduler_(scheduler),
      reader_(access),
      element_(std::move(element)),
      direction_(direction),
      pages_(pages) {}

// Into view

bool UIElementScrollOperation::makeTargetVisibleIfNeeded() {
  const auto target = reader_.frame(element_);
  const auto visible = target ? enclosingVisibleRect(*target) : std::nullopt;
  if (!visible || visible->contains(*target)) return false;
  if (performScrollToVisible()) return true;
  const double value = makeScreenRectVisibleValue(*target, *visible);
  if (setMakeScreenRectVisible(element_, value)) return true;
  AXElement ancestor = reader_.element(element_, AXAttributes::parent);
  for (int i = 0; i < longestAncestry && ancestor; ++i) {
    scheduler_.checkCancellation();
    if (setMakeScreenRectVisible(ancestor, value)) return true;
    ancestor = reader_.element(ancestor, AXAttributes::parent);
  }
  return false;
}

bool UIElementScrollOperation::performScrollToVisible() {
  const auto names = reader_.supportedActionNames(element_);
  if (!names || !names->contains(AXActions::scrollToVisible)) return false;
  return access_.port().performAction(element_, AXActions::scrollToVisible) == AXError::success;
}

bool UIElementScrollOperation::setMakeScreenRectVisible(const AXElement& on, double value) {
  if (!reader_.isSettable(on, AXAttributes::makeScreenRectVisible)) return false;
  return access_.trySetAttributeValue(on, AXAttributes::makeScreenRectVisible, value).has_value();
}

double UIElementScrollOperation::makeScreenRectVisibleValue(const Rect& targetRect, const Rect& visibleRect) {
  if (!isFinite(targetRect) || !isFinite(visibleRect)) return 0;
  const double overflowH = std::max(0.0, visibleRect.minX() - targetRect.minX()) +
                           std::max(0.0, targetRect.maxX() - visibleRect.maxX());
  const double overflowV = std::max(0.0, visibleRect.minY() - targetRect.minY()) +
                           std::max(0.0, targetRect.maxY() - visibleRect.maxY());
  const double maxSide = std::max(visibleRect.size.width, visibleRect.size.height);
  const double overflow = std::max(overflowH, overflowV);
  return std::clamp(maxSide >= 1 ? overflow / maxSide : overflow, 0.0, 1.0);
}

std::optional<Rect> UIElementScrollOperation::enclosingVisibleRect(const Rect& targetRect) const {
  std::vector<Rect> ancestorFrames;
  AXElement ancestor = reader_.element(element_, AXAttributes::parent);
  for (int i = 0; i < mostAncestors && ancestor; ++i) {
    const auto frame = reader_.frame(ancestor);
    if (frame && frame->size.width > 0 && frame->size.height > 0) ancestorFrames.push_back(*frame);
    ancestor = reader_.element(ancestor, AXAttributes::parent);
  }
  return selectedVisibleRect(targetRect, ancestorFrames, direction_);
}

std::optional<Rect> UIElementScrollOperation::selectedVisibleRect(const Rect& targetRect,
                                                                  const std::vector<Rect>& ancestorFrames,
                                                                  ScrollDirection direction) {
  if (!isUsable(targetRect)) return std::nullopt;
  std::vector<Candidate> candidates;
  for (std::size_t order = 0; order < ancestorFrames.size(); ++order) {
    const Rect& frame = ancestorFrames[order];
    if (!isUsable(frame)) continue;
    if (auto found = candidate(frame, static_cast<int>(order), targetRect, direction)) candidates.push_back(*found);
  }
  const auto best = std::ranges::min_element(candidates, std::less<Candidate>());
  return best == candidates.end() ? std::nullopt : std::optional(best->rect);
}

// Events

UIElementScrollOperation::EventPlan UIElementScrollOperation::eventPlan(Point defaultPoint) const {
  const auto frame = reader_.frame(element_);
  if (!frame) return {defaultPoint, axisLengthWithoutFrame};
  EventPlan plan{frame->center(), axisLengthOf(*frame, direction_)};
  if (const auto visible = enclosingVisibleRect(*frame)) {
    if (!visible->contains(plan.point)) plan.point = clamp(plan.point, *visible);
    plan.axisLength = axisLengthOf(*visible, direction_);
  }
  plan.axisLength = std::max(plan.axisLength, 1.0);
  return plan;
}

// Scroll bars

void UIElementScrollOperation::collectScrollBars(const AXElement& element, int depth,
                                                 std::vector<AXElement>& bars) const {
  if (depth > deepestScrollBar) return;
  scheduler_.checkCancellation();
  if (reader_.roleName(element) == "AXScrollBar") bars.push_back(element);
  for (const auto& child : reader_.elements(element, AXAttributes::children)) {
    collectScrollBars(child, depth + 1, bars);
  }
}

std::vector<AXElement> UIElementScrollOperation::matchingScrollBars() const {
  std::vector<AXElement> bars;
  collectScrollBars(element_, 0, bars);
  const std::string orientation = isVertical(direction_) ? "AXVerticalOrientation" : "AXHorizontalOrientation";
  std::erase_if(bars, [&](const AXElement& bar) { return reader_.string(bar, "AXOrientation") != orientation; });
  return bars;
}

std::optional<double> UIElementScrollOperation::currentScrollBarValue() const {
  for (const auto& bar : matchingScrollBars()) {
    if (auto value = reader_.number(bar, AXAttributes::value)) return value;
  }
  return std::nullopt;
}

void UIElementScrollOperation::joinContentFrames(const AXElement& element, int depth, Rect& content) const {
  if (depth > deepestContent) return;
  scheduler_.checkCancellation();
  const auto role = reader_.roleName(element);
  if (role != "AXScrollBar" && role != "AXButton") {
    const auto frame = reader_.frame(element);
    if (frame && isUsable(*frame)) content = content.unionWith(*frame);
  }
  for (const auto& child : reader_.elements(element, AXAttributes::children)) {
    joinContentFrames(child, depth + 1, content);
  }
}

std::optional<double> UIElementScrollOperation::contentAxisLength() const {
  Rect content = Rect::null();
  joinContentFrames(element_, 0, content);
  if (content.isNull()) return std::nullopt;
  const double length = axisLengthOf(content, direction_);
  return length > 0 ? std::optional(length) : std::nullopt;
}

double UIElementScrollOperation::scrollBarValueAfterScroll(double current, ScrollDirection direction,
                                                           double pages) {
  return scrollBarValueAfterScroll(current, direction, pages, std::nullopt, std::nullopt);
}

double UIElementScrollOperation::scrollBarValueAfterScroll(double current, ScrollDirection direction,
                                                           double pages,
                                                           std::optional<double> visibleAxisLength,
                                                           std::optional<double> contentAxisLength) {
  double delta = std::clamp(pages * pageOfUnknownLength, smallestUnknownStep, 1.0);
  const bool lengthsAreKnown = visibleAxisLength && contentAxisLength && std::isfinite(*visibleAxisLength) &&
                               std::isfinite(*contentAxisLength) && *visibleAxisLength > 0 &&
                               *visibleAxisLength < *contentAxisLength;
  if (lengthsAreKnown) {
    const double pixels = std::round(pages * std::max(*visibleAxisLength, shortestPage));
    const double scrollable = *contentAxisLength - *visibleAxisLength;
    delta = std::clamp(scrollable >= 1 ? pixels / scrollable : pixels, 0.0, 1.0);
  }
  return isBackward(direction) ? std::max(0.0, current - delta) : std::min(1.0, current + delta);
}

bool UIElementScrollOperation::adjustScrollBarValueIfPossible() {
  for (const auto& bar : matchingScrollBars()) {
    const auto current = reader_.number(bar, AXAttributes::value);
    if (!current) continue;
    const auto frame = reader_.frame(bar);
    const auto visible = frame ? std::optional(axisLengthOf(*frame, direction_)) : std::nullopt;
    const double value = scrollBarValueAfterScroll(*current, direction_, pages_, visible, contentAxisLength());
    if (access_.trySetAttributeValue(bar, AXAttributes::value, value)) return true;
  }
  return false;
}

// Whole pages

bool UIElementScrollOperation::performAccessibilityFallbackIfPossible() {
  return performWholePageActionIfPossible() || adjustScrollBarValueIfPossible();
}

bool UIElementScrollOperation::performWholePageActionIfPossible() {
  if (!(pages_ >= 1) || pages_ != std::floor(pages_)) return false;
  const std::string& action = wholePageAction(direction_);
  for (double page = 0; page < pages_; ++page) {
    scheduler_.checkCancellation();
    const auto names = reader_.supportedActionNames(element_);
    if (!names || !names->contains(action)) return false;
    if (access_.port().performAction(element_, action) != AXError::success) return false;
  }
  return true;
}

}  // namespace tavik
