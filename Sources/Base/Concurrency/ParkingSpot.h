#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>

namespace tavik {

/// Where one real thread waits. An `unpark` that comes first lets the next `park`
/// return at once; several count as one.
class ParkingSpot {
 public:
  using Clock = std::chrono::steady_clock;

  void park(std::optional<Clock::time_point> deadline) {
    std::unique_lock lock(mutex_);
    if (deadline) {
      condition_.wait_until(lock, *deadline, [this] { return permit_; });
    } else {
      condition_.wait(lock, [this] { return permit_; });
    }
    permit_ = false;
  }

  void unpark() {
    {
      std::lock_guard lock(mutex_);
      permit_ = true;
    }
    condition_.notify_one();
  }

 private:
  std::mutex mutex_;
  std::condition_variable condition_;
  bool permit_ = false;
};

}  // namespace tavik
