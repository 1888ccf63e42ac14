#include "ComputerUseToolRuntime/Service/OperationSerializationGate.h"

namespace tavik {

void OperationSerializationGate::acquire(const std::string& key) {
  Completion<Unit> turn(scheduler_);
  {
    MutexLock lock(mutex_);
    if (lockedKeys_.insert(key).second) return;
    waiters_[key].push_back(turn);
  }
  turn.wait("an operation gate");
}

void OperationSerializationGate::release(const std::string& key) {
  std::optional<Completion<Unit>> next;
  {
    MutexLock lock(mutex_);
    auto waiting = waiters_.find(key);
    if (waiting == waiters_.end()) {
      lockedKeys_.erase(key);
      return;
    }
    next = waiting->second.front();
    waiting->second.pop_front();
    if (waiting->second.empty()) waiters_.erase(waiting);
  }
  next->resume();
}

bool OperationSerializationGate::isLocked(const std::string& key) {
  MutexLock lock(mutex_);
  return lockedKeys_.contains(key);
}

std::size_t OperationSerializationGate::waiterCount(const std::string& key) {
  MutexLock lock(mutex_);
  auto waiting = waiters_.find(key);
  return waiting == waiters_.end() ? 0 : waiting->second.size();
}

}  // namespace tavik
