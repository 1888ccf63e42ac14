#include "Backends/Linux/Windows/X11EventTaps.h"

#include <xcb/xinput.h>

#include <algorithm>
#include <atomic>
#include <map>
#include <string>
#include <string_view>
#include <utility>

#include "Backends/Linux/Windows/X11EventListener.h"
#include "PlatformInterfaces/EventPostingPort.h"

namespace tavik {

namespace {

/// Device 1 stands for all master devices.
constexpr xcb_input_device_id_t allMasterDevices = 1;
constexpr std::uint16_t wantedMajor = 2;
constexpr std::uint16_t wantedMinor = 2;

/// What a button of a mouse means; wheels are buttons.
std::uint32_t typeOfButton(std::uint32_t button) {
  switch (button) {
    case 1:
      return InputEventType::leftMouseDown;
    case 3:
      return InputEventType::rightMouseDown;
    case 4:
    case 5:
    case 6:
    case 7:
      return InputEventType::scrollWheel;
    default:
      return InputEventType::otherMouseDown;
  }
}

/// Whose window lies in front under the user's pointer.
std::optional<std::int32_t> pidUnderPointer(X11Desktop& desktop) {
  const auto pointer = desktop.with([](X11Session& session) {
    const auto reply = session.reply(xcb_query_pointer_reply, xcb_query_pointer(session.connection(), session.root()));
    return reply ? std::optional(Point{static_cast<double>(reply->root_x), static_cast<double>(reply->root_y)})
                 : std::nullopt;
  });
  if (!pointer || !*pointer) return std::nullopt;
  for (const X11Window& window : desktop.windows().value_or(std::vector<X11Window>())) {
    if (window.isOnScreen() && window.bounds.contains(**pointer)) return window.pid;
  }
  return std::nullopt;
}

std::optional<std::int32_t> pidOfActiveWindow(X11Desktop& desktop) {
  const auto active = desktop.activeWindow();
  for (const X11Window& window : desktop.windows().value_or(std::vector<X11Window>())) {
    if (active && window.id == *active) return window.pid;
  }
  return std::nullopt;
}

class RawInputTap : public InstalledEventTap {
 public:
  RawInputTap(X11Desktop& desktop, std::unique_ptr<X11Session> session, std::uint8_t opcode, EventTapRequest request,
              EventTapPort::Callback callback)
      : desktop_(desktop),
        opcode_(opcode),
        request_(std::move(request)),
        callback_(std::move(callback)),
        listener_(std::move(session), request_.threadName, [this](X11Session& own, const xcb_generic_event_t& event) {
          receive(own, event);
        }) {}

  void setEnabled(bool isEnabled) override { isEnabled_ = isEnabled; }

 private:
  void receive(X11Session& session, const xcb_generic_event_t& event) {
    if ((event.response_type & 0x7f) != XCB_GE_GENERIC) return;
    const auto& generic = reinterpret_cast<const xcb_ge_generic_event_t&>(event);
    if (generic.extension != opcode_) return;
    if (generic.event_type == XCB_INPUT_RAW_KEY_PRESS) {
      const auto& key = reinterpret_cast<const xcb_input_raw_key_press_event_t&>(event);
      deliver(session, key.deviceid, InputEventType::keyDown, pidOfActiveWindow);
    } else if (generic.event_type == XCB_INPUT_RAW_BUTTON_PRESS) {
      const auto& button = reinterpret_cast<const xcb_input_raw_button_press_event_t&>(event);
      deliver(session, button.deviceid, typeOfButton(button.detail), pidUnderPointer);
    }
  }

  void deliver(X11Session& session, xcb_input_device_id_t device, std::uint32_t type,
               std::optional<std::int32_t> (*targetPID)(X11Desktop&)) {
    if (!isEnabled_ || std::ranges::find(request_.eventTypes, type) == request_.eventTypes.end()) return;
    if (isTools(session, device) || (request_.targetPID && targetPID(desktop_) != request_.targetPID)) return;
    TappedEvent event{.type = type};
    event.targetPID = [this, targetPID] { return targetPID(desktop_); };
    callback_(event);
  }

  /// Names are asked for once; the server does not give a number to another device
  /// while this one lives.
  bool isTools(X11Session& session, xcb_input_device_id_t device) {
    const auto known = isToolsByDevice_.find(device);
    if (known != isToolsByDevice_.end()) return known->second;
    return isToolsByDevice_[device] = X11EventTaps::isToolDevice(session, device);
  }

  X11Desktop& desktop_;
  const std::uint8_t opcode_;
  const EventTapRequest request_;
  const EventTapPort::Callback callback_;
  std::atomic<bool> isEnabled_ = false;
  std::map<xcb_input_device_id_t, bool> isToolsByDevice_;
  /// Last, so that it ends before the rest.
  X11EventListener listener_;
};

}  // namespace

bool X11EventTaps::isToolDevice(X11Session& session, std::uint16_t device) {
  const auto reply =
      session.reply(xcb_input_xi_query_device_reply, xcb_input_xi_query_device(session.connection(), device));
  if (!reply) return false;
  const auto devices = xcb_input_xi_query_device_infos_iterator(reply.get());
  if (devices.rem == 0) return false;
  const std::string_view name(xcb_input_xi_device_info_name(devices.data),
                              static_cast<std::size_t>(xcb_input_xi_device_info_name_length(devices.data)));
  return name.starts_with(toolDevicePrefix);
}

bool X11EventTaps::selectRawPresses(X11Session& session) {
  const auto version = session.reply(
      xcb_input_xi_query_version_reply, xcb_input_xi_query_version(session.connection(), wantedMajor, wantedMinor));
  if (!version || version->major_version < wantedMajor) return false;
  struct {
    xcb_input_event_mask_t header;
    std::uint32_t mask;
  } const selection = {{allMasterDevices, 1},
                       XCB_INPUT_XI_EVENT_MASK_RAW_KEY_PRESS | XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_PRESS};
  xcb_input_xi_select_events(session.connection(), session.root(), 1, &selection.header);
  return xcb_flush(session.connection()) > 0;
}

std::unique_ptr<InstalledEventTap> X11EventTaps::createTap(const EventTapRequest& request, Callback callback) {
  // Nobody can stand between the X server and an application.
  if (request.options != EventTapOptions::listenOnly) return nullptr;
  auto session = X11Session::open();
  if (!session) return nullptr;
  const auto* extension = xcb_get_extension_data(session->connection(), &xcb_input_id);
  if (!extension || !extension->present || !selectRawPresses(*session)) return nullptr;
  const std::uint8_t opcode = extension->major_opcode;
  return std::make_unique<RawInputTap>(desktop_, std::move(session), opcode, request, std::move(callback));
}

}  // namespace tavik
