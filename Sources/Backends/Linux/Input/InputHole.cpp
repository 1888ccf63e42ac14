#include "Backends/Linux/Input/InputHole.h"

#include <xcb/shape.h>

#include <algorithm>
#include <cmath>

#include "Backends/Linux/Windows/X11WindowList.h"

namespace tavik {

InputHole::InputHole(X11Session& session, xcb_window_t toplevel, Point at) : session_(session) {
  if (!session.extensions().shape) return;
  const auto children = childrenOfRoot(session);
  const auto target = std::ranges::find(children, toplevel);
  if (target == children.end()) return;
  std::for_each(target + 1, children.end(), [&](xcb_window_t window) { pierce(window, at); });
}

InputHole::~InputHole() {
  xcb_connection_t* connection = session_.connection();
  for (const Pierced& pierced : pierced_) {
    if (pierced.shape.empty()) {
      xcb_shape_mask(connection, XCB_SHAPE_SO_SET, XCB_SHAPE_SK_INPUT, pierced.window, 0, 0, XCB_NONE);
    } else {
      xcb_shape_rectangles(connection, XCB_SHAPE_SO_SET, XCB_SHAPE_SK_INPUT, XCB_CLIP_ORDERING_UNSORTED,
                           pierced.window, 0, 0, static_cast<std::uint32_t>(pierced.shape.size()),
                           pierced.shape.data());
    }
  }
  xcb_flush(connection);
}

void InputHole::pierce(xcb_window_t window, Point at) {
  xcb_connection_t* connection = session_.connection();
  const auto attributesCookie = xcb_get_window_attributes(connection, window);
  const auto geometryCookie = xcb_get_geometry(connection, window);
  const auto shapeCookie = xcb_shape_get_rectangles(connection, window, XCB_SHAPE_SK_INPUT);
  const auto attributes = session_.reply(xcb_get_window_attributes_reply, attributesCookie);
  const auto geometry = session_.reply(xcb_get_geometry_reply, geometryCookie);
  const auto shape = session_.reply(xcb_shape_get_rectangles_reply, shapeCookie);
  if (!attributes || !geometry || !shape || attributes->map_state != XCB_MAP_STATE_VIEWABLE) return;
  const int border = geometry->border_width;
  const int x = static_cast<int>(std::lround(at.x)) - geometry->x - border;
  const int y = static_cast<int>(std::lround(at.y)) - geometry->y - border;
  if (x < -border || y < -border || x >= geometry->width + border || y >= geometry->height + border) return;

  const xcb_rectangle_t* first = xcb_shape_get_rectangles_rectangles(shape.get());
  std::vector<xcb_rectangle_t> rectangles(first, first + xcb_shape_get_rectangles_rectangles_length(shape.get()));
  const bool isWhole = rectangles.size() == 1 && rectangles[0].width == geometry->width + 2 * border &&
                       rectangles[0].height == geometry->height + 2 * border;
  pierced_.push_back({window, isWhole ? std::vector<xcb_rectangle_t>{} : std::move(rectangles)});
  const xcb_rectangle_t hole = {static_cast<std::int16_t>(x - 1), static_cast<std::int16_t>(y - 1), 3, 3};
  xcb_shape_rectangles(connection, XCB_SHAPE_SO_SUBTRACT, XCB_SHAPE_SK_INPUT, XCB_CLIP_ORDERING_UNSORTED, window, 0, 0,
                       1, &hole);
}

}  // namespace tavik
