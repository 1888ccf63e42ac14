#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Base/Concurrency/Completion.h"
#include "Base/Concurrency/Mutex.h"
#include "Base/Concurrency/TaskGroup.h"
#include "Base/Concurrency/TurnLock.h"
#include "Base/Concurrency/WorkQueue.h"
#include "Base/Encoding/UUID.h"
#include "HostCoordination/Wire/HostCoordinationBroadcast.h"
#include "HostCoordination/Wire/HostCoordinationUnixTransport.h"

namespace tavik {

/// How a client presents itself to the Router, and how patient it is.
struct RouterClientOptions {
  std::string clientType;
  /// The pause between two attempts to connect.
  Duration reconnectDelay = seconds(1);
  std::int64_t initializeTimeoutMilliseconds = 5000;
};

/// Keeps one connection to the host's Router alive, whether or not the host is
/// there: connects, introduces itself, hands on what comes, and begins anew when the
/// connection is lost, until `stop`.
///
/// Operations may be called from any thread, most also from handlers. Handlers run on the
/// client's own worker without any lock held; a slow one delays all that follows.
/// Destroying the client stops it and waits for its worker, so not from a handler.
class HostCoordinationRouterClient {
 public:
  using BroadcastHandler = std::function<void(const HostCoordinationBroadcast&)>;
  using ConnectionHandler = std::function<void()>;

  HostCoordinationRouterClient(Scheduler& scheduler, LocalSocketPort& sockets, std::string socketPath,
                               RouterClientOptions options);
  ~HostCoordinationRouterClient();
  HostCoordinationRouterClient(const HostCoordinationRouterClient&) = delete;
  HostCoordinationRouterClient& operator=(const HostCoordinationRouterClient&) = delete;

  /// Begins to connect, unless it does already.
  void start();
  /// Lets the connection go; every request that waits fails with `disconnected`.
  /// Handlers stay for a later `start`.
  void stop();

  /// The handler is called for each broadcast of exactly this method and version.
  UUID registerBroadcastHandler(const std::string& method, std::int64_t version, BroadcastHandler handler);
  /// A call that has begun goes on.
  void unregisterBroadcastHandler(const UUID& id);
  /// The handler is called after each successful introduction.
  UUID registerConnectionHandler(ConnectionHandler handler);
  void unregisterConnectionHandler(const UUID& id);

  /// Blocks until the Router took the frame. Throws `HostCoordinationRouterError`
  /// `disconnected` or `HostCoordinationTransportError`.
  void sendBroadcast(const std::string& method, std::int64_t version, const HostCoordinationJSONValue& params,
                     const std::optional<std::vector<std::string>>& targetClientIDs = std::nullopt);
  /// Blocks for the Router's answer, so not from a handler, which the answer would have
  /// to wait for; cancellation does not end that. Throws
  /// `HostCoordinationRouterError` or `HostCoordinationTransportError`.
  HostCoordinationJSONValue sendRequest(const std::string& method, std::int64_t version,
                                        const HostCoordinationJSONValue& params,
                                        std::int64_t timeoutMilliseconds);

  const std::string& socketPath() const { return transport_.socketPath(); }
  bool isConnected() const;
  /// Requests that wait for an answer.
  std::size_t pendingRequestCount() const;

 private:
  struct HandlerKey {
    std::string method;
    std::int64_t version = 0;
    auto operator<=>(const HandlerKey&) const = default;
  };
  /// Present only while the Router knows this client.
  struct ConnectionIdentity {
    /// Of the transport's connection.
    std::uint64_t generation = 0;
    std::string clientID;
    bool operator==(const ConnectionIdentity&) const = default;
  };
  struct PendingRequest {
    std::uint64_t generation;
    Completion<HostCoordinationJSONValue> complete;
  };
  using PendingRequests = std::map<std::string, PendingRequest>;

  void connectionLoop(std::uint64_t workerGeneration);
  void serveConnection(std::uint64_t generation, std::uint64_t workerGeneration,
                       std::optional<std::string>& lastLoggedReason);
  std::optional<std::uint64_t> connectUnlessSuperseded(std::uint64_t workerGeneration);
  bool isCurrent(std::uint64_t workerGeneration) const;
  bool isWorker() const;
  std::string initializeConnection(std::uint64_t generation);
  ParsedJSON awaitInitializeResponse(std::uint64_t generation, const std::string& requestID);
  void setConnectedIdentity(std::uint64_t workerGeneration, ConnectionIdentity identity);
  void notifyConnected();
  void handle(const ParsedJSON& frame, std::uint64_t generation);
  bool handleClientDiscovery(const ParsedJSON& frame, std::uint64_t generation);
  void handleResponse(const ParsedJSON& frame);
  void handleBroadcast(const ParsedJSON& frame);
  void clearConnectionAndFailPending(std::uint64_t generation);
  void logUnavailable(const std::exception& error, std::optional<std::string>& lastLoggedReason) const;
  std::optional<PendingRequest> takePending(const std::string& requestID);
  std::optional<ConnectionIdentity> identity() const;
  ConnectionIdentity requireIdentity() const;

  Scheduler& scheduler_;
  HostCoordinationUnixTransport transport_;
  const RouterClientOptions options_;

  /// Held around connecting and around the teardown of `stop`, so that no connection
  /// is made after it.
  TurnLock connectionAttemptLock_;
  mutable Mutex stateLock_;
  bool stopped_ = true;
  /// Grows with each `start` and `stop`; a worker of an older one ends.
  std::uint64_t workerGeneration_ = 0;
  Task worker_;
  std::optional<ConnectionIdentity> connectionIdentity_;
  std::map<HandlerKey, std::map<UUID, BroadcastHandler>> broadcastHandlers_;
  std::map<UUID, ConnectionHandler> connectionHandlers_;
  PendingRequests pendingRequests_;

  SerialQueue deadlines_;
  TaskGroup workers_;
};

}  // namespace tavik
