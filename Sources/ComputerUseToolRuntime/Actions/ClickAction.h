#pragma once

#include <optional>
#include <set>
#include <string>

#include "AccessibilitySupport/Access/AXWrapper.h"
#include "ComputerUseContracts/ComputerUseIPCAction.h"
#include "ComputerUseContracts/ToolResult.h"

namespace tavik {

/// A click as an accessibility action of the element: what the application itself
/// offers, without any event, pointer or focus.
class ClickAction {
 public:
  ClickAction(AXWrapper& access, Scheduler& scheduler) : access_(access), scheduler_(scheduler) {}

  /// Throws `ToolError` when the element offers no way to be clicked.
  ToolResult perform(const AXElement& element, const ClickParams& params);

 private:
  bool performPrimaryLeftClick(const AXElement& element, const std::optional<std::string>& role);
  bool showMenu(const AXElement& element);
  void scrollIntoView(const AXElement& element);
  bool menuBarItemHasActiveMenu(const AXElement& element);
  std::optional<std::string> roleName(const AXElement& element);
  std::optional<std::set<std::string>> supportedActionNames(const AXElement& element);

  AXWrapper& access_;
  Scheduler& scheduler_;
};

}  // namespace tavik
