#include "Base/Concurrency/Task.h"

#include <utility>

#include "Base/Concurrency/PreemptionPoint.h"
#include "Base/Concurrency/Scheduler.h"
#include "Base/Concurrency/ThreadTask.h"

namespace tavik {

namespace {
thread_local std::shared_ptr<TaskRecord> currentTask;
thread_local std::string currentRequestID;
}  // namespace

std::shared_ptr<TaskRecord> TaskRecord::current() {
  if (!currentTask) currentTask = std::make_shared<ThreadTask>("foreign thread");
  return currentTask;
}

TaskRecord* TaskRecord::currentOrNull() { return currentTask.get(); }

void TaskRecord::setCurrent(std::shared_ptr<TaskRecord> task) { currentTask = std::move(task); }

const std::string& TaskRecord::requestID() { return currentRequestID; }

bool TaskRecord::isCancelled() const {
  std::lock_guard lock(mutex_);
  return cancelled_;
}

void TaskRecord::cancel() {
  // In a simulation the handlers and the wake-up are one step.
  WithoutPreemption atomically;
  std::unique_lock lock(mutex_);
  if (cancelled_) return;
  cancelled_ = true;
  handlerThread_ = std::this_thread::get_id();
  while (!handlers_.empty()) {
    auto node = handlers_.extract(handlers_.begin());
    runningHandler_ = node.key();
    lock.unlock();
    node.mapped()();
    lock.lock();
    runningHandler_ = 0;
    handlerReturned_.notify_all();
  }
  lock.unlock();
  unpark();
}

long TaskRecord::addHandler(std::function<void()> handler) {
  {
    std::lock_guard lock(mutex_);
    if (!cancelled_) {
      long identifier = nextHandler_++;
      handlers_.emplace(identifier, std::move(handler));
      return identifier;
    }
  }
  handler();
  return 0;
}

void TaskRecord::removeHandler(long identifier) {
  std::unique_lock lock(mutex_);
  handlers_.erase(identifier);
  if (identifier == 0 || handlerThread_ == std::this_thread::get_id()) return;
  handlerReturned_.wait(lock, [&] { return runningHandler_ != identifier; });
}

RequestIDScope::RequestIDScope(std::string requestID)
    : previous_(std::exchange(currentRequestID, std::move(requestID))) {}

RequestIDScope::~RequestIDScope() { currentRequestID = std::move(previous_); }

CancellationScope::CancellationScope(std::function<void()> handler)
    : task_(TaskRecord::current()), identifier_(task_->addHandler(std::move(handler))) {}

CancellationScope::~CancellationScope() { task_->removeHandler(identifier_); }

void Task::cancel() const {
  if (record_) record_->cancel();
}

bool Task::isCancelled() const { return record_ && record_->isCancelled(); }

bool Task::isFinished() const { return !record_ || scheduler_->isFinished(*record_); }

bool Task::isCurrent() const { return record_ && record_.get() == TaskRecord::currentOrNull(); }

void Task::join() const {
  if (record_ && !isCurrent()) scheduler_->join(record_);
}

}  // namespace tavik
