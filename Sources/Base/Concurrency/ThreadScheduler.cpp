#include "Base/Concurrency/ThreadScheduler.h"

#include <list>
#include <thread>

#include "Base/Concurrency/Mutex.h"
#include "Base/Concurrency/TaskBody.h"
#include "Base/Concurrency/ThreadTask.h"

namespace tavik {

/// The threads of one scheduler. A thread that ends puts itself on the list of
/// finished ones, from where the next start, or the end of the scheduler, joins it.
struct ThreadScheduler::Threads {
  std::mutex mutex;
  std::condition_variable allFinished;
  std::list<std::thread> running;
  std::list<std::thread> finished;

  void joinFinished() {
    std::list<std::thread> toJoin;
    {
      std::lock_guard lock(mutex);
      toJoin.swap(finished);
    }
    for (std::thread& thread : toJoin) thread.join();
  }
};

namespace {

const ParkingSpot::Clock::time_point& clockStart() {
  static const auto start = ParkingSpot::Clock::now();
  return start;
}

ParkingSpot::Clock::time_point realTime(MonotonicTime time) {
  // Far deadlines overflow the clock's own arithmetic.
  constexpr Duration farAway = std::chrono::hours(24 * 365);
  return clockStart() + std::min(time.sinceStart, ParkingSpot::Clock::now() - clockStart() + farAway);
}

}  // namespace

ThreadScheduler::ThreadScheduler() : threads_(std::make_shared<Threads>()) { clockStart(); }

ThreadScheduler::~ThreadScheduler() {
  {
    std::unique_lock lock(threads_->mutex);
    threads_->allFinished.wait(lock, [&] { return threads_->running.empty(); });
  }
  threads_->joinFinished();
}

MonotonicTime ThreadScheduler::now() const {
  return {std::chrono::duration_cast<Duration>(ParkingSpot::Clock::now() - clockStart())};
}

WallTime ThreadScheduler::wallTime() const {
  return std::chrono::time_point_cast<std::chrono::nanoseconds>(std::chrono::system_clock::now());
}

Task ThreadScheduler::start(std::string name, std::function<void()> body) {
  threads_->joinFinished();
  auto task = std::make_shared<ThreadTask>(std::move(name));
  std::lock_guard lock(threads_->mutex);
  auto self = threads_->running.emplace(threads_->running.end());
  *self = std::thread([task, threads = threads_, self, body = std::move(body),
                       requestID = TaskRecord::requestID()]() mutable {
    ThreadTask::becomeCurrent(task);
    {
      RequestIDScope inherited(std::move(requestID));
      runTaskBody(task->name(), body);
      body = nullptr;
    }
    {
      std::lock_guard finishing(task->finishMutex);
      task->finished = true;
      task->finishCondition.notify_all();
    }
    std::lock_guard finishing(threads->mutex);
    threads->finished.splice(threads->finished.end(), threads->running, self);
    if (threads->running.empty()) threads->allFinished.notify_all();
  });
  return Task(*this, task);
}

void ThreadScheduler::park(const char*, std::optional<MonotonicTime> deadline) {
  requireNoLockHeld("a wait");
  auto* task = dynamic_cast<ThreadTask*>(TaskRecord::current().get());
  if (!task) failContract("a simulated task waits on real threads");
  task->spot.park(deadline ? std::optional(realTime(*deadline)) : std::nullopt);
}

void ThreadScheduler::yield() { std::this_thread::yield(); }

bool ThreadScheduler::isFinished(const TaskRecord& record) const {
  auto& task = const_cast<ThreadTask&>(dynamic_cast<const ThreadTask&>(record));
  std::lock_guard lock(task.finishMutex);
  return task.finished;
}

void ThreadScheduler::join(const std::shared_ptr<TaskRecord>& record) {
  requireNoLockHeld("a join");
  auto& task = dynamic_cast<ThreadTask&>(*record);
  std::unique_lock lock(task.finishMutex);
  task.finishCondition.wait(lock, [&] { return task.finished; });
}

}  // namespace tavik
