#include "TavikComputerUseBridge/Runtime/RuntimeClient.h"

#include "Base/Concurrency/Task.h"
#include "Base/JSON/Record.h"
#include "ComputerUseContracts/ComputerUseIPCConstants.h"
#include "ComputerUseContracts/ToolError.h"
#include "SlimCore/Logging/TavikComputerUseLogger.h"
#include "TavikComputerUseBridge/Runtime/RuntimeFailure.h"

namespace tavik {
namespace {

/// A health request does nothing that could take longer.
constexpr double healthTimeoutSeconds = 5.0;

}  // namespace

Bytes RuntimeClient::send(const RuntimeRequest& request) {
  const auto sendOnce = [&] {
    return sender_.send(request.requestType, request.data, TaskRecord::requestID(),
                        ComputerUseIPCConstants::sendTimeoutSeconds);
  };
  auto outcome = sendOnce();
  if (request.isRepeatable && runtimeWentAway(outcome)) outcome = sendOnce();

  if (auto failure = runtimeFailure(outcome)) {
    TavikComputerUseLogger::error(
        LogCategory::transport, "runtime_request_failed",
        {{"requestType", request.requestType}, {"errorNumber", outcome.reply.errorNumber}});
    throw ToolError::ipcError(*failure);
  }
  return std::move(*outcome.reply.directObject);
}

ComputerUseIPCHealthResponse RuntimeClient::health() {
  const ComputerUseIPCHealthRequest health{.refreshClientActivity = false};
  const Bytes response = send({.requestType = std::string(ComputerUseIPCHealthRequest::requestType),
                               .data = encodeRecord(health),
                               .isRepeatable = true});
  try {
    return decodeRecord<ComputerUseIPCHealthResponse>(response);
  } catch (const DecodingError&) {
    throw ToolError::ipcError("the runtime's answer could not be read");
  }
}

bool RuntimeClient::refreshActivity() {
  if (!sender_.isRuntimeRunning()) return true;
  const ComputerUseIPCHealthRequest health{.refreshClientActivity = true};
  const auto outcome = sender_.send(std::string(ComputerUseIPCHealthRequest::requestType),
                                    encodeRecord(health), "", healthTimeoutSeconds);
  return !runtimeFailure(outcome);
}

}  // namespace tavik
