#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "Base/Geometry/Geometry.h"

namespace tavik {

/// The kinds of input events, with the platform's numbers.
namespace InputEventType {
inline constexpr std::uint32_t leftMouseDown = 1;
inline constexpr std::uint32_t leftMouseUp = 2;
inline constexpr std::uint32_t rightMouseDown = 3;
inline constexpr std::uint32_t rightMouseUp = 4;
inline constexpr std::uint32_t mouseMoved = 5;
inline constexpr std::uint32_t leftMouseDragged = 6;
inline constexpr std::uint32_t rightMouseDragged = 7;
inline constexpr std::uint32_t keyDown = 10;
inline constexpr std::uint32_t keyUp = 11;
inline constexpr std::uint32_t flagsChanged = 12;
inline constexpr std::uint32_t applicationDefined = 15;
/// The window server tells a process about the focus of processes.
inline constexpr std::uint32_t processNotification = 21;
inline constexpr std::uint32_t scrollWheel = 22;
inline constexpr std::uint32_t otherMouseDown = 25;
inline constexpr std::uint32_t otherMouseUp = 26;
inline constexpr std::uint32_t otherMouseDragged = 27;
}  // namespace InputEventType

/// Numbered fields of an event.
namespace InputEventField {
inline constexpr std::uint32_t mouseButtonNumber = 3;
inline constexpr std::uint32_t mouseSubtype = 7;
/// The process that the event is meant for.
inline constexpr std::uint32_t sourceUnixProcessID = 41;
/// Of a `processNotification`: what it says, of which process, and a word about it.
inline constexpr std::uint32_t processNotificationSubtype = 64;
inline constexpr std::uint32_t processNotificationPID = 73;
inline constexpr std::uint32_t processNotificationWord = 40;
inline constexpr std::uint32_t windowUnderMousePointer = 91;
inline constexpr std::uint32_t windowUnderMousePointerThatCanHandleThisEvent = 92;
}  // namespace InputEventField

/// Modifier keys that are held during an event.
namespace InputEventFlag {
inline constexpr std::uint64_t shift = 0x20000;
inline constexpr std::uint64_t control = 0x40000;
inline constexpr std::uint64_t option = 0x80000;
inline constexpr std::uint64_t command = 0x100000;
}  // namespace InputEventFlag

/// One synthesized input event, as far as it was filled in.
struct InputEvent {
  /// An `InputEventType`.
  std::uint32_t type = 0;
  /// Global points; absent until `setLocation`.
  std::optional<Point> location = {};
  /// Points from the window's top left corner; absent until `setWindowLocation`.
  std::optional<Point> windowLocation = {};
  std::uint32_t windowNumber = 0;
  std::int64_t eventNumber = 0;
  /// 1 for a single click, 2 for the second click of a double click.
  int clickCount = 0;
  std::int16_t subtype = 0;
  /// `InputEventFlag` bits.
  std::uint64_t flags = 0;
  /// Whether the layout needs option for the character of a shortcut's key, where the
  /// platform has another key for that than for a shortcut's own modifier.
  bool optionIsOfCharacter = false;
  /// An ANSI virtual key code.
  std::uint16_t keyCode = 0;
  /// What a key inserts, when it is not left to the layout.
  std::u16string unicodeString = {};
  /// Pixels; `wheel1` positive scrolls up, `wheel2` positive to the right.
  std::int32_t wheel1 = 0;
  std::int32_t wheel2 = 0;
  /// By `InputEventField`.
  std::map<std::uint32_t, std::int64_t> integerFields = {};
  /// Nanoseconds on the clock of `systemUptime`.
  std::uint64_t timestamp = 0;
  /// The platform's own event, where it has one.
  std::shared_ptr<void> native = {};
};

/// Why an event could not be made: the platform's two stages of making one.
enum class InputEventFailure { noNSEvent, noCGEvent };

/// Input events that belong together, from its making to its destruction.
class InputEventSequence {
 public:
  virtual ~InputEventSequence() = default;
};

/// Makes input events and posts them to one process, without moving the user's
/// pointer and past the stream of events that the user makes. Any thread; nothing
/// throws and nothing waits for the application to react.
///
/// The operations from `postToPid` on may be missing on a platform. Then they do
/// nothing.
class EventPostingPort {
 public:
  virtual ~EventPostingPort() = default;

  /// `windowNumber` 0 means no window. The event is at the origin, without flags.
  virtual std::optional<InputEvent> createMouseEvent(std::uint32_t type, std::uint32_t windowNumber,
                                                     std::int64_t eventNumber, int clickCount,
                                                     InputEventFailure& failure) = 0;
  /// An event of another kind, at the origin, for no window, without data. `timestamp`
  /// in seconds.
  virtual std::optional<InputEvent> createOtherEvent(std::uint32_t type, std::int16_t subtype,
                                                     double timestamp) = 0;
  virtual std::optional<InputEvent> createFlagsChangedEvent(std::uint64_t flags) = 0;
  virtual std::optional<InputEvent> createKeyboardEvent(std::uint16_t keyCode, bool keyDown,
                                                        std::uint64_t flags) = 0;
  virtual void setUnicodeString(InputEvent& event, const std::u16string& units) = 0;
  /// In pixels.
  virtual std::optional<InputEvent> createScrollWheelEvent(std::int32_t wheel1, std::int32_t wheel2) = 0;

  /// Announces that what is posted to the process until the sequence ends belongs
  /// together. A port for which each event stands by itself answers null. Sequences of
  /// one process may overlap.
  virtual std::unique_ptr<InputEventSequence> beginSequence(std::int32_t) { return nullptr; }
  /// False when the platform lacks the operation or refuses the event.
  virtual bool postToPid(std::int32_t pid, const InputEvent& event) = 0;
  virtual void setIntegerValueField(InputEvent& event, std::uint32_t field, std::int64_t value) = 0;
  virtual void setWindowLocation(InputEvent& event, Point point) = 0;
  virtual void setLocation(InputEvent& event, Point point) = 0;
  virtual void setTimestamp(InputEvent& event, std::uint64_t nanoseconds) = 0;

  /// Seconds since the system started, not counting sleep: the clock of events.
  virtual double systemUptime() = 0;
};

/// For platforms where no event reaches one process alone.
class NoEventPosting : public EventPostingPort {
 public:
  std::optional<InputEvent> createMouseEvent(std::uint32_t, std::uint32_t, std::int64_t, int,
                                             InputEventFailure& failure) override {
    failure = InputEventFailure::noNSEvent;
    return std::nullopt;
  }
  std::optional<InputEvent> createOtherEvent(std::uint32_t, std::int16_t, double) override { return std::nullopt; }
  std::optional<InputEvent> createFlagsChangedEvent(std::uint64_t) override { return std::nullopt; }
  std::optional<InputEvent> createKeyboardEvent(std::uint16_t, bool, std::uint64_t) override { return std::nullopt; }
  void setUnicodeString(InputEvent&, const std::u16string&) override {}
  std::optional<InputEvent> createScrollWheelEvent(std::int32_t, std::int32_t) override { return std::nullopt; }
  bool postToPid(std::int32_t, const InputEvent&) override { return false; }
  void setIntegerValueField(InputEvent&, std::uint32_t, std::int64_t) override {}
  void setWindowLocation(InputEvent&, Point) override {}
  void setLocation(InputEvent&, Point) override {}
  void setTimestamp(InputEvent&, std::uint64_t) override {}
  double systemUptime() override { return 0; }
};

}  // namespace tavik
