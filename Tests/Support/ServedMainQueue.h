#pragma once

#include "Base/Concurrency/Scheduler.h"
#include "Base/Concurrency/WorkQueue.h"

namespace tavik {

/// Plays the main thread: serves the main queue on a task of its own while it lives.
class ServedMainQueue {
 public:
  ServedMainQueue(Scheduler& scheduler, MainQueue& mainQueue)
      : mainQueue_(mainQueue), task_(scheduler.start("main", [&mainQueue] { mainQueue.run(); })) {}
  ~ServedMainQueue() {
    mainQueue_.quit();
    task_.join();
  }
  ServedMainQueue(const ServedMainQueue&) = delete;
  ServedMainQueue& operator=(const ServedMainQueue&) = delete;

 private:
  MainQueue& mainQueue_;
  const Task task_;
};

}  // namespace tavik
