#pragma once

#include <memory>
#include <optional>

#include "Base/Concurrency/Completion.h"
#include "Base/Concurrency/TaskGroup.h"
#include "Base/Encoding/UUID.h"
#include "PlatformInterfaces/WindowServerPort.h"

namespace tavik {

/// Tells whether the screen may be captured, by trying. A denial is remembered for
/// a while, since trying is dear; a grant only for a second, since it can be taken
/// back. One for the process; any thread; one probe at a time, however many ask.
class ScreenCapturePermissionProbeBroker {
 public:
  ScreenCapturePermissionProbeBroker(WindowServerPort& windowServer, Scheduler& scheduler)
      : windowServer_(windowServer), scheduler_(scheduler), tasks_(scheduler) {}

  /// Blocks at most for the probe. A probe that has not answered after
  /// `timeoutSeconds` counts as denied. Throws `CancellationError`; the probe then
  /// goes on for others.
  bool isGranted(double timeoutSeconds, double deniedCooldownSeconds);

 private:
  /// One question to the window server, and those who wait for its answer.
  struct InFlightProbe {
    UUID id;
    std::vector<Completion<bool>> awaiters;
  };
  struct Result {
    MonotonicTime date;
    bool granted = false;
  };

  bool runProbe(double timeoutSeconds);
  void finishProbe(const UUID& id, bool granted, double deniedCooldownSeconds);

  WindowServerPort& windowServer_;
  Scheduler& scheduler_;
  Mutex mutex_;
  std::optional<InFlightProbe> inFlightProbe_;
  std::optional<MonotonicTime> deniedCooldownUntil_;
  std::optional<Result> lastResult_;
  TaskGroup tasks_;
};

}  // namespace tavik
