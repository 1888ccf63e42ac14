#pragma once

#include <functional>

#include "Base/Concurrency/Mutex.h"
#include "Base/Concurrency/WorkQueue.h"

namespace tavik {

/// Does something on a queue once it was left alone for long enough. Any thread.
class RestartableTimer {
 public:
  RestartableTimer(WorkQueue& queue, Duration delay, std::function<void()> expired);
  /// Like `cancel`; on the queue's own thread nothing runs afterwards.
  ~RestartableTimer();
  RestartableTimer(const RestartableTimer&) = delete;
  RestartableTimer& operator=(const RestartableTimer&) = delete;

  /// Begins to count anew.
  void restart();
  /// Stops counting until the next `restart`.
  void cancel();

 private:
  WorkQueue& queue_;
  const Duration delay_;
  const std::function<void()> expired_;
  Mutex mutex_;
  WorkItem running_;
};

}  // namespace tavik
