#pragma once

#include <cstdint>

#include "AccessibilitySupport/Access/LiveElementReader.h"
#include "ComputerUseContracts/ComputerUseIPCAction.h"
#include "ComputerUseContracts/ToolResult.h"
#include "ComputerUseToolRuntime/Actions/ElementLookup.h"
#include "ComputerUseToolRuntime/Actions/InteractionCursor.h"

namespace tavik {

/// Selects a part of an element's text, or puts the caret beside it, through the
/// accessibility interface alone. Any thread.
class SelectTextAction {
 public:
  struct Services {
    ElementLookup& elements;
    AXWrapper& access;
    InteractionCursor& cursor;
    Scheduler& scheduler;
  };
  explicit SelectTextAction(const Services& services) : services_(services), reader_(services.access) {}

  /// Throws `ToolError` and `CancellationError`.
  ToolResult perform(std::int32_t pid, const TextSelectionParams& params);

 private:
  void focus(const AXElement& element, std::int32_t pid);
  void setSelectedTextRange(TextRange range, const AXElement& on);
  bool confirmSelectedTextRange(TextRange range, const AXElement& on, std::int32_t pid, int attempts,
                                Duration interval);

  const Services services_;
  const LiveElementReader reader_;
};

}  // namespace tavik
