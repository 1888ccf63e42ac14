#pragma once

#include <functional>
#include <string>
#include <vector>

#include "Base/Concurrency/Mutex.h"
#include "Base/Concurrency/Scheduler.h"

namespace tavik {

/// Owns tasks that nobody awaits one by one. Destroying it cancels and joins them.
class TaskGroup {
 public:
  explicit TaskGroup(Scheduler& scheduler) : scheduler_(scheduler) {}
  ~TaskGroup();
  TaskGroup(const TaskGroup&) = delete;
  TaskGroup& operator=(const TaskGroup&) = delete;

  Task start(std::string name, std::function<void()> body);
  void cancelAll();
  /// Waits for all of them, save the calling task itself.
  void joinAll();
  std::size_t unfinishedCount();

 private:
  Scheduler& scheduler_;
  Mutex mutex_;
  std::vector<Task> tasks_;
};

}  // namespace tavik
