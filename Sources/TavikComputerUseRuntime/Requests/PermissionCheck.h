#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "ComputerUseContracts/ToolResult.h"
#include "TavikComputerUseRuntime/Permissions/ComputerUseRuntimePermissionGate.h"
#include "TavikComputerUseRuntime/Permissions/PermissionFlow.h"

namespace tavik {

/// Lets requests that read, operate or record other applications through the
/// permission gate. Called on the requests' own tasks, many at once.
class PermissionCheck {
 public:
  /// All outlive the check.
  PermissionCheck(MainQueue& mainQueue, PermissionPort& permissions, UserInterfacePort& userInterface,
                  ComputerUseRuntimePermissionState& permissionState, ComputerUseRuntimePermissionGate& gate,
                  PermissionFlow& flow)
      : mainQueue_(mainQueue),
        permissions_(permissions),
        userInterface_(userInterface),
        permissionState_(permissionState),
        gate_(gate),
        flow_(flow) {}

  static bool isNeededFor(const std::string& requestType);

  /// Waits at the gate, for up to 100 seconds.
  ComputerUseRuntimePermissionGateOutcome awaitGrant() { return gate_.awaitGrant(); }
  /// Nothing when the outcome lets the request go on, whose window then has gone, else
  /// what it is answered.
  std::optional<ToolResult> refusal(ComputerUseRuntimePermissionGateOutcome outcome,
                                    const std::string& requestType, std::int32_t senderPID);

  /// A result that tells of a refused capture changes what is known of the permissions
  /// and shows the window; it goes to the client all the same.
  void handleScreenRecordingDeniedIfNeeded(const ToolResult& result);

  /// The text of the first block in which the system says that it refused a capture.
  static std::optional<std::string> screenRecordingDeniedError(const ToolResult& result);
  static bool isScreenRecordingDeniedText(const std::string& text);

 private:
  std::string notGrantedText();

  MainQueue& mainQueue_;
  PermissionPort& permissions_;
  UserInterfacePort& userInterface_;
  ComputerUseRuntimePermissionState& permissionState_;
  ComputerUseRuntimePermissionGate& gate_;
  PermissionFlow& flow_;
};

}  // namespace tavik
