#include "ComputerUsePlatform/IPC/ComputerUseIPCServerHandler.h"

#include <algorithm>
#include <utility>

#include "Base/Concurrency/Completion.h"
#include "Base/Encoding/UUID.h"
#include "ComputerUsePlatform/IPC/ComputerUseIPCError.h"
#include "ComputerUsePlatform/IPC/ComputerUseIPCRequestTimeoutState.h"
#include "SlimCore/Logging/TavikComputerUseLogger.h"

namespace tavik {

namespace {

constexpr std::int32_t unknownErrorNumber = static_cast<std::int32_t>(ComputerUseIPCError::Case::unknown);

RequestReply errorReply(std::int32_t number, std::string text) {
  return {.directObject = std::nullopt, .errorNumber = number, .errorString = std::move(text)};
}

struct TimerEnd {
  const WorkItem& timer;
  ~TimerEnd() { timer.cancel(); }
};

}  // namespace

ComputerUseIPCServerHandler::ComputerUseIPCServerHandler(Scheduler& scheduler,
                                                         RequestTransportPort& transport,
                                                         CodeIdentityPort& codeIdentity,
                                                         const BundleIdentifiers& identifiers)
    : scheduler_(scheduler),
      transport_(transport),
      identifiers_(identifiers),
      senderAuth_(codeIdentity, identifiers),
      requestLimiter_(scheduler),
      timers_(scheduler, "request timers"),
      tasks_(scheduler) {}

ComputerUseIPCServerHandler::~ComputerUseIPCServerHandler() {
  transport_.removeEventHandler();
}

bool ComputerUseIPCServerHandler::install(std::optional<double> requestTimeoutSeconds,
                                          RequestHandler handler) {
  requestTimeoutSeconds_ = requestTimeoutSeconds;
  requestHandler_ = std::move(handler);
  return transport_.setEventHandler(
      [this](const IncomingRequest& event, RequestReply& reply) { handleEvent(event, reply); });
}

void ComputerUseIPCServerHandler::uninstall() {
  transport_.removeEventHandler();
  requestHandler_ = nullptr;
}

void ComputerUseIPCServerHandler::failPendingRequestsAndUninstall(const std::string& message) {
  transport_.removeEventHandler();
  std::map<SuspensionID, std::string> pending;
  {
    MutexLock lock(pendingSuspensionsLock_);
    pending.swap(pendingSuspensions_);
  }
  constexpr auto cancelled = static_cast<std::int32_t>(ComputerUseIPCError::Case::cancelled);
  for (const auto& [suspension, requestType] : pending) {
    TavikComputerUseLogger::warning(LogCategory::ipc, "pending_request_cancelled",
                                    {{"requestType", requestType}, {"reason", "runtime_shutdown"}});
    transport_.resume(suspension, errorReply(cancelled, message));
  }
}

void ComputerUseIPCServerHandler::handleEvent(const IncomingRequest& event, RequestReply& reply) {
  const auto suspension = transport_.suspendCurrentRequest();
  if (!suspension) {
    reply = errorReply(unknownErrorNumber, "Failed to suspend Apple Event");
    return;
  }
  Request request{.suspension = *suspension,
                  .type = event.requestType.value_or(""),
                  .data = event.requestData.value_or(Bytes{}),
                  .senderPID = event.senderPID,
                  .senderAuthorizationEnforced = identifiers_.senderAuthorizationEnforced(),
                  .timeoutSeconds = requestTimeoutSeconds_,
                  .handler = requestHandler_};
  {
    MutexLock lock(pendingSuspensionsLock_);
    pendingSuspensions_.emplace(*suspension, request.type);
  }
  RequestIDScope inTheNameOfTheRequest(event.requestID ? *event.requestID : UUID::make().string());
  tasks_.start("request", [this, request = std::move(request)] { serve(request); });
}

void ComputerUseIPCServerHandler::serve(const Request& request) {
  try {
    resumeSuccess(request.suspension, answer(request));
  } catch (const ComputerUseIPCError& error) {
    resumeError(request.suspension, error.rawValue(), error.what());
  } catch (const std::exception& error) {
    resumeError(request.suspension, unknownErrorNumber, error.what());
  } catch (...) {
    resumeError(request.suspension, unknownErrorNumber, ComputerUseIPCError(ComputerUseIPCError::Case::unknown).what());
  }
}

Bytes ComputerUseIPCServerHandler::answer(const Request& request) {
  auto lease = std::make_shared<ComputerUseIPCRequestAdmissionLease>();
  if (!request.timeoutSeconds) return answerUnderLease(request, *lease);
  return withRequestTimeout(
      *request.timeoutSeconds, request.type,
      [this, lease, type = request.type] {
        after(timeoutGraceSeconds, [lease, type] { lease->releaseIfHeld(type, "timeout grace"); });
      },
      [this, lease, request] { return answerUnderLease(request, *lease); });
}

Bytes ComputerUseIPCServerHandler::answerUnderLease(const Request& request,
                                                    ComputerUseIPCRequestAdmissionLease& lease) {
  try {
    admit(request, lease);
    authorizeSender(request);
    if (!request.handler) throw ComputerUseIPCError(ComputerUseIPCError::Case::unknown);
    Bytes response = request.handler(request.type, request.data, request.senderPID);
    lease.releaseIfHeld(request.type, "completed");
    return response;
  } catch (...) {
    lease.releaseIfHeld(request.type, "error");
    throw;
  }
}

void ComputerUseIPCServerHandler::admit(const Request& request, ComputerUseIPCRequestAdmissionLease& lease) {
  const ComputerUseIPCRequestAdmission admission = requestLimiter_.acquire(request.type, request.senderPID);
  if (!lease.store(admission)) {
    // The grace after a time-out was over before the admission came.
    admission.release();
    throw ComputerUseIPCError(ComputerUseIPCError::Case::cancelled);
  }
  // Told that it was cancelled while it waited, it must not begin now.
  if (!isPending(request.suspension)) throw ComputerUseIPCError(ComputerUseIPCError::Case::cancelled);
}

void ComputerUseIPCServerHandler::authorizeSender(const Request& request) {
  if (request.senderAuthorizationEnforced) {
    senderAuth_.verifySender(request.senderPID);
  } else {
    TavikComputerUseLogger::debug(LogCategory::ipc, "sender_authorization_bypassed",
                                  {{"reason", "bundle_configuration"}});
  }
}

Bytes ComputerUseIPCServerHandler::withRequestTimeout(double timeoutSeconds, const std::string& requestType,
                                                      std::function<void()> onTimeout,
                                                      std::function<Bytes()> operation) {
  auto state = std::make_shared<ComputerUseIPCRequestTimeoutState>();
  Completion<Bytes> continuation(scheduler_);

  Task operationTask = tasks_.start("request operation", [=, operation = std::move(operation)] {
    try {
      state->resumeOnce(continuation, operation());
    } catch (...) {
      state->resumeOnce(continuation, std::current_exception());
    }
  });
  WorkItem timer = after(std::max(timeoutSeconds, 0.0), [=] {
    if (!state->claim()) return;
    // At once, so that nothing more is begun for an answer that comes too late.
    operationTask.cancel();
    TavikComputerUseLogger::error(
        LogCategory::ipc, "request_timeout",
        {{"requestType", requestType}, {"timeoutMs", static_cast<std::int64_t>(timeoutSeconds * 1000)}});
    continuation.fail(ComputerUseIPCError(ComputerUseIPCError::Case::timeout));
    if (onTimeout) onTimeout();
  });

  const TimerEnd timerEnd{timer};
  // A caller that is told to end, as happens when the server does, ends its operation.
  CancellationScope passingOn([operationTask] { operationTask.cancel(); });
  return continuation.wait("the answer of a request");
}

WorkItem ComputerUseIPCServerHandler::after(double delaySeconds, std::function<void()> work) {
  return timers_.asyncAfter(seconds(delaySeconds),
                            [requestID = TaskRecord::requestID(), work = std::move(work)] {
                              RequestIDScope inherited(requestID);
                              work();
                            });
}

void ComputerUseIPCServerHandler::resumeSuccess(SuspensionID suspension, Bytes responseData) {
  if (!takePendingSuspension(suspension)) return;
  if (transport_.canEncodeResponse(responseData)) {
    transport_.resume(suspension,
                      {.directObject = std::move(responseData), .errorNumber = 0, .errorString = ""});
  } else {
    transport_.resume(suspension, errorReply(unknownErrorNumber, "Failed to encode IPC response descriptor"));
  }
}

void ComputerUseIPCServerHandler::resumeError(SuspensionID suspension, std::int32_t code,
                                              const std::string& message) {
  if (takePendingSuspension(suspension)) transport_.resume(suspension, errorReply(code, message));
}

bool ComputerUseIPCServerHandler::takePendingSuspension(SuspensionID suspension) {
  MutexLock lock(pendingSuspensionsLock_);
  return pendingSuspensions_.erase(suspension) > 0;
}

bool ComputerUseIPCServerHandler::isPending(SuspensionID suspension) {
  MutexLock lock(pendingSuspensionsLock_);
  return pendingSuspensions_.contains(suspension);
}

}  // namespace tavik
