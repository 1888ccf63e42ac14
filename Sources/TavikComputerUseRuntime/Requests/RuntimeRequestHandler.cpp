#include "TavikComputerUseRuntime/Requests/RuntimeRequestHandler.h"

#include <utility>

#include "Base/JSON/Record.h"
#include "ComputerUseContracts/ToolError.h"
#include "ComputerUseContracts/ToolRequests.h"
#include "ComputerUsePlatform/IPC/ComputerUseIPCClientTracker.h"
#include "ComputerUsePlatform/IPC/ComputerUseIPCError.h"
#include "SlimCore/Logging/TavikComputerUseLogger.h"

namespace tavik {

namespace {

template <class Request>
bool is(const std::string& requestType) {
  return requestType == Request::requestType;
}

/// Whether a health request says that its sender is alive. One that cannot be read
/// says so.
bool refreshesClientActivity(const Bytes& requestData) {
  try {
    return decodeRecord<ComputerUseIPCHealthRequest>(requestData).refreshClientActivity.value_or(true);
  } catch (const std::exception&) {
    return true;
  }
}

Bytes encodedToolResult(const ToolResult& result) {
  return encodeRecord(ComputerUseIPCToolResultResponse::from(result));
}

}  // namespace

RuntimeRequestHandler::RuntimeRequestHandler(Scheduler& scheduler, ComputerUseIPCServerHandler& server,
                                             RuntimeLifetime& lifetime, Workers workers, Identity identity)
    : scheduler_(scheduler),
      server_(server),
      lifetime_(lifetime),
      workers_(workers),
      identity_(std::move(identity)) {}

Bytes RuntimeRequestHandler::handle(const std::string& requestType, const Bytes& requestData,
                                    std::int32_t senderPID) {
  lifetime_.scheduleIdleTimeout();
  trackActivity(requestType, requestData, senderPID);

  const bool isLogged = !is<ComputerUseIPCHealthRequest>(requestType);
  if (isLogged) {
    TavikComputerUseLogger::info(LogCategory::ipc, "request_received",
                                 {{"requestType", requestType}, {"senderPid", senderPID}});
  }
  if (PermissionCheck::isNeededFor(requestType)) {
    const auto outcome = workers_.permissions.awaitGrant();
    // The time at the gate was the user's, not an idle one.
    lifetime_.scheduleIdleTimeout();
    if (const auto refusal = workers_.permissions.refusal(outcome, requestType, senderPID)) {
      return encodedToolResult(*refusal);
    }
  }
  return answerInTime(requestType, requestData, isLogged);
}

void RuntimeRequestHandler::trackActivity(const std::string& requestType, const Bytes& requestData,
                                          std::int32_t senderPID) {
  if (is<ComputerUseIPCHealthRequest>(requestType) && !refreshesClientActivity(requestData)) return;
  lifetime_.recordClientActivity(senderPID, requestType);
}

Bytes RuntimeRequestHandler::answerInTime(const std::string& requestType, const Bytes& requestData, bool isLogged) {
  const MonotonicTime start = scheduler_.now();
  const auto durationMs = [&] { return roundedMilliseconds(scheduler_.now() - start); };
  try {
    Bytes response = server_.withRequestTimeout(
        ComputerUseIPCServerHandler::requestTimeoutSeconds, requestType, nullptr,
        [this, requestType, requestData] { return answer(requestType, requestData); });
    if (isLogged) {
      TavikComputerUseLogger::info(LogCategory::ipc, "request_finished",
                                   {{"requestType", requestType},
                                    {"durationMs", durationMs()},
                                    {"responseBytes", response.size()},
                                    {"outcome", "success"}});
    }
    return response;
  } catch (...) {
    if (isLogged) {
      TavikComputerUseLogger::error(LogCategory::ipc, "request_finished",
                                    {{"requestType", requestType},
                                     {"durationMs", durationMs()},
                                     {"outcome", "failure"},
                                     {"error", std::current_exception()}});
    }
    throw;
  }
}

Bytes RuntimeRequestHandler::answer(const std::string& requestType, const Bytes& requestData) {
  try {
    if (const auto result = workers_.tools.route(requestType, requestData)) {
      workers_.permissions.handleScreenRecordingDeniedIfNeeded(*result);
      return encodedToolResult(*result);
    }
    return answerOtherRequest(requestType, requestData);
  } catch (const ToolError& error) {
    return encodedToolResult(ToolResult::error(error.description()));
  }
}

Bytes RuntimeRequestHandler::answerOtherRequest(const std::string& requestType, const Bytes& requestData) {
  if (auto response = workers_.recording.answer(requestType, requestData)) return std::move(*response);
  if (is<ComputerUseIPCAppStartRequest>(requestType)) {
    const auto request = decodeRecord<ComputerUseIPCAppStartRequest>(requestData);
    TavikComputerUseLogger::info(LogCategory::session, "app_session_started", {{"appBundleID", request.app}});
    return encodeRecord(ComputerUseIPCEmptyResponse{});
  }
  if (is<ComputerUseIPCAppModifyRequest>(requestType)) {
    const auto request = decodeRecord<ComputerUseIPCAppModifyRequest>(requestData);
    TavikComputerUseLogger::info(LogCategory::session, "app_modification_started",
                                 {{"appBundleID", request.app}, {"modification", request.modification}});
    return encodeRecord(ComputerUseIPCEmptyResponse{});
  }
  if (auto response = workers_.appshots.answer(requestType, requestData)) return std::move(*response);
  if (is<ComputerUseIPCHealthRequest>(requestType)) return encodeRecord(health());
  if (is<ComputerUseIPCAppUsageRequest>(requestType)) {
    TavikComputerUseLogger::debug(LogCategory::session, "app_usage_report_received");
    return encodeRecord(ComputerUseIPCEmptyResponse{});
  }
  TavikComputerUseLogger::error(LogCategory::ipc, "unknown_request_type", {{"requestType", requestType}});
  throw ComputerUseIPCError(ComputerUseIPCError::Case::unknown);
}

ComputerUseIPCHealthResponse RuntimeRequestHandler::health() const {
  ComputerUseIPCHealthResponse response;
  response.generationID = identity_.generationID;
  response.runtimePID = identity_.runtimePID;
  response.bundleIdentifier = identity_.bundleIdentifier;
  response.bundlePath = identity_.bundlePath;
  response.isHealthy = true;
  response.activeClientCount = lifetime_.activeClientCount();
  response.heartbeatTimeoutSeconds = ComputerUseIPCClientTracker::defaultHeartbeatTimeoutSeconds;
  return response;
}

}  // namespace tavik
