#include "AccessibilitySupport/Focus/SyntheticAppFocusEnforcer.h"

namespace tavik::SyntheticAppFocusEnforcer {

void postSyntheticFocusEvent(EventPostingPort& port, std::int32_t to) {
  if (to == 0) return;
  auto event = port.createOtherEvent(InputEventType::applicationDefined, 0, 0);
  if (!event) return;
  port.setIntegerValueField(*event, InputEventField::sourceUnixProcessID, to);
  port.postToPid(to, *event);
}

}  // namespace tavik::SyntheticAppFocusEnforcer
