#include "Backends/Linux/Input/X11Keyboard.h"

// The header of xcb's keyboard extension has a member of that name.
#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit
#include <xkbcommon/xkbcommon-x11.h>

#include <utility>

namespace tavik {

namespace {

constexpr std::uint16_t ofTheCoreKeyboard = XCB_XKB_ID_USE_CORE_KBD;

bool useKeyboardExtension(X11Session& session) {
  return xkb_x11_setup_xkb_extension(session.connection(), XKB_X11_MIN_MAJOR_XKB_VERSION,
                                     XKB_X11_MIN_MINOR_XKB_VERSION, XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS, nullptr,
                                     nullptr, nullptr, nullptr) == 1;
}

/// Asks to be told of another keymap and of another group in it.
bool selectLayoutChanges(X11Session& session) {
  if (!useKeyboardExtension(session)) return false;
  constexpr std::uint16_t events =
      XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY | XCB_XKB_EVENT_TYPE_MAP_NOTIFY | XCB_XKB_EVENT_TYPE_STATE_NOTIFY;
  constexpr std::uint16_t mapParts = XCB_XKB_MAP_PART_KEY_TYPES | XCB_XKB_MAP_PART_KEY_SYMS |
                                     XCB_XKB_MAP_PART_MODIFIER_MAP | XCB_XKB_MAP_PART_VIRTUAL_MODS;
  xcb_xkb_select_events_details_t details{};
  details.affectNewKeyboard = details.newKeyboardDetails = XCB_XKB_NKN_DETAIL_KEYCODES;
  details.affectState = details.stateDetails = XCB_XKB_STATE_PART_GROUP_STATE;
  xcb_xkb_select_events_aux(session.connection(), ofTheCoreKeyboard, events, 0, 0, mapParts, mapParts, &details);
  return xcb_flush(session.connection()) > 0;
}

}  // namespace

std::shared_ptr<const XkbLayout> X11Keyboard::readLayout(X11Session& session) {
  if (!useKeyboardExtension(session)) return nullptr;
  xcb_connection_t* connection = session.connection();
  const std::int32_t device = xkb_x11_get_core_keyboard_device_id(connection);
  xkb_context* context = device < 0 ? nullptr : xkb_context_new(XKB_CONTEXT_NO_FLAGS);
  if (!context) return nullptr;
  std::shared_ptr<const XkbLayout> layout;
  xkb_keymap* keymap = xkb_x11_keymap_new_from_device(context, connection, device, XKB_KEYMAP_COMPILE_NO_FLAGS);
  xkb_state* state = keymap ? xkb_x11_state_new_from_device(keymap, connection, device) : nullptr;
  if (state) {
    const auto group = xkb_state_serialize_layout(state, XKB_STATE_LAYOUT_EFFECTIVE);
    layout = std::make_shared<const XkbLayout>(keymap, group);
  }
  xkb_state_unref(state);
  xkb_keymap_unref(keymap);
  xkb_context_unref(context);
  return layout;
}

std::optional<KeyboardLayoutSnapshot> X11Keyboard::copyCurrentLayout() {
  listenAgainIfNeeded();
  auto layout = desktop_.with(readLayout).value_or(nullptr);
  if (!layout) return std::nullopt;
  return KeyboardLayoutSnapshot{std::move(layout)};
}

void X11Keyboard::setLayoutChangedHandler(std::function<void()> handler) {
  std::lock_guard lock(mutex_);
  listener_.reset();
  handler_ = std::move(handler);
  listen();
}

/// The server may have come only now, or have come back.
void X11Keyboard::listenAgainIfNeeded() {
  std::lock_guard lock(mutex_);
  if (listener_ && !listener_->hasEnded()) return;
  listener_.reset();
  listen();
}

void X11Keyboard::listen() {
  if (!handler_) return;
  auto session = X11Session::open();
  if (!session || !selectLayoutChanges(*session)) return;
  const auto* extension = xcb_get_extension_data(session->connection(), &xcb_xkb_id);
  if (!extension || !extension->present) return;
  listener_ = std::make_unique<X11EventListener>(
      std::move(session), "keyboard layout",
      [handler = handler_, first = extension->first_event](X11Session&, const xcb_generic_event_t& event) {
        if ((event.response_type & 0x7f) == first) handler();
      },
      // The next server may have another layout.
      handler_);
}

}  // namespace tavik
