#include "Backends/Linux/Transport/BusRequestSender.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include "Backends/Linux/Transport/RequestBusAddress.h"

namespace tavik {

namespace {

using Outcome = RequestSenderPort::Outcome;
using Failure = RequestSenderPort::Failure;

BusMessage requestMessage(const std::string& requestType, const Bytes& requestData,
                          const std::string& requestID) {
  BusMessage message =
      BusMessage::methodCall(requestBus::name, requestBus::path, requestBus::interface, requestBus::method);
  BusWriter(message).string(requestType).bytes(requestData).string(requestID);
  // A runtime is started in one place only.
  dbus_message_set_auto_start(message.raw(), FALSE);
  return message;
}

Outcome failure(Failure kind, std::string detail) {
  return {kind, std::move(detail), {}};
}

/// The bus says that nobody has the name, so nobody saw the request.
bool wasNotDelivered(const BusReply& reply) {
  std::string error = reply.errorName();
  return error == DBUS_ERROR_SERVICE_UNKNOWN || error == DBUS_ERROR_NAME_HAS_NO_OWNER;
}

/// It has the name for a moment still, and receives no more requests.
bool isFromARuntimeThatEnds(const BusReply& reply) { return reply.errorName() == DBUS_ERROR_UNKNOWN_OBJECT; }

Outcome outcomeOf(const BusReply& reply) {
  switch (reply.status) {
    case BusReply::Status::timedOut:
      return failure(Failure::timedOut, "The runtime did not answer in time.");
    case BusReply::Status::disconnected:
      return failure(Failure::disconnected, "The session bus went away.");
    case BusReply::Status::failed:
      // The bus answers so in place of a runtime that ends with calls unanswered.
      if (reply.errorName() == DBUS_ERROR_NO_REPLY) {
        return failure(Failure::disconnected, "The runtime ended before it answered.");
      }
      return failure(Failure::notReachable, reply.errorName() + ": " + reply.message.read().string());
    case BusReply::Status::returned:
      break;
  }
  if (reply.message.signature() != requestBus::replySignature) {
    return failure(Failure::notReachable, "Something else than the runtime answers at its address.");
  }
  BusReader values = reply.read();
  Outcome outcome;
  Bytes directObject = values.bytes();
  outcome.reply.errorNumber = static_cast<std::int32_t>(values.integer());
  outcome.reply.errorString = values.string();
  if (outcome.reply.errorNumber == 0) outcome.reply.directObject = std::move(directObject);
  return outcome;
}

}  // namespace

Outcome BusRequestSender::send(const std::string& requestType, const Bytes& requestData,
                               const std::string& requestID, double timeoutSeconds) {
  if (requestData.size() > DBUS_MAXIMUM_ARRAY_LENGTH) {
    return failure(Failure::notReachable, "The request is larger than the session bus carries.");
  }
  const auto timeout =
      std::chrono::milliseconds(static_cast<std::int64_t>(std::clamp(timeoutSeconds, 0.0, 1e6) * 1e3));
  // A runtime that has just been started may end before it is asked, but not for ever.
  constexpr int mostTries = 3;
  for (int tries = 0; tries < mostTries; ++tries) {
    if (!bus_.isConnected()) {
      return failure(Failure::notReachable,
                     "There is no session bus; run in a desktop session, or set DBUS_SESSION_BUS_ADDRESS.");
    }
    BusReply reply = bus_.call(requestMessage(requestType, requestData, requestID), timeout);
    if (isFromARuntimeThatEnds(reply)) {
      if (!waitUntilNobodyHasTheName()) {
        return failure(Failure::notReachable, "Something else than the runtime answers at its address.");
      }
    } else if (!wasNotDelivered(reply)) {
      return outcomeOf(reply);
    }
    if (std::string why = launcher_.ensureRunning(startTimeout_); !why.empty()) {
      return failure(Failure::notReachable, std::move(why));
    }
  }
  return failure(Failure::notReachable, "The runtime ends as soon as it has started.");
}

bool BusRequestSender::waitUntilNobodyHasTheName() {
  constexpr auto longestEnd = std::chrono::seconds(5);
  constexpr auto pollInterval = std::chrono::milliseconds(20);
  const auto deadline = std::chrono::steady_clock::now() + longestEnd;
  while (bus_.hasOwner(requestBus::name)) {
    if (std::chrono::steady_clock::now() >= deadline) return false;
    std::this_thread::sleep_for(pollInterval);
  }
  return true;
}

bool BusRequestSender::isRuntimeRunning() {
  return bus_.hasOwner(requestBus::name);
}

}  // namespace tavik
