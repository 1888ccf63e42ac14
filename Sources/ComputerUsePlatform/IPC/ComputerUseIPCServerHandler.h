#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "Base/Concurrency/Mutex.h"
#include "Base/Concurrency/TaskGroup.h"
#include "Base/Concurrency/WorkQueue.h"
#include "Base/Encoding/Bytes.h"
#include "ComputerUsePlatform/IPC/ComputerUseIPCRequestAdmissionLease.h"
#include "ComputerUsePlatform/IPC/ComputerUseIPCRequestLimiter.h"
#include "ComputerUsePlatform/IPC/ComputerUseIPCSenderAuthorization.h"
#include "PlatformInterfaces/RequestTransportPort.h"

namespace tavik {

/// The runtime's only way to receive requests. It suspends each request as it
/// comes, lets a background task serve it by the installed handler, and answers it
/// exactly once. What a request means it does not know: it moves bytes, admits at
/// most as many requests as the limiter allows, lets trusted senders in, and turns
/// failures into a number and a text.
///
/// `install`, `uninstall` and `failPendingRequestsAndUninstall` belong to the main
/// thread. Destroying the server cancels the tasks that still serve a request and
/// waits for them.
class ComputerUseIPCServerHandler {
 public:
  /// Gives the answer of one request, on a background task that may block. Its
  /// exceptions become the request's failure.
  using RequestHandler =
      std::function<Bytes(const std::string& requestType, const Bytes& requestData, std::int32_t senderPID)>;

  /// How long a request may take where nothing else is said.
  static constexpr double requestTimeoutSeconds = 30.0;
  /// How long a request that timed out keeps its admission while it winds down.
  static constexpr double timeoutGraceSeconds = 60.0;

  ComputerUseIPCServerHandler(Scheduler& scheduler, RequestTransportPort& transport,
                              CodeIdentityPort& codeIdentity, const BundleIdentifiers& identifiers);
  ~ComputerUseIPCServerHandler();
  ComputerUseIPCServerHandler(const ComputerUseIPCServerHandler&) = delete;
  ComputerUseIPCServerHandler& operator=(const ComputerUseIPCServerHandler&) = delete;

  /// Begins to receive requests, each limited to the time-out if there is one. False when another
  /// process receives them already.
  bool install(std::optional<double> requestTimeoutSeconds, RequestHandler handler);
  /// Receives no more requests and forgets the handler.
  void uninstall();
  /// Receives no more requests and answers all that wait with `cancelled` and the
  /// message. Answers that come later are dropped.
  void failPendingRequestsAndUninstall(const std::string& message);

  /// Runs the operation as a task of its own and gives its result. When it takes
  /// longer than the time-out, cancels it, so that it begins nothing more for an answer
  /// that comes too late, throws `ComputerUseIPCError` `timeout` and calls `onTimeout`
  /// (which may be empty and must not wait); a result is dropped. The operation must own
  /// what it uses, since it can outlive the call.
  Bytes withRequestTimeout(double timeoutSeconds, const std::string& requestType,
                           std::function<void()> onTimeout, std::function<Bytes()> operation);

 private:
  struct Request {
    SuspensionID suspension;
    std::string type;
    Bytes data;
    std::int32_t senderPID;
    bool senderAuthorizationEnforced;
    std::optional<double> timeoutSeconds;
    RequestHandler handler;
  };

  void handleEvent(const IncomingRequest& event, RequestReply& reply);
  void serve(const Request& request);
  Bytes answer(const Request& request);
  Bytes answerUnderLease(const Request& request, ComputerUseIPCRequestAdmissionLease& lease);
  void admit(const Request& request, ComputerUseIPCRequestAdmissionLease& lease);
  void authorizeSender(const Request& request);

  void resumeSuccess(SuspensionID suspension, Bytes responseData);
  void resumeError(SuspensionID suspension, std::int32_t code, const std::string& message);
  bool takePendingSuspension(SuspensionID suspension);
  bool isPending(SuspensionID suspension);

  /// Runs the work later in the name of the present request.
  WorkItem after(double delaySeconds, std::function<void()> work);

  Scheduler& scheduler_;
  RequestTransportPort& transport_;
  const BundleIdentifiers& identifiers_;
  const ComputerUseIPCSenderAuthorization senderAuth_;
  ComputerUseIPCRequestLimiter requestLimiter_;

  Mutex pendingSuspensionsLock_;
  std::map<SuspensionID, std::string> pendingSuspensions_;

  RequestHandler requestHandler_;
  std::optional<double> requestTimeoutSeconds_;

  SerialQueue timers_;
  TaskGroup tasks_;
};

}  // namespace tavik
