#pragma once

#include <cstdint>

#include "Base/Concurrency/Scheduler.h"
#include "PlatformInterfaces/AccessibilityPort.h"

namespace tavik {

/// Waits until an application's interface has come to rest: until its accessibility
/// notifications have been quiet for a while, or until a time-out. Immutable; any
/// thread, many waits at once.
class AXUISettleAwaiter {
 public:
  static constexpr Duration standardDebounceInterval = milliseconds(200);
  static constexpr Duration standardTimeout = milliseconds(1500);
  static constexpr Duration postActionDebounceInterval = milliseconds(350);
  static constexpr Duration postActionTimeout = milliseconds(1800);

  AXUISettleAwaiter(AccessibilityPort& port, Scheduler& scheduler, Duration debounceInterval = standardDebounceInterval,
                    Duration timeout = standardTimeout);
  /// For the wait after an action, which starts more than reading does.
  static AXUISettleAwaiter postActionProfile(AccessibilityPort& port, Scheduler& scheduler);

  Duration debounceInterval() const { return debounceInterval_; }
  Duration timeout() const { return timeout_; }

  /// Blocks until the process is quiet. Does not throw: when the caller is cancelled
  /// it returns at once. Needs the main queue to be served; otherwise the process
  /// counts as quiet.
  void waitForSettle(std::int32_t pid) const;

 private:
  class Subscription;
  void waitForQuiet(const Subscription& subscription) const;

  AccessibilityPort& port_;
  Scheduler& scheduler_;
  const Duration debounceInterval_;
  const Duration timeout_;
};

}  // namespace tavik
