#pragma once

#include <cstdint>

#include "ComputerUseContracts/ComputerUseIPCAction.h"
#include "ComputerUseContracts/ToolResult.h"
#include "ComputerUseToolRuntime/Actions/KeyboardInput.h"
#include "ComputerUseToolRuntime/Actions/SaveVerification.h"

namespace tavik {

/// Presses one key or chord in the application, behind or in front. Any thread.
class PressKeyAction {
 public:
  struct Services {
    KeyboardInput& keyboard;
    SystemFocusStealPreventer& focusStealPreventer;
    SaveVerification& saveVerification;
    Scheduler& scheduler;
  };
  explicit PressKeyAction(const Services& services) : services_(services) {}

  /// What the keyboard cannot do, and a save that saved nothing, are error results.
  /// Throws `CancellationError`.
  ToolResult perform(std::int32_t pid, const PressKeyParams& params);

 private:
  const Services services_;
};

}  // namespace tavik
