#pragma once

#include <exception>
#include <string>

#include "SlimCore/Logging/TavikComputerUseLogger.h"

namespace tavik {

/// Why the Router did not do what it was asked for.
class HostCoordinationRouterError : public std::exception, public LoggableError {
 public:
  enum class Case {
    requestRejected,
    disconnected,
    initializeTimedOut,
    invalidInitializeResponse,
    requestTimedOut,
  };

  /// Any case but `requestRejected`, which carries the Router's words.
  HostCoordinationRouterError(Case which);
  static HostCoordinationRouterError requestRejected(const std::string& text);

  Case which() const { return case_; }
  const std::string& description() const { return description_; }
  const char* what() const noexcept override { return description_.c_str(); }
  LoggedError loggedError() const override;

 private:
  HostCoordinationRouterError(Case which, std::string description);

  Case case_;
  std::string description_;
};

}  // namespace tavik
