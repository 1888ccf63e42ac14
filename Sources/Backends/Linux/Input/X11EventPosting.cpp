#include "Backends/Linux/Input/X11EventPosting.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

#include "Backends/Linux/Input/InputHole.h"
#include "Backends/Linux/Input/SentEvents.h"
#include "Backends/Linux/Input/VirtualKeyTable.h"
#include "Backends/Linux/Windows/X11Activation.h"
#include "Backends/Linux/Windows/X11WindowList.h"

namespace tavik {

namespace {

// X modifier bits
constexpr std::uint16_t shiftMask = 0x01;
constexpr std::uint16_t controlMask = 0x04;
constexpr std::uint16_t altMask = 0x08;
/// By custom that of Num Lock.
constexpr std::uint16_t numLockMask = 0x10;
constexpr std::uint16_t superMask = 0x40;
constexpr int groupShift = 13;

// X buttons
constexpr std::uint8_t leftButton = 1;
constexpr std::uint8_t middleButton = 2;
constexpr std::uint8_t rightButton = 3;
constexpr std::uint8_t wheelUp = 4;
constexpr std::uint8_t wheelDown = 5;
constexpr std::uint8_t wheelLeft = 6;
constexpr std::uint8_t wheelRight = 7;
/// Held while another button is pressed: the window then has the pointer already, and
/// the window manager, which waits for a press in order to raise it, hears of none. A
/// wheel's, so that applications do not take it for a press.
constexpr std::uint8_t silentButton = wheelRight;
/// Where there is nothing to scroll in most windows.
constexpr double inertInset = 1.5;
/// Pixels that applications scroll by one notch of a wheel, about.
constexpr double pixelsOfANotch = 50;

enum class Phase { press, release, move };

struct ButtonEvent {
  Phase phase = Phase::move;
  std::uint8_t button = 0;
};

std::optional<ButtonEvent> buttonEvent(std::uint32_t type) {
  switch (type) {
    case InputEventType::leftMouseDown:
      return ButtonEvent{Phase::press, leftButton};
    case InputEventType::leftMouseUp:
      return ButtonEvent{Phase::release, leftButton};
    case InputEventType::rightMouseDown:
      return ButtonEvent{Phase::press, rightButton};
    case InputEventType::rightMouseUp:
      return ButtonEvent{Phase::release, rightButton};
    case InputEventType::otherMouseDown:
      return ButtonEvent{Phase::press, middleButton};
    case InputEventType::otherMouseUp:
      return ButtonEvent{Phase::release, middleButton};
    case InputEventType::mouseMoved:
    case InputEventType::leftMouseDragged:
    case InputEventType::rightMouseDragged:
    case InputEventType::otherMouseDragged:
      return ButtonEvent{};
    default:
      return std::nullopt;
  }
}

std::uint16_t maskOfButton(std::uint8_t button) { return static_cast<std::uint16_t>(0x80 << button); }

constexpr std::uint16_t tabKey = 48;

bool mayMoveFocus(const InputEvent& event) {
  const auto button = buttonEvent(event.type);
  return (button && button->phase == Phase::press) ||
         (event.type == InputEventType::keyDown && event.keyCode == tabKey);
}

/// The window that an event is for; none is 0.
xcb_window_t windowOf(const InputEvent& event) {
  if (event.windowNumber != 0) return event.windowNumber;
  const auto field = event.integerFields.find(InputEventField::windowUnderMousePointer);
  return field == event.integerFields.end() ? XCB_NONE : static_cast<xcb_window_t>(field->second);
}

/// The keypad's keys that move the caret instead while Num Lock is off.
bool isKeypadNumber(std::uint16_t keyCode) {
  constexpr std::uint16_t decimal = 65, first = 82, last = 92, inBetween = 90;
  return keyCode == decimal || (keyCode >= first && keyCode <= last && keyCode != inBetween);
}

bool isKey(std::uint32_t type) { return type == InputEventType::keyDown || type == InputEventType::keyUp; }

}  // namespace

class X11EventPosting::Sequence : public InputEventSequence {
 public:
  Sequence(X11EventPosting& posting, std::int32_t pid) : posting_(posting), pid_(pid) {}
  ~Sequence() override { posting_.end(pid_); }

