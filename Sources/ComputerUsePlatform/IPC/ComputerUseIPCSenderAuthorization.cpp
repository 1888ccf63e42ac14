#include "ComputerUsePlatform/IPC/ComputerUseIPCSenderAuthorization.h"

#include <utility>

namespace tavik {

namespace {

template <class T>
T requireValue(StatusResult<T> result) {
  if (result.status != 0 || !result.value) throw AuthorizationError::codeSigningError(result.status);
  return *std::move(result.value);
}

}  // namespace

AuthorizationError AuthorizationError::senderNotFound(std::int32_t status) {
  return {Case::senderNotFound, "Sender process not found: " + std::to_string(status)};
}

AuthorizationError AuthorizationError::codeSigningError(std::int32_t status) {
  return {Case::codeSigningError, "Code signing verification failed: " + std::to_string(status)};
}

AuthorizationError AuthorizationError::untrustedTeamID(const std::optional<std::string>& value) {
  return {Case::untrustedTeamID, "Untrusted team identifier: " + value.value_or("nil")};
}

AuthorizationError AuthorizationError::untrustedBundleID(const std::optional<std::string>& value) {
  return {Case::untrustedBundleID, "Untrusted bundle identifier: " + value.value_or("nil")};
}

AuthorizationError::AuthorizationError(Case which, std::string description)
    : case_(which),
      description_(std::move(description)),
      localizedDescription_("The operation couldn’t be completed. (AuthorizationError error " +
                            std::to_string(static_cast<int>(which)) + ".)") {}

LoggedError AuthorizationError::loggedError() const {
  return {"AuthorizationError", "ComputerUsePlatform.AuthorizationError", static_cast<long>(case_)};
}

auto ComputerUseIPCSenderAuthorization::verifySender(std::int32_t pid) const -> Sender {
  const CodeReference guest = requireValue(codeIdentity_.copyGuest(pid));
  const CodeReference staticCode = requireValue(codeIdentity_.copyStaticCode(guest));
  const SigningInformation signing = requireValue(codeIdentity_.copySigningInformation(staticCode));

  const auto& team = signing.teamIdentifier;
  if (!team || !identifiers_.trustedTeamIdentifiers().contains(*team)) {
    throw AuthorizationError::untrustedTeamID(team);
  }
  const auto& identifier = signing.identifier;
  if (!identifier || !identifiers_.trustedBundleIDs().contains(*identifier)) {
    throw AuthorizationError::untrustedBundleID(identifier);
  }
  return {team, identifier};
}

}  // namespace tavik
