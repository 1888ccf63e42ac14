#pragma once

#include <exception>
#include <string>

#include "SlimCore/Logging/TavikComputerUseLogger.h"

namespace tavik {

/// Why a picture was not taken now. The accessibility state goes out all the same,
/// and the description, which is for the model, says so.
class CaptureCoordinatorError : public std::exception, public LoggableError {
 public:
  enum class Kind { skipped, timedOut, unavailable };

  static CaptureCoordinatorError skipped(const std::string& reason);
  static CaptureCoordinatorError timedOut(const std::string& stage, double seconds);
  static CaptureCoordinatorError unavailable(const std::string& reason);

  Kind kind() const { return kind_; }
  const std::string& description() const { return description_; }
  const char* what() const noexcept override { return description_.c_str(); }
  LoggedError loggedError() const override;

 private:
  CaptureCoordinatorError(Kind kind, std::string description) : kind_(kind), description_(std::move(description)) {}
  Kind kind_;
  std::string description_;
};

}  // namespace tavik
