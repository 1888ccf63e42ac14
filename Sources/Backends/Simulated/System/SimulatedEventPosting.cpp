#include "Backends/Simulated/System/SimulatedEventPosting.h"

#include <fmt/format.h>

#include <utility>

namespace tavik {

std::string inputEventName(std::uint32_t type) {
  switch (type) {
    case InputEventType::leftMouseDown:
      return "left down";
    case InputEventType::leftMouseUp:
      return "left up";
    case InputEventType::rightMouseDown:
      return "right down";
    case InputEventType::rightMouseUp:
      return "right up";
    case InputEventType::otherMouseDown:
      return "middle down";
    case InputEventType::otherMouseUp:
      return "middle up";
    case InputEventType::leftMouseDragged:
    case InputEventType::rightMouseDragged:
    case InputEventType::otherMouseDragged:
      return "drag";
    case InputEventType::mouseMoved:
      return "move";
    case InputEventType::keyDown:
      return "key down";
    case InputEventType::keyUp:
      return "key up";
    case InputEventType::flagsChanged:
      return "flags";
    case InputEventType::scrollWheel:
      return "scroll";
    case InputEventType::applicationDefined:
      return "focus";
    case InputEventType::processNotification:
      return "notification";
    default:
      return fmt::format("event {}", type);
  }
}

namespace {

/// What tells one event of a type from another.
std::string detail(const InputEvent& event) {
  switch (event.type) {
    case InputEventType::keyDown:
    case InputEventType::keyUp:
      return fmt::format("{}", event.keyCode);
    case InputEventType::flagsChanged:
      return fmt::format("{:#x}", event.flags);
    case InputEventType::scrollWheel:
      return fmt::format("{} {}", event.wheel2, event.wheel1);
    case InputEventType::applicationDefined:
    case InputEventType::processNotification:
      return fmt::format("{}", event.subtype);
    default:
      return event.location ? fmt::format("({}, {})", event.location->x, event.location->y) : "";
  }
}

}  // namespace

void SimulatedEventPosting::takeAway(Missing part) {
  MutexLock lock(mutex_);
  missing_.insert(part);
}

void SimulatedEventPosting::giveBack(Missing part) {
  MutexLock lock(mutex_);
  missing_.erase(part);
}

void SimulatedEventPosting::failAfter(int count) {
  MutexLock lock(mutex_);
  makeable_ = count;
}

void SimulatedEventPosting::setOnPost(std::function<void(const Posted&)> body) {
  MutexLock lock(mutex_);
  onPost_ = std::move(body);
}

std::vector<SimulatedEventPosting::Posted> SimulatedEventPosting::posted() const {
  MutexLock lock(mutex_);
  return posted_;
}

bool SimulatedEventPosting::lacks(Missing part) const {
  MutexLock lock(mutex_);
  return missing_.contains(part);
}

bool SimulatedEventPosting::mayMake() {
  requireNoLockHeld("making an input event");
  MutexLock lock(mutex_);
  return !makeable_ || (*makeable_)-- > 0;
}

std::optional<InputEvent> SimulatedEventPosting::createMouseEvent(std::uint32_t type, std::uint32_t windowNumber,
                                                                  std::int64_t eventNumber, int clickCount,
                                                                  InputEventFailure& failure) {
  failure = InputEventFailure::noNSEvent;
  if (lacks(Missing::nsEvent)) return std::nullopt;
  failure = InputEventFailure::noCGEvent;
  if (lacks(Missing::cgEvent) || !mayMake()) return std::nullopt;
  InputEvent event{.type = type};
  event.windowNumber = windowNumber;
  event.eventNumber = eventNumber;
  event.clickCount = clickCount;
  return event;
}

std::optional<InputEvent> SimulatedEventPosting::createOtherEvent(std::uint32_t type, std::int16_t subtype, double) {
  if (lacks(Missing::nsEvent) || !mayMake()) return std::nullopt;
  InputEvent event{.type = type};
  event.subtype = subtype;
  return event;
}

std::optional<InputEvent> SimulatedEventPosting::createFlagsChangedEvent(std::uint64_t flags) {
  if (lacks(Missing::cgEvent) || !mayMake()) return std::nullopt;
  InputEvent event{.type = InputEventType::flagsChanged};
  event.flags = flags;
  return event;
}

std::optional<InputEvent> SimulatedEventPosting::createKeyboardEvent(std::uint16_t keyCode, bool keyDown,
                                                                     std::uint64_t flags) {
  if (lacks(Missing::cgEvent) || !mayMake()) return std::nullopt;
  InputEvent event{.type = keyDown ? InputEventType::keyDown : InputEventType::keyUp};
  event.keyCode = keyCode;
  event.flags = flags;
  return event;
}

void SimulatedEventPosting::setUnicodeString(InputEvent& event, const std::u16string& units) {
  event.unicodeString = units;
}

std::optional<InputEvent> SimulatedEventPosting::createScrollWheelEvent(std::int32_t wheel1, std::int32_t wheel2) {
  if (lacks(Missing::cgEvent) || !mayMake()) return std::nullopt;
  InputEvent event{.type = InputEventType::scrollWheel};
  event.wheel1 = wheel1;
  event.wheel2 = wheel2;
  return event;
}

bool SimulatedEventPosting::postToPid(std::int32_t pid, const InputEvent& event) {
  requireNoLockHeld("posting an input event");
  if (lacks(Missing::postToPid)) return false;
  std::function<void(const Posted&)> onPost;
  const Posted posted{pid, event};
  {
    MutexLock lock(mutex_);
    posted_.push_back(posted);
    onPost = onPost_;
  }
  std::string name = inputEventName(event.type);
  if (const std::string rest = detail(event); !rest.empty()) name += " " + rest;
  journal_.record({.time = {}, .kind = "post", .pid = pid, .subject = {}, .name = std::move(name), .value = {}});
  if (onPost) onPost(posted);
  return true;
}

void SimulatedEventPosting::setIntegerValueField(InputEvent& event, std::uint32_t field, std::int64_t value) {
  if (!lacks(Missing::integerFields)) event.integerFields[field] = value;
}

void SimulatedEventPosting::setWindowLocation(InputEvent& event, Point point) {
  if (!lacks(Missing::windowLocation)) event.windowLocation = point;
}

void SimulatedEventPosting::setLocation(InputEvent& event, Point point) {
  if (!lacks(Missing::location)) event.location = point;
}

void SimulatedEventPosting::setTimestamp(InputEvent& event, std::uint64_t nanoseconds) {
  if (!lacks(Missing::timestamp)) event.timestamp = nanoseconds;
}

double SimulatedEventPosting::systemUptime() {
  return inSeconds(scheduler_.now().sinceStart);
}

}  // namespace tavik
