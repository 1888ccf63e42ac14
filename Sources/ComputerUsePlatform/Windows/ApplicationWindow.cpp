#include "ComputerUsePlatform/Windows/ApplicationWindow.h"

#include <algorithm>

#include "AccessibilitySupport/Access/AXAttributes.h"
#include "AccessibilitySupport/Access/LiveElementReader.h"
#include "SlimCore/Logging/TavikComputerUseLogger.h"

namespace tavik {

namespace {

using CGWindowInfo = ApplicationWindow::CGWindowInfo;

constexpr double smallestSide = 16;
constexpr double equalFramesScore = 1'000'000'000;
constexpr double mostlyOverlappingScore = 10'000;
constexpr const char* listReason = "applicationWindowList";
constexpr const char* boundsReason = "applicationWindowBounds";
constexpr const char* pointReason = "applicationWindowAtPoint";

std::optional<CGWindowInfo> windowInfo(const WindowRecord& record) {
  if (!record.windowID || !record.ownerPID || !record.bounds) return std::nullopt;
  return CGWindowInfo{*record.windowID, record.name, *record.bounds, record.isOnScreen, record.layer, *record.ownerPID};
}

bool hasUsableSize(const Rect& bounds) {
  return bounds.size.width >= smallestSide && bounds.size.height >= smallestSide;
}

double overlapScore(const Rect& window, const Rect& axWindow) {
  const double overlap = window.intersection(axWindow).area();
  double score = overlap;
  if (window == axWindow) score += equalFramesScore;
  if (overlap > std::min(window.area(), axWindow.area()) / 2) score += mostlyOverlappingScore;
  return score;
}

bool haveTheSameTitle(const std::optional<std::string>& a, const std::optional<std::string>& b) {
  return a && b && !a->empty() && *a == *b;
}

}  // namespace

std::vector<ApplicationWindow> ApplicationWindows::windowsForPID(std::int32_t pid,
                                                                 WindowServerWindowSnapshot* windows) {
  using namespace WindowListOption;
  std::vector<CGWindowInfo> found;
  const auto add = [&](const std::vector<CGWindowInfo>& list) {
    for (const auto& window : list) {
      const auto isSame = [&](const CGWindowInfo& known) { return known.windowID == window.windowID; };
      if (std::ranges::none_of(found, isSame)) found.push_back(window);
    }
  };
  add(getCGWindowsForPID(pid, onScreenOnly | excludeDesktopElements, false, true, windows));
  add(getCGWindowsForPID(pid, excludeDesktopElements, false, false, windows));
  add(getCGWindowsForPID(pid, onScreenOnly, true, true, windows));

  const auto candidates = axWindows(pid);
  bool fallbackIsUsed = false;
  std::vector<ApplicationWindow> joined;
  for (const auto& window : found) {
    auto axWindow = bestMatchingAXWindow(window, candidates);
    if (!axWindow) {
      const auto skip = [&](const char* event, const char* reason) {
        TavikComputerUseLogger::debug(LogCategory::windows, event,
                                      {{"targetPid", pid}, {"windowId", window.windowID}, {"reason", reason}});
      };
      if (fallbackIsUsed) {
        skip("window_match_skipped", "fallback_already_used");
        continue;
      }
      axWindow = fallbackWindow(pid);
      if (!axWindow) {
        skip("window_match_failed", "no_fallback");
        continue;
      }
      fallbackIsUsed = true;
    }
    joined.push_back({*axWindow, window.windowID, std::nullopt, pid, window.name, window.bounds, window.isOnScreen,
                      window.layer});
  }
  return joined;
}

std::optional<ApplicationWindow> ApplicationWindows::window(std::int32_t pid, std::uint32_t windowID,
                                                            WindowServerWindowSnapshot* windows) {
  for (auto& window : windowsForPID(pid, windows)) {
    if (window.windowID == windowID) return std::move(window);
  }
  return std::nullopt;
}

void ApplicationWindows::refresh(ApplicationWindow& window) {
  const auto records = broker_.copyWindowInfo(0, window.windowID, boundsReason);
  if (!records) return;
  const auto found = std::ranges::find(*records, std::optional(window.windowID), &WindowRecord::windowID);
  window.isOnScreen = found != records->end() && found->isOnScreen;
  if (found != records->end() && found->bounds) window.bounds = *found->bounds;
}

std::optional<ApplicationWindow> ApplicationWindows::windowAtPoint(Point point) {
  const auto info = cgWindowAtPoint(point);
  return info ? window(info->ownerPID, info->windowID, nullptr) : std::nullopt;
}

std::vector<CGWindowInfo> ApplicationWindows::getCGWindowsForPID(std::int32_t pid, std::uint32_t options,
                                                                 bool allowsNonOrdinaryLayer, bool requiresOnScreen,
                                                                 WindowServerWindowSnapshot* windows) {
  const auto records = windows ? windows->copyWindowInfo(options, 0, listReason)
                               : broker_.copyWindowInfo(options, 0, listReason);
  std::vector<CGWindowInfo> found;
  for (const WindowRecord& record : records.value_or(std::vector<WindowRecord>())) {
    const auto info = windowInfo(record);
    if (!info || info->ownerPID != pid || info->windowID == 0) continue;
    if (info->layer != 0 && !allowsNonOrdinaryLayer) continue;
    if (!info->isOnScreen && requiresOnScreen) continue;
    if (hasUsableSize(info->bounds)) found.push_back(*info);
  }
  return found;
}

std::optional<Rect> ApplicationWindows::getCGWindowBounds(std::uint32_t windowID) {
  const auto records = broker_.copyWindowInfo(0, windowID, boundsReason);
  if (!records) return std::nullopt;
  const auto found = std::ranges::find(*records, std::optional(windowID), &WindowRecord::windowID);
  return found == records->end() ? std::nullopt : found->bounds;
}

std::optional<CGWindowInfo> ApplicationWindows::cgWindowAtPoint(Point point) {
  using namespace WindowListOption;
  const auto records = broker_.copyWindowInfo(onScreenOnly | excludeDesktopElements, 0, pointReason);
  for (const WindowRecord& record : records.value_or(std::vector<WindowRecord>())) {
    const auto info = windowInfo(record);
    if (info && info->bounds.contains(point)) return info;
  }
  return std::nullopt;
}

std::optional<std::uint32_t> ApplicationWindows::cgWindowIDAtPoint(Point point) {
  const auto info = cgWindowAtPoint(point);
  return info ? std::optional(info->windowID) : std::nullopt;
}

std::optional<AXElement> ApplicationWindows::bestMatchingAXWindow(const CGWindowInfo& window,
                                                                  const std::vector<AXElement>& axWindows) {
  const LiveElementReader reader(access_);
  std::optional<AXElement> best;
  double bestScore = 0;
  for (const AXElement& axWindow : axWindows) {
    const auto frame = reader.frame(axWindow);
    const bool hasSize = frame && frame->size.width > 0 && frame->size.height > 0;
    const double score = hasSize ? overlapScore(window.bounds, *frame) : 0;
    if (score > 0 && haveTheSameTitle(window.name, reader.string(axWindow, AXAttributes::title))) return axWindow;
    if (score > bestScore) {
      bestScore = score;
      best = axWindow;
    }
  }
  return best;
}

std::vector<AXElement> ApplicationWindows::axWindows(std::int32_t pid) {
  const LiveElementReader reader(access_);
  const AXElement application = access_.port().createApplication(pid);
  auto windows = reader.elements(application, "AXWindows");
  for (const char* attribute : {"AXFocusedWindow", "AXMainWindow"}) {
    const AXElement window = reader.element(application, attribute);
    if (window && std::ranges::find(windows, window) == windows.end()) windows.push_back(window);
  }
  return windows;
}

std::optional<AXElement> ApplicationWindows::fallbackWindow(std::int32_t pid) {
  const LiveElementReader reader(access_);
  const AXElement application = access_.port().createApplication(pid);
  for (const char* attribute : {"AXFocusedWindow", "AXMainWindow"}) {
    if (const AXElement window = reader.element(application, attribute)) return window;
  }
  return std::nullopt;
}

}  // namespace tavik
