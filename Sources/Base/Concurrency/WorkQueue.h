#pragma once

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "Base/Concurrency/Completion.h"
#include "Base/Concurrency/Mutex.h"
#include "Base/Concurrency/Scheduler.h"
#include "Base/Concurrency/TurnLock.h"

namespace tavik {

/// A piece of work on a queue that can be called off until it begins. Copies name
/// the same work.
class WorkItem {
 public:
  WorkItem() = default;
  /// False when it already began or was cancelled.
  bool cancel() const;
  explicit operator bool() const { return state_ != nullptr; }

 private:
  friend class WorkQueue;
  struct State {
    Mutex mutex;
    bool taken = false;
    std::function<void()> body;
  };
  std::shared_ptr<State> state_;
};

/// Runs pieces of work one after another in the order given, on one thread.
class WorkQueue {
 public:
  virtual ~WorkQueue() = default;
  WorkQueue(const WorkQueue&) = delete;
  WorkQueue& operator=(const WorkQueue&) = delete;

  WorkItem async(std::function<void()> body);
  /// Runs the work when the delay is over, after what is then already waiting.
  WorkItem asyncAfter(Duration delay, std::function<void()> body);

  /// Runs the work on the queue and waits for it; in place when the caller is on
  /// the queue. Carries the caller's request identifier and its exceptions. After
  /// the queue stopped the work runs in place, still one piece at a time.
  template <class Body>
  auto sync(Body body) -> decltype(body());

  /// True on the thread that serves the queue.
  bool isCurrent() const;

 protected:
  WorkQueue(Scheduler& scheduler, std::string name)
      : scheduler_(scheduler), name_(std::move(name)), afterStop_(scheduler) {}

  /// Serves the queue on the calling thread until `stop`.
  void serve();
  void stop();

  Scheduler& scheduler_;
  const std::string name_;

 private:
  void syncErased(const std::function<void()>& body);
  void runAfterStop(const std::function<void()>& body);
  void setRunnerAfterStop(std::shared_ptr<TaskRecord> runner);
  std::shared_ptr<WorkItem::State> nextReady(std::optional<MonotonicTime>& deadline);
  void wake();

  mutable Mutex mutex_;
  bool stopped_ = false;
  std::deque<std::shared_ptr<WorkItem::State>> ready_;
  std::multimap<MonotonicTime, std::shared_ptr<WorkItem::State>> delayed_;
  std::shared_ptr<TaskRecord> server_;
  TurnLock afterStop_;
  std::shared_ptr<TaskRecord> runnerAfterStop_;
};

/// A queue with a task of its own. Destroying it drops what has not begun and
/// waits for what has.
class SerialQueue : public WorkQueue {
 public:
  SerialQueue(Scheduler& scheduler, std::string name);
  ~SerialQueue() override;

 private:
  Task task_;
};

/// The queue that the main thread, or in a test one task, serves.
class MainQueue : public WorkQueue {
 public:
  explicit MainQueue(Scheduler& scheduler) : WorkQueue(scheduler, "main") {}

  /// Serves the queue until `quit`. What was waiting then is dropped.
  void run() { serve(); }
  void quit() { stop(); }
};

template <class Body>
auto WorkQueue::sync(Body body) -> decltype(body()) {
  using Result = decltype(body());
  if constexpr (std::is_void_v<Result>) {
    syncErased(std::function<void()>(std::ref(body)));
  } else {
    std::optional<Result> result;
    syncErased([&] { result.emplace(body()); });
    return std::move(*result);
  }
}

}  // namespace tavik
