#include "ComputerUseToolRuntime/State/PostActionState.h"

#include "Actions/ActionWorld.h"
#include "ComputerUseToolRuntime/State/PostActionStateText.h"

namespace tavik {
namespace {

using namespace simulated;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;

class PostActionStateTest : public ActionTest {
 protected:
  std::string after(const ComputerUseIPCAction& action) { return ToolWorld::textOf(world.perform("Notes", action)); }
  std::size_t pictures() { return world.desktop.journal().entries("capture").size(); }
};

TEST_F(PostActionStateTest, followsAnActionWithoutItsFrame) {
  world.run([&] {
    auto save = window.add(button("Save").frame(120, 120, 80, 20));
    world.look();
    EXPECT_THAT(after(clickOn(save)), StartsWith("App=com.example.notes (pid 42)\nWindow: \"Untitled\""));
  });
}

TEST_F(PostActionStateTest, showsAMenuThatWasReadInTheBackgroundAndOpensNothing) {
  world.run([&] {
    auto bar = world.notes.menuBar({menu("File", {menuItem("Open"), menuItem("Close")})});
    world.look();
    const ToolResult result = world.perform("Notes", clickOn(bar.child(0)));
    EXPECT_THAT(ToolWorld::textOf(result), AllOf(HasSubstr("Open"), HasSubstr("Close"), Not(HasSubstr("Status 3"))));
    EXPECT_TRUE(result.content.back().isImage());
    EXPECT_FALSE(bar.child(0).get("AXShownMenuUIElement").get<AXElement>());
    EXPECT_THAT(world.performed(), IsEmpty());
    ClickParams item;
    item.elementIndex = world.indexOf(bar.child(0).child(0).child(0));
    ASSERT_GE(*item.elementIndex, 0);
    EXPECT_THAT(after(item), HasSubstr("Status 3")) << "its items can be chosen";
  });
}

TEST_F(PostActionStateTest, doesNotUseAMenuThatIsTooOld) {
  world.run([&] {
    auto bar = world.notes.menuBar({menu("File", {menuItem("Open")})});
    auto save = window.add(button("Save").frame(120, 120, 80, 20));
    world.look();
    world.act(clickOn(bar.child(0)));
    world.scheduler.sleep(seconds(30.1));
    EXPECT_THAT(after(clickOn(save)), HasSubstr("Status 3"));
  });
}

TEST_F(PostActionStateTest, keepsTheFourNewestMenusOfAnApplication) {
  world.run([&] {
    PostActionQueues queues(world.scheduler);
    for (int i = 0; i < 5; ++i) {
      queues.enqueuePendingMenu({.appQuery = std::to_string(i), .bundleIdentifier = "a", .pid = i % 2, .tree = {}, .sourceElement = {}, .createdAt = world.scheduler.now()});
    }
    EXPECT_EQ(queues.dequeuePendingMenu("a", 0)->appQuery, "2");
    EXPECT_EQ(queues.dequeuePendingMenu("a", std::nullopt)->appQuery, "1");
    EXPECT_FALSE(queues.dequeuePendingMenu("a", 7));
    EXPECT_FALSE(queues.dequeuePendingMenu("b", std::nullopt));
    queues.clear();
    EXPECT_FALSE(queues.dequeuePendingMenu("a", std::nullopt));
  });
}

TEST_F(PostActionStateTest, leavesAMenuOpenThatTheModelIsToChooseFrom) {
  world.run([&] {
    auto photo = window.add(image("Photo").frame(200, 200, 100, 40).menu({menuItem("Copy")}));
    world.look();
    EXPECT_THAT(after(PerformSecondaryActionParams{world.indexOf(photo), "Show Menu"}), HasSubstr("Copy"));
    EXPECT_THAT(world.performed(), ElementsAre(StartsWith("perform AXShowMenu")));
  });
}

TEST_F(PostActionStateTest, leavesAMenuOfTheMenuBarOpenThatItHasJustShown) {
  world.run([&] {
    auto bar = world.notes.menuBar({menu("File", {menuItem("Open")}), menu("Edit", {menuItem("Copy")})});
    world.look();
    bar.child(0).press();
    const auto state = after(PressKeyParams{"Down"});
    EXPECT_THAT(state, HasSubstr("Open"));
    EXPECT_THAT(world.performed(), Not(::testing::Contains(StartsWith("perform AXCancel"))));
    EXPECT_TRUE(bar.child(0).get("AXShownMenuUIElement").get<AXElement>());
  });
}

TEST_F(PostActionStateTest, closesAMenuOfTheMenuBarThatWasLeftOpen) {
  world.run([&] {
    auto bar = world.notes.menuBar({menu("File", {menuItem("Open")})});
    auto save = window.add(button("Save").frame(120, 120, 80, 20));
    world.look();
    const auto tree = world.service.session().currentTree();
    bar.child(0).press();
    world.service.session().setCurrentTree(tree);
    world.service.dismissVisibleMenuBarAfterPostActionIfNeeded("Notes", clickOn(save));
    EXPECT_THAT(world.performed(), ::testing::Contains(StartsWith("perform AXCancel of")));
    EXPECT_FALSE(bar.child(0).get("AXShownMenuUIElement").get<AXElement>());
    EXPECT_EQ(world.service.userInteractionMonitor().toolActionDepth(), 0);
    EXPECT_THAT(world.recording, ElementsAre("begin toolGeneratedEvent", "end toolGeneratedEvent 500"));
  });
}

TEST_F(PostActionStateTest, looksOnceMoreWithoutAPictureWhenTheSendButtonIsBehind) {
  world.run([&] {
    window.add(textField("Hello Ada").frame(120, 120, 200, 20));
    auto send = window.add(button("Send").enabled(false).frame(340, 120, 60, 20));
    world.look();
    const auto picturesBefore = pictures();
    const ToolResult result = world.perform("Notes", clickOn(send));
    EXPECT_EQ(pictures(), picturesBefore + 1) << "by the first look alone";
    EXPECT_THAT(ToolWorld::textOf(result), HasSubstr("Screenshot skipped: capture policy AX_ONLY"));
    EXPECT_THAT(result.content, ::testing::Each(::testing::Property(&ToolResultContent::isText, true)));
  });
}

TEST_F(PostActionStateTest, keepsTheFirstLookWhenTheSecondFails) {
  world.run([&] {
    window.add(textField("Hello Ada").frame(120, 120, 200, 20));
    auto send = window.add(button("Send").enabled(false).frame(340, 120, 60, 20));
    world.look();
    world.desktop.after(milliseconds(900), [&] { world.notes.exit(); });
    EXPECT_THAT(after(clickOn(send)), HasSubstr("Hello Ada"));
  });
}

TEST_F(PostActionStateTest, pairsSnapshotsWithActions) {
  world.run([&] {
    auto bar = world.notes.menuBar({menu("File", {menuItem("Open")})});
    auto save = window.add(button("Save").frame(120, 120, 80, 20));
    world.look();
    after(clickOn(bar.child(0)));
    EXPECT_EQ(world.service.postActionQueues().preActionFocusedElementCount("com.example.notes"), 0u);
    world.look();
    after(clickOn(save));
    EXPECT_EQ(world.service.postActionQueues().preActionFocusedElementCount("com.example.notes"), 0u);
  });
}

TEST_F(PostActionStateTest, takesNoPictureAfterWritingUnlessTheWindowIsKnown) {
  world.run([&] {
    auto field = window.add(textField("Ada").frame(120, 120, 200, 20));
    world.look();
    EXPECT_TRUE(world.perform("Notes", SetValueParams{world.indexOf(field), "Eve"}).content.back().isImage());
    world.notes.window("Another", Rect{{300, 300}, {300, 300}}).add(textField("x").frame(310, 320, 50, 20));
    world.scheduler.sleep(seconds(2));
    EXPECT_THAT(after(SetValueParams{world.indexOf(field), "Bob"}), HasSubstr("Screenshot skipped"));
  });
}

TEST(PostActionPolicies, dependOnTheAction) {
  const ClickParams click;
  const PerformSecondaryActionParams menuAction{1, " Show Menu "};
  const PerformSecondaryActionParams press{1, "Press"};
  const PerformSecondaryActionParams nothing{1, std::nullopt};
  for (const bool isKnown : {false, true}) {
    EXPECT_EQ(postActionCapturePolicy(click, isKnown), std::nullopt);
    EXPECT_EQ(postActionCapturePolicy(menuAction, isKnown), std::nullopt);
    EXPECT_EQ(postActionCapturePolicy(press, isKnown), CapturePolicy::axOnly);
    EXPECT_EQ(postActionCapturePolicy(nothing, isKnown), CapturePolicy::axOnly);
  }
  EXPECT_EQ(postActionCapturePolicy(TypeTextParams{"x"}, true), std::nullopt);
  EXPECT_EQ(postActionCapturePolicy(TypeTextParams{"x"}, false), CapturePolicy::axOnly);
  EXPECT_TRUE(postActionAllowsSyntheticFocusRecovery(DragParams{}));
  EXPECT_TRUE(postActionAllowsSyntheticFocusRecovery(menuAction));
  EXPECT_FALSE(postActionAllowsSyntheticFocusRecovery(press));
  EXPECT_FALSE(postActionAllowsSyntheticFocusRecovery(PressKeyParams{"a"}));
}

// What calls for a second look

using namespace PostActionStateText;

const std::string head = "App=a (pid 1)\nWindow: \"W\", App: A.\n";

TEST(PostActionText, seesThatOnlyTheMenuBarAnswered) {
  EXPECT_TRUE(looksLikeMenuBarOnlyWeakState(head + "0 application A\n\t1 menu bar\n\t\t2 File"));
  EXPECT_FALSE(looksLikeMenuBarOnlyWeakState(head + "0 standard window\n\t1 menu bar\n\t2 scroll area"));
  EXPECT_FALSE(looksLikeMenuBarOnlyWeakState(head + "0 standard window\n\t1 menu bar\n\t2 button Save"));
  EXPECT_FALSE(looksLikeMenuBarOnlyWeakState(head + "0 application A\n\t1 menu bar\nScreenshot capture failed: x"));
  EXPECT_FALSE(looksLikeMenuBarOnlyWeakState("0 application A\n\t1 menu bar"));
}

TEST(PostActionText, takesTitlesForNoRoles) {
  const std::string bar = "0 standard window Image Browser\n\t1 menu bar\n\t\t2 Table\n\t\t3 Image\n\t\t4 List\n\t5 ";
  EXPECT_TRUE(looksLikeMenuBarOnlyWeakState(head + bar + "group Scroll buttons"));
  EXPECT_FALSE(looksLikeMenuBarOnlyWeakState(head + bar + "Scroll area"));
}

TEST(PostActionText, seesNoWrittenTextInTheLineOfTheFocus) {
  const std::string composer = head + "0 standard window\n\t1 text area Value: Ask, Placeholder: Ask\n\t2 button (disabled) Send";
  EXPECT_FALSE(shouldRetry(composer + "\n\nThe focused UI element is 1 text area Value: Ask, Placeholder: Ask.", ClickParams()));
  EXPECT_TRUE(shouldRetry(head + "0 standard window\n\t1 text area Value: Hello\n\t2 button (disabled) Send", ClickParams()));
}

TEST(PostActionText, awaitsASelectionAfterAChordThatMakesOne) {
  const std::string focused = head + "0 standard window\n\t1 text field\n\nThe focused UI element is 1 text field.";
  EXPECT_TRUE(shouldRetry(focused, PressKeyParams{"cmd+a"}));
  EXPECT_TRUE(shouldRetry(focused, PressKeyParams{"shift+Left"}));
  EXPECT_FALSE(shouldRetry(focused, PressKeyParams{"Left"}));
  EXPECT_FALSE(shouldRetry(focused + "\nSelected text: ```x```", PressKeyParams{"cmd+a"}));
  EXPECT_FALSE(shouldRetry(head + "0 standard window\n\t1 button", PressKeyParams{"cmd+a"}));
  EXPECT_FALSE(shouldRetry(focused, TypeTextParams{"x"}));
}

TEST(PostActionText, knowsChordsThatSelect) {
  for (const char* key : {"Command+A", "super+a", "meta+a", "shift+Page_Down", "ctrl+shift+Right", "cmd+shift+arrowup"}) {
    EXPECT_TRUE(pressKeyIsExpectedToCreateTextSelection(key)) << key;
  }
  for (const char* key : {"a", "cmd+c", "shift+a", "Left", ""}) {
    EXPECT_FALSE(pressKeyIsExpectedToCreateTextSelection(key)) << key;
  }
}

TEST(PostActionText, seesAnEditorWithoutAnAnchor) {
  EXPECT_TRUE(hasEditorSurfaceWithoutModelAnchor("0 editor main.cpp"));
  EXPECT_FALSE(hasEditorSurfaceWithoutModelAnchor(head + "0 editor main.cpp"));
  EXPECT_FALSE(hasEditorSurfaceWithoutModelAnchor("0 editor main.cpp\n\nThe focused UI element is 0 editor."));
  EXPECT_FALSE(hasEditorSurfaceWithoutModelAnchor("0 button"));
}

TEST(PostActionText, seesADisabledSendButtonBesideWhatIsToBeSent) {
  const std::string written = "1 text area (settable, string) Value: Hello\n";
  EXPECT_TRUE(hasDisabledSubmissionBesideWrittenText(written + "2 button (disabled) Send"));
  EXPECT_FALSE(hasDisabledSubmissionBesideWrittenText(written + "2 button Send"));
  EXPECT_FALSE(hasDisabledSubmissionBesideWrittenText(written + "2 button (disabled) Sender"));
  EXPECT_FALSE(hasDisabledSubmissionBesideWrittenText("1 text area Value: Type a message\n2 button (disabled) Send"));
  EXPECT_FALSE(hasDisabledSubmissionBesideWrittenText("1 text field Value: Ask, Placeholder: Ask\n2 button (disabled) Send"));
  EXPECT_FALSE(hasDisabledSubmissionBesideWrittenText("2 button (disabled) Send"));
}

}  // namespace
}  // namespace tavik