 private:
  X11EventPosting& posting_;
  const std::int32_t pid_;
};

X11EventPosting::X11EventPosting(X11Desktop& desktop, ToolkitOfProcess toolkit, FocusMayMove focusMayMove)
    : desktop_(desktop), toolkit_(std::move(toolkit)), focusMayMove_(std::move(focusMayMove)) {}

X11EventPosting::~X11EventPosting() {
  if (!secondPointer_) return;
  desktop_.with([](X11Session& session) {
    SecondPointer::remove(session);
    return true;
  });
}

// Making events

std::optional<InputEvent> X11EventPosting::createMouseEvent(std::uint32_t type, std::uint32_t windowNumber,
                                                            std::int64_t eventNumber, int clickCount,
                                                            InputEventFailure&) {
  InputEvent event{.type = type};
  event.windowNumber = windowNumber;
  event.eventNumber = eventNumber;
  event.clickCount = clickCount;
  return event;
}

std::optional<InputEvent> X11EventPosting::createOtherEvent(std::uint32_t type, std::int16_t subtype, double) {
  InputEvent event{.type = type};
  event.subtype = subtype;
  return event;
}

std::optional<InputEvent> X11EventPosting::createFlagsChangedEvent(std::uint64_t flags) {
  InputEvent event{.type = InputEventType::flagsChanged};
  event.flags = flags;
  return event;
}

/// A key that no keyboard of the X server has cannot be pressed.
std::optional<InputEvent> X11EventPosting::createKeyboardEvent(std::uint16_t keyCode, bool keyDown,
                                                               std::uint64_t flags) {
  if (!xKeycode(keyCode)) return std::nullopt;
  InputEvent event{.type = keyDown ? InputEventType::keyDown : InputEventType::keyUp};
  event.keyCode = keyCode;
  event.flags = flags;
  return event;
}

void X11EventPosting::setUnicodeString(InputEvent& event, const std::u16string& units) { event.unicodeString = units; }

std::optional<InputEvent> X11EventPosting::createScrollWheelEvent(std::int32_t wheel1, std::int32_t wheel2) {
  InputEvent event{.type = InputEventType::scrollWheel};
  event.wheel1 = wheel1;
  event.wheel2 = wheel2;
  return event;
}

void X11EventPosting::setIntegerValueField(InputEvent& event, std::uint32_t field, std::int64_t value) {
  event.integerFields[field] = value;
}
void X11EventPosting::setWindowLocation(InputEvent& event, Point point) { event.windowLocation = point; }
void X11EventPosting::setLocation(InputEvent& event, Point point) { event.location = point; }
void X11EventPosting::setTimestamp(InputEvent& event, std::uint64_t nanoseconds) { event.timestamp = nanoseconds; }

double X11EventPosting::systemUptime() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// Posting

std::unique_ptr<InputEventSequence> X11EventPosting::beginSequence(std::int32_t pid) {
  const Toolkit toolkit = toolkit_(pid);
  std::lock_guard lock(mutex_);
  Conversation& conversation = conversations_[pid];
  ++conversation.sequences;
  conversation.toolkit = toolkit;
  return std::make_unique<Sequence>(*this, pid);
}

std::optional<bool> X11EventPosting::clickBehind(std::int32_t pid, Point at) {
  const auto isInFront = desktop_.with([&](X11Session& session) {
    const auto window = readWindow(session, readActiveWindow(session));
    return window && window->pid == pid;
  });
  if (!isInFront || *isInFront) return std::nullopt;
  const auto sequence = beginSequence(pid);
  InputEvent press{.type = InputEventType::leftMouseDown, .location = at};
  InputEvent release{.type = InputEventType::leftMouseUp, .location = at};
  return postToPid(pid, press) && postToPid(pid, release);
}

bool X11EventPosting::postToPid(std::int32_t pid, const InputEvent& event) {
  if (mayMoveFocus(event)) focusMayMove_(pid);
  const auto sequence = beginSequence(pid);
  std::lock_guard lock(mutex_);
  Conversation& conversation = conversations_[pid];
  return desktop_.with([&](X11Session& session) { return post(session, pid, conversation, event); }).value_or(false);
}

void X11EventPosting::end(std::int32_t pid) {
  std::lock_guard lock(mutex_);
  const auto conversation = conversations_.find(pid);
  if (conversation == conversations_.end() || --conversation->second.sequences > 0) return;
  desktop_.with([&](X11Session& session) {
    conclude(session, conversation->second);
    return true;
  });
  conversations_.erase(conversation);
}

/// What a window was made to believe is taken back.
void X11EventPosting::conclude(X11Session& session, Conversation& conversation) {
  if (conversation.secondPointerIsOut && secondPointer_) {
    if (conversation.holdsSilentButton) secondPointer_->button(session, silentButton, false);
    secondPointer_->hold(session, 0, 0);
    secondPointer_->dropFocus(session);
    secondPointer_->park(session);
  }
  if (conversation.believer != XCB_NONE && readActiveWindow(session) != conversation.believer) {
    SentEvents::focus(session, conversation.believer, /*isIn=*/false);
  }
  xcb_flush(session.connection());
}

bool X11EventPosting::post(X11Session& session, std::int32_t pid, Conversation& conversation,
                           const InputEvent& event) {
  bool isPosted = true;
  if (buttonEvent(event.type)) {
    isPosted = postButton(session, pid, conversation, event);
  } else if (isKey(event.type)) {
    isPosted = postKey(session, pid, conversation, event);
  } else if (event.type == InputEventType::scrollWheel) {
    isPosted = postWheel(session, pid, conversation, event);
  }
  xcb_flush(session.connection());
  return isPosted;
}

bool X11EventPosting::postButton(X11Session& session, std::int32_t pid, Conversation& conversation,
                                 const InputEvent& event) {
  if (!event.location) return false;
  const auto [phase, button] = *buttonEvent(event.type);
  const auto window = conversation.pressed ? conversation.pressed : windowUnder(session, pid, event);
  if (!window) return false;
  if (phase == Phase::press) conversation.pressed = window;
  if (phase == Phase::release) conversation.pressed.reset();

  if (meansOfButtons(conversation.toolkit) == InputMeans::sentEvents) {
    makeBelieve(session, conversation, *window);
    const std::uint16_t held = phase == Phase::release ? maskOfButton(button) : 0;
    if (phase == Phase::move) {
      const std::uint16_t dragged = conversation.pressed ? maskOfButton(leftButton) : 0;
      SentEvents::motion(session, window->id, *event.location, dragged);
    } else {
      if (phase == Phase::press) SentEvents::motion(session, window->id, *event.location, 0);
      SentEvents::button(session, window->id, *event.location, button, phase == Phase::press, held);
    }
    return true;
  }

  SecondPointer* pointer = secondPointer(session);
  if (!pointer) return false;
  conversation.secondPointerIsOut = true;
  if (phase == Phase::press && !conversation.holdsSilentButton) {
    holdSilentButton(session, *pointer, *window);
    conversation.holdsSilentButton = true;
  }
  // Not needed while the window has the pointer.
  std::optional<InputHole> hole;
  if (!conversation.holdsSilentButton) hole.emplace(session, window->toplevel, *event.location);
  pointer->moveTo(session, *event.location);
  if (phase != Phase::move) pointer->button(session, button, phase == Phase::press);
  return true;
}

void X11EventPosting::holdSilentButton(X11Session& session, SecondPointer& pointer, const X11Window& window) {
  const Point inert{window.bounds.minX() + inertInset, window.bounds.minY() + inertInset};
  const InputHole hole(session, window.toplevel, inert);
  pointer.moveTo(session, inert);
  pointer.button(session, silentButton, true);
}

bool X11EventPosting::postKey(X11Session& session, std::int32_t pid, Conversation& conversation,
                              const InputEvent& event) {
  const auto keycode = xKeycode(event.keyCode);
  if (!conversation.keyWindow) conversation.keyWindow = windowForKeys(session, pid);
  if (!conversation.layout) conversation.layout = X11Keyboard::readLayout(session);
  const auto& window = conversation.keyWindow;
  const auto& layout = conversation.layout;
  if (!keycode || !window) return false;
  const bool isPress = event.type == InputEventType::keyDown;
  const std::uint16_t third = layout ? static_cast<std::uint16_t>(layout->thirdLevelMask()) : altMask;
  std::uint16_t modifiers = 0;
  if (event.flags & InputEventFlag::shift) modifiers |= shiftMask;
  if (event.flags & InputEventFlag::control) modifiers |= controlMask;
  if (event.flags & InputEventFlag::command) modifiers |= superMask;
  if (isKeypadNumber(event.keyCode)) modifiers |= numLockMask;
  // Where a key gives its character by option, that is the third level, else Alt.
  const bool isLevel = !event.unicodeString.empty() || event.optionIsOfCharacter;
  if (event.flags & InputEventFlag::option) modifiers |= isLevel ? third : altMask;
  const auto group = static_cast<std::uint8_t>(layout ? layout->group() : 0);

  if (meansOfKeys(conversation.toolkit) == InputMeans::sentEvents) {
    makeBelieve(session, conversation, *window);
    const auto state = static_cast<std::uint16_t>(modifiers | group << groupShift);
    SentEvents::key(session, window->id, *keycode, isPress, state);
    return true;
  }
  SecondPointer* pointer = secondPointer(session);
  if (!pointer) return false;
  conversation.secondPointerIsOut = true;
  const Point inside = window->bounds.center();
  const InputHole hole(session, window->toplevel, inside);
  pointer->moveTo(session, inside);
  pointer->focusUnderPointer(session);
  pointer->hold(session, static_cast<std::uint8_t>(modifiers), group);
  pointer->key(session, *keycode, isPress);
  return true;
}

bool X11EventPosting::postWheel(X11Session& session, std::int32_t pid, Conversation& conversation,
                                const InputEvent& event) {
  if (!event.location) return false;
  const auto window = windowUnder(session, pid, event);
  if (!window) return false;
  const auto turn = [&](double& collected, double pixels, std::uint8_t backward, std::uint8_t forward) {
    collected += pixels / pixelsOfANotch;
    for (; collected >= 1; --collected) notch(session, conversation, *window, *event.location, backward);
    for (; collected <= -1; ++collected) notch(session, conversation, *window, *event.location, forward);
  };
  turn(conversation.wheelVertical, event.wheel1, wheelUp, wheelDown);
  turn(conversation.wheelHorizontal, -event.wheel2, wheelLeft, wheelRight);
  return meansOfWheel(conversation.toolkit) == InputMeans::sentEvents || secondPointer(session) != nullptr;
}

void X11EventPosting::notch(X11Session& session, Conversation& conversation, const X11Window& window, Point at,
                            std::uint8_t button) {
  if (meansOfWheel(conversation.toolkit) == InputMeans::sentEvents) {
    SentEvents::motion(session, window.id, at, 0);
    SentEvents::button(session, window.id, at, button, true, 0);
    SentEvents::button(session, window.id, at, button, false, maskOfButton(button));
    return;
  }
  SecondPointer* pointer = secondPointer(session);
  if (!pointer) return;
  conversation.secondPointerIsOut = true;
  const InputHole hole(session, window.toplevel, at);
  pointer->moveTo(session, at);
  pointer->button(session, button, true);
  pointer->button(session, button, false);
}

// Where events go

/// The process's own window at the point: a menu in front of all, else the window that
/// the event names, also behind others of the process, else the one that lies in front.
std::optional<X11Window> X11EventPosting::windowUnder(X11Session& session, std::int32_t pid,
                                                      const InputEvent& event) {
  const auto windows = readWindows(session);
  const auto isHit = [&](const X11Window& window) {
    return window.pid == pid && window.isOnScreen() && window.bounds.contains(*event.location);
  };
  const auto front = std::ranges::find_if(windows, isHit);
  if (front == windows.end()) return std::nullopt;
  if (front->isPopup) return *front;
  const xcb_window_t aim = windowOf(event);
  const auto aimed =
      std::ranges::find_if(windows, [&](const X11Window& window) { return window.id == aim && isHit(window); });
  return aimed == windows.end() ? *front : *aimed;
}

/// The active window, if it is the process's, else the one that lies in front.
std::optional<X11Window> X11EventPosting::windowForKeys(X11Session& session, std::int32_t pid) {
  const auto windows = readWindows(session);
  const xcb_window_t active = readActiveWindow(session);
  const auto isPlain = [&](const X11Window& window) {
    return window.pid == pid && window.isOnScreen() && !window.isPopup && layerOf(window) == 0;
  };
  auto found = std::ranges::find_if(
      windows, [&](const X11Window& window) { return window.id == active && isPlain(window); });
  if (found == windows.end()) found = std::ranges::find_if(windows, isPlain);
  return found == windows.end() ? std::nullopt : std::optional(*found);
}

void X11EventPosting::makeBelieve(X11Session& session, Conversation& conversation, const X11Window& window) {
  const bool takesNoFocus = window.isPopup || readActiveWindow(session) == window.id;
  if (takesNoFocus || conversation.believer == window.id) return;
  if (conversation.believer != XCB_NONE) SentEvents::focus(session, conversation.believer, /*isIn=*/false);
  SentEvents::focus(session, window.id, /*isIn=*/true);
  conversation.believer = window.id;
}

SecondPointer* X11EventPosting::secondPointer(X11Session& session) {
  if (!secondPointer_ || generation_ != desktop_.generation()) {
    secondPointer_ = SecondPointer::make(session);
    generation_ = desktop_.generation();
  }
  return secondPointer_.get();
}

}  // namespace tavik
