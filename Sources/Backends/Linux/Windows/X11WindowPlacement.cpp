#include "Backends/Linux/Windows/X11WindowPlacement.h"

#include <unistd.h>

#include <cmath>

namespace tavik {

namespace {

double difference(Size a, Size b) {
  return std::abs(a.width - b.width) + std::abs(a.height - b.height);
}

}  // namespace

const X11Window* windowOfProcess(const std::vector<X11Window>& windows, std::int32_t pid,
                                 const std::string& title, Size size) {
  const X11Window* best = nullptr;
  bool bestHasTitle = false;
  for (const X11Window& window : windows) {
    if (window.pid != pid) continue;
    bool hasTitle = !title.empty() && window.title == title;
    bool isNearer =
        best == nullptr || difference(window.bounds.size, size) < difference(best->bounds.size, size);
    if (hasTitle != bestHasTitle ? hasTitle : isNearer) {
      best = &window;
      bestHasTitle = hasTitle;
    }
  }
  return best;
}

std::optional<PlacedWindow> X11WindowPlacement::window(std::int32_t pid, const std::string& title,
                                                       Size size) {
  std::vector<X11Window> windows = desktop_.windows().value_or(std::vector<X11Window>{});
  const X11Window* window = windowOfProcess(windows, pid, title, size);
  if (window == nullptr) return std::nullopt;
  return PlacedWindow{.frame = window->bounds, .title = window->title};
}

std::optional<std::int32_t> X11WindowPlacement::frontmostProcess(Point point) {
  for (const X11Window& window : desktop_.windows().value_or(std::vector<X11Window>{})) {
    if (window.pid == getpid() || !window.isOnScreen() || !window.bounds.contains(point)) continue;
    return window.pid > 0 ? std::optional(window.pid) : std::nullopt;
  }
  return std::nullopt;
}

}  // namespace tavik
