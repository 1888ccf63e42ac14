#pragma once

#include <exception>
#include <string>

#include "SlimCore/Logging/TavikComputerUseLogger.h"

namespace tavik {

/// An application that the agent may not act on.
class AppApprovalError : public std::exception, public LoggableError {
 public:
  static AppApprovalError systemSecurityProcess(const std::string& bundleIdentifier) {
    return AppApprovalError("Cannot interact with system security process: " + bundleIdentifier);
  }

  static AppApprovalError approvalRequired(const std::string& bundleIdentifier) {
    return AppApprovalError("User approval required for app: " + bundleIdentifier);
  }

  const char* what() const noexcept override { return description_.c_str(); }
  LoggedError loggedError() const override { return {"AppApprovalError", "AppApprovalError", 0}; }

 private:
  explicit AppApprovalError(std::string description) : description_(std::move(description)) {}
  std::string description_;
};

}  // namespace tavik
