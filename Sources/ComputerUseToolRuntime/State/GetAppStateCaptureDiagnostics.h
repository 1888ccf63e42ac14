#pragma once

#include <cstdint>
#include <exception>
#include <optional>
#include <string>

#include "Base/Concurrency/Scheduler.h"

namespace tavik {

/// What became of one part of a state.
enum class ArtifactOutcome { notAttempted, success, partial, empty, skipped, failed, unavailable };

/// What one call of get_app_state did and how long its phases took, for the log.
struct GetAppStateCaptureDiagnostics {
  enum class Phase { appResolution, capturePipeline, responseBuild, sessionSetup };
  enum class Outcome { success, partial, empty, failed };

  /// Only a model's own call reports; a look after an action does not.
  bool enabled = false;
  MonotonicTime startedAt;
  Phase currentPhase = Phase::appResolution;
  Outcome outcome = Outcome::failed;
  ArtifactOutcome screenshotOutcome = ArtifactOutcome::notAttempted;
  ArtifactOutcome axOutcome = ArtifactOutcome::notAttempted;
  std::optional<std::string> failureStage = {};
  std::optional<std::string> errorCode = {};
  std::optional<std::string> axFailureStage = {};
  std::optional<std::string> axErrorCode = {};
  std::string axRecovery = "none";
  std::string fallback = "none";
  std::optional<std::string> appBundleID = {};
  std::optional<std::int32_t> targetPid = {};
  int axNodeCount = 0;
  int axOutputLineCount = 0;
  int responseBlockCount = 0;
  std::int64_t appResolutionMs = 0;
  std::int64_t capturePipelineMs = 0;
  std::int64_t responseBuildMs = 0;
  std::int64_t sessionSetupMs = 0;

  /// What the answer as a whole is worth, from what its two parts are.
  void concludeOutcome();
  void emit(MonotonicTime now) const;
};

std::string rawValue(GetAppStateCaptureDiagnostics::Phase phase);
std::string rawValue(GetAppStateCaptureDiagnostics::Outcome outcome);
std::string rawValue(ArtifactOutcome outcome);

/// "no_window", "timeout", ...: an error of a capture as one word.
std::string getAppStateDiagnosticErrorCode(const std::exception_ptr& error);

}  // namespace tavik
