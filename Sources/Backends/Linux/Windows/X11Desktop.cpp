#include "Backends/Linux/Windows/X11Desktop.h"

#include "Backends/Linux/Windows/X11WindowList.h"

namespace tavik {

std::optional<std::vector<X11Window>> X11Desktop::windows() {
  return with([](X11Session& session) { return readWindows(session); });
}

std::optional<xcb_window_t> X11Desktop::activeWindow() {
  return with([](X11Session& session) {
    std::vector<std::uint32_t> active = session.numbers(session.root(), "_NET_ACTIVE_WINDOW");
    return active.empty() ? xcb_window_t{XCB_NONE} : active[0];
  });
}

}  // namespace tavik
