#pragma once

#include <cstdint>
#include <string>

#include "PlatformInterfaces/ProcessPort.h"
#include "SlimCore/Identity/ResponsibleProcess.h"

namespace tavik {

/// Whether this process may send automation events to another, and what to tell
/// the user when it may not. Any thread; asking the user may block.
class AppleEventsAutomationAuthorization {
 public:
  static constexpr std::int32_t notPermittedStatus = -1743;
  static constexpr std::int32_t wouldRequireUserConsentStatus = -1744;
  static constexpr std::int32_t targetNotFoundStatus = -600;

  struct Status {
    enum class Kind { authorized, wouldRequireUserConsent, notPermitted, targetNotFound, other };
    Kind kind = Kind::other;
    /// The platform's number of `other`; 0 for the rest.
    std::int32_t otherStatus = 0;

    bool operator==(const Status&) const = default;
    bool isAuthorized() const { return kind == Kind::authorized; }
    /// A target that is gone is none.
    bool isAuthorizationProblem() const {
      return kind == Kind::wouldRequireUserConsent || kind == Kind::notPermitted;
    }
  };

  explicit AppleEventsAutomationAuthorization(ProcessPort& process) : process_(process) {}

  static Status status(std::int32_t forOSStatus);
  static bool isNotPermitted(std::int32_t status) { return status == notPermittedStatus; }
  Status probe(std::int32_t processIdentifier, bool askUserIfNeeded) const;
  /// When the system holds this very process responsible there is no switch for the
  /// user to find, and the text must not send anyone to look for it.
  static std::string remediationMessage(const std::string& targetDisplayName,
                                        const ResponsibleProcess::Attribution& responsible);

 private:
  ProcessPort& process_;
};

}  // namespace tavik
