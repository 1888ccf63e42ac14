#include "TavikComputerUseRuntime/Lifecycle/RestartableTimer.h"

#include <utility>

namespace tavik {

RestartableTimer::RestartableTimer(WorkQueue& queue, Duration delay, std::function<void()> expired)
    : queue_(queue), delay_(delay), expired_(std::move(expired)) {}

RestartableTimer::~RestartableTimer() {
  stop();
}

void RestartableTimer::restart() {
  MutexLock lock(mutex_);
  running_.cancel();
  if (stopped_) return;
  running_ = queue_.asyncAfter(delay_, [this] { expired_(); });
}

void RestartableTimer::stop() {
  MutexLock lock(mutex_);
  stopped_ = true;
  running_.cancel();
}

}  // namespace tavik
