#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace tavik {

/// Input on its way to an application, as a tap sees it.
struct TappedEvent {
  /// An `InputEventType`.
  std::uint32_t type = 0;
  /// Tells the process whose window gets the event; absent when that is unknown.
  /// Asks the window server, so it is only called when wanted; valid while the
  /// handler runs.
  std::function<std::optional<std::int32_t>()> targetPID;
};

/// Ends the delivery when destroyed: afterwards the handler neither runs nor will
/// run. Must not be destroyed by its own handler.
class EventTap {
 public:
  virtual ~EventTap() = default;
};

/// Listens to the user's input without holding it up. What the tool itself posts
/// past the user's devices is not heard. Any thread; does not throw.
class EventTapPort {
 public:
  using Handler = std::function<void(const TappedEvent&)>;

  virtual ~EventTapPort() = default;
  /// Calls the handler, on a thread of the port's own, for each event of the types.
  /// Null when the platform lets nobody listen.
  virtual std::unique_ptr<EventTap> createListenOnlyTap(std::vector<std::uint32_t> eventTypes, Handler handler) = 0;
};

}  // namespace tavik
