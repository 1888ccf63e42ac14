#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "ComputerUseContracts/EventStreamRecords.h"

namespace tavik {

/// The recording of a user's demonstration, as requests drive it. Any thread; nothing
/// throws: a failure is in the status.
class EventStreamControl {
 public:
  using Status = ComputerUseIPCEventStreamSessionStatus;
  using StatusChangeHandler = std::function<void(const Status&)>;

  static constexpr std::int64_t defaultMaxDurationSeconds = 1800;

  virtual ~EventStreamControl() = default;

  virtual Status start(std::int64_t maxDurationSeconds, const std::optional<std::string>& sessionId,
                       ComputerUseIPCEventStreamScreenshotMode screenshotMode) = 0;
  /// Of the recording that runs, or of the last one.
  virtual Status status() = 0;
  virtual Status stop(ComputerUseIPCEventStreamEndReason reason) = 0;
  /// The handler is told of each change, on any thread. Returns when no call of the
  /// one before is under way.
  virtual void setStatusChangeHandler(StatusChangeHandler handler) = 0;
};

/// Whether the status tells of a recording that has ended.
bool representsEndedRecording(const ComputerUseIPCEventStreamSessionStatus& status);

}  // namespace tavik
