#include "AccessibilitySupport/Input/MouseEventTarget.h"

#include <algorithm>
#include <array>
#include <utility>

#include "Base/Concurrency/Mutex.h"

namespace tavik {

namespace {

constexpr std::int64_t mouseSubtypeOfTools = 3;

struct ButtonEventTypes {
  std::uint32_t down;
  std::uint32_t up;
  std::uint32_t dragged;
};

constexpr std::array<ButtonEventTypes, 3> eventTypeTable = {{
    {InputEventType::leftMouseDown, InputEventType::leftMouseUp, InputEventType::leftMouseDragged},
    {InputEventType::rightMouseDown, InputEventType::rightMouseUp, InputEventType::rightMouseDragged},
    {InputEventType::otherMouseDown, InputEventType::otherMouseUp, InputEventType::otherMouseDragged},
}};

const ButtonEventTypes& typesOf(MouseEventTarget::MouseButton button) {
  return eventTypeTable[std::min<std::size_t>(static_cast<std::size_t>(button), 2)];
}

/// One number for all events of a click or a drag, none twice in this process.
std::int64_t nextEventNumber() {
  static Mutex lock;
  static std::int64_t number = 0;
  MutexLock guard(lock);
  return number++;
}

}  // namespace

const char* MouseEventTarget::Error::what() const noexcept {
  switch (kind_) {
    case Kind::failedToCreateCGEvent:
      return "failedToCreateCGEvent";
    case Kind::failedToCreateNSEvent:
      return "failedToCreateNSEvent";
    case Kind::resolverUnavailable:
      return "resolverUnavailable";
  }
  return "mouse event error";
}

Point windowLocalPoint(Point point, const MouseEventTarget::TargetGeometry& geometry) {
  const Rect& frame = geometry.windowFrame;
  const Point local{point.x - frame.minX(), point.y - frame.minY()};
  return geometry.flipped ? Point{local.x, frame.size.height - local.y} : local;
}

std::uint64_t eventTimestamp(EventPostingPort& port) {
  return static_cast<std::uint64_t>(port.systemUptime() * 1'000'000'000);
}

MouseEventTarget::MouseEventTarget(EventPostingPort& port, std::int32_t pid, std::optional<std::uint32_t> windowID,
                                   std::optional<TargetGeometry> geometry)
    : port_(port), pid_(pid), windowID_(windowID), geometry_(geometry) {}

void MouseEventTarget::click(Point at, MouseButton button, int clickCount, bool includeMove) {
  const ButtonEventTypes& types = typesOf(button);
  const auto number = static_cast<std::int64_t>(button);
  std::vector<InputEvent> events;
  if (includeMove) events.push_back(createMoveEvent(at));
  for (int click = 1; click <= clickCount; ++click) {
    const std::int64_t eventNumber = nextEventNumber();
    events.push_back(createEvent(types.down, at, number, click, eventNumber));
    events.push_back(createEvent(types.up, at, number, click, eventNumber));
  }
  sendEventsSynchronously(std::move(events));
}

void MouseEventTarget::drag(Point from, Point to, MouseButton button) {
  const ButtonEventTypes& types = typesOf(button);
  const auto number = static_cast<std::int64_t>(button);
  const std::int64_t eventNumber = nextEventNumber();
  const Point midpoint{(from.x + to.x) * 0.5, (from.y + to.y) * 0.5};
  sendEventsSynchronously({
      createEvent(types.down, from, number, 1, eventNumber),
      createEvent(types.dragged, from, number, 1, eventNumber),
      createEvent(types.dragged, midpoint, number, 1, eventNumber),
      createEvent(types.dragged, to, number, 1, eventNumber),
      createEvent(types.up, to, number, 1, eventNumber),
  });
}

void MouseEventTarget::move(Point to) { sendEventsSynchronously({createMoveEvent(to)}); }

InputEvent MouseEventTarget::createMoveEvent(Point location) {
  return createEvent(InputEventType::mouseMoved, location, 0, 1, nextEventNumber());
}

InputEvent MouseEventTarget::createEvent(std::uint32_t type, Point point, std::int64_t button, int clickCount,
                                         std::int64_t eventNumber) {
  auto failure = InputEventFailure::noNSEvent;
  auto event = port_.createMouseEvent(type, windowID_.value_or(0), eventNumber, clickCount, failure);
  if (!event) {
    throw Error(failure == InputEventFailure::noNSEvent ? Error::Kind::failedToCreateNSEvent
                                                        : Error::Kind::failedToCreateCGEvent);
  }
  port_.setIntegerValueField(*event, InputEventField::sourceUnixProcessID, pid_);
  port_.setLocation(*event, point);
  port_.setIntegerValueField(*event, InputEventField::mouseButtonNumber, button);
  port_.setIntegerValueField(*event, InputEventField::mouseSubtype, mouseSubtypeOfTools);
  if (windowID_) {
    port_.setIntegerValueField(*event, InputEventField::windowUnderMousePointer, *windowID_);
    port_.setIntegerValueField(*event, InputEventField::windowUnderMousePointerThatCanHandleThisEvent, *windowID_);
  }
  if (geometry_) port_.setWindowLocation(*event, windowLocalPoint(point, *geometry_));
  return *std::move(event);
}

void MouseEventTarget::sendEventsSynchronously(std::vector<InputEvent> events) {
  const auto sequence = port_.beginSequence(pid_);
  for (InputEvent& event : events) {
    port_.setTimestamp(event, eventTimestamp(port_));
    port_.postToPid(pid_, event);
  }
}

}  // namespace tavik
