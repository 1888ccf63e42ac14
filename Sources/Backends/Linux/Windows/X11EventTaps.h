#pragma once

#include <memory>
#include <vector>

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

  std::unique_ptr<EventTap> createListenOnlyTap(std::vector<std::uint32_t> eventTypes, Handler handler) override;

 private:
  X11Desktop& desktop_;
};

}  // namespace tavik
