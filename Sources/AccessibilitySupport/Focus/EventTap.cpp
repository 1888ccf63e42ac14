#include "AccessibilitySupport/Focus/EventTap.h"

#include <atomic>
#include <string>
#include <utility>

#include "PlatformInterfaces/EventPostingPort.h"

namespace tavik {

namespace {

constexpr int userInteractive = 33;
constexpr int userInitiated = 25;

const char* placementName(EventTapPlacement placement) {
  return placement == EventTapPlacement::headInsert ? "headInsert" : "tailAppend";
}

}  // namespace

const char* eventTapLocationName(EventTapLocation location) {
  switch (location) {
    case EventTapLocation::hidEventTap:
      return "hidEventTap";
    case EventTapLocation::sessionEventTap:
      return "sessionEventTap";
    case EventTapLocation::annotatedSessionEventTap:
      return "annotatedSessionEventTap";
  }
  return "";
}

struct EventTap::Box {
  Callback onEvent;
  bool shouldAutoreenable = true;
  /// Set before the first event comes, and valid while one is received.
  std::atomic<InstalledEventTap*> installed = nullptr;

  EventTapVerdict receive(const TappedEvent& event) {
    if (event.type == EventTapEventType::disabledByTimeout) {
      if (shouldAutoreenable) installed.load()->setEnabled(true);
      return EventTapVerdict::pass;
    }
    if (event.type == EventTapEventType::disabledByUserInput) return EventTapVerdict::pass;
    return onEvent(event);
  }
};

EventTap::EventTap(EventTapPort& port, Configuration configuration)
    : port_(port), configuration_(std::move(configuration)) {}

EventTap::Configuration EventTap::focusEventTap() {
  return {.eventTypes = {InputEventType::processNotification},
          .location = EventTapLocation::annotatedSessionEventTap,
          .placement = EventTapPlacement::tailAppend,
          .options = EventTapOptions::defaultTap};
}

EventTap::Configuration EventTap::clickEventTap() {
  return {.eventTypes = {InputEventType::leftMouseDown, InputEventType::rightMouseDown, InputEventType::otherMouseDown},
          .location = EventTapLocation::annotatedSessionEventTap,
          .placement = EventTapPlacement::headInsert,
          .options = EventTapOptions::listenOnly};
}

EventTap::Configuration EventTap::mouseEventTaps(std::int32_t pid) {
  return {.eventTypes = {InputEventType::leftMouseDown, InputEventType::leftMouseUp, InputEventType::rightMouseDown,
                         InputEventType::rightMouseUp, InputEventType::leftMouseDragged,
                         InputEventType::rightMouseDragged, InputEventType::otherMouseDown,
                         InputEventType::otherMouseUp, InputEventType::otherMouseDragged},
          .location = EventTapLocation::sessionEventTap,
          .placement = EventTapPlacement::headInsert,
          .options = EventTapOptions::listenOnly,
          .targetPID = pid};
}

EventTap::Configuration EventTap::keyboardEventTap(std::int32_t pid) {
  return {.eventTypes = {InputEventType::keyDown},
          .location = EventTapLocation::sessionEventTap,
          .placement = EventTapPlacement::headInsert,
          .options = EventTapOptions::listenOnly,
          .targetPID = pid};
}

void EventTap::start(Callback onEvent) {
  if (isRunning()) return;
  auto box = std::make_shared<Box>();
  box->onEvent = std::move(onEvent);
  box->shouldAutoreenable = configuration_.shouldAutoreenable;
  auto installed = port_.createTap(
      {.eventTypes = configuration_.eventTypes,
       .location = configuration_.location,
       .placement = configuration_.placement,
       .options = configuration_.options,
       .targetPID = configuration_.targetPID,
       .threadName = std::string("EventTap ") + eventTapLocationName(configuration_.location) + " " +
                     placementName(configuration_.placement),
       .qualityOfService = configuration_.options == EventTapOptions::defaultTap ? userInteractive : userInitiated},
      [box](const TappedEvent& event) { return box->receive(event); });
  if (!installed) return;
  box->installed = installed.get();
  installed->setEnabled(true);
  // Of two that start at once the first stays, and the other's tap ends unused.
  MutexLock held(lock_);
  if (!installed_) installed_.swap(installed);
}

void EventTap::stop() {
  std::unique_ptr<InstalledEventTap> installed;
  {
    MutexLock held(lock_);
    installed.swap(installed_);
  }
  if (installed) installed->setEnabled(false);
}

bool EventTap::isRunning() const {
  MutexLock held(lock_);
  return installed_ != nullptr;
}

}  // namespace tavik
