#pragma once

#include <vector>

#include "Backends/Linux/Windows/X11Session.h"
#include "Base/Geometry/Geometry.h"

namespace tavik {

/// Lets a second pointer through to a covered window: while it lives, the windows
/// above take no input in a spot of three by three pixels. For the thread that uses
/// the session.
class InputHole {
 public:
  /// `toplevel` is the child of the root window that is to be reached.
  InputHole(X11Session& session, xcb_window_t toplevel, Point at);
  ~InputHole();
  InputHole(const InputHole&) = delete;
  InputHole& operator=(const InputHole&) = delete;

 private:
  struct Pierced {
    xcb_window_t window = XCB_NONE;
    /// Its input shape; empty when it is the whole window.
    std::vector<xcb_rectangle_t> shape;
  };

  void pierce(xcb_window_t window, Point at);

  X11Session& session_;
  std::vector<Pierced> pierced_;
};

}  // namespace tavik
