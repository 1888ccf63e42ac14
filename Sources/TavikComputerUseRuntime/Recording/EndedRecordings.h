#pragma once

#include <set>
#include <string>

#include "Base/Concurrency/Mutex.h"
#include "TavikComputerUseRuntime/Recording/EventStreamControl.h"
#include "TavikComputerUseRuntime/Recording/RecordReplayContinuation.h"

namespace tavik {

/// Announces the end of each recording once, however many status changes mention it.
/// Any thread.
class EndedRecordings {
 public:
  explicit EndedRecordings(RecordReplayContinuation& continuation) : continuation_(continuation) {}

  void statusChanged(const EventStreamControl::Status& status) {
    if (!representsEndedRecording(status)) return;
    {
      MutexLock lock(endedRecordingLock_);
      if (!notifiedRecordingIds_.insert(*status.recordSessionId).second) return;
    }
    continuation_.notifyRecordingEnded(status);
  }

 private:
  RecordReplayContinuation& continuation_;
  Mutex endedRecordingLock_;
  std::set<std::string> notifiedRecordingIds_;
};

}  // namespace tavik
