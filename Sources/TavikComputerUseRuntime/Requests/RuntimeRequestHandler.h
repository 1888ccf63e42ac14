#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "Base/Concurrency/Scheduler.h"
#include "Base/Encoding/Bytes.h"
#include "ComputerUseContracts/HealthRecords.h"
#include "ComputerUsePlatform/IPC/ComputerUseIPCServerHandler.h"
#include "TavikComputerUseRuntime/Appshot/AppshotRequests.h"
#include "TavikComputerUseRuntime/Lifecycle/RuntimeLifetime.h"
#include "TavikComputerUseRuntime/Recording/RecordingRequests.h"
#include "TavikComputerUseRuntime/Requests/PermissionCheck.h"
#include "TavikComputerUseRuntime/Requests/ToolRequests.h"

namespace tavik {

/// Answers every type of request that the runtime knows. Each request proves that
/// the runtime is needed, is logged unless it is a heartbeat, passes the permission
/// gate where it needs to, and then runs under a time limit; a `ToolError` becomes a
/// result that the model can read, any other failure goes on to the server. Called on
/// the requests' own tasks, many at once.
class RuntimeRequestHandler {
 public:
  /// Who this process says that it is.
  struct Identity {
    std::string generationID;
    std::int32_t runtimePID;
    std::string bundleIdentifier;
    std::string bundlePath;
  };
  /// Who does what is asked for.
  struct Workers {
    PermissionCheck& permissions;
    ToolRequests& tools;
    RecordingRequests& recording;
    AppshotRequests& appshots;
  };

  /// All outlive the handler.
  RuntimeRequestHandler(Scheduler& scheduler, ComputerUseIPCServerHandler& server, RuntimeLifetime& lifetime,
                        Workers workers, Identity identity);

  Bytes handle(const std::string& requestType, const Bytes& requestData, std::int32_t senderPID);

 private:
  void trackActivity(const std::string& requestType, const Bytes& requestData, std::int32_t senderPID);
  Bytes answerInTime(const std::string& requestType, const Bytes& requestData, bool isLogged);
  Bytes answer(const std::string& requestType, const Bytes& requestData);
  Bytes answerOtherRequest(const std::string& requestType, const Bytes& requestData);
  ComputerUseIPCHealthResponse health() const;

  Scheduler& scheduler_;
  ComputerUseIPCServerHandler& server_;
  RuntimeLifetime& lifetime_;
  const Workers workers_;
  const Identity identity_;
};

}  // namespace tavik
