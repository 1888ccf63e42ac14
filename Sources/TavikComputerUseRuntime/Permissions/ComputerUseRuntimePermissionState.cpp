#include "TavikComputerUseRuntime/Permissions/ComputerUseRuntimePermissionState.h"

#include <fmt/format.h>

#include <utility>

#include "SlimCore/Logging/TavikComputerUseLogger.h"

namespace tavik {

namespace {

std::string textOf(const std::optional<bool>& value) {
  return value ? fmt::format("{}", *value) : "nil";
}

std::string textOf(const std::optional<std::int64_t>& value) {
  return value ? fmt::format("{}", *value) : "nil";
}

}  // namespace

ComputerUseRuntimePermissionState::ComputerUseRuntimePermissionState(Scheduler& scheduler,
                                                                     PermissionPort& permissions,
                                                                     WindowServerPort& windowServer,
                                                                     ProcessPort& process,
                                                                     ScreenRecordingEvidenceSource evidence)
    : scheduler_(scheduler),
      permissions_(permissions),
      windowServer_(windowServer),
      process_(process),
      evidence_(std::move(evidence)),
      grants_{permissions.isAccessibilityTrusted(), permissions.preflightScreenCaptureAccess()},
      lastScreenRecordingDecisionReason_(decisionReason("launch", grants_.screenRecording)) {}

void ComputerUseRuntimePermissionState::refreshNow(const std::string& source) {
  const Grants before = grants_;
  const bool accessibility = permissions_.isAccessibilityTrusted();
  bool preflight = permissions_.preflightScreenCaptureAccess();
  const bool decidedByEvidence = finalizeIfEvident(source);
  if (decidedByEvidence) preflight = permissions_.preflightScreenCaptureAccess();

  if (preflight && std::exchange(screenRecordingValidatedAfterAcceptedDrag_, false)) {
    TavikComputerUseLogger::info(LogCategory::permissions, "screen_recording_preflight_caught_up",
                                 {{"source", source}, {"permissionSummary", diagnosticSummary()}});
  }
  publish({accessibility, preflight || screenRecordingValidatedAfterAcceptedDrag_});
  if (!decidedByEvidence) lastScreenRecordingDecisionReason_ = decisionReason(source, preflight);

  if (grants_ == before) return;
  TavikComputerUseLogger::info(LogCategory::permissions, "permission_state_changed",
                               {{"source", source},
                                {"accessibilityBefore", before.accessibility},
                                {"accessibilityAfter", grants_.accessibility},
                                {"screenRecordingBefore", before.screenRecording},
                                {"screenRecordingAfter", grants_.screenRecording},
                                {"rawScreenPreflight", preflight},
                                {"permissionSummary", diagnosticSummary()}});
}

std::string ComputerUseRuntimePermissionState::decisionReason(const std::string& source, bool preflight) const {
  return fmt::format("{}.tccPreflight={},validatedAfterAcceptedDrag={}", source, preflight,
                     screenRecordingValidatedAfterAcceptedDrag_);
}

void ComputerUseRuntimePermissionState::publish(Grants grants) {
  const Grants before = std::exchange(grants_, grants);
  if (changed_ && before != grants) changed_(before, grants);
}

void ComputerUseRuntimePermissionState::beginScreenRecordingGrantAfterAcceptedDrag(Point screenPoint,
                                                                                   const std::string& source) {
  const bool replaced = pendingScreenRecordingGrant_.has_value();
  pendingScreenRecordingGrant_ = PendingScreenRecordingGrant{screenPoint, source, scheduler_.now()};
  lastScreenRecordingDecisionReason_ = source + ".waitingForWindowName";
  TavikComputerUseLogger::info(
      LogCategory::permissions, "screen_recording_validation_armed",
      {{"source", source}, {"replacedPending", replaced}, {"permissionSummary", diagnosticSummary()}});
  refreshNow(source + ".arm");
}

bool ComputerUseRuntimePermissionState::finalizeIfEvident(const std::string& observerSource) {
  if (!pendingScreenRecordingGrant_ || !evidence_) return false;
  const auto evidence = evidence_();
  if (!evidence) return false;
  const auto pending = *std::exchange(pendingScreenRecordingGrant_, std::nullopt);
  finalizePendingScreenRecordingGrant(pending, *evidence, observerSource);
  return true;
}

void ComputerUseRuntimePermissionState::finalizePendingScreenRecordingGrant(
    const PendingScreenRecordingGrant& pending, const ScreenRecordingAuthorizationEvidence& evidence,
    const std::string& observerSource) {
  if (isInside(pending, evidence)) return requestDespiteProof(pending, evidence, observerSource);
  lastScreenRecordingDecisionReason_ =
      pending.source + ".authorizationValidationFailed.dropOutsideSystemSettings";
  TavikComputerUseLogger::warning(LogCategory::permissions, "screen_recording_request_skipped",
                                  {{"reason", "drop_outside_system_settings"},
                                   {"source", pending.source},
                                   {"evidence", evidence.diagnosticSummary()},
                                   {"stateBefore", diagnosticSummary()}});
}

bool ComputerUseRuntimePermissionState::isInside(const PendingScreenRecordingGrant& pending,
                                                 const ScreenRecordingAuthorizationEvidence& evidence) const {
  const auto screens = windowServer_.screens();
  const double top = screens.empty() ? 0 : screens.front().frame.maxY();
  return evidence.frame.contains(Point{pending.screenPoint.x, top - pending.screenPoint.y});
}

/// The request makes the system take notice; whatever it answers, the evidence has
/// proved the grant.
void ComputerUseRuntimePermissionState::requestDespiteProof(
    const PendingScreenRecordingGrant& pending, const ScreenRecordingAuthorizationEvidence& evidence,
    const std::string& observerSource) {
  const bool preflightBefore = permissions_.preflightScreenCaptureAccess();
  TavikComputerUseLogger::info(LogCategory::permissions, "screen_recording_request_started",
                               {{"source", pending.source},
                                {"observerSource", observerSource},
                                {"timing", "window_name_visible_after_drag"},
                                {"waitAfterDragMs", roundedMilliseconds(scheduler_.now() - pending.armedAt)},
                                {"preflightBefore", preflightBefore},
                                {"evidence", evidence.diagnosticSummary()},
                                {"stateBefore", diagnosticSummary()}});
  const MonotonicTime start = scheduler_.now();
  const bool requestResult = permissions_.requestScreenCaptureAccess();
  const auto durationMs = roundedMilliseconds(scheduler_.now() - start);
  const bool preflightAfter = permissions_.preflightScreenCaptureAccess();

  screenRecordingValidatedAfterAcceptedDrag_ = true;
  publish({grants_.accessibility, true});
  lastScreenRecordingRequestResult_ = requestResult;
  lastScreenRecordingRequestPreflightBefore_ = preflightBefore;
  lastScreenRecordingRequestPreflightAfter_ = preflightAfter;
  lastScreenRecordingRequestDurationMilliseconds_ = durationMs;
  lastScreenRecordingAuthorizationEvidence_ = evidence.diagnosticSummary();
  lastScreenRecordingDecisionReason_ =
      fmt::format("{}.officialValidationAccepted(requestResult={},preflightAfter={})", pending.source,
                  requestResult, preflightAfter);
  TavikComputerUseLogger::info(LogCategory::permissions, "screen_recording_request_finished",
                               {{"outcome", "official_validation_accepted"},
                                {"requestResultIgnored", true},
                                {"preflightBefore", preflightBefore},
                                {"preflightAfter", preflightAfter},
                                {"durationMs", durationMs},
                                {"evidence", evidence.diagnosticSummary()},
                                {"stateAfter", diagnosticSummary()}});
}

void ComputerUseRuntimePermissionState::markScreenRecordingDeniedFromCaptureFailure(
    const std::string& source, const std::optional<std::string>& errorDescription) {
  const std::string stateBefore = diagnosticSummary();
  pendingScreenRecordingGrant_.reset();
  screenRecordingValidatedAfterAcceptedDrag_ = false;
  lastScreenRecordingDecisionReason_ = source + ".realCaptureDenied";
  publish({grants_.accessibility, false});
  TavikComputerUseLogger::warning(LogCategory::permissions, "screen_recording_capture_denied",
                                  {{"source", source},
                                   {"reason", "real_capture_denied"},
                                   {"hasErrorDescription", errorDescription.has_value()},
                                   {"stateBefore", stateBefore},
                                   {"stateAfter", diagnosticSummary()}});
}

std::string ComputerUseRuntimePermissionState::diagnosticSummary() const {
  return fmt::format(
      "pid={} rawAX={} rawScreenPreflight={} stateAX={} stateScreen={} screenValidatedAfterAcceptedDrag={} "
      "screenGrantPending={} lastScreenAuthorizationEvidence={} lastScreenRequestResult={} "
      "lastScreenRequestPreflightBefore={} lastScreenRequestPreflightAfter={} lastScreenRequestDurationMs={} {}",
      process_.currentPID(), permissions_.isAccessibilityTrusted(), permissions_.preflightScreenCaptureAccess(),
      grants_.accessibility, grants_.screenRecording, screenRecordingValidatedAfterAcceptedDrag_,
      pendingScreenRecordingGrant_.has_value(), lastScreenRecordingAuthorizationEvidence_.value_or("nil"),
      textOf(lastScreenRecordingRequestResult_), textOf(lastScreenRecordingRequestPreflightBefore_),
      textOf(lastScreenRecordingRequestPreflightAfter_),
      textOf(lastScreenRecordingRequestDurationMilliseconds_), lastScreenRecordingDecisionReason_);
}

}  // namespace tavik
