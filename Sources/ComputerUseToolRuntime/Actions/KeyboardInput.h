#pragma once

#include <cstdint>
#include <string>

#include "AccessibilitySupport/Focus/SystemFocusStealPreventer.h"
#include "AccessibilitySupport/Input/KeyboardEventTarget.h"
#include "PlatformInterfaces/WorkspacePort.h"

namespace tavik {

/// What typing and key presses have in common: the application is told that it may
/// act as if it were active, and its keyboard is at hand. Any thread.
class KeyboardInput {
 public:
  KeyboardInput(EventPostingPort& events, KeyboardLayoutPort& keyboard, WorkspacePort& workspace, MainQueue& mainQueue,
                Scheduler& scheduler)
      : events_(events), keyboard_(keyboard), layouts_(keyboard, mainQueue), workspace_(workspace), scheduler_(scheduler) {}

  /// Before the first key. Does not throw; nothing is needed for the application in
  /// front.
  void prepareTarget(std::int32_t pid);
  KeyboardEventTarget target(std::int32_t pid) { return {events_, layouts_, scheduler_, pid}; }
  KeyboardLayoutSnapshotProvider& layouts() { return layouts_; }
  bool acceptsTextWithoutKeys() const { return keyboard_.acceptsTextWithoutKeys(); }
  bool shortcutsUseControl() const { return keyboard_.shortcutsUseControl(); }

 private:
  EventPostingPort& events_;
  KeyboardLayoutPort& keyboard_;
  KeyboardLayoutSnapshotProvider layouts_;
  WorkspacePort& workspace_;
  Scheduler& scheduler_;
};

/// What the model is told; `fallbackInput` stands for a key that has no name of its own.
std::string keyboardErrorDescription(const KeyboardEventTarget::Error& error, const std::string& fallbackInput);

}  // namespace tavik
