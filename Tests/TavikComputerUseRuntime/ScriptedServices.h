#pragma once

#include <string>
#include <vector>

#include "Base/Concurrency/Mutex.h"
#include "TavikComputerUseRuntime/Appshot/AppshotCaptures.h"
#include "TavikComputerUseRuntime/Recording/EventStreamControl.h"

namespace tavik {

/// A recorder that remembers what it was told.
class ScriptedEventStream : public EventStreamControl {
 public:
  std::vector<std::string> calls() const {
    MutexLock lock(mutex_);
    return calls_;
  }
  void setStatus(const Status& status) {
    MutexLock lock(mutex_);
    status_ = status;
  }
  /// Tells the handler of a change.
  void announce(const Status& status) {
    setStatus(status);
    StatusChangeHandler handler;
    {
      MutexLock lock(mutex_);
      handler = handler_;
    }
    if (handler) handler(status);
  }

  Status start(std::int64_t maxDurationSeconds, const std::optional<std::string>& sessionId,
               ComputerUseIPCEventStreamScreenshotMode screenshotMode) override {
    MutexLock lock(mutex_);
    calls_.push_back("start " + std::to_string(maxDurationSeconds) + " " + sessionId.value_or("none") + " " +
                     std::string(rawValue(screenshotMode)));
    status_.isRecording = true;
    status_.maxDurationSeconds = maxDurationSeconds;
    return status_;
  }
  Status status() override {
    MutexLock lock(mutex_);
    return status_;
  }
  Status stop(ComputerUseIPCEventStreamEndReason reason) override {
    MutexLock lock(mutex_);
    calls_.push_back("stop " + std::string(rawValue(reason)));
    status_.isRecording = false;
    status_.endReason = std::string(rawValue(reason));
    return status_;
  }
  void setStatusChangeHandler(StatusChangeHandler handler) override {
    MutexLock lock(mutex_);
    handler_ = std::move(handler);
  }

 private:
  mutable Mutex mutex_;
  std::vector<std::string> calls_;
  Status status_;
  StatusChangeHandler handler_;
};

/// Appshots that answer what was asked.
class ScriptedAppshots : public AppshotCaptures {
 public:
  std::vector<std::string> calls() const {
    MutexLock lock(mutex_);
    return calls_;
  }

  ComputerUseIPCAppStartFrontmostCaptureResponse start(
      const ComputerUseIPCAppStartFrontmostCaptureRequest& request) override {
    note("start " + request.requestId);
    return {.target = std::nullopt, .transitionSnapshotHeight = 4, .error = std::nullopt};
  }
  ComputerUseIPCAppshotUpdateEnvelope next(const std::string& requestId,
                                           std::optional<std::int64_t> timeoutMs) override {
    note("next " + requestId + " " + std::to_string(timeoutMs.value_or(-1)));
    return {requestId, ComputerUseIPCAppshotCaptureUpdate::heartbeat()};
  }
  void cancel(const std::string& requestId) override { note("cancel " + requestId); }
  void cancelAll() override { note("cancel all"); }

 private:
  void note(std::string call) {
    MutexLock lock(mutex_);
    calls_.push_back(std::move(call));
  }
  mutable Mutex mutex_;
  std::vector<std::string> calls_;
};

}  // namespace tavik
