#include "ComputerUseToolRuntime/Actions/ScreenGeometry.h"

#include "ComputerUseContracts/ToolError.h"

namespace tavik {

namespace {

constexpr const char* noGeometry =
    "Screenshot coordinates require a current screenshot with target-window geometry. Re-query get_app_state after "
    "screenshot capture is available.";
constexpr const char* noTargetWindow =
    "No visible target window for coordinate action. Re-query get_app_state after the target window is visible.";
constexpr const char* backgroundRightClick =
    "Background coordinate right-click is not reliable for this target because it can foreground the app or surface "
    "system context menus. Re-query get_app_state and use an element action such as Show Menu, Pick, or a "
    "foreground-confirmed element click instead.";

bool hasArea(const Size& size) { return size.width > 0 && size.height > 0; }

}  // namespace

void ScreenGeometry::requireFreshScreenshotGeometry(std::int32_t pid) const {
  const auto session = session_.currentSession();
  const bool isFresh = session && session->pid == pid && session->targetWindowBounds && session->screenshotPixelSize &&
                       hasArea(*session->screenshotPixelSize);
  if (!isFresh) throw ToolError::actionRejected(noGeometry);
}

Point ScreenGeometry::screenPointFromScreenshotCoordinates(Point pixel) const {
  const auto session = session_.currentSession();
  if (!session || !session->targetWindowBounds || !session->screenshotPixelSize) return pixel;
  const Rect& bounds = *session->targetWindowBounds;
  const Size& picture = *session->screenshotPixelSize;
  if (!hasArea(bounds.size) || !hasArea(picture)) return pixel;
  return {bounds.minX() + pixel.x / (picture.width / bounds.size.width),
          bounds.minY() + pixel.y / (picture.height / bounds.size.height)};
}

bool ScreenGeometry::coordinateMouseTargetIsBoundToApp(std::int32_t pid, Point point) const {
  const auto session = session_.currentSession();
  const bool isInTarget = session && session->pid == pid && session->targetWindowBounds &&
                          session->targetWindowBounds->contains(point);
  if (isInTarget) return true;
  const auto window = windows_.windowNumber(point, 0);
  return window && windows_.windowOwnerPID(*window) == pid;
}

void ScreenGeometry::requireBoundTarget(std::int32_t pid, Point point) const {
  if (!coordinateMouseTargetIsBoundToApp(pid, point)) rejectUnboundTarget();
}

void ScreenGeometry::rejectUnboundTarget() { throw ToolError::actionRejected(noTargetWindow); }

ScreenGeometry::TargetWindow ScreenGeometry::targetWindow(std::int32_t pid, Point point) const {
  const auto session = session_.currentSession();
  const bool isInTarget = session && session->pid == pid && session->targetWindowID && session->targetWindowBounds &&
                          session->targetWindowBounds->contains(point);
  if (isInTarget) return {session->targetWindowID, MouseEventTarget::TargetGeometry{*session->targetWindowBounds}};
  const auto window = windows_.windowNumber(point, 0);
  const auto frame = window ? windows_.windowFrame(*window) : std::nullopt;
  if (!frame) return {};
  return {window, MouseEventTarget::TargetGeometry{*frame}};
}

MouseEventTarget ScreenGeometry::mouseEventTarget(std::int32_t pid, Point point) const {
  const TargetWindow target = targetWindow(pid, point);
  return {events_, pid, target.windowID, target.geometry};
}

ScrollEventSynthesizer ScreenGeometry::scrollEventTarget(std::int32_t pid, Point point) const {
  const TargetWindow target = targetWindow(pid, point);
  return {events_, pid, target.windowID, target.geometry};
}

void ScreenGeometry::rejectBackgroundRightClickIfNeeded(std::int32_t pid) const {
  const auto frontmost = workspace_.frontmostApplication();
  if (!frontmost || frontmost->pid != pid) throw ToolError::actionRejected(backgroundRightClick);
}

}  // namespace tavik
