#pragma once

#include <optional>
#include <string>
#include <vector>

#include "AccessibilitySupport/Access/AXWrapper.h"
#include "Base/JSON/Record.h"
#include "ComputerUseContracts/ToolError.h"
#include "ComputerUseContracts/ToolRequests.h"
#include "ComputerUseToolRuntime/Service/ComputerUseRequestRouter.h"
#include "ComputerUseToolRuntime/Service/ComputerUseToolService.h"
#include "SlimCore/AppSearch/AppSearchEngine.h"
#include "Tests/Support/LogCapture.h"
#include "Tests/Support/SimulatedWorld.h"

namespace tavik {

/// A simulated desktop with the tools that work on it.
class ToolWorld : public SimulatedWorld {
 public:
  explicit ToolWorld(std::optional<std::uint64_t> seed = std::nullopt, ToolServiceExtras extras = {})
      : SimulatedWorld(seed), service(desktop.platform(), access, appSearchEngine, mainQueue, scheduler, std::move(extras)) {}

  ToolResult listApps() { return *router.routeToolRequest("ComputerUseIPCListAppsRequest", bytesOf("{}")); }

  ToolResult getAppState(const std::string& app) {
    ComputerUseIPCAppGetStateRequest request{app};
    return *router.routeToolRequest("ComputerUseIPCAppGetStateRequest", encodeRecord(request));
  }

  ToolResult perform(const std::string& app, ComputerUseIPCAction action) {
    ComputerUseIPCAppPerformActionRequest request{app, std::move(action)};
    return *router.routeToolRequest("ComputerUseIPCAppPerformActionRequest", encodeRecord(request));
  }

  ToolResult click(const std::string& app, std::int64_t elementIndex, std::int64_t mouseButton = 0) {
    ClickParams params;
    params.elementIndex = elementIndex;
    params.mouseButton = mouseButton;
    return perform(app, params);
  }

  /// The words of the `ToolError` that the body throws.
  template <class Body>
  static std::string refusalOf(Body body) {
    try {
      body();
    } catch (const ToolError& error) {
      return error.description();
    }
    return "not refused";
  }

  static std::string textOf(const ToolResult& result) {
    std::string joined;
    for (const ToolResultContent& block : result.content) {
      if (block.isText()) joined += block.text() + "\n";
    }
    return joined;
  }

  LogCapture log;
  AXWrapper access{desktop.platform().accessibility, desktop.platform().process, scheduler, mainQueue};
  AppSearchEngine appSearchEngine{desktop.platform().applicationIndex, desktop.platform().workspace,
                                  scheduler};
  ComputerUseToolService service;
  ComputerUseRequestRouter router{service};
};

}  // namespace tavik
