#pragma once

#include "Backends/Simulated/Journal.h"
#include "Base/Concurrency/Mutex.h"
#include "PlatformInterfaces/PermissionPort.h"

namespace tavik {

/// Both permissions granted, until a test takes one away. What is asked of the system
/// is in the journal.
class SimulatedPermissions : public PermissionPort {
 public:
  explicit SimulatedPermissions(Journal& journal) : journal_(journal) {}

  /// Any thread.
  void grantAccessibility(bool granted) { set(accessibility_, granted); }
  /// What the system says by itself.
  void grantScreenCapture(bool granted) { set(screenCapture_, granted); }
  /// What it answers when it is asked; the preflight stays as it is.
  void answerScreenCaptureRequests(bool answer) { set(requestAnswer_, answer); }
  void advise(std::string advice) {
    MutexLock lock(mutex_);
    advice_ = std::move(advice);
  }
  /// How often the system was asked for each answer.
  int refreshCount() const {
    MutexLock lock(mutex_);
    return refreshCount_;
  }

  bool isAccessibilityTrusted() override {
    requireNoLockHeld("reading a permission");
    MutexLock lock(mutex_);
    ++refreshCount_;
    return accessibility_;
  }
  bool preflightScreenCaptureAccess() override {
    requireNoLockHeld("reading a permission");
    MutexLock lock(mutex_);
    return screenCapture_;
  }
  bool requestScreenCaptureAccess() override {
    requireNoLockHeld("asking for a permission");
    journal_.note("request", "screen capture access");
    MutexLock lock(mutex_);
    return requestAnswer_;
  }
  std::string missingGrantAdvice() override {
    MutexLock lock(mutex_);
    return advice_;
  }

 private:
  void set(bool& value, bool granted) {
    MutexLock lock(mutex_);
    value = granted;
  }

  Journal& journal_;
  mutable Mutex mutex_;
  bool accessibility_ = true;
  bool screenCapture_ = true;
  bool requestAnswer_ = false;
  int refreshCount_ = 0;
  std::string advice_;
};

}  // namespace tavik
