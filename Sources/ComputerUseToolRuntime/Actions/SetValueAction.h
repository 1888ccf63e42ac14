#pragma once

#include <cstdint>

#include "AccessibilitySupport/Access/LiveElementReader.h"
#include "Base/Concurrency/WorkQueue.h"
#include "ComputerUseContracts/ComputerUseIPCAction.h"
#include "ComputerUseContracts/ToolResult.h"
#include "ComputerUseToolRuntime/Actions/ElementLookup.h"
#include "ComputerUseToolRuntime/Actions/InteractionCursor.h"
#include "PlatformInterfaces/ProcessPort.h"

namespace tavik {

/// Writes an element's value and checks that the application took it. Any thread.
class SetValueAction {
 public:
  struct Services {
    ElementLookup& elements;
    AXWrapper& access;
    InteractionCursor& cursor;
    ProcessPort& process;
    MainQueue& mainQueue;
    Scheduler& scheduler;
  };
  explicit SetValueAction(const Services& services) : services_(services), reader_(services.access) {}

  /// An editor that cannot be written whole, and a value that was not taken, are error
  /// results. Throws `ToolError` and `CancellationError`.
  ToolResult perform(const SetValueParams& params);

 private:
  AXErrorCode setAXValue(const AXElement& element, const std::string& attribute, const AXValue& value);

  const Services services_;
  const LiveElementReader reader_;
};

}  // namespace tavik
