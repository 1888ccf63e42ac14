#include "ComputerUseToolRuntime/Actions/KeyboardInput.h"

#include "AccessibilitySupport/Focus/SyntheticAppFocusEnforcer.h"

namespace tavik {

namespace {

constexpr auto focusTime = milliseconds(50);

}  // namespace

void KeyboardInput::prepareTarget(std::int32_t pid) {
  const auto frontmost = workspace_.frontmostApplication();
  if (frontmost && frontmost->pid == pid) return;
  SyntheticAppFocusEnforcer::postSyntheticFocusEvent(events_, pid);
  try {
    scheduler_.sleep(focusTime);
  } catch (const CancellationError&) {
    // Whoever posts the keys asks again.
  }
}

std::string keyboardErrorDescription(const KeyboardEventTarget::Error& error, const std::string& fallbackInput) {
  using Kind = KeyboardEventTarget::Error::Kind;
  switch (error.kind()) {
    case Kind::failedToCreateCGEvent:
      return "Cannot synthesize keyboard event";
    case Kind::layoutUnavailable:
      return "Cannot type text: keyboard layout lookup failed for input";
    case Kind::unsupportedKeySpec:
      return "Unknown key name: '" + (error.spec().empty() ? fallbackInput : error.spec()) + "'";
  }
  return {};
}

}  // namespace tavik
