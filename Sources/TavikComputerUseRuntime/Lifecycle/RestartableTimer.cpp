#include "TavikComputerUseRuntime/Lifecycle/RestartableTimer.h"

#include <utility>

namespace tavik {

RestartableTimer::RestartableTimer(WorkQueue& queue, Duration delay,
                                   std::function<void(const IsOvertaken&)> expired)
    : queue_(queue), delay_(delay), expired_(std::move(expired)) {}

RestartableTimer::~RestartableTimer() {
  stop();
}

void RestartableTimer::restart() {
  MutexLock lock(mutex_);
  running_.cancel();
  const std::uint64_t generation = ++generation_;
  if (stopped_) return;
  running_ = queue_.asyncAfter(delay_, [this, generation] { expire(generation); });
}

void RestartableTimer::expire(std::uint64_t generation) {
  if (!isCurrent(generation)) return;
  expired_([this, generation] { return !isCurrent(generation); });
}

bool RestartableTimer::isCurrent(std::uint64_t generation) const {
  MutexLock lock(mutex_);
  return !stopped_ && generation_ == generation;
}

void RestartableTimer::stop() {
  MutexLock lock(mutex_);
  stopped_ = true;
  ++generation_;
  running_.cancel();
}

}  // namespace tavik
