#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>

#include "Base/JSON/Field.h"
#include "Base/JSON/RawValue.h"

namespace tavik {

/// When a recording takes screenshots.
enum class ComputerUseIPCEventStreamScreenshotMode { off, windowChanges, interactionSettled };

template <>
inline constexpr auto rawValues<ComputerUseIPCEventStreamScreenshotMode> =
    std::to_array<std::string_view>({"off", "window_changes", "interaction_settled"});

/// Why a recording ended.
enum class ComputerUseIPCEventStreamEndReason {
  userStoppedSession,
  approvalCancelled,
  toolStopped,
  debugUIStopped,
  recordingControlsStopped,
  recordingControlsCancelled,
  maxDuration,
  error,
};

template <>
inline constexpr auto rawValues<ComputerUseIPCEventStreamEndReason> = std::to_array<std::string_view>({
    "userStoppedSession",
    "approvalCancelled",
    "toolStopped",
    "debugUIStopped",
    "recordingControlsStopped",
    "recordingControlsCancelled",
    "maxDuration",
    "error",
});

/// The recording that runs, or the last one.
struct ComputerUseIPCEventStreamSessionStatus {
  bool isRecording = false;
  std::optional<std::string> recordSessionId;
  std::optional<std::string> sessionDirectoryPath;
  std::optional<std::string> eventsPath;
  std::optional<std::string> metadataPath;
  std::optional<std::string> suppressedEventsPath;
  std::optional<std::string> startedAt;
  std::optional<std::string> endedAt;
  std::optional<std::string> endReason;
  std::optional<std::string> sessionId;
  std::int64_t eventCount = 0;
  std::int64_t suppressedEventCount = 0;
  std::int64_t maxDurationSeconds = 0;
  ComputerUseIPCEventStreamScreenshotMode screenshotMode = ComputerUseIPCEventStreamScreenshotMode::off;

  static constexpr auto fields =
      std::tuple(field("isRecording", &ComputerUseIPCEventStreamSessionStatus::isRecording),
                 field("recordSessionId", &ComputerUseIPCEventStreamSessionStatus::recordSessionId),
                 field("sessionDirectoryPath", &ComputerUseIPCEventStreamSessionStatus::sessionDirectoryPath),
                 field("eventsPath", &ComputerUseIPCEventStreamSessionStatus::eventsPath),
                 field("metadataPath", &ComputerUseIPCEventStreamSessionStatus::metadataPath),
                 field("suppressedEventsPath", &ComputerUseIPCEventStreamSessionStatus::suppressedEventsPath),
                 field("startedAt", &ComputerUseIPCEventStreamSessionStatus::startedAt),
                 field("endedAt", &ComputerUseIPCEventStreamSessionStatus::endedAt),
                 field("endReason", &ComputerUseIPCEventStreamSessionStatus::endReason),
                 field("sessionId", &ComputerUseIPCEventStreamSessionStatus::sessionId),
                 field("eventCount", &ComputerUseIPCEventStreamSessionStatus::eventCount),
                 field("suppressedEventCount", &ComputerUseIPCEventStreamSessionStatus::suppressedEventCount),
                 field("maxDurationSeconds", &ComputerUseIPCEventStreamSessionStatus::maxDurationSeconds),
                 field("screenshotMode", &ComputerUseIPCEventStreamSessionStatus::screenshotMode));
  bool operator==(const ComputerUseIPCEventStreamSessionStatus&) const = default;
};

struct ComputerUseIPCEventStreamStartRequest {
  static constexpr std::string_view requestType = "ComputerUseIPCEventStreamStartRequest";
  using Response = ComputerUseIPCEventStreamSessionStatus;

  std::optional<std::string> sessionId;
  std::optional<bool> approvalAlreadyGranted;
  std::optional<std::int64_t> maxDurationSeconds;
  std::optional<ComputerUseIPCEventStreamScreenshotMode> screenshotMode;

  static constexpr auto fields = std::tuple(
      field("sessionId", &ComputerUseIPCEventStreamStartRequest::sessionId),
      field("approvalAlreadyGranted", &ComputerUseIPCEventStreamStartRequest::approvalAlreadyGranted),
      field("maxDurationSeconds", &ComputerUseIPCEventStreamStartRequest::maxDurationSeconds),
      field("screenshotMode", &ComputerUseIPCEventStreamStartRequest::screenshotMode));
  bool operator==(const ComputerUseIPCEventStreamStartRequest&) const = default;
};

struct ComputerUseIPCEventStreamStatusRequest {
  static constexpr std::string_view requestType = "ComputerUseIPCEventStreamStatusRequest";
  using Response = ComputerUseIPCEventStreamSessionStatus;

  static constexpr std::tuple<> fields{};
  bool operator==(const ComputerUseIPCEventStreamStatusRequest&) const = default;
};

struct ComputerUseIPCEventStreamStopRequest {
  static constexpr std::string_view requestType = "ComputerUseIPCEventStreamStopRequest";
  using Response = ComputerUseIPCEventStreamSessionStatus;

  ComputerUseIPCEventStreamEndReason reason = ComputerUseIPCEventStreamEndReason::userStoppedSession;

  static constexpr auto fields = std::tuple(field("reason", &ComputerUseIPCEventStreamStopRequest::reason));
  bool operator==(const ComputerUseIPCEventStreamStopRequest&) const = default;
};

}  // namespace tavik
