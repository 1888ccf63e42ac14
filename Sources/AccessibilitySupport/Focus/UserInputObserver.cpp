#include "AccessibilitySupport/Focus/UserInputObserver.h"

#include "PlatformInterfaces/EventPostingPort.h"
#include "SlimCore/Logging/TavikComputerUseLogger.h"

namespace tavik {

UserInputObserver::UserInputObserver(EventTapPort& taps, ComputerUseUserInteractionMonitor& monitor)
    : monitor_(monitor),
      tap_(taps, {.eventTypes = {InputEventType::leftMouseDown, InputEventType::rightMouseDown,
                                 InputEventType::otherMouseDown, InputEventType::scrollWheel, InputEventType::keyDown},
                  .location = EventTapLocation::annotatedSessionEventTap,
                  .placement = EventTapPlacement::headInsert,
                  .options = EventTapOptions::listenOnly}) {
  tap_.start([this](const TappedEvent& event) {
    receive(event);
    return EventTapVerdict::pass;
  });
  if (tap_.isRunning()) return;
  TavikComputerUseLogger::warning(LogCategory::input, "user_input_observer_unavailable");
}

void UserInputObserver::receive(const TappedEvent& event) {
  const std::int32_t watched = monitor_.currentProcessID();
  if (watched == 0 || monitor_.isToolGenerated() || event.targetPID() != watched) return;
  const auto identifier = monitor_.currentAppIdentifier();
  const auto name = monitor_.currentAppName();
  if (identifier && name) monitor_.recordInterruption(*identifier, *name);
}

}  // namespace tavik
