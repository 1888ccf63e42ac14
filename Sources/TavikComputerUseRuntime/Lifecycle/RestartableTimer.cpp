#include "TavikComputerUseRuntime/Lifecycle/RestartableTimer.h"

#include <utility>

namespace tavik {

RestartableTimer::RestartableTimer(WorkQueue& queue, Duration delay, std::function<void()> expired)
    : queue_(queue), delay_(delay), expired_(std::move(expired)) {}

RestartableTimer::~RestartableTimer() {
  cancel();
}

void RestartableTimer::restart() {
  MutexLock lock(mutex_);
  running_.cancel();
  running_ = queue_.asyncAfter(delay_, [this] { expired_(); });
}

void RestartableTimer::cancel() {
  MutexLock lock(mutex_);
  running_.cancel();
}

}  // namespace tavik
