#pragma once

#include <optional>
#include <string>

#include "Base/Encoding/Bytes.h"
#include "ComputerUseContracts/ToolResult.h"
#include "ComputerUseContracts/ToolRequests.h"
#include "ComputerUseToolRuntime/Service/ComputerUseToolService.h"

namespace tavik {

/// Maps the tool requests onto the tool service, takes its gates around them and
/// joins an action's result with the state that follows it.
class ComputerUseRequestRouter {
 public:
  explicit ComputerUseRequestRouter(ComputerUseToolService& toolService) : toolService_(toolService) {}

  /// Nothing when the type is none of the tools'. Throws `DecodingError` for data
  /// that is no such request, and whatever the tool throws.
  std::optional<ToolResult> routeToolRequest(const std::string& requestType, const Bytes& requestData);

 private:
  ToolResult performActionAndCaptureState(const ComputerUseIPCAppPerformActionRequest& request);

  ComputerUseToolService& toolService_;
};

}  // namespace tavik
