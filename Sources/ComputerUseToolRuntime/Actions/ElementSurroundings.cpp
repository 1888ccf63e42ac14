#include "ComputerUseToolRuntime/Actions/ElementSurroundings.h"

#include <set>

#include "AccessibilitySupport/Access/AXAttributes.h"
#include "Base/Text/Text.h"

namespace tavik {

namespace {

constexpr int furthestAncestor = 16;
constexpr int rasterSize = 64;
constexpr double smallestSampledSide = 2.0;

bool saysHTML(const std::optional<std::string>& roleDescription) {
  return roleDescription && text::containsIgnoringCase(*roleDescription, "HTML");
}

/// The mean of points that are added one at a time.
class PointMean {
 public:
  void add(Point point) {
    sum_ = {sum_.x + point.x, sum_.y + point.y};
    ++count_;
  }
  std::optional<Point> mean() const {
    return count_ > 0 ? std::optional(Point{sum_.x / count_, sum_.y / count_}) : std::nullopt;
  }

 private:
  Point sum_;
  int count_ = 0;
};

}  // namespace

bool isRowOrCell(const std::optional<std::string>& role) {
  static const std::set<std::string> roles = {"AXRow", "AXOutlineRow", "AXTableRow", "AXCell"};
  return role && roles.contains(*role);
}

bool axElementIsDescendant(const AXElement& element, const AXElement& ancestor, const LiveElementReader& reader) {
  AXElement current = element;
  for (int step = 0; step <= furthestAncestor && current; ++step) {
    if (current == ancestor) return true;
    current = reader.element(current, AXAttributes::parent);
  }
  return false;
}

bool axElementIsInsideWebContent(const AXElement& element, const LiveElementReader& reader) {
  AXElement current = element;
  for (int step = 0; step <= furthestAncestor && current; ++step) {
    if (reader.roleName(current) == "AXWebArea") return true;
    if (saysHTML(reader.string(current, AXAttributes::roleDescription))) return true;
    current = reader.element(current, AXAttributes::parent);
  }
  return false;
}

bool isInsideWebContent(const UIElementTree::Item& item, const LiveElementReader& reader) {
  for (auto current = item.shared_from_this(); current; current = current->parentItem()) {
    if (current->role == "AXWebArea" || saysHTML(current->roleDescription)) return true;
  }
  return axElementIsInsideWebContent(item.axElement, reader);
}

std::optional<Point> elementScreenPosition(const AXElement& element, AXWrapper& access, Scheduler& scheduler) {
  const LiveElementReader reader(access);
  const auto frame = reader.frame(element);
  if (!frame) return std::nullopt;
  if (frame->size.width <= smallestSampledSide || frame->size.height <= smallestSampledSide) return frame->center();

  AccessibilityPort& port = access.port();
  const auto pid = port.getPid(element);
  if (!pid.ok()) return std::nullopt;
  const AXElement application = port.createApplication(pid.value);
  const auto readScope = port.beginReadScope(application);
  const bool countsDescendants = isRowOrCell(reader.roleName(element));
  const double cellWidth = frame->size.width / rasterSize;
  const double cellHeight = frame->size.height / rasterSize;
  PointMean exact;
  PointMean descendant;
  for (int row = 0; row < rasterSize; ++row) {
    scheduler.checkCancellation();
    for (int column = 0; column < rasterSize; ++column) {
      const Point point{frame->minX() + (column + 0.5) * cellWidth, frame->minY() + (row + 0.5) * cellHeight};
      const auto hit = port.copyElementAtPosition(application, point);
      // An application that does not answer would be asked some thousand times.
      if (hit.code == AXError::cannotComplete) return exact.mean() ? exact.mean() : descendant.mean();
      if (!hit.ok()) continue;
      if (hit.value == element) {
        exact.add(point);
      } else if (countsDescendants && axElementIsDescendant(hit.value, element, reader)) {
        descendant.add(point);
      }
    }
  }
  return exact.mean() ? exact.mean() : descendant.mean();
}

}  // namespace tavik
