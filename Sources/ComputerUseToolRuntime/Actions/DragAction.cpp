#include "ComputerUseToolRuntime/Actions/DragAction.h"

#include <algorithm>

#include "AccessibilitySupport/Access/AXAttributes.h"

namespace tavik {

namespace {

constexpr int furthestAncestor = 16;

}  // namespace

ToolResult DragAction::perform(std::int32_t pid, const DragParams& params) {
  services_.geometry.requireFreshScreenshotGeometry(pid);
  const Point from = services_.geometry.screenPointFromScreenshotCoordinates({params.fromX, params.fromY});
  const Point to = services_.geometry.screenPointFromScreenshotCoordinates({params.toX, params.toY});
  services_.geometry.requireBoundTarget(pid, from);
  services_.cursor.prepareForInteraction(from);
  services_.cursor.moveDuringDrag(to);
  services_.scheduler.checkCancellation();
  if (!performAXValueDragIfPossible(from, to, pid)) {
    MouseEventTarget target = services_.geometry.mouseEventTarget(pid, from);
    services_.focusStealPreventer.withSuppression(
        pid, [&] { target.drag(from, to, MouseEventTarget::MouseButton::left); });
  }
  return ToolResult::text("Action completed successfully.");
}

bool DragAction::performAXValueDragIfPossible(Point from, Point to, std::int32_t pid) {
  AccessibilityPort& port = services_.access.port();
  const auto hit = port.copyElementAtPosition(port.createApplication(pid), from);
  const AXElement element = hit.ok() ? nearestCoordinateValueElement(hit.value) : AXElement();
  if (!element) return false;
  const auto frame = reader_.frame(element);
  const auto minimum = reader_.numeric(element, "AXMinValue");
  const auto maximum = reader_.numeric(element, "AXMaxValue");
  if (!frame || !minimum || !maximum || !(*minimum < *maximum)) return false;
  const bool isVertical = frame->size.height > frame->size.width;
  const double length = isVertical ? frame->size.height : frame->size.width;
  if (!(length > 0)) return false;
  const double distance = isVertical ? to.y - frame->minY() : to.x - frame->minX();
  const double fraction = std::clamp(distance / length, 0.0, 1.0);
  const double value = *minimum + (*maximum - *minimum) * fraction;
  return port.setAttributeValue(element, AXAttributes::value, value) == AXError::success;
}

AXElement DragAction::nearestCoordinateValueElement(const AXElement& from) {
  AXElement current = from;
  for (int step = 0; step <= furthestAncestor && current; ++step) {
    const auto role = reader_.roleName(current);
    if (role == "AXSlider" || role == "AXScrollBar") return current;
    current = reader_.element(current, AXAttributes::parent);
  }
  return {};
}

}  // namespace tavik
