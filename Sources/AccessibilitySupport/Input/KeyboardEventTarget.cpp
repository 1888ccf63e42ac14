#include "AccessibilitySupport/Input/KeyboardEventTarget.h"

#include <utility>

#include "AccessibilitySupport/Input/MouseEventTarget.h"
#include "AccessibilitySupport/Input/XKeysymKeyCode.h"
#include "AccessibilitySupport/Input/XKeysymModifierAlias.h"
#include "Base/Text/Text.h"

namespace tavik {

namespace {

/// The notifications by which a process learns that it has the keys: the typing
/// focus and the key focus changed.
constexpr std::int16_t focusNotifications[] = {16384, -32768};

std::uint64_t eventFlags(std::uint32_t modifiers) {
  std::uint64_t flags = 0;
  if (modifiers & KeyModifier::shift) flags |= InputEventFlag::shift;
  if (modifiers & KeyModifier::control) flags |= InputEventFlag::control;
  if (modifiers & KeyModifier::option) flags |= InputEventFlag::option;
  if (modifiers & KeyModifier::command) flags |= InputEventFlag::command;
  return flags;
}

std::vector<std::string> partsOf(const std::string& spec) {
  std::vector<std::string> parts = text::split(spec, '+', /*keepEmpty=*/false);
  for (std::string& part : parts) part = text::trimmed(part);
  return parts;
}

}  // namespace

const char* KeyboardEventTarget::Error::what() const noexcept {
  switch (kind_) {
    case Kind::unsupportedKeySpec:
      return "unsupportedKeySpec";
    case Kind::failedToCreateCGEvent:
      return "failedToCreateCGEvent";
    case Kind::layoutUnavailable:
      return "layoutUnavailable";
  }
  return "keyboard event error";
}

KeyboardEventTarget::KeyboardEventTarget(EventPostingPort& port, KeyboardLayoutSnapshotProvider& layouts,
                                         Scheduler& scheduler, std::int32_t pid)
    : port_(port), layouts_(layouts), scheduler_(scheduler), pid_(pid) {}

void KeyboardEventTarget::typeKeyPresses(const std::vector<VirtualKeyPress>& presses) {
  std::vector<InputEvent> events;
  for (const VirtualKeyPress& press : presses) {
    for (InputEvent& event : createKeyEvents(press)) events.push_back(std::move(event));
  }
  sendEventsSynchronously(std::move(events));
}

void KeyboardEventTarget::typeKeyPresses(const std::vector<VirtualKeyPress>& presses,
                                         std::uint64_t interKeyDelayMs) {
  if (interKeyDelayMs == 0) return typeKeyPresses(presses);
  const auto sequence = port_.beginSequence(pid_);
  for (const VirtualKeyPress& press : presses) {
    sendEventsSynchronously(createKeyEvents(press));
    scheduler_.sleep(milliseconds(static_cast<std::int64_t>(interKeyDelayMs)));
  }
}

void KeyboardEventTarget::typeText(const std::string& text) {
  const auto presses = VirtualKeyPress::keyPresses(text, layouts_);
  if (!presses) throw Error::layoutUnavailable();
  typeKeyPresses(*presses);
}

void KeyboardEventTarget::pressKey(const std::string& spec) {
  std::vector<std::string> parts = partsOf(spec);
  if (parts.empty()) throw Error::unsupportedKeySpec(spec);
  const std::string key = std::move(parts.back());
  parts.pop_back();
  std::uint32_t modifiers = 0;
  for (const std::string& part : parts) {
    const auto flag = XKeysymModifierAlias::modifierFlag(part);
    if (!flag) throw Error::unsupportedKeySpec(part);
    modifiers |= *flag;
  }
  if (key.empty()) throw Error::unsupportedKeySpec(spec);
  auto press = pressOnTheLayout(key, modifiers);
  if (!press) press = XKeysymKeyCode::keyPress(key, modifiers);
  if (!press) press = singleCharacterKeyPress(key, modifiers, layouts_);
  if (!press) throw Error::unsupportedKeySpec(spec);
  sendEventsSynchronously(createKeyEvents(*press));
}

/// Where names of keys mean characters, the layout knows the keys.
std::optional<VirtualKeyPress> KeyboardEventTarget::pressOnTheLayout(const std::string& key, std::uint32_t modifiers) {
  const auto snapshot = layouts_.currentSnapshot();
  const auto character = snapshot ? snapshot->layout->characterOfKeyName(key) : std::nullopt;
  return character ? singleCharacterKeyPress(*character, modifiers, layouts_) : std::nullopt;
}

std::vector<InputEvent> KeyboardEventTarget::createKeyEvents(const VirtualKeyPress& press) {
  const std::uint64_t flags = eventFlags(press.modifiers);
  std::vector<InputEvent> events;
  events.push_back(addressed(port_.createFlagsChangedEvent(flags)));
  for (const bool keyDown : {true, false}) {
    auto event = port_.createKeyboardEvent(press.keyCode, keyDown, flags);
    if (event && press.string) port_.setUnicodeString(*event, text::utf16(*press.string));
    if (event) event->optionIsOfCharacter = press.optionIsOfCharacter;
    events.push_back(addressed(std::move(event)));
  }
  events.push_back(addressed(port_.createFlagsChangedEvent(0)));
  return events;
}

InputEvent KeyboardEventTarget::addressed(std::optional<InputEvent> event) {
  if (!event) throw Error::failedToCreateCGEvent();
  port_.setIntegerValueField(*event, InputEventField::sourceUnixProcessID, pid_);
  return *std::move(event);
}

void KeyboardEventTarget::sendEventsSynchronously(std::vector<InputEvent> events) {
  const auto sequence = port_.beginSequence(pid_);
  postTypingFocusNotifications();
  for (InputEvent& event : events) {
    port_.setTimestamp(event, eventTimestamp(port_));
    port_.postToPid(pid_, event);
  }
}

void KeyboardEventTarget::postTypingFocusNotifications() {
  for (const std::int16_t subtype : focusNotifications) {
    auto event = port_.createOtherEvent(InputEventType::processNotification, subtype, port_.systemUptime());
    if (!event) continue;
    port_.setIntegerValueField(*event, InputEventField::sourceUnixProcessID, pid_);
    port_.setTimestamp(*event, eventTimestamp(port_));
    port_.postToPid(pid_, *event);
  }
}

}  // namespace tavik
