#pragma once

#include "AccessibilitySupport/Focus/ComputerUseUserInteractionMonitor.h"
#include "AccessibilitySupport/Focus/EventTap.h"

namespace tavik {

/// Tells the monitor when the user clicks, types or scrolls in the application that
/// the agent works in. Moving the pointer is no interaction, and neither is the echo
/// of the tool's own input. Where nobody may listen, nothing is told.
class UserInputObserver {
 public:
  /// Both must outlive it.
  UserInputObserver(EventTapPort& taps, ComputerUseUserInteractionMonitor& monitor);
  UserInputObserver(const UserInputObserver&) = delete;
  UserInputObserver& operator=(const UserInputObserver&) = delete;

 private:
  void receive(const TappedEvent& event);

  ComputerUseUserInteractionMonitor& monitor_;
  EventTap tap_;
};

}  // namespace tavik
