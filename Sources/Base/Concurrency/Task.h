#pragma once

#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace tavik {

class Scheduler;

/// One thread of work as the schedulers see it: a name, a cancellation flag and
/// the values that follow the work. Made by a `Scheduler`; a thread that no
/// scheduler started gets one of its own when it first waits.
class TaskRecord : public std::enable_shared_from_this<TaskRecord> {
 public:
  virtual ~TaskRecord() = default;

  const std::string& name() const { return name_; }

  /// Asks the work to end: sets the flag, calls the cancellation handlers on the
  /// calling thread and ends a cancellable wait. Later calls do nothing.
  void cancel();
  bool isCancelled() const;

  /// Lets the task's present or next `park` return.
  virtual void unpark() = 0;

  /// Runs `handler` once, when the task is cancelled; at once if it already is.
  /// The handler must not wait. Answers an identifier for `removeHandler`.
  long addHandler(std::function<void()> handler);
  /// Afterwards the handler neither runs nor will run, save when it is the handler
  /// itself that removes it.
  void removeHandler(long identifier);

  /// The task of the calling thread; made on demand for a foreign thread.
  static std::shared_ptr<TaskRecord> current();
  /// Like `current`, but null on a thread that has none.
  static TaskRecord* currentOrNull();

  /// The request that the calling thread works for; empty when it works for none.
  static const std::string& requestID();

 protected:
  explicit TaskRecord(std::string name) : name_(std::move(name)) {}
  static void setCurrent(std::shared_ptr<TaskRecord> task);

 private:
  std::string name_;
  mutable std::mutex mutex_;
  std::condition_variable handlerReturned_;
  bool cancelled_ = false;
  long nextHandler_ = 1;
  std::map<long, std::function<void()>> handlers_;
  long runningHandler_ = 0;
  std::thread::id handlerThread_;
};

/// Binds the request identifier of the calling thread for the life of the object.
/// Tasks started meanwhile inherit it.
class RequestIDScope {
 public:
  explicit RequestIDScope(std::string requestID);
  ~RequestIDScope();
  RequestIDScope(const RequestIDScope&) = delete;
  RequestIDScope& operator=(const RequestIDScope&) = delete;

 private:
  std::string previous_;
};

/// Runs `handler` if the calling thread's task is cancelled while the object lives.
class CancellationScope {
 public:
  explicit CancellationScope(std::function<void()> handler);
  ~CancellationScope();
  CancellationScope(const CancellationScope&) = delete;
  CancellationScope& operator=(const CancellationScope&) = delete;

 private:
  std::shared_ptr<TaskRecord> task_;
  long identifier_;
};

/// Owner's handle to a started task. Copies name the same task. Letting go of the
/// last handle neither cancels nor joins: give the task to a `TaskGroup`, or join.
class Task {
 public:
  Task() = default;
  Task(Scheduler& scheduler, std::shared_ptr<TaskRecord> record)
      : scheduler_(&scheduler), record_(std::move(record)) {}

  explicit operator bool() const { return record_ != nullptr; }
  void cancel() const;
  bool isCancelled() const;
  bool isFinished() const;
  bool isCurrent() const;
  /// Waits until the task's body has returned. A task that joins itself returns
  /// at once, since it would wait for ever.
  void join() const;

 private:
  Scheduler* scheduler_ = nullptr;
  std::shared_ptr<TaskRecord> record_;
};

}  // namespace tavik
