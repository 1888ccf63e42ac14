#pragma once

#include <atomic>

#include "Base/Concurrency/ParkingSpot.h"
#include "Base/Concurrency/Task.h"

namespace tavik {

/// A task on a thread of its own. Also stands for a thread that no scheduler
/// started, such as the main thread or one of a library.
class ThreadTask : public TaskRecord {
 public:
  explicit ThreadTask(std::string name) : TaskRecord(std::move(name)) {}

  void unpark() override { spot.unpark(); }
  static void becomeCurrent(std::shared_ptr<TaskRecord> task) { setCurrent(std::move(task)); }

  ParkingSpot spot;
  std::mutex finishMutex;
  std::condition_variable finishCondition;
  bool finished = false;
};

}  // namespace tavik
