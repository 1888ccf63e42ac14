#pragma once

#include "Backends/Linux/Windows/X11Session.h"

namespace tavik {

/// The window that the user works in; 0 when there is none.
xcb_window_t readActiveWindow(X11Session& session);

/// Asks the window manager to make the window active, in the words of a taskbar, so
/// that it takes it for the user's wish.
void requestActivation(X11Session& session, xcb_window_t window);

}  // namespace tavik
