#pragma once

#include <mutex>

namespace tavik {

/// A lock for small state. It is never held across a wait, a port call or a
/// callback: the schedulers end the program with a message when a task waits with
/// a lock in its hands, and a seeded `SimulatedScheduler` lets other tasks run
/// before each outermost acquisition, so that races show up.
class Mutex {
 public:
  Mutex() = default;
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  void lock();
  void unlock();
  bool try_lock();

  /// How many of these the calling thread holds.
  static int heldByThisThread();

 private:
  std::mutex mutex_;
};

using MutexLock = std::lock_guard<Mutex>;

/// Reports a broken rule of this program on standard error and ends it.
[[noreturn]] void failContract(const char* message);

/// Ends the program when the calling thread holds a `Mutex`. Backends for tests
/// call it at the entrance of each port operation.
void requireNoLockHeld(const char* operation);

}  // namespace tavik
