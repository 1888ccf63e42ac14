#pragma once

#include "Base/Concurrency/Completion.h"
#include "Base/Concurrency/Mutex.h"
#include "Base/Encoding/Bytes.h"

namespace tavik {

/// Decides between the operation of a request and its time-out, which end on
/// threads of their own: who comes first answers, and what comes later is dropped.
class ComputerUseIPCRequestTimeoutState {
 public:
  /// True for the first caller only, who must then resume the continuation.
  bool claim() {
    MutexLock lock(lock_);
    return !std::exchange(resumed_, true);
  }

  /// Resumes the continuation with the result unless another came first.
  void resumeOnce(const Completion<Bytes>& continuation, Bytes result) {
    if (claim()) continuation.resume(std::move(result));
  }
  void resumeOnce(const Completion<Bytes>& continuation, std::exception_ptr error) {
    if (claim()) continuation.fail(std::move(error));
  }

 private:
  Mutex lock_;
  bool resumed_ = false;
};

}  // namespace tavik
