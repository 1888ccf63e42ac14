#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tavik {

/// What a tap is told about itself, in place of an input event.
namespace EventTapEventType {
inline constexpr std::uint32_t disabledByTimeout = 0xFFFFFFFE;
inline constexpr std::uint32_t disabledByUserInput = 0xFFFFFFFF;
}  // namespace EventTapEventType

/// An event on its way to an application, as a tap sees it. Its functions ask the
/// window server, so they are called only when wanted; valid while the callback runs.
struct TappedEvent {
  /// An `InputEventType`, or an `EventTapEventType`.
  std::uint32_t type = 0;
  /// The process whose window gets the event; absent when that is unknown.
  std::function<std::optional<std::int32_t>()> targetPID = [] { return std::nullopt; };
  /// A numbered field of the event; 0 when it has none of that number.
  std::function<std::int64_t(std::uint32_t field)> integerField = [](std::uint32_t) { return 0; };
};

/// Where in the stream of events a tap listens.
enum class EventTapLocation { hidEventTap, sessionEventTap, annotatedSessionEventTap };
enum class EventTapPlacement { headInsert, tailAppend };
/// Whether the callback's answer decides over the event.
enum class EventTapOptions { defaultTap, listenOnly };
enum class EventTapVerdict { pass, swallow };

struct EventTapRequest {
  std::vector<std::uint32_t> eventTypes;
  EventTapLocation location = EventTapLocation::sessionEventTap;
  EventTapPlacement placement = EventTapPlacement::headInsert;
  EventTapOptions options = EventTapOptions::listenOnly;
  /// Only what is on its way to this process.
  std::optional<std::int32_t> targetPID = {};
  std::string threadName = {};
  /// The platform's number of the thread's quality of service.
  int qualityOfService = 0;
};

/// A tap in place. Ends the delivery when destroyed: afterwards the callback neither
/// runs nor will run. Must not be destroyed by its own callback.
class InstalledEventTap {
 public:
  virtual ~InstalledEventTap() = default;
  virtual void setEnabled(bool isEnabled) = 0;
};

/// Listens to the user's input. What the tool itself posts past the user's devices
/// is not heard. Any thread; does not throw.
class EventTapPort {
 public:
  using Callback = std::function<EventTapVerdict(const TappedEvent&)>;

  virtual ~EventTapPort() = default;
  /// Calls back, on a thread of the tap's own, for each event of the types, once the
  /// tap is enabled. Null when the platform has no such tap, or does not permit it.
  virtual std::unique_ptr<InstalledEventTap> createTap(const EventTapRequest& request, Callback callback) = 0;
};

}  // namespace tavik
