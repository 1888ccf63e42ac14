#pragma once

#include <cstdint>
#include <functional>

#include "Base/Concurrency/Mutex.h"
#include "Base/Concurrency/WorkQueue.h"

namespace tavik {

/// Does something on a queue once it was left alone for long enough. Any thread.
class RestartableTimer {
 public:
  /// Asks whether the timer was restarted or stopped since its time was over: then
  /// what it was going to do must not be done.
  using IsOvertaken = std::function<bool()>;

  RestartableTimer(WorkQueue& queue, Duration delay, std::function<void(const IsOvertaken&)> expired);
  /// Like `stop`; on the queue's own thread nothing runs afterwards.
  ~RestartableTimer();
  RestartableTimer(const RestartableTimer&) = delete;
  RestartableTimer& operator=(const RestartableTimer&) = delete;

  /// Begins to count anew.
  void restart();
  /// Counts no more; a later `restart` does nothing.
  void stop();

 private:
  void expire(std::uint64_t generation);
  bool isCurrent(std::uint64_t generation) const;

  WorkQueue& queue_;
  const Duration delay_;
  const std::function<void(const IsOvertaken&)> expired_;
  mutable Mutex mutex_;
  std::uint64_t generation_ = 0;
  WorkItem running_;
  bool stopped_ = false;
};

}  // namespace tavik
