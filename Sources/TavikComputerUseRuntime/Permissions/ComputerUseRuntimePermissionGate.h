#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "Base/Concurrency/Scheduler.h"
#include "Base/Concurrency/WorkQueue.h"
#include "TavikComputerUseRuntime/Permissions/ComputerUseRuntimePermissionState.h"

namespace tavik {

enum class ComputerUseRuntimePermissionGateOutcome { granted, pending, notGranted };

/// Holds a request for a bounded time while the user works through the permissions
/// window. Several may wait at once, each for a time of its own; looking happens on
/// the main queue, which stays free in between.
class ComputerUseRuntimePermissionGate {
 public:
  using Outcome = ComputerUseRuntimePermissionGateOutcome;

  static constexpr std::int64_t pollIntervalMillis = 250;
  static constexpr std::int64_t totalTimeoutSeconds = 100;

  /// `openPermissionsWindow` runs on the main queue. False when there is no window, so
  /// that there is nothing to wait for. All outlive the gate.
  ComputerUseRuntimePermissionGate(Scheduler& scheduler, MainQueue& mainQueue,
                                   ComputerUseRuntimePermissionState& permissionState,
                                   std::function<bool()> openPermissionsWindow);

  /// Blocks for up to 100 seconds when a permission is missing. A caller that is
  /// cancelled gets `pending`. Any task but the main one.
  Outcome awaitGrant();

  /// The user closed the window: everyone who waits gets `notGranted` at the next look.
  /// Main thread.
  void cancelPendingWaits();

 private:
  enum class Start { granted, waiting, noWindow };

  Start begin();
  Outcome race(std::uint64_t cancellationGeneration);
  std::optional<Outcome> watch(std::uint64_t cancellationGeneration);

  Scheduler& scheduler_;
  MainQueue& mainQueue_;
  ComputerUseRuntimePermissionState& permissionState_;
  const std::function<bool()> openPermissionsWindow_;
  /// Main thread only.
  std::uint64_t userCancellationGeneration_ = 0;
};

}  // namespace tavik
