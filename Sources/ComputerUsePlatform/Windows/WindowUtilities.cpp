#include "ComputerUsePlatform/Windows/WindowUtilities.h"

#include <algorithm>
#include <vector>

namespace tavik {

bool WindowUtilities::isWindowValid(std::uint32_t windowID) { return record(windowID).has_value(); }

std::optional<Rect> WindowUtilities::windowFrame(std::uint32_t windowID) {
  const auto window = record(windowID);
  return window ? window->bounds : std::nullopt;
}

std::optional<std::int32_t> WindowUtilities::windowOwnerPID(std::uint32_t windowID) {
  const auto window = record(windowID);
  return window ? window->ownerPID : std::nullopt;
}

std::optional<std::uint32_t> WindowUtilities::windowNumber(Point at, std::uint32_t belowWindowID) {
  using namespace WindowListOption;
  const auto windows = broker_.copyWindowInfo(onScreenOnly | excludeDesktopElements, 0, "windowNumberAtPoint");
  bool isBelow = belowWindowID == 0;
  for (const WindowRecord& window : windows.value_or(std::vector<WindowRecord>())) {
    if (isBelow && window.windowID && window.bounds && window.bounds->contains(at)) return window.windowID;
    if (window.windowID == belowWindowID) isBelow = true;
  }
  return std::nullopt;
}

std::optional<ScreenRecord> WindowUtilities::screen(Point containing) {
  const auto screens = port_.screens();
  const auto found =
      std::ranges::find_if(screens, [&](const ScreenRecord& screen) { return screen.frame.contains(containing); });
  return found == screens.end() ? std::nullopt : std::optional(*found);
}

std::optional<WindowRecord> WindowUtilities::record(std::uint32_t windowID) {
  if (windowID == 0) return std::nullopt;
  const auto windows = broker_.copyWindowInfo(0, windowID, "windowUtilities");
  if (!windows) return std::nullopt;
  const auto found = std::ranges::find(*windows, std::optional(windowID), &WindowRecord::windowID);
  return found == windows->end() ? std::nullopt : std::optional(*found);
}

}  // namespace tavik
