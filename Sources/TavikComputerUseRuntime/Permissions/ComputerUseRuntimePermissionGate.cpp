#include "TavikComputerUseRuntime/Permissions/ComputerUseRuntimePermissionGate.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "SlimCore/Logging/TavikComputerUseLogger.h"

namespace tavik {

namespace {

using Outcome = ComputerUseRuntimePermissionGateOutcome;
using Gate = ComputerUseRuntimePermissionGate;

constexpr std::int64_t timeoutMs = Gate::totalTimeoutSeconds * 1000;

const char* textOf(Outcome outcome) {
  switch (outcome) {
    case Outcome::granted: return "granted";
    case Outcome::pending: return "pending";
    case Outcome::notGranted: return "not_granted";
  }
  std::unreachable();
}

}  // namespace

ComputerUseRuntimePermissionGate::ComputerUseRuntimePermissionGate(
    Scheduler& scheduler, MainQueue& mainQueue, ComputerUseRuntimePermissionState& permissionState,
    std::function<bool()> openPermissionsWindow)
    : scheduler_(scheduler),
      mainQueue_(mainQueue),
      permissionState_(permissionState),
      openPermissionsWindow_(std::move(openPermissionsWindow)) {}

Outcome ComputerUseRuntimePermissionGate::awaitGrant() {
  std::uint64_t generation = 0;
  const Start start = mainQueue_.sync([&] {
    generation = userCancellationGeneration_;
    return begin();
  });
  if (start == Start::granted) return Outcome::granted;

  const MonotonicTime began = scheduler_.now();
  const Outcome outcome = start == Start::noWindow ? Outcome::notGranted : race(generation);
  const double duration = inSeconds(scheduler_.now() - began);
  mainQueue_.sync([&] {
    TavikComputerUseLogger::info(
        LogCategory::permissions, "permission_gate_finished",
        {{"outcome", textOf(outcome)},
         {"duration", fmt::format("{} seconds", duration)},
         {"permissionSummary", permissionState_.diagnosticSummary()}});
  });
  return outcome;
}

auto ComputerUseRuntimePermissionGate::begin() -> Start {
  permissionState_.refreshNow("permissionGate.start");
  if (permissionState_.grants().areComplete()) {
    TavikComputerUseLogger::debug(LogCategory::permissions, "permission_gate_finished",
                                  {{"outcome", "granted"}, {"reason", "already_granted"}});
    return Start::granted;
  }
  TavikComputerUseLogger::info(LogCategory::permissions, "permission_gate_started",
                               {{"timeoutMs", timeoutMs},
                                {"intervalMs", pollIntervalMillis},
                                {"accessibilityGranted", permissionState_.accessibilityGranted()},
                                {"screenRecordingGranted", permissionState_.screenRecordingGranted()}});
  if (!openPermissionsWindow_()) return Start::noWindow;
  TavikComputerUseLogger::info(LogCategory::permissions, "permission_wait_started",
                               {{"timeoutMs", timeoutMs},
                                {"intervalMs", pollIntervalMillis},
                                {"cancellationGeneration", userCancellationGeneration_}});
  return Start::waiting;
}

Outcome ComputerUseRuntimePermissionGate::race(std::uint64_t cancellationGeneration) {
  const MonotonicTime deadline = scheduler_.now() + seconds(totalTimeoutSeconds);
  try {
    while (true) {
      if (auto outcome = mainQueue_.sync([&] { return watch(cancellationGeneration); })) return *outcome;
      scheduler_.sleep(std::min(milliseconds(pollIntervalMillis), deadline - scheduler_.now()));
      if (scheduler_.now() >= deadline) break;
    }
  } catch (const CancellationError&) {
    return Outcome::pending;
  }
  TavikComputerUseLogger::warning(LogCategory::permissions, "permission_wait_timeout",
                                  {{"outcome", "pending"}, {"timeoutMs", timeoutMs}});
  return Outcome::pending;
}

std::optional<Outcome> ComputerUseRuntimePermissionGate::watch(std::uint64_t cancellationGeneration) {
  const auto finished = [](Outcome outcome, const char* reason) {
    TavikComputerUseLogger::debug(LogCategory::permissions, "permission_watcher_finished",
                                  {{"outcome", textOf(outcome)}, {"reason", reason}});
    return outcome;
  };
  if (userCancellationGeneration_ != cancellationGeneration) {
    return finished(Outcome::notGranted, "user_cancelled");
  }
  permissionState_.refreshNow("permissionGate.watcher");
  if (permissionState_.grants().areComplete()) return finished(Outcome::granted, "permissions_granted");
  return std::nullopt;
}

void ComputerUseRuntimePermissionGate::cancelPendingWaits() {
  ++userCancellationGeneration_;
  TavikComputerUseLogger::info(LogCategory::permissions, "pending_waits_cancelled",
                               {{"cancellationGeneration", userCancellationGeneration_},
                                {"permissionSummary", permissionState_.diagnosticSummary()}});
}

}  // namespace tavik
