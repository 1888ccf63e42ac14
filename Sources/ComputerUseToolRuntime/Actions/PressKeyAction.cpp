#include "ComputerUseToolRuntime/Actions/PressKeyAction.h"

namespace tavik {

ToolResult PressKeyAction::perform(std::int32_t pid, const PressKeyParams& params) {
  services_.keyboard.prepareTarget(pid);
  services_.scheduler.checkCancellation();
  try {
    services_.focusStealPreventer.withSuppression(pid,
                                                  [&] { services_.keyboard.target(pid).pressKey(params.key); });
  } catch (const KeyboardEventTarget::Error& error) {
    return ToolResult::error(keyboardErrorDescription(error, params.key));
  }
  if (pressKeyIsSaveShortcut(params.key, services_.keyboard.shortcutsUseControl())) {
    if (const auto message = services_.saveVerification.errorAfterPressingSave(pid)) return ToolResult::error(*message);
  }
  return ToolResult::text("Action completed successfully.");
}

}  // namespace tavik
