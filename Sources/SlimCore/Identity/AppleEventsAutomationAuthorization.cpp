#include "SlimCore/Identity/AppleEventsAutomationAuthorization.h"

namespace tavik {

AppleEventsAutomationAuthorization::Status AppleEventsAutomationAuthorization::status(std::int32_t forOSStatus) {
  using Kind = Status::Kind;
  switch (forOSStatus) {
    case 0: return {Kind::authorized, 0};
    case wouldRequireUserConsentStatus: return {Kind::wouldRequireUserConsent, 0};
    case notPermittedStatus: return {Kind::notPermitted, 0};
    case targetNotFoundStatus: return {Kind::targetNotFound, 0};
    default: return {Kind::other, forOSStatus};
  }
}

AppleEventsAutomationAuthorization::Status AppleEventsAutomationAuthorization::probe(std::int32_t processIdentifier,
                                                                                     bool askUserIfNeeded) const {
  return status(process_.determinePermissionToAutomate(processIdentifier, askUserIfNeeded));
}

std::string AppleEventsAutomationAuthorization::remediationMessage(const std::string& targetDisplayName,
                                                                   const ResponsibleProcess::Attribution& responsible) {
  const bool hasName = responsible.name && !responsible.name->empty();
  const std::string introduction =
      "Computer Use is not authorized to control " + targetDisplayName +
      " through macOS Automation. macOS returned errAEEventNotPermitted (-1743).\n\n";
  if (responsible.isSelf) {
    return introduction + "macOS holds " + (hasName ? *responsible.name : "this MCP server process") +
           " itself responsible for this request instead of a host application, so no Automation entry can be "
           "granted for it. Start the Computer Use MCP server from its host application, then retry.";
  }
  const std::string name = hasName ? *responsible.name : "the application that started this MCP server";
  return introduction + "Open System Settings > Privacy & Security > Automation, find " + name + ", and enable " +
         targetDisplayName + " underneath it. Then quit and relaunch " + name + " before retrying.";
}

}  // namespace tavik
