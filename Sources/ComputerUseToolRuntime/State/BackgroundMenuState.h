#pragma once

#include <cstdint>

#include "AccessibilitySupport/Access/AXWrapper.h"
#include "AccessibilitySupport/Tree/UIElementTreeTransformationRunner.h"
#include "ComputerUseToolRuntime/Service/ToolSession.h"
#include "ComputerUseToolRuntime/State/PostActionQueues.h"

namespace tavik {

/// Reads a menu of the menu bar without opening it, where the application lets it be
/// read. Any thread.
class BackgroundMenuState {
 public:
  BackgroundMenuState(AXWrapper& access, const UIElementTreeTransformationRunner& transformations,
                      ToolSession& session, PostActionQueues& queues, Scheduler& scheduler)
      : access_(access), transformations_(transformations), session_(session), queues_(queues), scheduler_(scheduler) {}

  /// Whether the menu of the title could be read, and is now the state that follows
  /// the action. Performs nothing. Throws `CancellationError`.
  bool enqueueIfAvailable(const AXElement& menuBarItem, std::int32_t pid);

 private:
  AXWrapper& access_;
  const UIElementTreeTransformationRunner& transformations_;
  ToolSession& session_;
  PostActionQueues& queues_;
  Scheduler& scheduler_;
};

}  // namespace tavik
