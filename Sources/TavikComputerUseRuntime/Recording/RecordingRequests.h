#pragma once

#include <optional>
#include <string>

#include "Base/Concurrency/WorkQueue.h"
#include "Base/Encoding/Bytes.h"
#include "PlatformInterfaces/UserInterfacePort.h"
#include "TavikComputerUseRuntime/Recording/EventStreamControl.h"

namespace tavik {

/// Answers the requests that start, stop and ask after a recording. Called on the
/// requests' own tasks, many at once.
class RecordingRequests {
 public:
  static constexpr std::int64_t longestDurationSeconds = 3600;

  /// The stream may be null, which every request is told. The rest outlives this.
  RecordingRequests(Scheduler& scheduler, MainQueue& mainQueue, UserInterfacePort& userInterface,
                    EventStreamControl* eventStream)
      : scheduler_(scheduler), mainQueue_(mainQueue), userInterface_(userInterface), eventStream_(eventStream) {}

  /// The answer; nothing when the request is of another type. Throws `ToolError` where
  /// nothing can be recorded, `DecodingError`, and `CancellationError` when the user's
  /// consent came too late.
  std::optional<Bytes> answer(const std::string& requestType, const Bytes& requestData);

 private:
  EventStreamControl& stream() const;
  EventStreamControl::Status start(const Bytes& requestData);
  bool confirmEventStreamRecording();

  Scheduler& scheduler_;
  MainQueue& mainQueue_;
  UserInterfacePort& userInterface_;
  EventStreamControl* const eventStream_;
};

}  // namespace tavik
