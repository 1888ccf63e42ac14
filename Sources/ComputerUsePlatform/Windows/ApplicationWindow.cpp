#include "ComputerUsePlatform/Windows/ApplicationWindow.h"

#include <algorithm>

#include "AccessibilitySupport/Access/AXAttributes.h"

namespace tavik {

namespace {

constexpr double equalFramesScore = 1'000'000'000;
constexpr double mostlyOverlappingScore = 10'000;

double overlapScore(const Rect& window, const Rect& axWindow) {
  const double overlap = window.intersection(axWindow).area();
  double score = overlap;
  if (window == axWindow) score += equalFramesScore;
  if (overlap > std::min(window.area(), axWindow.area()) / 2) score += mostlyOverlappingScore;
  return score;
}

std::optional<std::string> titleOf(AXWrapper& access, const AXElement& axWindow) {
  auto value = access.copyAttributeValueOptional(axWindow, AXAttributes::title);
  const auto* title = value ? value->get<std::string>() : nullptr;
  return title ? std::optional(*title) : std::nullopt;
}

}  // namespace

std::optional<Rect> ApplicationWindow::frameOf(AXWrapper& access, const AXElement& axWindow) {
  auto position = access.copyAttributeValueOptional(axWindow, AXAttributes::position);
  auto size = access.copyAttributeValueOptional(axWindow, AXAttributes::size);
  const auto* origin = position ? position->get<Point>() : nullptr;
  const auto* extent = size ? size->get<Size>() : nullptr;
  if (!origin || !extent || extent->width <= 0 || extent->height <= 0) return std::nullopt;
  return Rect{*origin, *extent};
}

std::optional<AXElement> ApplicationWindow::bestMatchingAXWindow(AXWrapper& access, const Rect& bounds,
                                                                 const std::optional<std::string>& name,
                                                                 const std::vector<AXElement>& axWindows) {
  std::optional<AXElement> best;
  double bestScore = 0;
  for (const AXElement& axWindow : axWindows) {
    const auto frame = frameOf(access, axWindow);
    const double score = frame ? overlapScore(bounds, *frame) : 0;
    if (score > 0 && name && titleOf(access, axWindow) == name) return axWindow;
    if (score > bestScore) {
      bestScore = score;
      best = axWindow;
    }
  }
  return best;
}

std::vector<AXElement> ApplicationWindow::axWindows(AXWrapper& access, std::int32_t pid) {
  const AXElement application = access.port().createApplication(pid);
  std::vector<AXElement> windows;
  auto append = [&](const AXValue& value) {
    const auto* window = value.get<AXElement>();
    if (window && *window && std::find(windows.begin(), windows.end(), *window) == windows.end()) {
      windows.push_back(*window);
    }
  };
  if (auto listed = access.copyAttributeValueOptional(application, "AXWindows")) {
    if (const auto* array = listed->get<AXArray>()) std::for_each(array->begin(), array->end(), append);
  }
  for (const char* attribute : {"AXFocusedWindow", "AXMainWindow"}) {
    if (auto window = access.copyAttributeValueOptional(application, attribute)) append(*window);
  }
  return windows;
}

}  // namespace tavik
