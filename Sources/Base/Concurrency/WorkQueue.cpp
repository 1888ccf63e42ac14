#include "Base/Concurrency/WorkQueue.h"

namespace tavik {

bool WorkItem::cancel() const {
  if (!state_) return false;
  std::function<void()> dropped;
  MutexLock lock(state_->mutex);
  if (state_->taken) return false;
  state_->taken = true;
  dropped.swap(state_->body);
  return true;
}

WorkItem WorkQueue::async(std::function<void()> body) {
  WorkItem item;
  item.state_ = std::make_shared<WorkItem::State>();
  item.state_->body = std::move(body);
  {
    MutexLock lock(mutex_);
    if (stopped_) return item;
    ready_.push_back(item.state_);
  }
  wake();
  return item;
}

WorkItem WorkQueue::asyncAfter(Duration delay, std::function<void()> body) {
  WorkItem item;
  item.state_ = std::make_shared<WorkItem::State>();
  item.state_->body = std::move(body);
  const MonotonicTime due = scheduler_.now() + delay;
  {
    MutexLock lock(mutex_);
    if (stopped_) return item;
    std::erase_if(delayed_, [](const auto& entry) {
      MutexLock itemLock(entry.second->mutex);
      return entry.second->taken;
    });
    delayed_.emplace(due, item.state_);
  }
  wake();
  return item;
}

void WorkQueue::wake() {
  std::shared_ptr<TaskRecord> server;
  {
    MutexLock lock(mutex_);
    server = server_;
  }
  if (server) server->unpark();
}

bool WorkQueue::isCurrent() const {
  MutexLock lock(mutex_);
  const TaskRecord* current = TaskRecord::currentOrNull();
  return current && (server_.get() == current || runnerAfterStop_.get() == current);
}

namespace {

/// Settles the wait of a `sync` whether its work ran or was dropped.
struct SyncWork {
  Completion<bool> ran;
  explicit SyncWork(Scheduler& scheduler) : ran(scheduler) {}
  ~SyncWork() { ran.resume(false); }
};

}  // namespace

void WorkQueue::syncErased(const std::function<void()>& body) {
  if (isCurrent()) return body();
  auto work = std::make_shared<SyncWork>(scheduler_);
  Completion<bool> ran = work->ran;
  async([&body, work = std::move(work), requestID = TaskRecord::requestID()] {
    RequestIDScope inherited(requestID);
    try {
      body();
      work->ran.resume(true);
    } catch (...) {
      work->ran.fail(std::current_exception());
    }
  });
  if (!ran.wait("work on a queue")) runAfterStop(body);
}

void WorkQueue::runAfterStop(const std::function<void()>& body) {
  std::lock_guard turn(afterStop_);
  struct Runner {
    WorkQueue& queue;
    explicit Runner(WorkQueue& queue) : queue(queue) { queue.setRunnerAfterStop(TaskRecord::current()); }
    ~Runner() { queue.setRunnerAfterStop(nullptr); }
  } runner(*this);
  body();
}

void WorkQueue::setRunnerAfterStop(std::shared_ptr<TaskRecord> runner) {
  MutexLock lock(mutex_);
  runnerAfterStop_.swap(runner);
}

std::shared_ptr<WorkItem::State> WorkQueue::nextReady(std::optional<MonotonicTime>& deadline) {
  const MonotonicTime now = scheduler_.now();
  MutexLock lock(mutex_);
  while (!delayed_.empty() && delayed_.begin()->first <= now) {
    ready_.push_back(std::move(delayed_.begin()->second));
    delayed_.erase(delayed_.begin());
  }
  if (!ready_.empty()) {
    auto next = std::move(ready_.front());
    ready_.pop_front();
    return next;
  }
  deadline = delayed_.empty() ? std::nullopt : std::optional(delayed_.begin()->first);
  return nullptr;
}

void WorkQueue::serve() {
  {
    MutexLock lock(mutex_);
    server_ = TaskRecord::current();
  }
  while (true) {
    {
      MutexLock lock(mutex_);
      if (stopped_) break;
    }
    std::optional<MonotonicTime> deadline;
    auto item = nextReady(deadline);
    if (!item) {
      scheduler_.park("work", deadline);
      continue;
    }
    std::function<void()> body;
    {
      MutexLock lock(item->mutex);
      item->taken = true;
      body.swap(item->body);
    }
    item.reset();
    if (body) body();
  }
  decltype(ready_) dropped;
  decltype(delayed_) droppedLater;
  MutexLock lock(mutex_);
  server_.reset();
  dropped.swap(ready_);
  droppedLater.swap(delayed_);
}

void WorkQueue::stop() {
  {
    MutexLock lock(mutex_);
    stopped_ = true;
  }
  wake();
}

SerialQueue::SerialQueue(Scheduler& scheduler, std::string name)
    : WorkQueue(scheduler, std::move(name)), task_(scheduler.start(name_, [this] { serve(); })) {}

SerialQueue::~SerialQueue() {
  stop();
  task_.join();
}

}  // namespace tavik
