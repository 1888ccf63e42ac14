#include "HostCoordination/Router/HostCoordinationRouterClient.h"

#include <algorithm>
#include <mutex>
#include <utility>

#include "HostCoordination/Router/HostCoordinationRouterError.h"
#include "HostCoordination/Wire/HostCoordinationFrame.h"
#include "HostCoordination/Wire/HostCoordinationMethods.h"
#include "HostCoordination/Wire/HostCoordinationTransportError.h"
#include "SlimCore/Logging/TavikComputerUseLogger.h"

namespace tavik {

namespace {

namespace wire = hostCoordinationFrame;
using RouterError = HostCoordinationRouterError;

/// Ends an introduction that takes too long by closing the connection under it.
class InitializationDeadline {
 public:
  /// True when the time was up before the introduction was finished.
  bool expire() {
    MutexLock lock(lock_);
    if (!finished_) timedOut_ = true;
    return timedOut_;
  }
  /// False when the time was up first.
  bool finish() {
    MutexLock lock(lock_);
    finished_ = true;
    return !timedOut_;
  }

 private:
  Mutex lock_;
  bool finished_ = false;
  bool timedOut_ = false;
};

struct TimerEnd {
  const WorkItem timer;
  ~TimerEnd() { timer.cancel(); }
};

std::string reasonOf(const std::exception& error) {
  const auto* transportError = dynamic_cast<const HostCoordinationTransportError*>(&error);
  return transportError ? transportError->diagnosticReason() : error.what();
}

}  // namespace

HostCoordinationRouterClient::HostCoordinationRouterClient(Scheduler& scheduler, LocalSocketPort& sockets,
                                                           std::string socketPath, RouterClientOptions options)
    : scheduler_(scheduler),
      transport_(scheduler, sockets, std::move(socketPath)),
      options_(std::move(options)),
      connectionAttemptLock_(scheduler),
      deadlines_(scheduler, "router deadlines"),
      workers_(scheduler) {}

HostCoordinationRouterClient::~HostCoordinationRouterClient() {
  stop();
  workers_.joinAll();
}

void HostCoordinationRouterClient::start() {
  std::uint64_t generation;
  {
    MutexLock lock(stateLock_);
    if (!std::exchange(stopped_, false)) return;
    generation = ++workerGeneration_;
  }
  Task worker = workers_.start("router client", [this, generation] { connectionLoop(generation); });
  {
    MutexLock lock(stateLock_);
    if (workerGeneration_ == generation) {
      worker_ = worker;
      return;
    }
  }
  // A `stop` that came meanwhile did not find it.
  worker.cancel();
}

void HostCoordinationRouterClient::stop() {
  PendingRequests pending;
  Task worker;
  {
    std::lock_guard attempt(connectionAttemptLock_);
    {
      MutexLock lock(stateLock_);
      stopped_ = true;
      ++workerGeneration_;
      connectionIdentity_.reset();
      worker = std::exchange(worker_, Task());
      pending.swap(pendingRequests_);
    }
    if (worker) worker.cancel();
    transport_.close();
  }
  for (const auto& [id, request] : pending) request.complete.fail(RouterError(RouterError::Case::disconnected));
}

UUID HostCoordinationRouterClient::registerBroadcastHandler(const std::string& method, std::int64_t version,
                                                            BroadcastHandler handler) {
  const UUID id = UUID::make();
  MutexLock lock(stateLock_);
  broadcastHandlers_[{method, version}].emplace(id, std::move(handler));
  return id;
}

void HostCoordinationRouterClient::unregisterBroadcastHandler(const UUID& id) {
  // Dropped without the lock: what a handler holds may call the client as it goes.
  std::vector<BroadcastHandler> dropped;
  MutexLock lock(stateLock_);
  for (auto& [key, handlers] : broadcastHandlers_) {
    if (auto entry = handlers.extract(id)) dropped.push_back(std::move(entry.mapped()));
  }
  std::erase_if(broadcastHandlers_, [](const auto& entry) { return entry.second.empty(); });
}

UUID HostCoordinationRouterClient::registerConnectionHandler(ConnectionHandler handler) {
  const UUID id = UUID::make();
  MutexLock lock(stateLock_);
  connectionHandlers_.emplace(id, std::move(handler));
  return id;
}

void HostCoordinationRouterClient::unregisterConnectionHandler(const UUID& id) {
  ConnectionHandler dropped;
  MutexLock lock(stateLock_);
  if (auto entry = connectionHandlers_.extract(id)) dropped = std::move(entry.mapped());
}

void HostCoordinationRouterClient::connectionLoop(std::uint64_t workerGeneration) {
  std::optional<std::string> lastLoggedReason;
  while (isCurrent(workerGeneration)) {
    std::optional<std::uint64_t> generation;
    try {
      generation = connectUnlessSuperseded(workerGeneration);
      if (!generation) return;
      serveConnection(*generation, workerGeneration, lastLoggedReason);
    } catch (const std::exception& error) {
      if (!isCurrent(workerGeneration)) return;
      logUnavailable(error, lastLoggedReason);
    }
    if (generation) {
      clearConnectionAndFailPending(*generation);
      transport_.close(*generation);
    }
    if (isCurrent(workerGeneration)) scheduler_.sleep(options_.reconnectDelay);
  }
}

std::optional<std::uint64_t> HostCoordinationRouterClient::connectUnlessSuperseded(
    std::uint64_t workerGeneration) {
  std::lock_guard attempt(connectionAttemptLock_);
  if (!isCurrent(workerGeneration)) return std::nullopt;
  return transport_.connect();
}

bool HostCoordinationRouterClient::isCurrent(std::uint64_t workerGeneration) const {
  MutexLock lock(stateLock_);
  return !stopped_ && workerGeneration_ == workerGeneration;
}

void HostCoordinationRouterClient::serveConnection(std::uint64_t generation, std::uint64_t workerGeneration,
                                                   std::optional<std::string>& lastLoggedReason) {
  if (!isCurrent(workerGeneration)) return transport_.close(generation);
  setConnectedIdentity(workerGeneration, {generation, initializeConnection(generation)});
  TavikComputerUseLogger::info(LogCategory::ipc, "host_coordination_connected",
                               {{"socketPath", socketPath()}});
  notifyConnected();
  lastLoggedReason.reset();
  while (isCurrent(workerGeneration)) handle(transport_.readFrame(generation), generation);
}

std::string HostCoordinationRouterClient::initializeConnection(std::uint64_t generation) {
  const std::string requestID = UUID::make().string();
  transport_.writeFrame(
      wire::request({.requestID = requestID,
                     .sourceClientID = wire::initializingClientID,
                     .version = HostCoordinationMethods::initializeVersion,
                     .method = HostCoordinationMethods::initialize,
                     .params = HostCoordinationJSONValue::Object{{"clientType", options_.clientType}},
                     .timeoutMilliseconds = options_.initializeTimeoutMilliseconds}),
      generation);

  const ParsedJSON response = awaitInitializeResponse(generation, requestID);
  const auto result = response.find("result");
  const auto clientID = result != response.end() && result->is_object() ? wire::text(*result, "clientId") : std::nullopt;
  if (wire::text(response, "resultType") != "success" || !clientID || clientID->empty()) {
    throw RouterError(RouterError::Case::invalidInitializeResponse);
  }
  return *clientID;
}

ParsedJSON HostCoordinationRouterClient::awaitInitializeResponse(std::uint64_t generation,
                                                                 const std::string& requestID) {
  auto deadline = std::make_shared<InitializationDeadline>();
  const auto timeout = std::max<std::int64_t>(options_.initializeTimeoutMilliseconds, 0);
  const TimerEnd timer{deadlines_.asyncAfter(milliseconds(timeout), [this, deadline, generation] {
    if (deadline->expire()) transport_.close(generation);
  })};
  try {
    while (true) {
      ParsedJSON frame = transport_.readFrame(generation);
      if (wire::hasType(frame, "response") && wire::text(frame, "requestId") == requestID) {
        if (!deadline->finish()) throw RouterError(RouterError::Case::initializeTimedOut);
        return frame;
      }
      handleClientDiscovery(frame, generation);
    }
  } catch (const std::exception&) {
    if (!deadline->finish()) throw RouterError(RouterError::Case::initializeTimedOut);
    throw;
  }
}

void HostCoordinationRouterClient::setConnectedIdentity(std::uint64_t workerGeneration,
                                                        ConnectionIdentity identity) {
  MutexLock lock(stateLock_);
  if (stopped_ || workerGeneration_ != workerGeneration) throw RouterError(RouterError::Case::disconnected);
  connectionIdentity_ = std::move(identity);
}

void HostCoordinationRouterClient::notifyConnected() {
  std::map<UUID, ConnectionHandler> handlers;
  {
    MutexLock lock(stateLock_);
    handlers = connectionHandlers_;
  }
  for (const auto& [id, handler] : handlers) handler();
}

void HostCoordinationRouterClient::handle(const ParsedJSON& frame, std::uint64_t generation) {
  if (handleClientDiscovery(frame, generation)) return;
  if (wire::hasType(frame, "response")) return handleResponse(frame);
  if (wire::hasType(frame, "broadcast")) handleBroadcast(frame);
}

bool HostCoordinationRouterClient::handleClientDiscovery(const ParsedJSON& frame, std::uint64_t generation) {
  if (!wire::hasType(frame, "client-discovery-request")) return false;
  const auto requestID = wire::text(frame, "requestId");
  if (!requestID) return false;
  transport_.writeFrame(wire::clientDiscoveryResponse(*requestID), generation);
  return true;
}

void HostCoordinationRouterClient::handleResponse(const ParsedJSON& frame) {
  const auto requestID = wire::text(frame, "requestId");
  if (!requestID) return;
  const auto request = takePending(*requestID);
  if (!request) return;
  if (wire::text(frame, "resultType") == "success") {
    const auto result = frame.find("result");
    auto value = result != frame.end() ? HostCoordinationJSONValue::from(*result) : std::nullopt;
    request->complete.resume(value.value_or(HostCoordinationJSONValue::null()));
  } else {
    request->complete.fail(RouterError::requestRejected(wire::text(frame, "error").value_or("unknown")));
  }
}

void HostCoordinationRouterClient::handleBroadcast(const ParsedJSON& frame) {
  const auto broadcast = HostCoordinationBroadcast::from(frame);
  if (!broadcast) return;
  std::map<UUID, BroadcastHandler> handlers;
  {
    MutexLock lock(stateLock_);
    const auto found = broadcastHandlers_.find({broadcast->method, broadcast->version});
    if (found != broadcastHandlers_.end()) handlers = found->second;
  }
  for (const auto& [id, handler] : handlers) handler(*broadcast);
}

void HostCoordinationRouterClient::clearConnectionAndFailPending(std::uint64_t generation) {
  std::vector<Completion<HostCoordinationJSONValue>> lost;
  {
    MutexLock lock(stateLock_);
    if (connectionIdentity_ && connectionIdentity_->generation == generation) connectionIdentity_.reset();
    std::erase_if(pendingRequests_, [&](const auto& entry) {
      if (entry.second.generation != generation) return false;
      lost.push_back(entry.second.complete);
      return true;
    });
  }
  for (const auto& complete : lost) complete.fail(RouterError(RouterError::Case::disconnected));
}

void HostCoordinationRouterClient::logUnavailable(const std::exception& error,
                                                  std::optional<std::string>& lastLoggedReason) const {
  std::string reason = reasonOf(error);
  // A host that stays away costs one line, not one a second.
  if (lastLoggedReason == reason) return;
  TavikComputerUseLogger::warning(LogCategory::ipc, "host_coordination_unavailable",
                                  {{"socketPath", socketPath()}, {"reason", reason}});
  lastLoggedReason = std::move(reason);
}

void HostCoordinationRouterClient::sendBroadcast(
    const std::string& method, std::int64_t version, const HostCoordinationJSONValue& params,
    const std::optional<std::vector<std::string>>& targetClientIDs) {
  const ConnectionIdentity identity = requireIdentity();
  transport_.writeFrame(wire::broadcast(method, identity.clientID, version, params, targetClientIDs),
                        identity.generation);
}

HostCoordinationJSONValue HostCoordinationRouterClient::sendRequest(const std::string& method,
                                                                    std::int64_t version,
                                                                    const HostCoordinationJSONValue& params,
                                                                    std::int64_t timeoutMilliseconds) {
  if (isWorker()) failContract("a handler of the Router's client waits for an answer that only its worker can read");
  const ConnectionIdentity identity = requireIdentity();
  const std::string requestID = UUID::make().string();
  const JSON envelope = wire::request({.requestID = requestID,
                                       .sourceClientID = identity.clientID,
                                       .version = version,
                                       .method = method,
                                       .params = params,
                                       .timeoutMilliseconds = timeoutMilliseconds});
  const Completion<HostCoordinationJSONValue> complete(scheduler_);
  {
    MutexLock lock(stateLock_);
    if (connectionIdentity_ != identity) throw RouterError(RouterError::Case::disconnected);
    pendingRequests_.emplace(requestID, PendingRequest{identity.generation, complete});
  }
  try {
    transport_.writeFrame(envelope, identity.generation);
  } catch (const std::exception&) {
    if (takePending(requestID)) complete.fail(std::current_exception());
  }
  const auto timeout = std::max<std::int64_t>(timeoutMilliseconds, 0);
  const TimerEnd timer{deadlines_.asyncAfter(milliseconds(timeout), [this, requestID] {
    if (const auto late = takePending(requestID)) {
      late->complete.fail(RouterError(RouterError::Case::requestTimedOut));
    }
  })};
  return complete.wait("the answer of the Router");
}

bool HostCoordinationRouterClient::isWorker() const {
  MutexLock lock(stateLock_);
  return worker_ && worker_.isCurrent();
}

auto HostCoordinationRouterClient::takePending(const std::string& requestID) -> std::optional<PendingRequest> {
  MutexLock lock(stateLock_);
  auto entry = pendingRequests_.extract(requestID);
  return entry ? std::optional(std::move(entry.mapped())) : std::nullopt;
}

auto HostCoordinationRouterClient::identity() const -> std::optional<ConnectionIdentity> {
  MutexLock lock(stateLock_);
  return connectionIdentity_;
}

auto HostCoordinationRouterClient::requireIdentity() const -> ConnectionIdentity {
  const auto connected = identity();
  if (!connected) throw RouterError(RouterError::Case::disconnected);
  return *connected;
}

bool HostCoordinationRouterClient::isConnected() const {
  return identity().has_value();
}

std::size_t HostCoordinationRouterClient::pendingRequestCount() const {
  MutexLock lock(stateLock_);
  return pendingRequests_.size();
}

}  // namespace tavik
