#pragma once

#include <xcb/xcb.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Base/Geometry/Geometry.h"

namespace tavik {

/// What a window is for, as its application says.
enum class X11WindowType {
  normal,
  dialog,
  utility,
  desktop,
  dock,
  toolbar,
  splash,
  menu,
  tooltip,
  notification
};

/// Distances between a window's edges and those of what it draws as its frame:
/// the shadow that an application with its own title bar draws around itself.
struct FrameExtents {
  int left = 0;
  int right = 0;
  int top = 0;
  int bottom = 0;
  bool operator==(const FrameExtents&) const = default;
};

/// One window of an application, or a popup.
struct X11Window {
  xcb_window_t id = 0;
  /// The child of the root window that holds it: the window manager's frame, or
  /// the window itself.
  xcb_window_t toplevel = 0;
  /// 0 when unknown.
  std::int32_t pid = 0;
  std::string title;
  std::string instanceName;
  std::string className;
  /// What GTK applications call themselves on the session bus.
  std::string gtkApplicationID;
  X11WindowType type = X11WindowType::normal;
  /// The window without its shadow, in root coordinates; a title bar of the window
  /// manager lies outside.
  Rect bounds;
  /// Not managed by the window manager: a menu, a tooltip, an overlay.
  bool isPopup = false;
  /// Mapped, with all its ancestors.
  bool isViewable = false;
  /// Minimised, or the window manager shows it nowhere.
  bool isHidden = false;
  bool skipsTaskbar = false;

  bool isOnScreen() const { return isViewable && !isHidden; }
};

/// The part of a window of `size` at `origin` that is inside its shadow; the whole
/// window when the extents make no sense.
Rect boundsWithoutShadow(Point origin, Size size, FrameExtents extents);

/// The layer that the window server's list gives a window: 0 for ordinary windows
/// and dialogs, above it for docks, menus and popups, below it for the desktop.
int layerOf(const X11Window& window);

}  // namespace tavik
