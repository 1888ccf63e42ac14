#pragma once

#include <cstdint>
#include <vector>

#include "AccessibilitySupport/Access/AXWrapper.h"
#include "ComputerUseToolRuntime/State/StateRootSelector.h"

namespace tavik {

/// Asks applications that keep their full accessibility tree for themselves to show
/// it. Any thread; does not throw.
class RichAccessibility {
 public:
  RichAccessibility(AXWrapper& access, StateRootSelector& roots) : access_(access), roots_(roots) {}

  /// True when something in the application changed by it.
  bool enableRichAccessibilityIfSupported(std::int32_t pid);
  /// The application, its windows and what has the focus.
  std::vector<AXElement> accessibilityEnablementTargets(const AXElement& application);

 private:
  bool enable(const AXElement& target, const std::string& attribute);

  AXWrapper& access_;
  StateRootSelector& roots_;
};

}  // namespace tavik
