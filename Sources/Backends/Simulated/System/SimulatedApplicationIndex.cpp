#include "Backends/Simulated/System/SimulatedApplicationIndex.h"

#include <utility>

namespace tavik {

void SimulatedApplicationIndex::letStartEndWith(ApplicationIndexStart outcome) {
  MutexLock lock(mutex_);
  outcome_ = outcome;
}

void SimulatedApplicationIndex::keepSilent() {
  MutexLock lock(mutex_);
  isSilent_ = true;
}

void SimulatedApplicationIndex::publish(std::vector<ApplicationIndexEntry> entries) {
  MutexLock lock(mutex_);
  entries_ = std::move(entries);
  isSilent_ = false;
  deliverLocked();
}

bool SimulatedApplicationIndex::isWatched() const {
  MutexLock lock(mutex_);
  return queue_ != nullptr;
}

ApplicationIndexStart SimulatedApplicationIndex::start(WorkQueue& queue, ResultsHandler handler) {
  requireNoLockHeld("start of the application index");
  MutexLock lock(mutex_);
  if (queue_ != nullptr) failContract("a second watch of the application index");
  if (outcome_ != ApplicationIndexStart::started) return outcome_;
  queue_ = &queue;
  handler_ = std::move(handler);
  if (!isSilent_) deliverLocked();
  return outcome_;
}

void SimulatedApplicationIndex::stop() {
  requireNoLockHeld("stop of the application index");
  MutexLock lock(mutex_);
  queue_ = nullptr;
  handler_ = nullptr;
}

void SimulatedApplicationIndex::deliverLocked() {
  if (queue_ != nullptr) queue_->async([handler = handler_, entries = entries_] { handler(entries); });
}

}  // namespace tavik
