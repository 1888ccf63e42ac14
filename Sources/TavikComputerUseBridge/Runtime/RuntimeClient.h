#pragma once

#include "ComputerUseContracts/HealthRecords.h"
#include "PlatformInterfaces/RequestTransportPort.h"
#include "TavikComputerUseBridge/Runtime/RuntimeRequest.h"

namespace tavik {

/// Sends request records to the runtime, which is started by the first of them.
/// Any thread, several requests at once.
class RuntimeClient {
 public:
  /// The sender must outlive this.
  explicit RuntimeClient(RequestSenderPort& sender) : sender_(sender) {}

  /// Blocks for the response record's JSON. Throws `ToolError::ipcError` when there
  /// is none. A request that changes nothing is sent once more when the runtime
  /// ended just then.
  Bytes send(const RuntimeRequest& request);

  /// Asks how the runtime is, without counting as its client. Throws as `send`.
  ComputerUseIPCHealthResponse health();

  /// Tells a running runtime that this client lives. Does nothing, and starts
  /// nothing, when none runs. False when a running one did not answer.
  bool refreshActivity();

 private:
  RequestSenderPort& sender_;
};

}  // namespace tavik
