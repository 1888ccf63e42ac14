#include "TavikComputerUseRuntime/Recording/RecordReplayContinuation.h"

#include "HostCoordination/ThreadStream/ThreadFollowerStartTurn.h"
#include "HostCoordination/Wire/HostCoordinationMethods.h"
#include "SlimCore/Logging/TavikComputerUseLogger.h"

namespace tavik {

namespace {

constexpr std::int64_t timeoutMilliseconds = 5000;

}  // namespace

void RecordReplayContinuation::notifyRecordingEnded(const ComputerUseIPCEventStreamSessionStatus& status) {
  if (status.sessionId.value_or("").empty()) {
    TavikComputerUseLogger::warning(LogCategory::ipc, "recording_continuation_skipped",
                                    {{"reason", "missing_session_identity"}});
    return;
  }
  const bool wasCancelled =
      status.endReason == rawValue(ComputerUseIPCEventStreamEndReason::recordingControlsCancelled);
  tasks_.start("recording continuation",
               [this, conversationID = *status.sessionId,
                text = wasCancelled ? "I've cancelled recording." : "I'm done recording.",
                recordSessionId = status.recordSessionId.value_or("")] {
                 send(conversationID, text, recordSessionId);
               });
}

void RecordReplayContinuation::send(const std::string& conversationID, const std::string& text,
                                    const std::string& recordSessionId) {
  LogFields fields{{"sessionId", conversationID}, {"recordSessionId", recordSessionId}};
  try {
    routerClient_.sendRequest(HostCoordinationMethods::threadFollowerStartTurn,
                              HostCoordinationMethods::threadFollowerStartTurnVersion,
                              ThreadFollowerStartTurn::params(conversationID, text), timeoutMilliseconds);
    TavikComputerUseLogger::info(LogCategory::ipc, "recording_continuation_sent", fields);
  } catch (const std::exception&) {
    fields.emplace("socketPath", routerClient_.socketPath());
    TavikComputerUseLogger::error(LogCategory::ipc, "recording_continuation_failed", fields);
  }
}

}  // namespace tavik
