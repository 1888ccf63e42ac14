#include "ComputerUsePlatform/Capture/TargetWindow.h"

#include <algorithm>
#include <array>
#include <vector>

#include "Base/Text/Text.h"

namespace tavik {

namespace {

using namespace WindowListOption;

constexpr double smallestSide = 16;
constexpr double stripHeight = 160;
constexpr double stripProportion = 8;

struct WindowList {
  std::uint32_t options;
  const char* reason;
};

/// Where a target is looked for, the likeliest list first.
constexpr std::array<WindowList, 3> searchedLists = {{
    {onScreenOnly | excludeDesktopElements, "applicationSnapshotRequestVisibleNonDesktopWindows"},
    {excludeDesktopElements, "applicationSnapshotRequestNonDesktopWindows"},
    {onScreenOnly, "applicationSnapshotRequestOnScreenWindows"},
}};

std::vector<TargetWindowCandidate> candidatesIn(const WindowList& list, WindowServerWindowSnapshot& windows) {
  std::vector<TargetWindowCandidate> candidates;
  const auto records = windows.copyWindowInfo(list.options, 0, list.reason);
  for (const WindowRecord& record : records.value_or(std::vector<WindowRecord>())) {
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

constexpr Filter onScreenAndOrdinary{true, true};
constexpr std::array<Filter, 3> filters = {onScreenAndOrdinary, Filter{false, true}, Filter{true, false}};

template <class Matches>
std::optional<TargetWindowCandidate> firstCandidate(WindowServerWindowSnapshot& windows, Matches matches) {
  for (const WindowList& list : searchedLists) {
    for (const TargetWindowCandidate& window : candidatesIn(list, windows)) {
      if (matches(window)) return window;
    }
  }
  return std::nullopt;
}

}  // namespace

std::optional<TargetWindowCandidate> preferredTargetWindowCandidate(std::int32_t pid,
                                                                    WindowServerWindowSnapshot& windows) {
  std::optional<TargetWindowCandidate> strip;
  for (const WindowList& list : searchedLists) {
    const auto candidates = candidatesIn(list, windows);
    for (const Filter& filter : filters) {
      for (const TargetWindowCandidate& window : candidates) {
        if (!isUsable(window, pid) || !filter.passes(window)) continue;
        if (!isAuxiliaryStrip(window)) return window;
        if (!strip) strip = window;
      }
    }
  }
  return strip;
}

std::optional<TargetWindowCandidate> targetWindowSnapshot(std::uint32_t windowID, std::int32_t pid,
                                                          WindowServerWindowSnapshot& windows) {
  const auto exact = firstCandidate(windows, [&](const TargetWindowCandidate& window) {
    return window.windowID == windowID && isUsable(window, pid) && onScreenAndOrdinary.passes(window);
  });
  return exact ? exact : preferredTargetWindowCandidate(pid, windows);
}

std::optional<TargetWindowCandidate> targetWindowCandidateFromSnapshot(std::uint32_t windowID,
                                                                       WindowServerWindowSnapshot& windows) {
  return firstCandidate(windows, [&](const TargetWindowCandidate& window) { return window.windowID == windowID; });
}

}  // namespace tavik
