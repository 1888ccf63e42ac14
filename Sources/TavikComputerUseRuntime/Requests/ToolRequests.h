#pragma once

#include <functional>
#include <optional>
#include <string>

#include "Base/Encoding/Bytes.h"
#include "ComputerUseContracts/ToolResult.h"
#include "TavikComputerUseRuntime/TurnLifecycle/ComputerUseTurnLifecycleCoordinator.h"

namespace tavik {

/// Hands requests to the tools and tells the turn's coordinator of those that use an
/// application. Called on the requests' own tasks, many at once.
class ToolRequests {
 public:
  /// Tries a request as one of the tools'; nothing when it is none of theirs.
  using Route = std::function<std::optional<ToolResult>(const std::string& requestType, const Bytes& requestData)>;

  /// The coordinator may be null.
  ToolRequests(Route route, ComputerUseTurnLifecycleCoordinator* turnLifecycle)
      : route_(std::move(route)), turnLifecycle_(turnLifecycle) {}

  std::optional<ToolResult> route(const std::string& requestType, const Bytes& requestData);

 private:
  const Route route_;
  ComputerUseTurnLifecycleCoordinator* const turnLifecycle_;
};

}  // namespace tavik
