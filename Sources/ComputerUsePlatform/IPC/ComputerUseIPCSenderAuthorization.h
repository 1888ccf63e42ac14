#pragma once

#include <cstdint>
#include <exception>
#include <optional>
#include <string>

#include "PlatformInterfaces/CodeIdentityPort.h"
#include "SlimCore/Identity/BundleIdentifiers.h"
#include "SlimCore/Logging/TavikComputerUseLogger.h"

namespace tavik {

/// Why a sender is not trusted. `what` is the sparse text that strangers get to
/// read; `description` says what was found.
class AuthorizationError : public std::exception, public LoggableError {
 public:
  enum class Case { senderNotFound, codeSigningError, untrustedTeamID, untrustedBundleID };

  static AuthorizationError senderNotFound(std::int32_t status);
  static AuthorizationError codeSigningError(std::int32_t status);
  static AuthorizationError untrustedTeamID(const std::optional<std::string>& value);
  static AuthorizationError untrustedBundleID(const std::optional<std::string>& value);

  Case which() const { return case_; }
  const std::string& description() const { return description_; }
  const char* what() const noexcept override { return localizedDescription_.c_str(); }
  LoggedError loggedError() const override;

 private:
  AuthorizationError(Case which, std::string description);

  Case case_;
  std::string description_;
  std::string localizedDescription_;
};

/// Verifies by its code signature that a process is one of those that may send
/// requests. Any thread.
class ComputerUseIPCSenderAuthorization {
 public:
  struct Sender {
    std::optional<std::string> teamID;
    std::optional<std::string> bundleID;
  };

  ComputerUseIPCSenderAuthorization(CodeIdentityPort& codeIdentity, const BundleIdentifiers& identifiers)
      : codeIdentity_(codeIdentity), identifiers_(identifiers) {}

  /// Who the process is. Throws `AuthorizationError` unless both its team and its
  /// identifier are trusted.
  Sender verifySender(std::int32_t pid) const;

 private:
  CodeIdentityPort& codeIdentity_;
  const BundleIdentifiers& identifiers_;
};

}  // namespace tavik
