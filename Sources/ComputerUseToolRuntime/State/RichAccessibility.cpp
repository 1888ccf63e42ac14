#include "ComputerUseToolRuntime/State/RichAccessibility.h"

#include "AccessibilitySupport/Access/AXAttributes.h"
#include "AccessibilitySupport/Access/LiveElementReader.h"

namespace tavik {

bool RichAccessibility::enableRichAccessibilityIfSupported(std::int32_t pid) {
  bool changed = false;
  for (const auto& target : accessibilityEnablementTargets(access_.port().createApplication(pid))) {
    for (const char* attribute : {"AXManualAccessibility", "AXEnhancedUserInterface"}) {
      changed |= enable(target, attribute);
    }
  }
  return changed;
}

/// An application that refuses may have been asked before.
bool RichAccessibility::enable(const AXElement& target, const std::string& attribute) {
  return access_.trySetAttributeValue(target, attribute, true).has_value();
}

std::vector<AXElement> RichAccessibility::accessibilityEnablementTargets(const AXElement& application) {
  const LiveElementReader reader(access_);
  std::vector<AXElement> targets = {application, reader.element(application, "AXFocusedWindow"),
                                    reader.element(application, "AXMainWindow")};
  for (const auto& window : reader.elements(application, "AXWindows")) targets.push_back(window);
  if (const AXElement focused = reader.element(application, AXAttributes::focusedUIElement)) {
    targets.push_back(focused);
    for (const auto& root : roots_.focusedElementStateRoots(focused)) targets.push_back(root);
  }
  return deduplicatedAXElements(targets);
}

}  // namespace tavik
