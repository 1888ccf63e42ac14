#include "ComputerUseToolRuntime/Actions/ScrollAction.h"

#include <cmath>

#include "ComputerUseContracts/ToolError.h"

namespace tavik {

namespace {

constexpr Point lastResortPoint{200, 200};
constexpr double smallestMovement = 0.000001;

ToolResult success() { return ToolResult::text("Action completed successfully."); }

ScrollDirection scrollDirection(std::int64_t direction) {
  switch (direction) {
    case 0:
      return ScrollDirection::up;
    case 2:
      return ScrollDirection::left;
    case 3:
      return ScrollDirection::right;
    default:
      return ScrollDirection::down;
  }
}

}  // namespace

ToolResult ScrollAction::perform(std::int32_t pid, const ScrollParams& params) {
  if (!params.elementIndex) throw ToolError::missingRequiredArgument("element_index");
  const AXElement element = services_.elements.findElement(*params.elementIndex)->axElement;
  const ScrollDirection direction = scrollDirection(params.direction);
  UIElementScrollOperation operation(services_.access, services_.scheduler, element, direction, params.pages);
  operation.makeTargetVisibleIfNeeded();
  const auto frame = appFrame(pid);
  const auto plan = operation.eventPlan(frame ? frame->center() : lastResortPoint);
  services_.cursor.prepareForInteraction(plan.point);
  services_.scheduler.checkCancellation();

  if (operation.currentScrollBarValue() && operation.performScrollBarValueScrollIfPossible()) return success();
  if (services_.geometry.coordinateMouseTargetIsBoundToApp(pid, plan.point)) {
    scrollByEvents(pid, operation, direction, params.pages, plan);
    return success();
  }
  if (operation.performAccessibilityFallbackIfPossible()) return success();
  ScreenGeometry::rejectUnboundTarget();
}

/// Events that cannot be made, or that move nothing, leave it to the accessibility
/// interface.
void ScrollAction::scrollByEvents(std::int32_t pid, UIElementScrollOperation& operation, ScrollDirection direction,
                                  double pages, const UIElementScrollOperation::EventPlan& plan) {
  ScrollEventSynthesizer target = services_.geometry.scrollEventTarget(pid, plan.point);
  const auto before = operation.currentScrollBarValue();
  try {
    services_.focusStealPreventer.withSuppression(
        pid, [&] { target.scroll(direction, pages, plan.point, plan.axisLength); });
  } catch (const ScrollEventSynthesizer::Error&) {
    if (!operation.performAccessibilityFallbackIfPossible()) throw;
    return;
  }
  if (!before) return;
  const auto after = operation.currentScrollBarValue();
  if (after && std::abs(*after - *before) < smallestMovement) operation.performAccessibilityFallbackIfPossible();
}

std::optional<Rect> ScrollAction::appFrame(std::int32_t pid) {
  const auto windows = services_.windowServer.copyWindowInfo(
      WindowListOption::onScreenOnly | WindowListOption::excludeDesktopElements, 0, "scrollDefaultAppFrame");
  for (const WindowRecord& window : windows.value_or(std::vector<WindowRecord>())) {
    if (window.ownerPID == pid && window.bounds) return window.bounds;
  }
  return std::nullopt;
}

}  // namespace tavik
