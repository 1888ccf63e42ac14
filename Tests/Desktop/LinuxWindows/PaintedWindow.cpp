#include "PaintedWindow.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

#include "ChildProcess.h"

namespace tavik::test {

namespace {

template <class Reply>
std::unique_ptr<Reply, decltype(&std::free)> owned(Reply* reply) {
  return {reply, &std::free};
}

}  // namespace

PaintedWindow::PaintedWindow(Options options)
    : options_(options), connection_(xcb_connect(nullptr, nullptr)) {
  xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data;
  root_ = screen->root;
  window_ = xcb_generate_id(connection_);
  std::uint32_t values[] = {options.background.value_or(XCB_BACK_PIXMAP_NONE), options.isPopup ? 1u : 0u,
                            XCB_EVENT_MASK_EXPOSURE | XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_BUTTON_PRESS};
  auto x = static_cast<std::int16_t>(options.x), y = static_cast<std::int16_t>(options.y);
  auto width = static_cast<std::uint16_t>(options.width), height = static_cast<std::uint16_t>(options.height);
  xcb_create_window(connection_, XCB_COPY_FROM_PARENT, window_, root_, x, y, width, height, 0,
                    XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT,
                    (options.background ? XCB_CW_BACK_PIXEL : XCB_CW_BACK_PIXMAP) |
                        XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK,
                    values);
  setText("_NET_WM_NAME", options.title);
  setText("WM_CLASS", std::string("painted") + '\0' + "Painted" + '\0');
  if (options.setsPID) {
    auto pid = static_cast<std::uint32_t>(getpid());
    xcb_change_property(connection_, XCB_PROP_MODE_REPLACE, window_, atom("_NET_WM_PID"), XCB_ATOM_CARDINAL,
                        32, 1, &pid);
  }
  xcb_atom_t type = atom("_NET_WM_WINDOW_TYPE_" + options.type);
  xcb_change_property(connection_, XCB_PROP_MODE_REPLACE, window_, atom("_NET_WM_WINDOW_TYPE"), XCB_ATOM_ATOM,
                      32, 1, &type);
  // The position is the user's wish, which window managers obey.
  std::uint32_t normalHints[18] = {1u | 4u, static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(y)};
  xcb_change_property(connection_, XCB_PROP_MODE_REPLACE, window_, XCB_ATOM_WM_NORMAL_HINTS,
                      XCB_ATOM_WM_SIZE_HINTS, 32, 18, normalHints);
  paint_ = xcb_generate_id(connection_);
  xcb_create_gc(connection_, paint_, window_, XCB_GC_FOREGROUND, &options.color);
  xcb_map_window(connection_, window_);
  xcb_flush(connection_);
  painter_ = std::thread([this] { paintUntilClosed(); });
  eventually([this] { return isPainted_.load(); });
}

PaintedWindow::~PaintedWindow() {
  xcb_destroy_window(connection_, window_);
  xcb_flush(connection_);
  painter_.join();
  // The next connection may give its window the same number: the window manager has
  // to know first that this one has gone.
  eventually([this] { return !isManaged(); });
  xcb_disconnect(connection_);
}

bool PaintedWindow::isManaged() {
  auto list = owned(xcb_get_property_reply(
      connection_,
      xcb_get_property(connection_, 0, root_, atom("_NET_CLIENT_LIST"), XCB_ATOM_WINDOW, 0, 1024), nullptr));
  if (!list) return false;
  const auto* windows = static_cast<const xcb_window_t*>(xcb_get_property_value(list.get()));
  int count = xcb_get_property_value_length(list.get()) / static_cast<int>(sizeof *windows);
  return std::find(windows, windows + count, window_) != windows + count;
}

void PaintedWindow::minimise() {
  sendToRoot("WM_CHANGE_STATE", 3, 0);
}

void PaintedWindow::activate() {
  sendToRoot("_NET_ACTIVE_WINDOW", 2, XCB_CURRENT_TIME);
}

void PaintedWindow::raise() {
  std::uint32_t above = XCB_STACK_MODE_ABOVE;
  xcb_configure_window(connection_, window_, XCB_CONFIG_WINDOW_STACK_MODE, &above);
  xcb_flush(connection_);
}

xcb_atom_t PaintedWindow::atom(const std::string& name) {
  auto length = static_cast<std::uint16_t>(name.size());
  return owned(xcb_intern_atom_reply(connection_, xcb_intern_atom(connection_, 0, length, name.c_str()),
                                     nullptr))
      ->atom;
}

void PaintedWindow::setText(const std::string& property, const std::string& text) {
  xcb_atom_t type = property == "WM_CLASS" ? xcb_atom_t{XCB_ATOM_STRING} : atom("UTF8_STRING");
  xcb_change_property(connection_, XCB_PROP_MODE_REPLACE, window_, atom(property), type, 8,
                      static_cast<std::uint32_t>(text.size()), text.data());
}

void PaintedWindow::sendToRoot(const std::string& message, std::uint32_t first, std::uint32_t second) {
  xcb_client_message_event_t event{};
  event.response_type = XCB_CLIENT_MESSAGE;
  event.format = 32;
  event.window = window_;
  event.type = atom(message);
  event.data.data32[0] = first;
  event.data.data32[1] = second;
  xcb_send_event(connection_, 0, root_,
                 XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                 reinterpret_cast<const char*>(&event));
  xcb_flush(connection_);
}

void PaintedWindow::paintUntilClosed() {
  while (auto event = owned(xcb_wait_for_event(connection_))) {
    int type = event->response_type & ~0x80;
    if (type == XCB_DESTROY_NOTIFY) return;
    if (type == XCB_BUTTON_PRESS) presses_ += reinterpret_cast<const xcb_button_press_event_t&>(*event).detail == 1;
    if (type != XCB_EXPOSE) continue;
    if (!options_.isHung) {
      if (isPainted_) std::this_thread::sleep_for(options_.repaintDelay);
      const auto& area = reinterpret_cast<const xcb_expose_event_t&>(*event);
      xcb_rectangle_t exposed{static_cast<std::int16_t>(area.x), static_cast<std::int16_t>(area.y),
                              area.width, area.height};
      xcb_poly_fill_rectangle(connection_, window_, paint_, 1, &exposed);
    }
    // An answer proves that the server has done what was asked before.
    owned(xcb_get_input_focus_reply(connection_, xcb_get_input_focus(connection_), nullptr));
    isPainted_ = true;
  }
}

}  // namespace tavik::test
