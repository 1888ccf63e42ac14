#include "ComputerUseToolRuntime/State/GetAppStateCaptureDiagnostics.h"

#include <array>
#include <utility>

#include "ComputerUsePlatform/Capture/ApplicationSnapshotCaptureError.h"
#include "ComputerUsePlatform/Capture/CaptureCoordinatorError.h"
#include "SlimCore/Logging/TavikComputerUseLogger.h"

namespace tavik {

namespace {

using Diagnostics = GetAppStateCaptureDiagnostics;

constexpr std::int64_t thresholdMs = 5000;

std::string codeOf(ApplicationSnapshotCaptureError::Kind kind) {
  switch (kind) {
    case ApplicationSnapshotCaptureError::Kind::noTargetWindow:
      return "no_window";
    case ApplicationSnapshotCaptureError::Kind::invalidWindowSize:
      return "invalid_window";
    case ApplicationSnapshotCaptureError::Kind::windowScreenshotUnavailable:
      return "screenshot_unavailable";
    case ApplicationSnapshotCaptureError::Kind::noDisplay:
      return "no_display";
    case ApplicationSnapshotCaptureError::Kind::pngWriteFailed:
      return "encoding_failed";
    case ApplicationSnapshotCaptureError::Kind::captureTimedOut:
      return "timeout";
  }
  return "unknown";
}

LogLevel levelOf(Diagnostics::Outcome outcome, std::int64_t durationMs) {
  if (outcome == Diagnostics::Outcome::failed) return LogLevel::error;
  const bool isFine = durationMs < thresholdMs && outcome != Diagnostics::Outcome::partial;
  return isFine ? LogLevel::info : LogLevel::warning;
}

}  // namespace

std::string rawValue(Diagnostics::Phase phase) {
  switch (phase) {
    case Diagnostics::Phase::appResolution:
      return "app_resolution";
    case Diagnostics::Phase::capturePipeline:
      return "capture_pipeline";
    case Diagnostics::Phase::responseBuild:
      return "response_build";
    case Diagnostics::Phase::sessionSetup:
      return "session_setup";
  }
  return "";
}

std::string rawValue(Diagnostics::Outcome outcome) {
  switch (outcome) {
    case Diagnostics::Outcome::success:
      return "success";
    case Diagnostics::Outcome::partial:
      return "partial";
    case Diagnostics::Outcome::empty:
      return "empty";
    case Diagnostics::Outcome::failed:
      return "failed";
  }
  return "";
}

std::string rawValue(ArtifactOutcome outcome) {
  switch (outcome) {
    case ArtifactOutcome::notAttempted:
      return "not_attempted";
    case ArtifactOutcome::success:
      return "success";
    case ArtifactOutcome::partial:
      return "partial";
    case ArtifactOutcome::empty:
      return "empty";
    case ArtifactOutcome::skipped:
      return "skipped";
    case ArtifactOutcome::failed:
      return "failed";
    case ArtifactOutcome::unavailable:
      return "unavailable";
  }
  return "";
}

std::string getAppStateDiagnosticErrorCode(const std::exception_ptr& error) {
  try {
    std::rethrow_exception(error);
  } catch (const CancellationError&) {
    return "cancelled";
  } catch (const ApplicationSnapshotCaptureError& captureError) {
    return codeOf(captureError.kind());
  } catch (const CaptureCoordinatorError& coordinatorError) {
    return coordinatorError.kind() == CaptureCoordinatorError::Kind::timedOut ? "timeout" : "unknown";
  } catch (...) {
    return "unknown";
  }
}

void Diagnostics::concludeOutcome() {
  const bool hasTree = axOutcome == ArtifactOutcome::success;
  const bool hasPicture = screenshotOutcome == ArtifactOutcome::success;
  if (hasTree && hasPicture) {
    outcome = Outcome::success;
  } else if (hasTree || hasPicture || axOutcome == ArtifactOutcome::partial) {
    outcome = Outcome::partial;
  } else {
    outcome = Outcome::empty;
  }
}

void Diagnostics::emit(MonotonicTime now) const {
  if (!enabled) return;
  const std::int64_t durationMs = roundedMilliseconds(now - startedAt);
  const std::array<std::pair<Phase, std::int64_t>, 4> phases = {{{Phase::appResolution, appResolutionMs},
                                                                 {Phase::capturePipeline, capturePipelineMs},
                                                                 {Phase::responseBuild, responseBuildMs},
                                                                 {Phase::sessionSetup, sessionSetupMs}}};
  auto slowest = phases.front();
  for (const auto& phase : phases) {
    if (phase.second > slowest.second) slowest = phase;
  }
  LogFields fields = {{"outcome", rawValue(outcome)},
                      {"durationMs", durationMs},
                      {"thresholdMs", thresholdMs},
                      {"slowestPhase", rawValue(slowest.first)},
                      {"slowestPhaseDurationMs", slowest.second},
                      {"appResolutionMs", appResolutionMs},
                      {"capturePipelineMs", capturePipelineMs},
                      {"responseBuildMs", responseBuildMs},
                      {"sessionSetupMs", sessionSetupMs},
                      {"screenshotOutcome", rawValue(screenshotOutcome)},
                      {"axOutcome", rawValue(axOutcome)},
                      {"axNodeCount", axNodeCount},
                      {"axOutputLineCount", axOutputLineCount},
                      {"axRecovery", axRecovery},
                      {"fallback", fallback},
                      {"responseBlockCount", responseBlockCount}};
  const std::array<std::pair<const char*, const std::optional<std::string>&>, 5> details = {{
      {"axFailureStage", axFailureStage},
      {"axErrorCode", axErrorCode},
      {"failureStage", failureStage},
      {"errorCode", errorCode},
      {"appBundleID", appBundleID},
  }};
  for (const auto& [name, value] : details) {
    if (value) fields.insert({name, *value});
  }
  if (targetPid) fields.insert({"targetPid", *targetPid});
  TavikComputerUseLogger::log(levelOf(outcome, durationMs), LogCategory::session, "state_capture_finished", fields);
}

}  // namespace tavik
