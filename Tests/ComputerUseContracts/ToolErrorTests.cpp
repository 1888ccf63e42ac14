#include "ComputerUseContracts/ToolError.h"

#include <gtest/gtest.h>

namespace tavik {
namespace {

struct Sentence {
  ToolError error;
  const char* caseName;
  const char* description;
};

TEST(ToolError, saysEachCaseInItsWords) {
  const Sentence sentences[] = {
      {ToolError::missingRequiredArgument("app"), "missingRequiredArgument",
       "Missing required argument: app"},
      {ToolError::missingExpectedArgument("x"), "missingExpectedArgument", "Missing expected argument 'x'"},
      {ToolError::invalidScrollDirection("in"), "invalidScrollDirection", "Invalid scroll direction: in"},
      {ToolError::invalidMouseButton("4"), "invalidMouseButton", "Invalid mouse button: 4"},
      {ToolError::invalidSecondaryAction("Fly", "7 button"), "invalidSecondaryAction",
       "Fly is not a valid secondary action for 7 button"},
      {ToolError::appNotFound("Nope"), "appNotFound", "App not found: Nope"},
      {ToolError::elementNotFound(-3), "elementNotFound", "Element not found at index: -3"},
      {ToolError::axActionFailed("AXPress", -25204), "axActionFailed",
       "AX action AXPress failed with code: -25204"},
      {ToolError::axSetValueFailed(-25200), "axSetValueFailed", "AX set value failed with code: -25200"},
      {ToolError::staleAppState("Notes"), "staleAppState",
       "The user changed 'Notes'. Re-query the latest state with `get_app_state` before sending more "
       "actions."},
      {ToolError::actionRejected("No {way}.\n"), "actionRejected", "No {way}.\n"},
      {ToolError::ipcError("gone"), "ipcError", "IPC error: gone"},
      {ToolError::pagesMustBeGreaterThanZero(), "pagesMustBeGreaterThanZero", "pages must be > 0"},
      {ToolError::mouseActionNotSupportedForMenuItems(), "mouseActionNotSupportedForMenuItems",
       "Mouse action not supported for menu items"},
      {ToolError::cannotSetValueForNonSettableElement(), "cannotSetValueForNonSettableElement",
       "Cannot set a value for an element that is not settable"},
      {ToolError::missingTextToType(), "missingTextToType", "Missing text to type"},
      {ToolError::invalidDuration(), "invalidDuration", "Invalid duration"},
      {ToolError::noActiveAppState(), "noActiveAppState", "No active app state. Call get_app_state first."},
  };
  for (const Sentence& sentence : sentences) {
    EXPECT_STREQ(sentence.error.caseName(), sentence.caseName);
    EXPECT_EQ(sentence.error.description(), sentence.description);
    EXPECT_STREQ(sentence.error.what(), sentence.description);
  }
}

TEST(ToolError, isCaughtAsAnException) {
  try {
    throw ToolError::appNotFound("Nope");
  } catch (const std::exception& error) {
    EXPECT_STREQ(error.what(), "App not found: Nope");
  }
}

}  // namespace
}  // namespace tavik
