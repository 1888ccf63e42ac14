#pragma once

#include <cstdint>
#include <random>
#include <stdexcept>
#include <vector>

#include "Base/Concurrency/Scheduler.h"

namespace tavik {

/// All tasks wait and no deadline is left. The text names each task and its wait.
class DeadlockError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Runs one task at a time in virtual time, always in the same way. Without a seed
/// a task gives way only where it waits, and tasks go in the order in which they
/// became able to run. With a seed the next task is picked at random, also before
/// each outermost lock of a `Mutex`, so that many seeds explore many interleavings.
/// When no task can run, time jumps to the next deadline.
class SimulatedScheduler : public Scheduler {
 public:
  explicit SimulatedScheduler(std::optional<std::uint64_t> seed = std::nullopt);
  /// Ends every task that is left: its wait throws and its stack unwinds.
  ~SimulatedScheduler() override;

  /// Runs `body` as a task, and with it all others, until it returns; its
  /// exception is thrown on. Throws `DeadlockError` when nothing can go on. May be
  /// called again. Tasks that still wait at the return stay as they are.
  void run(std::function<void()> body);

  /// Inside `run`: lets the other tasks run until none can without time passing.
  void settle();

  MonotonicTime now() const override;
  /// Starts at 2026-01-01T00:00:00Z and passes with `now`.
  WallTime wallTime() const override;
  Task start(std::string name, std::function<void()> body) override;
  void park(const char* what, std::optional<MonotonicTime> deadline) override;
  void yield() override;

  /// A random number below `bound` from the seed, for faults and delays in tests.
  std::uint64_t random(std::uint64_t bound);

  /// How many tasks have not finished, the caller's included.
  std::size_t unfinishedTaskCount() const;

 private:
  bool isFinished(const TaskRecord& task) const override;
  void join(const std::shared_ptr<TaskRecord>& task) override;

  struct SimulatedTask;
  struct Engine;
  std::shared_ptr<Engine> engine_;
};

/// Runs `body` with a scheduler for each seed from 0 to `count` - 1. A failing
/// seed is printed on standard error and its exception thrown on.
void exploreSeeds(std::uint64_t count, const std::function<void(SimulatedScheduler&)>& body);

}  // namespace tavik
