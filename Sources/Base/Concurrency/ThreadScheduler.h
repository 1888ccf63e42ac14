#pragma once

#include "Base/Concurrency/Scheduler.h"

namespace tavik {

/// Each task is a thread; the clock is the system's monotonic one. Destroying the
/// scheduler waits for all tasks, so their owners must have ended them.
class ThreadScheduler : public Scheduler {
 public:
  ThreadScheduler();
  ~ThreadScheduler() override;

  MonotonicTime now() const override;
  WallTime wallTime() const override;
  Task start(std::string name, std::function<void()> body) override;
  void park(const char* what, std::optional<MonotonicTime> deadline) override;
  void yield() override;

 private:
  bool isFinished(const TaskRecord& task) const override;
  void join(const std::shared_ptr<TaskRecord>& task) override;

  struct Threads;
  std::shared_ptr<Threads> threads_;
};

}  // namespace tavik
