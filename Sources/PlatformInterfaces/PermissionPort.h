#pragma once

#include <optional>
#include <string>

namespace tavik {

/// The two things that the system must let this program do. Operations belong to
/// the main thread, answer at once or within a few seconds, and do not throw.
class PermissionPort {
 public:
  virtual ~PermissionPort() = default;

  /// Whether elements of other applications may be read and operated. Never asks the
  /// user.
  virtual bool isAccessibilityTrusted() = 0;
  /// Whether pictures of other applications' windows may be taken, as far as the
  /// system says so by itself; its answer may lag behind. Never asks the user.
  virtual bool preflightScreenCaptureAccess() = 0;
  /// Asks the system for the pictures, which may ask the user. Whether they may be
  /// taken now.
  virtual bool requestScreenCaptureAccess() = 0;

  /// What a person can do about what is missing, in sentences for a person or a
  /// model; empty when nothing is, or when a window of this program leads the user.
  virtual std::string missingGrantAdvice() = 0;
};

}  // namespace tavik
