#include "TavikComputerUseRuntime/Recording/EventStreamControl.h"

namespace tavik {

bool representsEndedRecording(const ComputerUseIPCEventStreamSessionStatus& status) {
  const auto isThere = [](const std::optional<std::string>& text) { return text && !text->empty(); };
  return !status.isRecording && isThere(status.recordSessionId) && isThere(status.endedAt) &&
         isThere(status.endReason);
}

}  // namespace tavik
