#include "Backends/Linux/Input/SentEvents.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cmath>

namespace tavik::SentEvents {

namespace {

/// The X server's clock in milliseconds, which wraps around.
xcb_timestamp_t serverTime() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return static_cast<xcb_timestamp_t>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

/// Another for each event: applications tell a double click from two clicks by the
/// times, and Chromium takes two presses of one millisecond for the same.
xcb_timestamp_t nextTime() {
  static std::atomic<xcb_timestamp_t> last = serverTime() - 1;
  xcb_timestamp_t before = last;
  xcb_timestamp_t next = 0;
  do {
    const xcb_timestamp_t now = serverTime();
    const bool isLater = static_cast<std::int32_t>(now - before) > 0;
    next = isLater ? now : before + 1;
  } while (!last.compare_exchange_weak(before, next));
  return next;
}

template <class Event>
void send(X11Session& session, xcb_window_t window, const Event& event) {
  std::array<char, 32> bytes{};
  static_assert(sizeof(Event) <= 32);
  std::copy_n(reinterpret_cast<const char*>(&event), sizeof event, bytes.begin());
  xcb_send_event(session.connection(), 0, window, XCB_EVENT_MASK_NO_EVENT, bytes.data());
}

/// Motion, button and key events have one shape.
template <class Event>
Event pointed(X11Session& session, xcb_window_t window, Point at, std::uint8_t type, std::uint16_t state) {
  Event event{};
  event.response_type = type;
  event.time = nextTime();
  event.root = session.root();
  event.event = window;
  event.child = XCB_NONE;
  event.root_x = static_cast<std::int16_t>(std::lround(at.x));
  event.root_y = static_cast<std::int16_t>(std::lround(at.y));
  event.state = state;
  event.same_screen = 1;
  const auto local = session.reply(
      xcb_translate_coordinates_reply,
      xcb_translate_coordinates(session.connection(), session.root(), window, event.root_x, event.root_y));
  if (local) {
    event.event_x = local->dst_x;
    event.event_y = local->dst_y;
  }
  return event;
}

}  // namespace

void focus(X11Session& session, xcb_window_t window, bool isIn) {
  xcb_focus_in_event_t event{};
  event.response_type = isIn ? XCB_FOCUS_IN : XCB_FOCUS_OUT;
  event.detail = XCB_NOTIFY_DETAIL_NONLINEAR;
  event.event = window;
  event.mode = XCB_NOTIFY_MODE_NORMAL;
  send(session, window, event);
}

void motion(X11Session& session, xcb_window_t window, Point at, std::uint16_t state) {
  send(session, window, pointed<xcb_motion_notify_event_t>(session, window, at, XCB_MOTION_NOTIFY, state));
}

void button(X11Session& session, xcb_window_t window, Point at, std::uint8_t number, bool isPress,
            std::uint16_t state) {
  const std::uint8_t type = isPress ? XCB_BUTTON_PRESS : XCB_BUTTON_RELEASE;
  auto event = pointed<xcb_button_press_event_t>(session, window, at, type, state);
  event.detail = number;
  send(session, window, event);
}

void key(X11Session& session, xcb_window_t window, std::uint8_t keycode, bool isPress, std::uint16_t state) {
  const std::uint8_t type = isPress ? XCB_KEY_PRESS : XCB_KEY_RELEASE;
  auto event = pointed<xcb_key_press_event_t>(session, window, {}, type, state);
  event.detail = keycode;
  send(session, window, event);
}

}  // namespace tavik::SentEvents
