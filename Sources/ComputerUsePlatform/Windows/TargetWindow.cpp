#include "ComputerUsePlatform/Windows/TargetWindow.h"

#include <algorithm>
#include <vector>

#include "Base/Text/Text.h"

namespace tavik {

namespace {

constexpr double smallestSide = 16;
constexpr double stripHeight = 160;
constexpr double stripProportion = 8;

std::vector<TargetWindowCandidate> candidatesIn(const std::vector<WindowRecord>& records) {
  std::vector<TargetWindowCandidate> candidates;
  for (const WindowRecord& record : records) {
    if (!record.windowID || !record.ownerPID || !record.bounds) continue;
    candidates.push_back({*record.windowID, *record.ownerPID, record.layer, record.isOnScreen, *record.bounds,
                          record.name});
  }
  return candidates;
}

bool isUsable(const TargetWindowCandidate& window, std::int32_t pid) {
  return window.ownerPID == pid && window.windowID != 0 && window.bounds.size.width >= smallestSide &&
         window.bounds.size.height >= smallestSide;
}

bool isAuxiliaryStrip(const TargetWindowCandidate& window) {
  const Size& size = window.bounds.size;
  return text::isBlank(window.title.value_or("")) && size.height < stripHeight &&
         size.width > stripProportion * size.height;
}

struct Filter {
  bool requiresOnScreen;
  bool requiresOrdinaryLayer;

  bool passes(const TargetWindowCandidate& window) const {
    return (!requiresOnScreen || window.isOnScreen) && (!requiresOrdinaryLayer || window.layer == 0);
  }
};

}  // namespace

std::optional<TargetWindowCandidate> preferredTargetWindowCandidate(std::int32_t pid,
                                                                    WindowServerWindowSnapshot& windows) {
  using namespace WindowListOption;
  std::optional<TargetWindowCandidate> strip;
  for (std::uint32_t options : {onScreenOnly | excludeDesktopElements, excludeDesktopElements, onScreenOnly}) {
    const auto candidates = candidatesIn(windows.copyWindowInfo(options).value_or(std::vector<WindowRecord>{}));
    for (Filter filter : {Filter{true, true}, Filter{false, true}, Filter{true, false}}) {
      for (const TargetWindowCandidate& window : candidates) {
        if (!isUsable(window, pid) || !filter.passes(window)) continue;
        if (!isAuxiliaryStrip(window)) return window;
        if (!strip) strip = window;
      }
    }
  }
  return strip;
}

}  // namespace tavik
