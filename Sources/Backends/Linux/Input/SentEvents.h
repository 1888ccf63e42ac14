#pragma once

#include <cstdint>

#include "Backends/Linux/Windows/X11Session.h"
#include "Base/Geometry/Geometry.h"

namespace tavik {

/// Core events that are sent to the client of one window and to nobody else: without
/// a mask an event goes to whoever made the window. Points are in root coordinates;
/// `state` holds X modifier and button bits and, in bits 13 and 14, the group of the
/// keymap.
namespace SentEvents {

void focus(X11Session& session, xcb_window_t window, bool isIn);
void motion(X11Session& session, xcb_window_t window, Point at, std::uint16_t state);
void button(X11Session& session, xcb_window_t window, Point at, std::uint8_t number, bool isPress,
            std::uint16_t state);
void key(X11Session& session, xcb_window_t window, std::uint8_t keycode, bool isPress, std::uint16_t state);

}  // namespace SentEvents

}  // namespace tavik
