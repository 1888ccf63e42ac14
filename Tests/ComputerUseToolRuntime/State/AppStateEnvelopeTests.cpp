#include "ComputerUseToolRuntime/State/AppStateEnvelope.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tavik {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

AppStateDescription notes() {
  AppStateDescription state;
  state.treeText = "0 standard window Untitled";
  state.pid = 42;
  state.bundleID = "com.example.notes";
  state.appName = "Notes";
  return state;
}

constexpr const char* selectionNote = "Note: Pay special attention to the content selected by the user.";

TEST(AppStateEnvelope, hasAFixedFrame) {
  AppStateDescription state = notes();
  state.windowTitle = "Untitled";
  EXPECT_EQ(renderAppStateEnvelope(state),
            "Computer Use state (CUA App Version: tavik-dev)\n"
            "<app_state>\n"
            "App=com.example.notes (pid 42)\n"
            "Window: \"Untitled\", App: Notes.\n"
            "0 standard window Untitled\n"
            "</app_state>");
}

TEST(AppStateEnvelope, withoutATitleTheWindowLineHasNoQuotes) {
  EXPECT_THAT(renderAppStateEnvelope(notes()), HasSubstr("\nWindow: App: Notes.\n"));
}

TEST(AppStateEnvelope, instructionsStandBetweenTheirTags) {
  AppStateDescription state = notes();
  state.appSpecificInstructions = "Be brief.";
  EXPECT_THAT(renderAppStateEnvelope(state),
              StartsWith("Computer Use state (CUA App Version: tavik-dev)\n<app_specific_instructions>\nBe brief.\n"
                         "</app_specific_instructions>\n<app_state>\n"));
}

TEST(AppStateEnvelope, namesTheFocusedElement) {
  AppStateDescription state = notes();
  state.focusedElementDescription = "12 text field Name";
  EXPECT_THAT(renderAppStateEnvelope(state),
              EndsWith("\n\nThe focused UI element is 12 text field Name.\n</app_state>"));
}

TEST(AppStateEnvelope, selectedTextWinsOverTheFocusedElementAndIsFollowedByTheNote) {
  AppStateDescription state = notes();
  state.focusedElementDescription = "12 text field Name";
  state.selectedText = "Ada";
  const std::string text = renderAppStateEnvelope(state);
  EXPECT_THAT(text, HasSubstr("\n\nSelected text: ```\nAda\n```\n\nNote: Pay special attention"));
  EXPECT_THAT(text, Not(HasSubstr("The focused UI element")));
}

TEST(AppStateEnvelope, selectedElementsFollowTheFocusedElement) {
  AppStateDescription state = notes();
  state.focusedElementDescription = "3 table";
  state.selectedElementsDescription = "\t4 row (selected) Report\n";
  EXPECT_THAT(renderAppStateEnvelope(state),
              HasSubstr("The focused UI element is 3 table.\n\nSelected:\n4 row (selected) Report\n\nNote: Pay"));
}

TEST(AppStateEnvelope, selectedElementsThatTrimToNothingLeaveNoTrace) {
  AppStateDescription state = notes();
  state.selectedElementsDescription = " \n\t";
  const std::string text = renderAppStateEnvelope(state);
  EXPECT_THAT(text, Not(HasSubstr("Selected:")));
  EXPECT_THAT(text, Not(HasSubstr(selectionNote)));
}

TEST(AppStateEnvelope, editorNotesNeedTheWordEditorWithBlanksAroundIt) {
  AppStateDescription state = notes();
  state.focusedElementDescription = "3 editor Preview text";
  EXPECT_THAT(renderAppStateEnvelope(state), HasSubstr("\nNote: This is a preview editor. For durable"));
  state.focusedElementDescription = "3 text editor group";
  EXPECT_THAT(renderAppStateEnvelope(state),
              HasSubstr("\nNote: This editor is not a set_value target in Tavik Computer Use."));
  state.focusedElementDescription = "3 finder preview";
  EXPECT_THAT(renderAppStateEnvelope(state), Not(HasSubstr("Note:")));
}

TEST(AppStateEnvelope, aMultiLineSelectionInASpacesEditorIsWarnedOf) {
  AppStateDescription state = notes();
  state.treeText = "7 button Spaces: 4";
  state.selectedText = "if x:\n    y()";
  EXPECT_THAT(renderAppStateEnvelope(state),
              HasSubstr("```\nWarning: The selected editor text is indented with spaces, not tab characters."));
  state.selectedText = "if x:\n\ty()";
  EXPECT_THAT(renderAppStateEnvelope(state),
              HasSubstr("```\nWarning: The editor status shows Spaces indentation."));
  state.selectedText = "one line";
  EXPECT_THAT(renderAppStateEnvelope(state), Not(HasSubstr("Warning:")));
}

TEST(StripAppStateEnvelope, leavesTheAppLineFirstAndNoFrame) {
  AppStateDescription state = notes();
  state.appSpecificInstructions = "Be brief.\nAnd kind.";
  const std::string stripped = stripAppStateEnvelope(renderAppStateEnvelope(state));
  EXPECT_EQ(stripped,
            "App=com.example.notes (pid 42)\nWindow: App: Notes.\n0 standard window Untitled");
}

TEST(StripAppStateEnvelope, returnsInstructionsThatNeverCloseUnchanged) {
  const std::string broken =
      "Computer Use state (CUA App Version: tavik-dev)\n<app_specific_instructions>\nx\n<app_state>\ny";
  EXPECT_EQ(stripAppStateEnvelope(broken), broken);
}

TEST(StripAppStateEnvelope, returnsOtherTextUnchanged) {
  EXPECT_EQ(stripAppStateEnvelope("Action completed successfully."), "Action completed successfully.");
  EXPECT_EQ(stripAppStateEnvelope("Computer Use state (CUA App Version: x)\n<app_state>"),
            "Computer Use state (CUA App Version: x)\n<app_state>");
}

}  // namespace
}  // namespace tavik
