#include "TavikComputerUseRuntime/Recording/RecordingRequests.h"

#include <algorithm>

#include "Base/JSON/Record.h"
#include "ComputerUseContracts/ToolError.h"
#include "TavikComputerUseRuntime/Interface/ComputerUseRuntimeLocalization.h"

namespace tavik {

namespace {

/// The answer to a recording that the user did not want.
EventStreamControl::Status refusedStatus(const ComputerUseIPCEventStreamStartRequest& request) {
  EventStreamControl::Status status;
  status.endReason = std::string(rawValue(ComputerUseIPCEventStreamEndReason::approvalCancelled));
  status.sessionId = request.sessionId;
  status.maxDurationSeconds = EventStreamControl::defaultMaxDurationSeconds;
  return status;
}

std::int64_t maxDurationOf(const ComputerUseIPCEventStreamStartRequest& request) {
  if (!request.maxDurationSeconds) return EventStreamControl::defaultMaxDurationSeconds;
  return std::clamp<std::int64_t>(*request.maxDurationSeconds, 1, RecordingRequests::longestDurationSeconds);
}

}  // namespace

std::optional<Bytes> RecordingRequests::answer(const std::string& requestType, const Bytes& requestData) {
  if (requestType == ComputerUseIPCEventStreamStartRequest::requestType) {
    return encodeRecord(start(requestData));
  }
  if (requestType == ComputerUseIPCEventStreamStatusRequest::requestType) {
    return encodeRecord(stream().status());
  }
  if (requestType == ComputerUseIPCEventStreamStopRequest::requestType) {
    const auto request = decodeRecord<ComputerUseIPCEventStreamStopRequest>(requestData);
    return encodeRecord(stream().stop(request.reason));
  }
  return std::nullopt;
}

EventStreamControl& RecordingRequests::stream() const {
  if (!eventStream_) {
    throw ToolError::actionRejected("Recording is not available in this version of Tavik Computer Use.");
  }
  return *eventStream_;
}

EventStreamControl::Status RecordingRequests::start(const Bytes& requestData) {
  const auto request = decodeRecord<ComputerUseIPCEventStreamStartRequest>(requestData);
  EventStreamControl& eventStream = stream();
  if (request.approvalAlreadyGranted != true) {
    const bool isAllowed = mainQueue_.sync([this] { return confirmEventStreamRecording(); });
    // Whoever asked may have been answered while the user made up their mind.
    scheduler_.checkCancellation();
    if (!isAllowed) return refusedStatus(request);
  }
  return eventStream.start(maxDurationOf(request), request.sessionId,
                           request.screenshotMode.value_or(ComputerUseIPCEventStreamScreenshotMode::off));
}

bool RecordingRequests::confirmEventStreamRecording() {
  const ComputerUseRuntimeLocalization words(userInterface_.prefersChinese());
  return userInterface_.runModalAlert(words.recordingConfirmation()) == UserInterfacePort::alertFirstButton;
}

}  // namespace tavik
