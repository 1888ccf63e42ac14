#include "TavikComputerUseRuntime/TurnLifecycle/ComputerUseTurnLifecycleObserver.h"

#include <utility>

#include "HostCoordination/Router/HostCoordinationRouterError.h"
#include "HostCoordination/ThreadStream/ThreadStreamFollowingChanged.h"
#include "HostCoordination/ThreadStream/ThreadStreamStateChanged.h"
#include "HostCoordination/Wire/HostCoordinationMethods.h"
#include "SlimCore/Logging/TavikComputerUseLogger.h"

namespace tavik {

namespace {

using Methods = HostCoordinationMethods;

/// To have no host is an ordinary state and nothing to write about.
void logSendFailure(const char* event, const std::exception& error) {
  const auto* routerError = dynamic_cast<const HostCoordinationRouterError*>(&error);
  if (routerError && routerError->which() == HostCoordinationRouterError::Case::disconnected) return;
  TavikComputerUseLogger::warning(LogCategory::ipc, event, {{"error", error}});
}

}  // namespace

ComputerUseTurnLifecycleObserver::ComputerUseTurnLifecycleObserver(HostCoordinationRouterClient& routerClient,
                                                                   StateChangeHandler stateChangeHandler)
    : routerClient_(routerClient),
      stateChangeHandler_(std::make_shared<const StateChangeHandler>(std::move(stateChangeHandler))) {}

ComputerUseTurnLifecycleObserver::~ComputerUseTurnLifecycleObserver() {
  stop();
}

void ComputerUseTurnLifecycleObserver::start() {
  stop();
  const UUID connected = routerClient_.registerConnectionHandler(
      [&client = routerClient_] { requestFollowingStatus(client); });
  std::vector<UUID> broadcasts;
  broadcasts.push_back(routerClient_.registerBroadcastHandler(
      Methods::threadStreamFollowingChanged, Methods::threadStreamFollowingChangedVersion,
      [&client = routerClient_](const HostCoordinationBroadcast& broadcast) {
        handleFollowingChanged(client, broadcast);
      }));
  broadcasts.push_back(routerClient_.registerBroadcastHandler(
      Methods::threadStreamStateChanged, Methods::threadStreamStateChangedVersion,
      [handler = stateChangeHandler_](const HostCoordinationBroadcast& broadcast) {
        const auto state = ThreadStreamStateChanged::from(broadcast);
        if (!state) return;
        if (const auto change = state->activityChange()) (*handler)(*change);
      }));
  {
    MutexLock lock(mutex_);
    connectionHandlerToken_ = connected;
    broadcastHandlerTokens_ = std::move(broadcasts);
  }
  requestFollowingStatus();
}

void ComputerUseTurnLifecycleObserver::stop() {
  std::optional<UUID> connection;
  std::vector<UUID> broadcasts;
  {
    MutexLock lock(mutex_);
    connection.swap(connectionHandlerToken_);
    broadcasts.swap(broadcastHandlerTokens_);
  }
  if (connection) routerClient_.unregisterConnectionHandler(*connection);
  for (const UUID& token : broadcasts) routerClient_.unregisterBroadcastHandler(token);
}

void ComputerUseTurnLifecycleObserver::requestFollowingStatus(HostCoordinationRouterClient& routerClient) {
  try {
    routerClient.sendBroadcast(Methods::threadStreamFollowingStatusRequested,
                               Methods::threadStreamFollowingStatusRequestedVersion,
                               HostCoordinationJSONValue::Object{});
  } catch (const std::exception& error) {
    return logSendFailure("host_following_status_request_failed", error);
  }
  TavikComputerUseLogger::info(LogCategory::ipc, "host_thread_events_subscribed",
                               {{"socketPath", routerClient.socketPath()}});
}

void ComputerUseTurnLifecycleObserver::handleFollowingChanged(HostCoordinationRouterClient& routerClient,
                                                              const HostCoordinationBroadcast& broadcast) {
  const auto following = ThreadStreamFollowingChanged::from(broadcast);
  if (!following) return;
  try {
    routerClient.sendBroadcast(Methods::threadStreamFollowingChanged,
                               Methods::threadStreamFollowingChangedVersion, following->params());
  } catch (const std::exception& error) {
    logSendFailure("host_following_subscription_failed", error);
  }
}

}  // namespace tavik
