#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "Base/Concurrency/Mutex.h"
#include "HostCoordination/Router/HostCoordinationRouterClient.h"
#include "HostCoordination/ThreadStream/HostConversationActivityChange.h"

namespace tavik {

/// Listens on the Router for the beginning and the end of conversation turns, and
/// asks the host, after each connection, which conversations are followed.
/// Belongs to the main thread.
class ComputerUseTurnLifecycleObserver {
 public:
  /// Called on the Router client's worker; must not wait.
  using StateChangeHandler = std::function<void(const HostConversationActivityChange&)>;

  /// The client outlives the observer. What the handler uses outlives the client: a
  /// call that has begun goes on while the observer is stopped.
  ComputerUseTurnLifecycleObserver(HostCoordinationRouterClient& routerClient,
                                   StateChangeHandler stateChangeHandler);
  ~ComputerUseTurnLifecycleObserver();
  ComputerUseTurnLifecycleObserver(const ComputerUseTurnLifecycleObserver&) = delete;
  ComputerUseTurnLifecycleObserver& operator=(const ComputerUseTurnLifecycleObserver&) = delete;

  void start();
  void stop();
  /// Without a host this does nothing.
  void requestFollowingStatus() { requestFollowingStatus(routerClient_); }

 private:
  static void requestFollowingStatus(HostCoordinationRouterClient& routerClient);
  static void handleFollowingChanged(HostCoordinationRouterClient& routerClient,
                                     const HostCoordinationBroadcast& broadcast);

  HostCoordinationRouterClient& routerClient_;
  const std::shared_ptr<const StateChangeHandler> stateChangeHandler_;
  Mutex mutex_;
  std::optional<UUID> connectionHandlerToken_;
  std::vector<UUID> broadcastHandlerTokens_;
};

}  // namespace tavik
