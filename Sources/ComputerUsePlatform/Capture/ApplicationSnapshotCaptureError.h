#pragma once

#include <cstdint>
#include <exception>
#include <string>

#include "SlimCore/Logging/TavikComputerUseLogger.h"

namespace tavik {

/// Why a picture could not be taken; the text is for the model.
class ApplicationSnapshotCaptureError : public std::exception, public LoggableError {
 public:
  enum class Kind { noTargetWindow, invalidWindowSize, windowScreenshotUnavailable, noDisplay, pngWriteFailed, captureTimedOut };

  static ApplicationSnapshotCaptureError noTargetWindow(std::int32_t pid);
  static ApplicationSnapshotCaptureError invalidWindowSize(std::uint32_t windowID);
  static ApplicationSnapshotCaptureError windowScreenshotUnavailable(std::uint32_t windowID);
  static ApplicationSnapshotCaptureError noDisplay();
  static ApplicationSnapshotCaptureError pngWriteFailed();
  static ApplicationSnapshotCaptureError captureTimedOut();

  Kind kind() const { return kind_; }
  const std::string& description() const { return description_; }
  const char* what() const noexcept override { return description_.c_str(); }
  LoggedError loggedError() const override;

 private:
  ApplicationSnapshotCaptureError(Kind kind, std::string description)
      : kind_(kind), description_(std::move(description)) {}
  Kind kind_;
  std::string description_;
};

}  // namespace tavik
