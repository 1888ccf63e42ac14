#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "Base/Concurrency/Scheduler.h"
#include "Base/Encoding/Bytes.h"
#include "ComputerUseContracts/HealthRecords.h"
#include "ComputerUseContracts/ToolResult.h"
#include "ComputerUsePlatform/IPC/ComputerUseIPCServerHandler.h"
#include "TavikComputerUseRuntime/Lifecycle/RuntimeLifetime.h"

namespace tavik {

/// Answers every type of request that the runtime knows. Each request proves that
/// the runtime is needed, is logged unless it is a heartbeat, and runs under a time
/// limit; a `ToolError` becomes a result that the model can read, any other failure
/// goes on to the server. Called on the requests' own tasks, many at once.
class RuntimeRequestHandler {
 public:
  /// Tries a request as one of the tools'; nothing when it is none of theirs.
  using ToolRequestRoute =
      std::function<std::optional<ToolResult>(const std::string& requestType, const Bytes& requestData)>;

  /// Who this process says that it is.
  struct Identity {
    std::string generationID;
    std::int32_t runtimePID;
    std::string bundleIdentifier;
    std::string bundlePath;
  };

  RuntimeRequestHandler(Scheduler& scheduler, ComputerUseIPCServerHandler& server, RuntimeLifetime& lifetime,
                        ToolRequestRoute routeToolRequest, Identity identity);

  Bytes handle(const std::string& requestType, const Bytes& requestData, std::int32_t senderPID);

 private:
  void trackActivity(const std::string& requestType, const Bytes& requestData, std::int32_t senderPID);
  Bytes answer(const std::string& requestType, const Bytes& requestData);
  Bytes answerOtherRequest(const std::string& requestType, const Bytes& requestData);
  ComputerUseIPCHealthResponse health() const;

  Scheduler& scheduler_;
  ComputerUseIPCServerHandler& server_;
  RuntimeLifetime& lifetime_;
  const ToolRequestRoute routeToolRequest_;
  const Identity identity_;
};

}  // namespace tavik
