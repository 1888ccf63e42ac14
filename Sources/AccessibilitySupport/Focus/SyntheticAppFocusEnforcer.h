#pragma once

#include <cstdint>
#include <optional>

#include "AccessibilitySupport/Access/AXWrapper.h"
#include "AccessibilitySupport/Focus/SystemFrontmostApplicationTracker.h"
#include "Base/Concurrency/TaskGroup.h"
#include "PlatformInterfaces/EventPostingPort.h"

namespace tavik {

/// Keeps one application in the belief that it is active and its window raised, while
/// others come to the front. Any thread.
class SyntheticAppFocusEnforcer {
 public:
  struct State {
    bool isActive = false;
    std::optional<std::int32_t> enforcedPID = {};
    bool operator==(const State&) const = default;
  };

  SyntheticAppFocusEnforcer(EventPostingPort& events, AccessibilityPort& accessibility,
                            SystemFrontmostApplicationTracker& tracker, Scheduler& scheduler);
  ~SyntheticAppFocusEnforcer() { stopEnforcing(); }
  SyntheticAppFocusEnforcer(const SyntheticAppFocusEnforcer&) = delete;
  SyntheticAppFocusEnforcer& operator=(const SyntheticAppFocusEnforcer&) = delete;

  void startEnforcing(std::int32_t pid);
  void stopEnforcing();
  State state() const;

  /// Tells a process that it may act as if it were the active application, without
  /// activating it. Nothing happens for pid 0 and where the platform has no such
  /// event.
  static void postSyntheticFocusEvent(EventPostingPort& events, std::int32_t to);
  void postSyntheticFocusEvent();

 private:
  void frontmostChanged(const std::optional<RunningApplication>& now);
  void performRaiseLoop();
  std::int32_t pid() const;

  EventPostingPort& events_;
  AccessibilityPort& accessibility_;
  SystemFrontmostApplicationTracker& tracker_;
  Scheduler& scheduler_;
  mutable Mutex lock_;
  State state_;
  /// Last, so that it ends before the rest.
  TaskGroup tasks_;
};

}  // namespace tavik
