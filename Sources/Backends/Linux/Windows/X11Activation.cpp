#include "Backends/Linux/Windows/X11Activation.h"

#include <algorithm>
#include <array>

namespace tavik {

xcb_window_t readActiveWindow(X11Session& session) {
  const auto active = session.numbers(session.root(), "_NET_ACTIVE_WINDOW");
  return active.empty() ? XCB_NONE : active[0];
}

void requestActivation(X11Session& session, xcb_window_t window) {
  constexpr std::uint32_t fromTaskbar = 2;
  xcb_client_message_event_t message{};
  message.response_type = XCB_CLIENT_MESSAGE;
  message.format = 32;
  message.window = window;
  message.type = session.atom("_NET_ACTIVE_WINDOW");
  message.data.data32[0] = fromTaskbar;
  message.data.data32[1] = XCB_CURRENT_TIME;
  std::array<char, 32> event{};
  std::copy_n(reinterpret_cast<const char*>(&message), sizeof message, event.begin());
  xcb_send_event(session.connection(), 0, session.root(),
                 XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT, event.data());
  xcb_flush(session.connection());
}

}  // namespace tavik
