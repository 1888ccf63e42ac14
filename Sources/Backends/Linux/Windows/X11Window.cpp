#include "Backends/Linux/Windows/X11Window.h"

namespace tavik {

namespace {

constexpr int desktopLayer = -2147483603;
constexpr int ordinaryLayer = 0;
constexpr int dockLayer = 20;
constexpr int notificationLayer = 25;
constexpr int popupLayer = 101;

}  // namespace

Rect boundsWithoutShadow(Point origin, Size size, FrameExtents extents) {
  double width = size.width - extents.left - extents.right;
  double height = size.height - extents.top - extents.bottom;
  if (extents.left < 0 || extents.top < 0 || extents.right < 0 || extents.bottom < 0 || width < 1 ||
      height < 1) {
    return {origin, size};
  }
  return {{origin.x + extents.left, origin.y + extents.top}, {width, height}};
}

int layerOf(const X11Window& window) {
  switch (window.type) {
    case X11WindowType::desktop:
      return desktopLayer;
    case X11WindowType::dock:
      return dockLayer;
    case X11WindowType::notification:
      return notificationLayer;
    case X11WindowType::menu:
    case X11WindowType::tooltip:
      return popupLayer;
    case X11WindowType::normal:
    case X11WindowType::dialog:
    case X11WindowType::utility:
    case X11WindowType::toolbar:
    case X11WindowType::splash:
      break;
  }
  return window.isPopup ? popupLayer : ordinaryLayer;
}

}  // namespace tavik
