#include "Backends/Linux/Windows/X11EventTaps.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>
#include <xcb/xinput.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <map>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

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

class RawInputTap : public EventTap {
 public:
  RawInputTap(X11Desktop& desktop, std::unique_ptr<X11Session> session, std::uint8_t opcode,
              std::vector<std::uint32_t> types, EventTapPort::Handler handler)
      : desktop_(desktop),
        session_(std::move(session)),
        opcode_(opcode),
        types_(std::move(types)),
        handler_(std::move(handler)),
        stop_(eventfd(0, EFD_CLOEXEC)),
        thread_([this] { listen(); }) {}

  ~RawInputTap() override {
    const std::uint64_t one = 1;
    while (write(stop_, &one, sizeof one) < 0 && errno == EINTR) {
    }
    thread_.join();
    close(stop_);
  }

 private:
  void listen() {
    std::array<pollfd, 2> awaited = {{{stop_, POLLIN, 0},
                                      {xcb_get_file_descriptor(session_->connection()), POLLIN, 0}}};
    while (!session_->isBroken()) {
      while (XCBReply<xcb_generic_event_t> event{xcb_poll_for_event(session_->connection())}) receive(*event);
      const int ready = poll(awaited.data(), awaited.size(), -1);
      if (ready < 0 && errno != EINTR) return;
      if (awaited[0].revents != 0) return;
    }
  }

  void receive(const xcb_generic_event_t& event) {
    if ((event.response_type & 0x7f) != XCB_GE_GENERIC) return;
    const auto& generic = reinterpret_cast<const xcb_ge_generic_event_t&>(event);
    if (generic.extension != opcode_) return;
    if (generic.event_type == XCB_INPUT_RAW_KEY_PRESS) {
      const auto& key = reinterpret_cast<const xcb_input_raw_key_press_event_t&>(event);
      deliver(key.deviceid, InputEventType::keyDown, pidOfActiveWindow);
    } else if (generic.event_type == XCB_INPUT_RAW_BUTTON_PRESS) {
      const auto& button = reinterpret_cast<const xcb_input_raw_button_press_event_t&>(event);
      deliver(button.deviceid, typeOfButton(button.detail), pidUnderPointer);
    }
  }

  void deliver(xcb_input_device_id_t device, std::uint32_t type,
               std::optional<std::int32_t> (*targetPID)(X11Desktop&)) {
    if (std::ranges::find(types_, type) == types_.end() || isTools(device)) return;
    handler_({type, [this, targetPID] { return targetPID(desktop_); }});
  }

  /// Names are asked for once; the server does not give a number to another device
  /// while this one lives.
  bool isTools(xcb_input_device_id_t device) {
    const auto known = isToolsByDevice_.find(device);
    if (known != isToolsByDevice_.end()) return known->second;
    const auto reply = session_->reply(xcb_input_xi_query_device_reply,
                                       xcb_input_xi_query_device(session_->connection(), device));
    bool isTools = false;
    if (reply) {
      const auto devices = xcb_input_xi_query_device_infos_iterator(reply.get());
      if (devices.rem > 0) {
        const std::string_view name(xcb_input_xi_device_info_name(devices.data),
                                    static_cast<std::size_t>(xcb_input_xi_device_info_name_length(devices.data)));
        isTools = name.starts_with(X11EventTaps::toolDevicePrefix);
      }
    }
    return isToolsByDevice_[device] = isTools;
  }

  X11Desktop& desktop_;
  const std::unique_ptr<X11Session> session_;
  const std::uint8_t opcode_;
  const std::vector<std::uint32_t> types_;
  const EventTapPort::Handler handler_;
  std::map<xcb_input_device_id_t, bool> isToolsByDevice_;
  const int stop_;
  std::thread thread_;
};

/// Asks for the raw presses of all master devices. False when the server lacks them.
bool selectRawPresses(X11Session& session) {
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

}  // namespace

std::unique_ptr<EventTap> X11EventTaps::createListenOnlyTap(std::vector<std::uint32_t> eventTypes, Handler handler) {
  auto session = X11Session::open();
  if (!session) return nullptr;
  const auto* extension = xcb_get_extension_data(session->connection(), &xcb_input_id);
  if (!extension || !extension->present || !selectRawPresses(*session)) return nullptr;
  const std::uint8_t opcode = extension->major_opcode;
  return std::make_unique<RawInputTap>(desktop_, std::move(session), opcode, std::move(eventTypes), std::move(handler));
}

}  // namespace tavik
