#include "TavikComputerUseBridge/Tools/ToolCaller.h"

#include "Base/Encoding/UUID.h"
#include "Base/JSON/Record.h"
#include "ComputerUseContracts/ComputerUseIPCToolResultResponse.h"
#include "ComputerUseContracts/EventStreamRecords.h"
#include "ComputerUseContracts/ToolError.h"
#include "SlimCore/Logging/TavikComputerUseLogger.h"
#include "TavikComputerUseBridge/Tools/ToolCallTranslator.h"

namespace tavik {
namespace {

/// A request of any type is answered with a tool result when it met a `ToolError`.
ToolResult resultOf(const RuntimeRequest& request, const Bytes& response) {
  const ParsedJSON json = parsedJSON(textOf(response));
  if (request.response == RuntimeRequest::Response::toolResult || json.contains("content")) {
    return decodedJSON<ComputerUseIPCToolResultResponse>(json, {}).toToolResult();
  }
  const auto status = decodedJSON<ComputerUseIPCEventStreamSessionStatus>(json, {});
  return ToolResult::text(jsonText(encodedJSON(status)));
}

}  // namespace

ToolResult ToolCaller::call(const std::string& tool, const ParsedJSON& arguments) {
  const RequestIDScope requestID(UUID::make().string());
  const MonotonicTime start = scheduler_.now();
  TavikComputerUseLogger::info(LogCategory::tools, "tool_call_started", {{"tool", tool}});
  ToolResult result = perform(tool, arguments);
  TavikComputerUseLogger::info(LogCategory::tools, "tool_call_finished",
                               {{"tool", tool},
                                {"durationMs", roundedMilliseconds(scheduler_.now() - start)},
                                {"outcome", result.isError ? "error" : "success"}});
  return result;
}

ToolResult ToolCaller::perform(const std::string& tool, const ParsedJSON& arguments) {
  try {
    const RuntimeRequest request = translateToolCall(tool, arguments);
    return resultOf(request, runtime_.send(request));
  } catch (const ToolError& error) {
    return ToolResult::error(error.description());
  } catch (const std::exception& error) {
    TavikComputerUseLogger::error(LogCategory::tools, "tool_call_failed", {{"tool", tool}, {"error", error}});
    return ToolResult::error(ToolError::ipcError("the runtime's answer could not be read").description());
  }
}

}  // namespace tavik
