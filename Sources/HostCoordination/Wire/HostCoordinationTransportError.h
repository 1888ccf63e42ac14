#pragma once

#include <exception>
#include <string>

#include "SlimCore/Logging/TavikComputerUseLogger.h"

namespace tavik {

/// Why a frame could not be carried.
class HostCoordinationTransportError : public std::exception, public LoggableError {
 public:
  enum class Case {
    system,
    connectionClosed,
    connectionChanged,
    frameTooLarge,
    invalidFrame,
    notConnected,
    socketPathTooLong,
  };

  /// Any case but `system`, which belongs to an error number of the platform.
  HostCoordinationTransportError(Case which);
  static HostCoordinationTransportError system(int errorNumber);

  Case which() const { return case_; }
  const std::string& description() const { return description_; }
  /// The reason as one word, for the log.
  std::string diagnosticReason() const;

  const char* what() const noexcept override { return description_.c_str(); }
  LoggedError loggedError() const override;

 private:
  HostCoordinationTransportError(Case which, int errorNumber, std::string description);

  Case case_;
  int errorNumber_ = 0;
  std::string description_;
};

}  // namespace tavik
