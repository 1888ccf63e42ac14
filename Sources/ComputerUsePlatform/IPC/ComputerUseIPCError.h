#pragma once

#include <cstdint>
#include <exception>

#include "ComputerUseContracts/ComputerUseIPCErrorNumber.h"
#include "SlimCore/Logging/TavikComputerUseLogger.h"

namespace tavik {

/// A failure that belongs to the transport and not to a tool: it is answered as a
/// number with the name of its case.
class ComputerUseIPCError : public std::exception, public LoggableError {
 public:
  using Case = ComputerUseIPCErrorNumber;

  ComputerUseIPCError(Case which) : case_(which) {}

  std::int32_t rawValue() const { return static_cast<std::int32_t>(case_); }
  /// The name of the case, as it goes over the wire.
  const char* what() const noexcept override;
  LoggedError loggedError() const override;

  bool operator==(const ComputerUseIPCError& other) const { return case_ == other.case_; }

 private:
  Case case_;
};

}  // namespace tavik
