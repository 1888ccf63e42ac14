#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "Base/Concurrency/Scheduler.h"
#include "PlatformInterfaces/PermissionPort.h"
#include "PlatformInterfaces/ProcessPort.h"
#include "PlatformInterfaces/WindowServerPort.h"
#include "TavikComputerUseRuntime/Permissions/ScreenRecordingAuthorizationEvidence.h"

namespace tavik {

/// What is known about the two permissions. The system's own answer for screen
/// capture lags behind what the user did in its settings, so the state also takes
/// another proof: the program's tile was dropped into the settings, and afterwards
/// the title of their window can be read. A capture that the system refuses
/// outweighs both.
///
/// Nothing here looks by itself, and nothing asks the user. Main thread only.
class ComputerUseRuntimePermissionState {
 public:
  struct Grants {
    bool accessibility = false;
    bool screenRecording = false;

    bool areComplete() const { return accessibility && screenRecording; }
    bool operator==(const Grants&) const = default;
  };
  /// Told of each change of the grants, from which to which.
  using ChangeHandler = std::function<void(const Grants& before, const Grants& after)>;

  /// Reads both permissions once. The ports outlive the state; without a source there
  /// is never any evidence.
  ComputerUseRuntimePermissionState(Scheduler& scheduler, PermissionPort& permissions,
                                    WindowServerPort& windowServer, ProcessPort& process,
                                    ScreenRecordingEvidenceSource evidence = nullptr);

  const Grants& grants() const { return grants_; }
  bool accessibilityGranted() const { return grants_.accessibility; }
  bool screenRecordingGranted() const { return grants_.screenRecording; }
  void setChangeHandler(ChangeHandler handler) { changed_ = std::move(handler); }

  /// Looks anew, on behalf of `source`.
  void refreshNow(const std::string& source);

  /// The settings accepted a drop of the program's tile at the point, in points from
  /// the bottom left of the first screen: from now on evidence is looked for.
  void beginScreenRecordingGrantAfterAcceptedDrag(Point screenPoint, const std::string& source);

  /// The system refused a real capture.
  void markScreenRecordingDeniedFromCaptureFailure(const std::string& source,
                                                   const std::optional<std::string>& errorDescription);

  /// All of it on one line, for the log; reads the system's answers anew.
  std::string diagnosticSummary() const;
  const std::string& lastScreenRecordingDecisionReason() const { return lastScreenRecordingDecisionReason_; }

 private:
  struct PendingScreenRecordingGrant {
    Point screenPoint;
    std::string source;
    MonotonicTime armedAt;
  };

  bool finalizeIfEvident(const std::string& observerSource);
  void finalizePendingScreenRecordingGrant(const PendingScreenRecordingGrant& pending,
                                           const ScreenRecordingAuthorizationEvidence& evidence,
                                           const std::string& observerSource);
  void requestDespiteProof(const PendingScreenRecordingGrant& pending,
                           const ScreenRecordingAuthorizationEvidence& evidence,
                           const std::string& observerSource);
  bool isInside(const PendingScreenRecordingGrant& pending,
                const ScreenRecordingAuthorizationEvidence& evidence) const;
  std::string decisionReason(const std::string& source, bool preflight) const;
  void publish(Grants grants);

  Scheduler& scheduler_;
  PermissionPort& permissions_;
  WindowServerPort& windowServer_;
  ProcessPort& process_;
  const ScreenRecordingEvidenceSource evidence_;
  ChangeHandler changed_;

  Grants grants_;
  /// The drop proved the grant and the system's answer has not caught up yet.
  bool screenRecordingValidatedAfterAcceptedDrag_ = false;
  std::optional<PendingScreenRecordingGrant> pendingScreenRecordingGrant_;
  std::string lastScreenRecordingDecisionReason_;
  std::optional<std::string> lastScreenRecordingAuthorizationEvidence_;
  std::optional<bool> lastScreenRecordingRequestResult_;
  std::optional<bool> lastScreenRecordingRequestPreflightBefore_;
  std::optional<bool> lastScreenRecordingRequestPreflightAfter_;
  std::optional<std::int64_t> lastScreenRecordingRequestDurationMilliseconds_;
};

}  // namespace tavik
