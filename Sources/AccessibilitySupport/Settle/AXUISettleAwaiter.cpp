#include "AccessibilitySupport/Settle/AXUISettleAwaiter.h"

#include <algorithm>
#include <array>
#include <memory>
#include <string>

#include "AccessibilitySupport/Access/AXNotifications.h"
#include "Base/Concurrency/Mutex.h"
#include "SlimCore/Logging/TavikComputerUseLogger.h"

namespace tavik {

namespace {

const std::array watchedNotifications = {
    &AXNotifications::uiElementDestroyed,
    &AXNotifications::focusedUIElementChanged,
    &AXNotifications::focusedWindowChanged,
    &AXNotifications::mainWindowChanged,
    &AXNotifications::valueChanged,
    &AXNotifications::selectedTextChanged,
    &AXNotifications::windowCreated,
    &AXNotifications::windowMoved,
    &AXNotifications::windowResized,
    &AXNotifications::windowMiniaturized,
    &AXNotifications::windowDeminiaturized,
    &AXNotifications::layoutChanged,
    &AXNotifications::selectedChildrenChanged,
    &AXNotifications::rowCountChanged,
    &AXNotifications::selectedRowsChanged,
    &AXNotifications::created,
    &AXNotifications::titleChanged,
    &AXNotifications::resized,
    &AXNotifications::moved,
    &AXNotifications::menuOpened,
    &AXNotifications::menuClosed,
};

/// When the application last stirred. Shared by the waiter and the observer's
/// callback, which may outlive the wait.
class SettleState {
 public:
  explicit SettleState(MonotonicTime now) : lastActivityAt_(now) {}

  void noteActivity(MonotonicTime now) {
    MutexLock lock(lock_);
    lastActivityAt_ = now;
  }
  MonotonicTime lastActivityAt() const {
    MutexLock lock(lock_);
    return lastActivityAt_;
  }

 private:
  mutable Mutex lock_;
  MonotonicTime lastActivityAt_;
};

std::int64_t millisecondsRoundedUp(Duration duration) {
  return std::chrono::ceil<std::chrono::milliseconds>(duration).count();
}

void logCancelled() {
  TavikComputerUseLogger::info(LogCategory::accessibility, "settle_finished", {{"outcome", "cancelled"}});
}

}  // namespace

/// The observer of one wait, gone with it.
class AXUISettleAwaiter::Subscription {
 public:
  Subscription(AccessibilityPort& port, Scheduler& scheduler, std::int32_t pid)
      : port_(port), state_(std::make_shared<SettleState>(scheduler.now())) {
    auto created = port_.createObserver(pid, [state = state_, &scheduler](const AXElement&, const std::string&) {
      state->noteActivity(scheduler.now());
    });
    errorCode_ = created.code;
    if (!created.ok() || !created.value) return;
    observer_ = std::move(created.value);
    startedAt_ = scheduler.now();
    application_ = port_.createApplication(pid);
    port_.addObserverSource(observer_);
    for (const auto* name : watchedNotifications) port_.addNotification(observer_, application_, *name);
    // The quiet begins once all of it can be heard.
    state_->noteActivity(scheduler.now());
  }

  ~Subscription() {
    if (!observer_) return;
    for (const auto* name : watchedNotifications) port_.removeNotification(observer_, application_, *name);
    port_.removeObserverSource(observer_);
  }

  Subscription(const Subscription&) = delete;
  Subscription& operator=(const Subscription&) = delete;

  bool isObserving() const { return observer_ != nullptr; }
  AXErrorCode errorCode() const { return errorCode_; }
  MonotonicTime startedAt() const { return startedAt_; }
  MonotonicTime lastActivityAt() const { return state_->lastActivityAt(); }

 private:
  AccessibilityPort& port_;
  const std::shared_ptr<SettleState> state_;
  AXErrorCode errorCode_ = AXError::failure;
  std::shared_ptr<AXObserver> observer_;
  AXElement application_;
  MonotonicTime startedAt_;
};

AXUISettleAwaiter::AXUISettleAwaiter(AccessibilityPort& port, Scheduler& scheduler, Duration debounceInterval,
                                     Duration timeout)
    : port_(port), scheduler_(scheduler), debounceInterval_(debounceInterval), timeout_(timeout) {}

AXUISettleAwaiter AXUISettleAwaiter::postActionProfile(AccessibilityPort& port, Scheduler& scheduler) {
  return AXUISettleAwaiter(port, scheduler, postActionDebounceInterval, postActionTimeout);
}

void AXUISettleAwaiter::waitForSettle(std::int32_t pid) const {
  const Subscription subscription(port_, scheduler_, pid);
  try {
    if (subscription.isObserving()) return waitForQuiet(subscription);
    TavikComputerUseLogger::warning(
        LogCategory::accessibility, "observer_creation_failed",
        {{"targetPid", pid}, {"errorCode", subscription.errorCode()}, {"fallback", "fixed_delay"}});
    scheduler_.sleep(debounceInterval_);
  } catch (const CancellationError&) {
    logCancelled();
  }
}

void AXUISettleAwaiter::waitForQuiet(const Subscription& subscription) const {
  while (true) {
    scheduler_.checkCancellation();
    const MonotonicTime now = scheduler_.now();
    const Duration elapsed = now - subscription.startedAt();
    if (elapsed >= timeout_) {
      TavikComputerUseLogger::warning(
          LogCategory::accessibility, "settle_finished",
          {{"outcome", "timeout"}, {"timeoutMs", millisecondsRoundedUp(timeout_)}});
      return;
    }
    const Duration quiet = now - subscription.lastActivityAt();
    if (quiet >= debounceInterval_) {
      TavikComputerUseLogger::debug(
          LogCategory::accessibility, "settle_finished",
          {{"outcome", "settled"}, {"durationMs", millisecondsRoundedUp(elapsed)}});
      return;
    }
    scheduler_.sleep(milliseconds(millisecondsRoundedUp(std::min(debounceInterval_ - quiet, timeout_ - elapsed))));
  }
}

}  // namespace tavik
