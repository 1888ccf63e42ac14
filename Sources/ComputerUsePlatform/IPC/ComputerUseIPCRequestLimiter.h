#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>

#include "Base/Concurrency/Completion.h"
#include "Base/Concurrency/Mutex.h"
#include "Base/Concurrency/Scheduler.h"
#include "Base/Encoding/UUID.h"

namespace tavik {

class ComputerUseIPCRequestLimiter;

/// Having one means owning one active place of the limiter, to be released once.
struct ComputerUseIPCRequestAdmission {
  ComputerUseIPCRequestLimiter* limiter;

  void release() const;
};

/// Bounds how many requests run at a time and how many wait for their turn; one
/// more than that is refused at once. Waiting requests are admitted in the order
/// in which they came. Any thread.
class ComputerUseIPCRequestLimiter {
 public:
  explicit ComputerUseIPCRequestLimiter(Scheduler& scheduler, int maxActiveRequests = 2,
                                        std::size_t maxQueuedRequests = 8);

  /// Blocks until a place is free. Throws `ComputerUseIPCError`: `rateLimited` when
  /// the queue is full, `cancelled` when the calling task was cancelled before a
  /// place became its own.
  ComputerUseIPCRequestAdmission acquire(const std::string& requestType, std::int32_t senderPID);

  /// Gives one active place back: to the first waiter if there is one.
  void release();

  /// Takes a waiter out of the queue and fails it with `cancelled`. A request that
  /// no longer waits is left alone.
  void cancelWaiter(const UUID& id);

  int activeRequests() const;
  std::size_t queuedRequests() const;

 private:
  struct Waiter {
    UUID id;
    std::string requestType;
    std::int32_t senderPID;
    Completion<ComputerUseIPCRequestAdmission> continuation;
  };

  void enqueue(Waiter waiter);

  Scheduler& scheduler_;
  const int maxActiveRequests_;
  const std::size_t maxQueuedRequests_;
  mutable Mutex mutex_;
  int activeRequests_ = 0;
  std::deque<Waiter> waiters_;
};

}  // namespace tavik
