#include "TavikComputerUseRuntime/Appshot/AppshotRequests.h"

#include "Base/JSON/Record.h"
#include "ComputerUseContracts/ToolError.h"
#include "SlimCore/Logging/TavikComputerUseLogger.h"

namespace tavik {

std::optional<Bytes> AppshotRequests::answer(const std::string& requestType, const Bytes& requestData) {
  if (requestType == ComputerUseIPCAppStartFrontmostCaptureRequest::requestType) return start(requestData);
  if (requestType == ComputerUseIPCAppNextCaptureUpdateRequest::requestType) return next(requestData);
  if (requestType == ComputerUseIPCAppCancelCaptureRequest::requestType) return cancel(requestData);
  return std::nullopt;
}

AppshotCaptures& AppshotRequests::captures() const {
  if (!captures_) {
    throw ToolError::actionRejected("Appshots are not available in this version of Tavik Computer Use.");
  }
  return *captures_;
}

Bytes AppshotRequests::start(const Bytes& requestData) {
  const auto request = decodeRecord<ComputerUseIPCAppStartFrontmostCaptureRequest>(requestData);
  TavikComputerUseLogger::info(LogCategory::capture, "capture_requested", {{"requestId", request.requestId}});
  return encodeRecord(captures().start(request));
}

Bytes AppshotRequests::next(const Bytes& requestData) {
  const auto request = decodeRecord<ComputerUseIPCAppNextCaptureUpdateRequest>(requestData);
  return encodeRecord(captures().next(request.requestId, request.timeoutMs));
}

Bytes AppshotRequests::cancel(const Bytes& requestData) {
  const auto request = decodeRecord<ComputerUseIPCAppCancelCaptureRequest>(requestData);
  TavikComputerUseLogger::info(LogCategory::capture, "capture_cancelled", {{"requestId", request.requestId}});
  captures().cancel(request.requestId);
  return encodeRecord(ComputerUseIPCEmptyResponse{});
}

}  // namespace tavik
