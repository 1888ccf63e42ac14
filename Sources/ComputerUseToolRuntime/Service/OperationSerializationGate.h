#pragma once

#include <deque>
#include <map>
#include <set>
#include <string>

#include "Base/Concurrency/Completion.h"

namespace tavik {

/// A lock for whole operations, by key. Strictly first come, first served for each
/// key, by direct hand-over: the key is never free between a release and the next
/// waiter. There is no time-out, and cancellation does not end a wait; a cancelled
/// caller still gets its turn and passes it on.
class OperationSerializationGate {
 public:
  explicit OperationSerializationGate(Scheduler& scheduler) : scheduler_(scheduler) {}

  void acquire(const std::string& key);
  void release(const std::string& key);

  /// Runs the operation with the key held; released also when it throws.
  template <class Operation>
  auto withLock(const std::string& key, Operation operation) -> decltype(operation()) {
    acquire(key);
    Held held{*this, key};
    return operation();
  }

  bool isLocked(const std::string& key);
  std::size_t waiterCount(const std::string& key);

 private:
  struct Held {
    OperationSerializationGate& gate;
    const std::string& key;
    ~Held() { gate.release(key); }
  };

  Scheduler& scheduler_;
  Mutex mutex_;
  std::set<std::string> lockedKeys_;
  std::map<std::string, std::deque<Completion<Unit>>> waiters_;
};

}  // namespace tavik
