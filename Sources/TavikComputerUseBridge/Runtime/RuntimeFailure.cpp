#include "TavikComputerUseBridge/Runtime/RuntimeFailure.h"

#include "ComputerUseContracts/ComputerUseIPCErrorNumber.h"

namespace tavik {
namespace {

constexpr const char* mayHaveHappened =
    " If it was an action, call get_app_state to see whether it happened before you repeat it.";

constexpr const char* notTrusted =
    "the runtime does not accept requests from this program. If Tavik Computer Use was updated meanwhile, ask the "
    "user to restart the host; otherwise to run \"TavikComputerUseBridge doctor\".";

std::string withDetail(std::string words, std::string detail) {
  if (detail.ends_with('.')) detail.pop_back();
  return detail.empty() ? words : words + " (" + detail + ")";
}

std::string describeErrorNumber(const RequestReply& reply) {
  using Number = ComputerUseIPCErrorNumber;
  switch (static_cast<Number>(reply.errorNumber)) {
    case Number::authorizationFailed:
      return notTrusted;
    case Number::uiElementError:
      return "the application did not let its elements be read. Call get_app_state again.";
    case Number::bundleIdLookupError:
      return "the application's identifier could not be found. Call list_apps.";
    case Number::timeout:
      return std::string("the request took too long and was stopped; the application may be busy or hang.") +
             mayHaveHappened;
    case Number::cancelled:
      return withDetail("the runtime ended before it answered", reply.errorString) + "." + mayHaveHappened;
    case Number::urlBlocklist:
      return "the page that is open must not be read or operated. Do not look for a way around; tell the "
             "user.";
    case Number::rateLimited:
      return "too many requests are in progress. Wait for one to finish, then call again.";
    case Number::unknown:
      if (reply.errorString.find("AuthorizationError") != std::string::npos) return notTrusted;
      break;
  }
  return withDetail("the runtime could not do the request", reply.errorString);
}

}  // namespace

std::optional<std::string> runtimeFailure(const RequestSenderPort::Outcome& outcome) {
  switch (outcome.failure) {
    case RequestSenderPort::Failure::notReachable:
      return withDetail("the runtime does not run and could not be started", outcome.detail) +
             ". Ask the user to run \"TavikComputerUseBridge doctor\".";
    case RequestSenderPort::Failure::disconnected:
      return withDetail("the runtime ended before it answered", outcome.detail) + "." + mayHaveHappened;
    case RequestSenderPort::Failure::timedOut:
      return withDetail("the runtime did not answer in time", outcome.detail) + "." + mayHaveHappened;
    case RequestSenderPort::Failure::none:
      break;
  }
  if (outcome.reply.errorNumber != 0) return describeErrorNumber(outcome.reply);
  if (!outcome.reply.directObject) return "the runtime gave an empty answer.";
  return std::nullopt;
}

bool runtimeWentAway(const RequestSenderPort::Outcome& outcome) {
  if (outcome.failure == RequestSenderPort::Failure::disconnected) return true;
  return outcome.failure == RequestSenderPort::Failure::none &&
         outcome.reply.errorNumber == static_cast<std::int32_t>(ComputerUseIPCErrorNumber::cancelled);
}

}  // namespace tavik
