#include "ComputerUsePlatform/IPC/ComputerUseIPCRequestLimiter.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "ComputerUsePlatform/IPC/ComputerUseIPCError.h"
#include "SlimCore/Logging/TavikComputerUseLogger.h"

namespace tavik {

void ComputerUseIPCRequestAdmission::release() const {
  limiter->release();
}

ComputerUseIPCRequestLimiter::ComputerUseIPCRequestLimiter(Scheduler& scheduler, int maxActiveRequests,
                                                           std::size_t maxQueuedRequests)
    : scheduler_(scheduler), maxActiveRequests_(maxActiveRequests), maxQueuedRequests_(maxQueuedRequests) {}

ComputerUseIPCRequestAdmission ComputerUseIPCRequestLimiter::acquire(const std::string& requestType,
                                                                     std::int32_t senderPID) {
  const UUID id = UUID::make();
  CancellationScope cancelling([this, id] { cancelWaiter(id); });
  Completion<ComputerUseIPCRequestAdmission> continuation(scheduler_);
  enqueue({id, requestType, senderPID, continuation});
  return continuation.wait("admission of a request");
}

void ComputerUseIPCRequestLimiter::enqueue(Waiter waiter) {
  enum class Decision { admitted, waiting, rejected, cancelled };
  const auto task = TaskRecord::current();
  const Decision decision = [&] {
    MutexLock lock(mutex_);
    // A cancellation that came before this found no waiter to fail; one that
    // comes after it will.
    if (task->isCancelled()) return Decision::cancelled;
    if (activeRequests_ < maxActiveRequests_) {
      ++activeRequests_;
      return Decision::admitted;
    }
    if (waiters_.size() >= maxQueuedRequests_) return Decision::rejected;
    waiters_.push_back(waiter);
    return Decision::waiting;
  }();

  switch (decision) {
    case Decision::admitted:
      waiter.continuation.resume({this});
      break;
    case Decision::waiting:
      break;
    case Decision::rejected:
      TavikComputerUseLogger::error(
          LogCategory::ipc, "request_queue_rejected",
          {{"requestType", waiter.requestType}, {"senderPid", waiter.senderPID}, {"reason", "queue_full"}});
      waiter.continuation.fail(ComputerUseIPCError(ComputerUseIPCError::Case::rateLimited));
      break;
    case Decision::cancelled:
      waiter.continuation.fail(ComputerUseIPCError(ComputerUseIPCError::Case::cancelled));
      break;
  }
}

void ComputerUseIPCRequestLimiter::release() {
  std::optional<Waiter> next;
  {
    MutexLock lock(mutex_);
    if (waiters_.empty()) {
      activeRequests_ = std::max(activeRequests_ - 1, 0);
      return;
    }
    // The place passes on directly, so that a newcomer cannot take it.
    next = std::move(waiters_.front());
    waiters_.pop_front();
  }
  TavikComputerUseLogger::info(LogCategory::ipc, "queued_request_admitted",
                               {{"requestType", next->requestType}, {"senderPid", next->senderPID}});
  next->continuation.resume({this});
}

void ComputerUseIPCRequestLimiter::cancelWaiter(const UUID& id) {
  std::optional<Waiter> cancelled;
  {
    MutexLock lock(mutex_);
    auto waiter = std::ranges::find(waiters_, id, &Waiter::id);
    if (waiter == waiters_.end()) return;
    cancelled = std::move(*waiter);
    waiters_.erase(waiter);
  }
  cancelled->continuation.fail(ComputerUseIPCError(ComputerUseIPCError::Case::cancelled));
}

int ComputerUseIPCRequestLimiter::activeRequests() const {
  MutexLock lock(mutex_);
  return activeRequests_;
}

std::size_t ComputerUseIPCRequestLimiter::queuedRequests() const {
  MutexLock lock(mutex_);
  return waiters_.size();
}

}  // namespace tavik
