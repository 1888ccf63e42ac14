#pragma once

#include <cstdint>

#include "AccessibilitySupport/Focus/ComputerUseUserInteractionMonitor.h"
#include "ComputerUseToolRuntime/Actions/RecordingGuard.h"

namespace tavik {

/// While it lives, and for the echo's time after, the input to the application is the
/// tool's own, for those who watch the user and for those who record.
class ToolActionBracket {
 public:
  ToolActionBracket(ComputerUseUserInteractionMonitor& monitor, const RecordingGuard& recording, std::int32_t pid,
                    Duration echo)
      : monitor_(monitor), recording_(recording), pid_(pid), echo_(echo) {
    monitor_.beginToolAction(pid_);
    if (recording_.begin) recording_.begin(reason);
  }
  ~ToolActionBracket() {
    monitor_.endToolAction(pid_, echo_);
    if (recording_.end) recording_.end(reason, echo_);
  }
  ToolActionBracket(const ToolActionBracket&) = delete;
  ToolActionBracket& operator=(const ToolActionBracket&) = delete;

 private:
  static constexpr const char* reason = "toolGeneratedEvent";

  ComputerUseUserInteractionMonitor& monitor_;
  const RecordingGuard& recording_;
  const std::int32_t pid_;
  const Duration echo_;
};

}  // namespace tavik
