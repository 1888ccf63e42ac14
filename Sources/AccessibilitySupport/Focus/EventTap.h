#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "Base/Concurrency/Mutex.h"
#include "PlatformInterfaces/EventTapPort.h"

namespace tavik {

/// A listener in the stream of events, with a thread of its own. Where the platform
/// gives no tap it stays stopped, without an error: what is built on it then works,
/// less quietly. Any thread; must not be stopped by its own callback.
class EventTap {
 public:
  using Callback = EventTapPort::Callback;

  struct Configuration {
    std::vector<std::uint32_t> eventTypes;
    EventTapLocation location;
    EventTapPlacement placement;
    EventTapOptions options;
    std::optional<std::int32_t> targetPID = {};
    /// Goes on after the platform disabled it for being slow.
    bool shouldAutoreenable = true;
  };

  EventTap(EventTapPort& port, Configuration configuration);
  EventTap(const EventTap&) = delete;
  EventTap& operator=(const EventTap&) = delete;
  ~EventTap() { stop(); }

  /// What tells processes that they gained or lost the focus.
  static Configuration focusEventTap();
  /// Presses of any mouse button, anywhere.
  static Configuration clickEventTap();
  /// Presses, releases and drags of any mouse button in one process.
  static Configuration mouseEventTaps(std::int32_t pid);
  static Configuration keyboardEventTap(std::int32_t pid);

  /// Nothing happens when it runs already.
  void start(Callback onEvent);
  void stop();
  bool isRunning() const;

 private:
  /// What the tap's callback needs.
  struct Box;

  EventTapPort& port_;
  const Configuration configuration_;
  mutable Mutex lock_;
  std::unique_ptr<InstalledEventTap> installed_;
};

/// The location by its own name.
const char* eventTapLocationName(EventTapLocation location);

}  // namespace tavik
