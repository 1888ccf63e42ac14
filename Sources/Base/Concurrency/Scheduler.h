#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Base/Concurrency/CancellationError.h"
#include "Base/Concurrency/Task.h"
#include "Base/Concurrency/Time.h"

namespace tavik {

/// Starts tasks, keeps the time and does all waiting of the core. There are two:
/// `ThreadScheduler` runs tasks in parallel on the monotonic clock, and
/// `SimulatedScheduler` runs one at a time on a clock that jumps.
///
/// All operations may be called from any thread. No lock may be held in `park`,
/// `sleep` or `Task::join`.
class Scheduler {
 public:
  Scheduler() = default;
  virtual ~Scheduler() = default;
  Scheduler(const Scheduler&) = delete;
  Scheduler& operator=(const Scheduler&) = delete;

  virtual MonotonicTime now() const = 0;
  virtual WallTime wallTime() const = 0;

  /// Runs `body` as a task of its own, which inherits the caller's request
  /// identifier. An exception that leaves `body` ends the program, save for
  /// `CancellationError`, which ends the task.
  virtual Task start(std::string name, std::function<void()> body) = 0;

  /// Blocks the calling task until it is unparked or the deadline has passed; an
  /// unpark that came first is used up at once. May also return without a reason,
  /// so callers test their condition in a loop. `what` names the wait in reports
  /// and must outlive it. Cancellation unparks.
  virtual void park(const char* what, std::optional<MonotonicTime> deadline = std::nullopt) = 0;

  /// Gives other tasks a chance to run.
  virtual void yield() = 0;

  /// Blocks for the duration. Throws `CancellationError` as soon as the calling
  /// task is cancelled, also before the first wait.
  void sleep(Duration duration);

  /// Throws `CancellationError` if the calling task is cancelled.
  void checkCancellation();

 private:
  friend class Task;
  virtual bool isFinished(const TaskRecord& task) const = 0;
  virtual void join(const std::shared_ptr<TaskRecord>& task) = 0;
};

}  // namespace tavik
