#include "ComputerUseToolRuntime/Actions/SetValueAction.h"

#include <set>

#include "AccessibilitySupport/Access/AXAttributes.h"
#include "ComputerUseContracts/ToolError.h"
#include "ComputerUseToolRuntime/Actions/FocusedText.h"
#include "ComputerUseToolRuntime/Actions/SetValueEffect.h"

namespace tavik {

namespace {

constexpr const char* notForVirtualEditors =
    "No value was written. Set value is not reliable for this editor, so do not treat this failed tool call as "
    "completing the edit. Focus the editor and use native editor selection, replace, or indentation commands instead "
    "of whole-buffer AX replacement. If the requested text contains literal tab characters, first run the editor "
    "command to indent using tabs or convert indentation to tabs before saving; otherwise a Spaces-based editor can "
    "save four spaces instead of tab characters.";

bool isNumber(const std::optional<AXValue>& value) {
  return value && (value->get<std::int64_t>() || value->get<double>());
}

bool takesNumbers(const std::optional<std::string>& role) {
  static const std::set<std::string> roles = {"AXCheckBox", "AXRadioButton", "AXScrollBar",     "AXSlider",
                                              "AXIncrementor", "AXStepper",  "AXValueIndicator"};
  return role && roles.contains(*role);
}

AXValue valueToWrite(const std::string& requested, const std::optional<AXValue>& previous,
                     const std::optional<std::string>& role) {
  const auto number = wholeNumber(requested);
  return number && (isNumber(previous) || takesNumbers(role)) ? AXValue(*number) : AXValue(requested);
}

}  // namespace

ToolResult SetValueAction::perform(const SetValueParams& params) {
  const AXElement element = services_.elements.findElement(params.elementIndex)->axElement;
  if (!reader_.isSettable(element, AXAttributes::value)) throw ToolError::cannotSetValueForNonSettableElement();
  const auto previous = services_.access.copyAttributeValueOptional(element, AXAttributes::value);
  const auto role = reader_.roleName(element);
  if (isVirtualEditor(reader_.string(element, AXAttributes::roleDescription),
                      reader_.string(element, AXAttributes::description))) {
    return ToolResult::error(notForVirtualEditors);
  }

  const AXValue value = valueToWrite(params.value, previous, role);
  if (const auto center = reader_.frameCenter(element)) services_.cursor.prepareForInteraction(*center);
  services_.scheduler.checkCancellation();
  const AXErrorCode code = setAXValue(element, AXAttributes::value, value);
  if (code != AXError::success) throw ToolError::axSetValueFailed(code);

  if (value.get<std::string>()) {
    const auto* text = previous ? previous->get<std::string>() : nullptr;
    const auto previousText = text ? std::optional(*text) : std::nullopt;
    const auto current =
        waitForStringSetValueEffect(element, params.value, previousText, reader_, services_.scheduler);
    if (current && !stringSetValueShouldBeAccepted(params.value, previousText, *current)) {
      return ToolResult::error("Set value did not take effect. Current value is " + valuePreview(*current) + ".");
    }
  }
  return ToolResult::text("Action completed successfully.");
}

/// This process serves its own elements on the main thread.
AXErrorCode SetValueAction::setAXValue(const AXElement& element, const std::string& attribute, const AXValue& value) {
  AccessibilityPort& port = services_.access.port();
  const auto pid = port.getPid(element);
  const auto write = [&] { return port.setAttributeValue(element, attribute, value); };
  const bool isOwn = pid.ok() && pid.value == services_.process.currentPID();
  return isOwn ? services_.mainQueue.sync(write) : write();
}

}  // namespace tavik
