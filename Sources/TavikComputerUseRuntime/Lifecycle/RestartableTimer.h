#pragma once

#include <functional>

#include "Base/Concurrency/Mutex.h"
#include "Base/Concurrency/WorkQueue.h"

namespace tavik {

/// Does something on a queue once it was left alone for long enough. Any thread.
class RestartableTimer {
 public:
  RestartableTimer(WorkQueue& queue, Duration delay, std::function<void()> expired);
  /// Like `stop`; on the queue's own thread nothing runs afterwards.
  ~RestartableTimer();
  RestartableTimer(const RestartableTimer&) = delete;
  RestartableTimer& operator=(const RestartableTimer&) = delete;

  /// Begins to count anew.
  void restart();
  /// Counts no more; a later `restart` does nothing.
  void stop();

 private:
  WorkQueue& queue_;
  const Duration delay_;
  const std::function<void()> expired_;
  Mutex mutex_;
  WorkItem running_;
  bool stopped_ = false;
};

}  // namespace tavik
