#pragma once

#include <cstdint>
#include <memory>

#include "Backends/Linux/Windows/X11Desktop.h"
#include "PlatformInterfaces/EventTapPort.h"

namespace tavik {

/// The user's input by the raw events of the X Input extension, which come without
/// any grab and name the device that made them. All master devices are the user's
/// but those that this program made for itself, whose names begin with
/// `toolDevicePrefix`. Each tap has a connection and a thread of its own; a server
/// that goes away ends it.
class X11EventTaps : public EventTapPort {
 public:
  static constexpr const char* toolDevicePrefix = "Tavik";

  explicit X11EventTaps(X11Desktop& desktop) : desktop_(desktop) {}

  /// Taps that only listen, of presses and wheels; there are no others.
  std::unique_ptr<InstalledEventTap> createTap(const EventTapRequest& request, Callback callback) override;

  /// Asks for the raw presses of all master devices. False when the server lacks them.
  static bool selectRawPresses(X11Session& session);
  /// Whether the device is one of this program's own.
  static bool isToolDevice(X11Session& session, std::uint16_t device);

 private:
  X11Desktop& desktop_;
};

}  // namespace tavik
