#pragma once

#include "Base/Concurrency/Scheduler.h"
#include "TavikComputerUseBridge/Runtime/RuntimeClient.h"

namespace tavik {

/// Lets a running runtime know every 30 seconds that it still has a client, for as
/// long as the object lives.
class RuntimeHeartbeat {
 public:
  static constexpr double intervalSeconds = 30.0;

  /// Both must outlive this.
  RuntimeHeartbeat(Scheduler& scheduler, RuntimeClient& client);
  /// Waits for a request that is on its way.
  ~RuntimeHeartbeat();
  RuntimeHeartbeat(const RuntimeHeartbeat&) = delete;
  RuntimeHeartbeat& operator=(const RuntimeHeartbeat&) = delete;

 private:
  Task task_;
};

}  // namespace tavik
