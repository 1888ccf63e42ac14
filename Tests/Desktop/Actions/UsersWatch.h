#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>
#include <utility>

namespace tavik {

/// Looks all the time, while it lives, whether the user still has what the user had.
class UsersWatch {
 public:
  explicit UsersWatch(std::function<bool()> isUndisturbed)
      : isUndisturbed_(std::move(isUndisturbed)), thread_([this] { watch(); }) {}
  ~UsersWatch() {
    isOver_ = true;
    thread_.join();
  }
  UsersWatch(const UsersWatch&) = delete;
  UsersWatch& operator=(const UsersWatch&) = delete;

  /// How many looks found something else.
  int disturbances() const { return disturbances_; }

 private:
  void watch() {
    while (!isOver_) {
      if (!isUndisturbed_()) ++disturbances_;
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
  }

  const std::function<bool()> isUndisturbed_;
  std::atomic<bool> isOver_ = false;
  std::atomic<int> disturbances_ = 0;
  std::thread thread_;
};

}  // namespace tavik
