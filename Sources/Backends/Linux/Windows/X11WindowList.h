#pragma once

#include <vector>

#include "Backends/Linux/Windows/X11Session.h"
#include "Backends/Linux/Windows/X11Window.h"

namespace tavik {

/// All windows from front to back: those that the window manager manages, shown or
/// minimised, and whatever else is mapped on the root window. Costs a handful of
/// round trips, however many windows there are.
std::vector<X11Window> readWindows(X11Session& session);

/// The one window; absent when there is no such window.
std::optional<X11Window> readWindow(X11Session& session, xcb_window_t window);

/// The windows on the root window, the lowest first.
std::vector<xcb_window_t> childrenOfRoot(X11Session& session);

}  // namespace tavik
