#include "Base/Concurrency/TaskGroup.h"

#include <algorithm>

namespace tavik {

TaskGroup::~TaskGroup() {
  cancelAll();
  joinAll();
}

Task TaskGroup::start(std::string name, std::function<void()> body) {
  Task task = scheduler_.start(std::move(name), std::move(body));
  MutexLock lock(mutex_);
  std::erase_if(tasks_, [](const Task& other) { return other.isFinished(); });
  tasks_.push_back(task);
  return task;
}

void TaskGroup::cancelAll() {
  std::vector<Task> tasks;
  {
    MutexLock lock(mutex_);
    tasks = tasks_;
  }
  for (const Task& task : tasks) task.cancel();
}

void TaskGroup::joinAll() {
  while (true) {
    std::vector<Task> tasks;
    {
      MutexLock lock(mutex_);
      std::erase_if(tasks_, [](const Task& task) { return task.isFinished(); });
      for (const Task& task : tasks_) {
        if (!task.isCurrent()) tasks.push_back(task);
      }
    }
    if (tasks.empty()) return;
    for (const Task& task : tasks) task.join();
  }
}

std::size_t TaskGroup::unfinishedCount() {
  MutexLock lock(mutex_);
  return static_cast<std::size_t>(
      std::count_if(tasks_.begin(), tasks_.end(), [](const Task& task) { return !task.isFinished(); }));
}

}  // namespace tavik
