#include "ComputerUseContracts/ToolError.h"

#include <fmt/format.h>

#include <array>

namespace tavik {

namespace {

constexpr auto kCaseNames = std::to_array<const char*>({
    "missingRequiredArgument",
    "missingExpectedArgument",
    "invalidScrollDirection",
    "invalidMouseButton",
    "invalidSecondaryAction",
    "appNotFound",
    "elementNotFound",
    "axActionFailed",
    "axSetValueFailed",
    "staleAppState",
    "actionRejected",
    "ipcError",
    "pagesMustBeGreaterThanZero",
    "mouseActionNotSupportedForMenuItems",
    "cannotSetValueForNonSettableElement",
    "missingTextToType",
    "invalidDuration",
    "noActiveAppState",
});

}  // namespace

const char* ToolError::caseName() const {
  return kCaseNames[static_cast<std::size_t>(case_)];
}

ToolError ToolError::missingRequiredArgument(std::string_view argument) {
  return {Case::missingRequiredArgument, fmt::format("Missing required argument: {}", argument)};
}

ToolError ToolError::missingExpectedArgument(std::string_view argument) {
  return {Case::missingExpectedArgument, fmt::format("Missing expected argument '{}'", argument)};
}

ToolError ToolError::invalidScrollDirection(std::string_view value) {
  return {Case::invalidScrollDirection, fmt::format("Invalid scroll direction: {}", value)};
}

ToolError ToolError::invalidMouseButton(std::string_view value) {
  return {Case::invalidMouseButton, fmt::format("Invalid mouse button: {}", value)};
}

ToolError ToolError::invalidSecondaryAction(std::string_view requested, std::string_view element) {
  return {Case::invalidSecondaryAction,
          fmt::format("{} is not a valid secondary action for {}", requested, element)};
}

ToolError ToolError::appNotFound(std::string_view app) {
  return {Case::appNotFound, fmt::format("App not found: {}", app)};
}

ToolError ToolError::elementNotFound(std::int64_t index) {
  return {Case::elementNotFound, fmt::format("Element not found at index: {}", index)};
}

ToolError ToolError::axActionFailed(std::string_view name, std::int32_t code) {
  return {Case::axActionFailed, fmt::format("AX action {} failed with code: {}", name, code)};
}

ToolError ToolError::axSetValueFailed(std::int32_t code) {
  return {Case::axSetValueFailed, fmt::format("AX set value failed with code: {}", code)};
}

ToolError ToolError::staleAppState(std::string_view app) {
  return {
      Case::staleAppState,
      fmt::format("The user changed '{}'. Re-query the latest state with `get_app_state` before sending more "
                  "actions.",
                  app)};
}

ToolError ToolError::actionRejected(std::string words) {
  return {Case::actionRejected, std::move(words)};
}

ToolError ToolError::ipcError(std::string_view message) {
  return {Case::ipcError, fmt::format("IPC error: {}", message)};
}

ToolError ToolError::pagesMustBeGreaterThanZero() {
  return {Case::pagesMustBeGreaterThanZero, "pages must be > 0"};
}

ToolError ToolError::mouseActionNotSupportedForMenuItems() {
  return {Case::mouseActionNotSupportedForMenuItems, "Mouse action not supported for menu items"};
}

ToolError ToolError::cannotSetValueForNonSettableElement() {
  return {Case::cannotSetValueForNonSettableElement,
          "Cannot set a value for an element that is not settable"};
}

ToolError ToolError::missingTextToType() {
  return {Case::missingTextToType, "Missing text to type"};
}

ToolError ToolError::invalidDuration() {
  return {Case::invalidDuration, "Invalid duration"};
}

ToolError ToolError::noActiveAppState() {
  return {Case::noActiveAppState, "No active app state. Call get_app_state first."};
}

}  // namespace tavik
