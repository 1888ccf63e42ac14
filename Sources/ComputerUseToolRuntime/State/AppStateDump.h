#pragma once

#include <string>

#include "AccessibilitySupport/Access/LiveElementReader.h"
#include "Base/Concurrency/Scheduler.h"

namespace tavik {

/// A plain list of what an application shows, for when no tree of it can be built:
/// one element a line, indented by depth, with role, title, value, description and
/// actions. Groups that say nothing are left out. The elements cannot be acted on.
class AppStateDump {
 public:
  AppStateDump(AXWrapper& access, Scheduler& scheduler) : access_(access), reader_(access), scheduler_(scheduler) {}

  /// Reads at most `remainingElements` elements down to `maxDepth` levels. Empty when
  /// nothing answers. Throws `CancellationError`.
  std::string buildAXTree(const AXElement& element, int maxDepth, int remainingElements);

 private:
  void appendElement(std::string& dump, const AXElement& element, int depth, int maxDepth, int& remainingElements);
  std::string line(const AXElement& element);

  AXWrapper& access_;
  const LiveElementReader reader_;
  Scheduler& scheduler_;
};

}  // namespace tavik
