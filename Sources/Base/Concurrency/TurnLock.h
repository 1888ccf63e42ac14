#pragma once

#include <deque>

#include "Base/Concurrency/Completion.h"
#include "Base/Concurrency/Mutex.h"

namespace tavik {

/// A lock that, unlike a `Mutex`, may be held across a wait or a port call. Those
/// who come meanwhile get it in the order in which they came; cancellation does not
/// end their wait. Any task; use it through `std::lock_guard`.
class TurnLock {
 public:
  explicit TurnLock(Scheduler& scheduler) : scheduler_(scheduler) {}
  TurnLock(const TurnLock&) = delete;
  TurnLock& operator=(const TurnLock&) = delete;

  void lock() {
    Completion<Unit> turn(scheduler_);
    {
      MutexLock lock(mutex_);
      if (!isTaken_) {
        isTaken_ = true;
        return;
      }
      waiters_.push_back(turn);
    }
    turn.wait("a turn");
  }

  void unlock() {
    std::optional<Completion<Unit>> next;
    {
      MutexLock lock(mutex_);
      if (waiters_.empty()) {
        isTaken_ = false;
        return;
      }
      next = std::move(waiters_.front());
      waiters_.pop_front();
    }
    next->resume();
  }

 private:
  Scheduler& scheduler_;
  Mutex mutex_;
  bool isTaken_ = false;
  std::deque<Completion<Unit>> waiters_;
};

}  // namespace tavik
