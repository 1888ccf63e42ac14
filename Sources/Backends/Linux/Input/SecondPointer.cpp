#include "Backends/Linux/Input/SecondPointer.h"

#include <xcb/xcbext.h>
#include <xcb/xinput.h>
// The header of xcb's keyboard extension has a member of that name.
#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit
#include <xcb/xtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string_view>
#include <vector>

namespace tavik {

namespace {

// Numbers of the input extension's events, counted from its first.
constexpr std::uint8_t deviceKeyPress = 1;
constexpr std::uint8_t deviceKeyRelease = 2;
constexpr std::uint8_t deviceButtonPress = 3;
constexpr std::uint8_t deviceButtonRelease = 4;

constexpr xcb_window_t pointerRoot = XCB_INPUT_FOCUS_POINTER_ROOT;

xcb_input_fp1616_t fixedPoint(double value) { return static_cast<xcb_input_fp1616_t>(std::lround(value * 65536)); }

void changeHierarchy(X11Session& session, const std::vector<std::uint8_t>& change) {
  const auto cookie = xcb_input_xi_change_hierarchy_checked(
      session.connection(), 1, reinterpret_cast<const xcb_input_hierarchy_change_t*>(change.data()));
  std::free(xcb_request_check(session.connection(), cookie));
}

/// Parts of requests have no types of their own in xcb that hold a name.
template <class Part>
std::vector<std::uint8_t> bytesOf(const Part& part, std::string_view name = {}) {
  const std::size_t size = (sizeof part + name.size() + 3) / 4 * 4;
  std::vector<std::uint8_t> bytes(size, 0);
  std::memcpy(bytes.data(), &part, sizeof part);
  std::copy(name.begin(), name.end(), bytes.begin() + sizeof part);
  return bytes;
}

void addMaster(X11Session& session) {
  const std::string_view name = SecondPointer::deviceName;
  xcb_input_add_master_t add{};
  add.type = XCB_INPUT_HIERARCHY_CHANGE_TYPE_ADD_MASTER;
  add.name_len = static_cast<std::uint16_t>(name.size());
  add.send_core = 1;
  add.enable = 1;
  auto bytes = bytesOf(add, name);
  const auto length = static_cast<std::uint16_t>(bytes.size() / 4);
  std::memcpy(bytes.data() + offsetof(xcb_input_add_master_t, len), &length, sizeof length);
  changeHierarchy(session, bytes);
}

}  // namespace

std::unique_ptr<SecondPointer> SecondPointer::make(X11Session& session) {
  const auto* input = xcb_get_extension_data(session.connection(), &xcb_input_id);
  const auto* test = xcb_get_extension_data(session.connection(), &xcb_test_id);
  if (!input || !input->present || !test || !test->present) return nullptr;
  const auto version =
      session.reply(xcb_input_xi_query_version_reply, xcb_input_xi_query_version(session.connection(), 2, 2));
  if (!version || version->major_version < 2) return nullptr;
  session.reply(xcb_xkb_use_extension_reply, xcb_xkb_use_extension(session.connection(), 1, 0));
  // One that a killed runtime left behind may hold buttons and keys.
  remove(session);
  addMaster(session);
  const Devices devices = find(session);
  if (!devices.areComplete()) return nullptr;
  std::unique_ptr<SecondPointer> made(new SecondPointer(devices, input->first_event));
  made->dropFocus(session);
  return made;
}

void SecondPointer::remove(X11Session& session) {
  const Devices devices = find(session);
  if (!devices.masterPointer) return;
  xcb_input_remove_master_t remove{};
  remove.type = XCB_INPUT_HIERARCHY_CHANGE_TYPE_REMOVE_MASTER;
  remove.len = sizeof remove / 4;
  remove.deviceid = devices.masterPointer;
  remove.return_mode = XCB_INPUT_CHANGE_MODE_FLOAT;
  changeHierarchy(session, bytesOf(remove));
}

SecondPointer::Devices SecondPointer::find(X11Session& session) {
  Devices devices;
  const auto reply = session.reply(xcb_input_xi_query_device_reply,
                                   xcb_input_xi_query_device(session.connection(), XCB_INPUT_DEVICE_ALL));
  if (!reply) return devices;
  const std::string prefix = deviceName;
  auto info = xcb_input_xi_query_device_infos_iterator(reply.get());
  for (; info.rem > 0; xcb_input_xi_device_info_next(&info)) {
    const std::string_view name(xcb_input_xi_device_info_name(info.data),
                                static_cast<std::size_t>(xcb_input_xi_device_info_name_length(info.data)));
    const std::uint16_t id = info.data->deviceid;
    if (name == prefix + " pointer") devices.masterPointer = id;
    if (name == prefix + " keyboard") devices.masterKeyboard = id;
    if (name == prefix + " XTEST pointer") devices.pointer = static_cast<std::uint8_t>(id);
    if (name == prefix + " XTEST keyboard") devices.keyboard = static_cast<std::uint8_t>(id);
  }
  return devices;
}

void SecondPointer::moveTo(X11Session& session, Point at) {
  xcb_input_xi_warp_pointer(session.connection(), XCB_NONE, session.root(), 0, 0, 0, 0, fixedPoint(at.x),
                            fixedPoint(at.y), devices_.masterPointer);
}

void SecondPointer::button(X11Session& session, std::uint8_t number, bool isPress) {
  fake(session, isPress ? deviceButtonPress : deviceButtonRelease, number, devices_.pointer);
}

void SecondPointer::focusUnderPointer(X11Session& session) {
  xcb_input_xi_set_focus(session.connection(), pointerRoot, XCB_CURRENT_TIME, devices_.masterKeyboard);
}

void SecondPointer::dropFocus(X11Session& session) {
  xcb_input_xi_set_focus(session.connection(), XCB_NONE, XCB_CURRENT_TIME, devices_.masterKeyboard);
}

void SecondPointer::hold(X11Session& session, std::uint8_t modifiers, std::uint8_t group) {
  xcb_xkb_latch_lock_state(session.connection(), devices_.masterKeyboard, 0xFF, modifiers, 1, group, 0, 0, 0);
  xcb_xkb_latch_lock_state(session.connection(), devices_.keyboard, 0xFF, modifiers, 1, group, 0, 0, 0);
}

void SecondPointer::key(X11Session& session, std::uint8_t keycode, bool isPress) {
  fake(session, isPress ? deviceKeyPress : deviceKeyRelease, keycode, devices_.keyboard);
}

void SecondPointer::park(X11Session& session) {
  const auto& screen = session.screen();
  moveTo(session, {static_cast<double>(screen.width_in_pixels - 1), static_cast<double>(screen.height_in_pixels - 1)});
}

void SecondPointer::fake(X11Session& session, std::uint8_t type, std::uint8_t detail, std::uint8_t device) {
  xcb_test_fake_input(session.connection(), static_cast<std::uint8_t>(firstEvent_ + type), detail, XCB_CURRENT_TIME,
                      XCB_NONE, 0, 0, device);
}

}  // namespace tavik
