#include "Actions/ActionWorld.h"

namespace tavik {
namespace {

using namespace simulated;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

constexpr auto down = InputEventType::leftMouseDown;
constexpr auto up = InputEventType::leftMouseUp;
constexpr auto moved = InputEventType::mouseMoved;

constexpr const char* backgroundRightClick =
    "Background coordinate right-click is not reliable for this target because it can foreground the app or surface "
    "system context menus. Re-query get_app_state and use an element action such as Show Menu, Pick, or a "
    "foreground-confirmed element click instead.";
constexpr const char* noTargetWindow =
    "No visible target window for coordinate action. Re-query get_app_state after the target window is visible.";

class ClickActionTest : public ActionTest {};

// By element, from the politest means down

TEST_F(ClickActionTest, pressesAButtonAndPostsNothing) {
  world.run([&] {
    auto save = window.add(button("Save").frame(120, 120, 80, 20));
    world.look();
    EXPECT_EQ(world.act(clickOn(save)), ActionWorld::success);
    EXPECT_THAT(world.performed(), ElementsAre("perform AXPress of button 'Save'"));
    EXPECT_THAT(world.posted(), IsEmpty());
  });
}

TEST_F(ClickActionTest, picksFirstWhereAnElementIsNoButton) {
  world.run([&] {
    auto link = window.add(element("AXLink", "Docs").frame(120, 120, 80, 20).action("AXPress").action("AXPick"));
    auto both = window.add(button("Both").frame(120, 160, 80, 20).action("AXPick"));
    world.look();
    world.act(clickOn(link));
    world.act(clickOn(both));
    EXPECT_THAT(world.performed(), ElementsAre("perform AXPick of link 'Docs'", "perform AXPress of button 'Both'"));
  });
}

TEST_F(ClickActionTest, triesTheNextMeansWhenOneFailsAndTheMouseLast) {
  world.run([&] {
    auto save = window.add(button("Save").frame(120, 120, 80, 20).action("AXPick"));
    save.on(AXCall::perform("AXPress")).answers(AXError::failure);
    world.look();
    EXPECT_EQ(world.act(clickOn(save)), ActionWorld::success);
    EXPECT_THAT(world.posted(), IsEmpty()) << "picking sufficed";
    save.on(AXCall::perform("AXPick")).answers(AXError::failure);
    EXPECT_EQ(world.act(clickOn(save)), ActionWorld::success);
    EXPECT_THAT(world.posted(), ElementsAre(down, up));
  });
}

TEST_F(ClickActionTest, triesAnActionThatAnElementDoesNotName) {
  world.run([&] {
    auto save = window.add(button("Save").frame(120, 120, 80, 20));
    world.look();
    save.on(AXCall::of(AXOperation::copyActionNames)).answers(AXError::failure);
    EXPECT_EQ(world.act(clickOn(save)), ActionWorld::success);
    EXPECT_THAT(world.performed(), ::testing::Contains("perform AXPress of button 'Save'"));
  });
}

TEST_F(ClickActionTest, usesTheElementWhenCoordinatesAreGivenAsWell) {
  world.run([&] {
    auto save = window.add(button("Save").frame(120, 120, 80, 20));
    world.look();
    ClickParams params = clickOn(save);
    params.x = params.y = 700;
    EXPECT_EQ(world.act(params), ActionWorld::success);
    EXPECT_THAT(world.performed(), ElementsAre("perform AXPress of button 'Save'"));
    EXPECT_THAT(world.posted(), IsEmpty());
  });
}

TEST_F(ClickActionTest, scrollsAnElementIntoViewAndTakesItsNewPlace) {
  world.run([&] {
    auto area = window.add(scrollArea(Rect{{100, 100}, {400, 200}}, 2000));
    auto save = area.add(button("Save").frame(120, 800, 80, 20).action("AXScrollToVisible"));
    world.look();
    EXPECT_EQ(world.act(clickOn(save)), ActionWorld::success);
    EXPECT_THAT(world.performed(),
                ElementsAre("perform AXScrollToVisible of button 'Save'", "perform AXPress of button 'Save'"));
    EXPECT_THAT(world.cursor.log, ::testing::Contains(StartsWith("place 160,2"))) << "inside the area";
  });
}

TEST_F(ClickActionTest, selectsARowOfATableWithoutAnEvent) {
  world.run([&] {
    auto list = window.add(table().frame(100, 100, 400, 300));
    auto first = list.add(row({"Ada"}).frame(100, 100, 400, 20));
    world.look();
    EXPECT_EQ(world.act(clickOn(first)), ActionWorld::success);
    EXPECT_EQ(first.get("AXSelected"), AXValue(true));
    EXPECT_THAT(world.posted(), IsEmpty());
    EXPECT_EQ(world.act(clickOn(first)), ActionWorld::success) << "selected already";
    EXPECT_THAT(world.posted(), IsEmpty());
  });
}

TEST_F(ClickActionTest, clicksARowOfAPageWithAPrimedMove) {
  world.run([&] {
    auto page = window.add(webArea("Page").frame(100, 100, 400, 300));
    auto first = page.add(row({"Ada"}).frame(100, 100, 400, 20));
    world.look();
    EXPECT_EQ(world.act(clickOn(first)), ActionWorld::success);
    EXPECT_THAT(world.posted(), ElementsAre(moved, down, up));
    EXPECT_EQ(first.get("AXSelected"), AXValue(false));
  });
}

TEST_F(ClickActionTest, clicksARowThatCannotBeSelected) {
  world.run([&] {
    auto list = window.add(table().frame(100, 100, 400, 300));
    auto first = list.add(row({"Ada"}).frame(100, 100, 400, 20));
    world.look();
    first.on(AXCall::set("AXSelected")).answers(AXError::failure);
    EXPECT_EQ(world.act(clickOn(first)), ActionWorld::success);
    EXPECT_THAT(world.posted(), ElementsAre(moved, down, up));
  });
}

TEST_F(ClickActionTest, clicksATextFieldOfAPageAndActsOnAnyOther) {
  world.run([&] {
    auto page = window.add(webArea("Page").frame(100, 100, 400, 300));
    auto inside = page.add(textField("Ada").frame(120, 120, 200, 20));
    auto outside = window.add(textField("Bob").frame(120, 450, 200, 20).action("AXPress"));
    world.look();
    EXPECT_EQ(world.act(clickOn(outside)), ActionWorld::success);
    EXPECT_THAT(world.posted(), IsEmpty());
    EXPECT_EQ(world.act(clickOn(inside)), ActionWorld::success);
    EXPECT_THAT(world.posted(), ElementsAre(moved, down, up));
  });
}

TEST_F(ClickActionTest, knowsAPageByItsDescriptionToo) {
  world.run([&] {
    auto page = window.add(group("Page").roleDescription("html content").frame(100, 100, 400, 300));
    auto inside = page.add(textField("Ada").frame(120, 120, 200, 20));
    world.look();
    world.act(clickOn(inside));
    EXPECT_THAT(world.posted(), ElementsAre(moved, down, up));
  });
}

TEST_F(ClickActionTest, primesADoubleClickOnARowButNotOnAButton) {
  world.run([&] {
    auto save = window.add(button("Save").frame(120, 450, 80, 20));
    auto first = window.add(table().frame(100, 100, 400, 300)).add(row({"Ada"}).frame(100, 100, 400, 20));
    world.look();
    EXPECT_EQ(world.act(clickOn(save, 0, 2)), ActionWorld::success);
    EXPECT_THAT(world.posted(), ElementsAre(down, up, down, up));
    EXPECT_EQ(world.act(clickOn(first, 0, 2)), ActionWorld::success);
    EXPECT_THAT(world.posted(), ElementsAre(down, up, down, up, moved, down, up, down, up));
    EXPECT_EQ(world.lastEvent().clickCount, 2);
    EXPECT_THAT(world.performed(), IsEmpty());
  });
}

TEST_F(ClickActionTest, takesAnyOtherButtonForTheLeftOneOfAMultipleClick) {
  world.run([&] {
    auto save = window.add(button("Save").frame(120, 120, 80, 20));
    world.look();
    EXPECT_EQ(world.act(clickOn(save, 7, 0)), ActionWorld::success);
    EXPECT_THAT(world.posted(), ElementsAre(down, up));
    EXPECT_THAT(world.performed(), IsEmpty());
  });
}

TEST_F(ClickActionTest, clicksInTheMiddleOfThePointsThatHitTheElement) {
  world.run([&] {
    auto save = window.add(button("Save").frame(200, 200, 100, 40));
    window.add(image("Cover").frame(200, 200, 50, 40));
    world.look();
    EXPECT_EQ(world.act(clickOn(save, 2)), ActionWorld::success);
    EXPECT_NEAR(world.lastEvent().location->x, 275, 1);
    EXPECT_NEAR(world.lastEvent().location->y, 220, 1);
    EXPECT_EQ(world.lastEvent().type, InputEventType::otherMouseUp);
  });
}

TEST_F(ClickActionTest, takesChildrenForARowThatTheyCover) {
  world.run([&] {
    auto list = window.add(table().frame(100, 100, 400, 300));
    auto first = list.add(row().frame(100, 100, 400, 20));
    first.add(element("AXCell", "Ada").frame(100, 100, 400, 20));
    world.look();
    world.act(clickOn(first, 0, 2));
    EXPECT_NEAR(world.lastEvent().location->x, 300, 2);
  });
}

TEST_F(ClickActionTest, doesNotLookForAPointOfATinyElement) {
  world.run([&] {
    auto dot = window.add(button("Dot").frame(200, 200, 2, 40));
    world.look();
    EXPECT_EQ(world.act(clickOn(dot, 2)), ActionWorld::success);
    EXPECT_EQ(world.lastEvent().location, (Point{201, 220}));
    EXPECT_EQ(world.notes.element().calls(AXOperation::copyElementAtPosition), 0);
  });
}

TEST_F(ClickActionTest, fallsBackToTheMiddleOfACoveredElementAndTheWindowDecides) {
  world.run([&] {
    auto save = window.add(button("Save").frame(200, 200, 100, 40));
    window.add(image("Cover").frame(200, 200, 100, 40));
    auto outside = window.add(button("Outside").frame(200, 900, 100, 40));
    window.add(image("Cover").frame(200, 900, 100, 40));
    world.look();
    EXPECT_EQ(world.act(clickOn(save, 2)), ActionWorld::success);
    EXPECT_EQ(world.lastEvent().location, (Point{250, 220}));
    EXPECT_EQ(world.act(clickOn(outside, 2)), noTargetWindow);
  });
}

TEST_F(ClickActionTest, givesUpLookingForAPointOnceTheApplicationHangs) {
  world.run([&] {
    auto save = window.add(button("Save").frame(200, 200, 100, 40));
    world.look();
    world.notes.on(AXCall::of(AXOperation::copyElementAtPosition)).hangs();
    const auto before = world.scheduler.now();
    EXPECT_EQ(world.act(clickOn(save, 2)), ActionWorld::success);
    EXPECT_LT(world.scheduler.now() - before, seconds(10));
  });
}

TEST_F(ClickActionTest, refusesAnElementWithoutAPlace) {
  world.run([&] {
    auto save = window.add(button("Save").without("AXPosition").without("AXSize").without("AXFrame"));
    world.look();
    EXPECT_EQ(world.act(clickOn(save, 2)),
              "Could not determine a reliable click point for the element. Re-query the latest state with get_app_state "
              "before retrying.");
    EXPECT_THAT(world.posted(), IsEmpty());
  });
}

// The right button

TEST_F(ClickActionTest, showsTheMenuOfAnElementInTheBackground) {
  world.run([&] {
    auto photo = window.add(image("Photo").frame(200, 200, 100, 40).menu({menuItem("Copy")}));
    world.look();
    EXPECT_EQ(world.act(clickOn(photo, 1)), ActionWorld::success);
    EXPECT_THAT(world.performed(), ElementsAre("perform AXShowMenu of image 'Photo'"));
    EXPECT_THAT(world.posted(), IsEmpty());
  });
}

TEST_F(ClickActionTest, refusesASynthesizedRightClickInTheBackground) {
  world.run([&] {
    auto photo = window.add(image("Photo").frame(200, 200, 100, 40));
    world.look();
    EXPECT_EQ(world.act(clickOn(photo, 1)), backgroundRightClick);
    EXPECT_EQ(world.act(clickAt(150, 150, 1)), backgroundRightClick);
    EXPECT_EQ(world.act(clickAt(150, 150, 1, 2)), backgroundRightClick);
    EXPECT_THAT(world.posted(), IsEmpty());
    world.notes.activate();
    EXPECT_EQ(world.act(clickOn(photo, 1)), ActionWorld::success);
    EXPECT_THAT(world.posted(), ElementsAre(InputEventType::rightMouseDown, InputEventType::rightMouseUp));
  });
}

// Menus

TEST_F(ClickActionTest, readsAMenuWithoutOpeningIt) {
  world.run([&] {
    auto bar = world.notes.menuBar({menu("File", {menuItem("Open"), menuItem("Close")})});
    world.look();
    EXPECT_EQ(world.act(clickOn(bar.child(0))), ActionWorld::success);
    EXPECT_THAT(world.performed(), IsEmpty());
    EXPECT_THAT(world.posted(), IsEmpty());
    EXPECT_TRUE(world.service.postActionQueues().dequeuePendingMenu("com.example.notes", 42));
  });
}

TEST_F(ClickActionTest, goesDownTheLadderUntilAMenuIsOpen) {
  world.run([&] {
    auto bar = world.notes.menuBar({});
    auto file = bar.add(element("AXMenuBarItem", "File").frame(10, 0, 40, 20).action("AXPress").action("AXPick").inert());
    world.look();
    const auto before = world.scheduler.now();
    EXPECT_EQ(world.act(clickOn(file)), ActionWorld::success);
    EXPECT_THAT(world.performed(),
                ElementsAre("perform AXPick of menu bar item 'File'", "perform AXPress of menu bar item 'File'"));
    EXPECT_GE(world.scheduler.now() - before, milliseconds(900));
    EXPECT_THAT(world.posted(), ElementsAre(down, up)) << "also outside the application's windows";
  });
}

TEST_F(ClickActionTest, refusesTheMouseOnMenuItems) {
  world.run([&] {
    auto item = window.add(menuItem("Copy").frame(120, 120, 80, 20));
    world.look();
    const std::string refusal = ToolError::mouseActionNotSupportedForMenuItems().description();
    EXPECT_EQ(world.act(clickOn(item, 1)), refusal);
    EXPECT_EQ(world.act(clickOn(item, 2)), refusal);
    EXPECT_EQ(world.act(clickOn(item, 0, 2)), refusal);
    item.on(AXCall::perform()).answers(AXError::failure);
    EXPECT_EQ(world.act(clickOn(item)), refusal);
    const auto x = (item.frame().center().x - 100) * 1.28;
    const auto y = (item.frame().center().y - 100) * 1.28;
    EXPECT_EQ(world.act(clickAt(x, y)), refusal);
    EXPECT_EQ(world.act(clickAt(x, y, 1)), refusal);
    EXPECT_EQ(world.act(clickAt(x, y, 0, 2)), refusal);
    EXPECT_THAT(world.posted(), IsEmpty());
  });
}

TEST_F(ClickActionTest, waitsForAMenuToClose) {
  world.run([&] {
    auto item = window.add(menuItem("Copy").frame(120, 120, 80, 20));
    world.look();
    const auto before = world.scheduler.now();
    EXPECT_EQ(world.act(clickOn(item)), ActionWorld::success);
    EXPECT_GE(world.scheduler.now() - before, milliseconds(250));
  });
}

// By coordinates

TEST_F(ClickActionTest, countsPixelsOfThePicture) {
  world.run([&] {
    world.look();
    EXPECT_EQ(world.act(clickAt(128, 256)), ActionWorld::success);
    EXPECT_THAT(world.posted(), ElementsAre(down, up));
    EXPECT_EQ(world.lastEvent().location, (Point{200, 300}));
    EXPECT_EQ(world.lastEvent().windowLocation, (Point{100, 200}));
  });
}

TEST_F(ClickActionTest, pressesWhatLiesUnderAPointWhereThatSuffices) {
  world.run([&] {
    auto save = window.add(button("Save").frame(200, 300, 100, 40));
    world.look();
    EXPECT_EQ(world.act(clickAt(140, 270)), ActionWorld::success);
    EXPECT_THAT(world.performed(), ElementsAre("perform AXPress of button 'Save'"));
    EXPECT_THAT(world.posted(), IsEmpty());
    save.on(AXCall::perform()).answers(AXError::failure);
    EXPECT_EQ(world.act(clickAt(140, 270)), ActionWorld::success);
    EXPECT_THAT(world.posted(), ElementsAre(down, up));
  });
}

TEST_F(ClickActionTest, readsAMenuUnderAPointWithoutOpeningIt) {
  world.run([&] {
    auto bar = world.notes.menuBar({menu("File", {menuItem("Open")})});
    bar.setFrame(Rect{{0, 0}, {1900, 20}});
    bar.child(0).setFrame(Rect{{120, 0}, {60, 20}});
    world.look();
    EXPECT_EQ(world.act(clickAt(1.28 * 30, 1.28 * -90)), ActionWorld::success);
    EXPECT_THAT(world.performed(), IsEmpty());
    EXPECT_THAT(world.posted(), IsEmpty());
    EXPECT_TRUE(world.service.postActionQueues().dequeuePendingMenu("com.example.notes", 42));
  });
}

TEST_F(ClickActionTest, showsTheMenuOfWhatLiesUnderAPoint) {
  world.run([&] {
    window.add(image("Photo").frame(200, 300, 100, 40).menu({menuItem("Copy")}));
    world.look();
    EXPECT_EQ(world.act(clickAt(140, 270, 1)), ActionWorld::success);
    EXPECT_THAT(world.performed(), ElementsAre(StartsWith("perform AXShowMenu of")));
    EXPECT_THAT(world.posted(), IsEmpty());
    world.scheduler.sleep(milliseconds(1));
    EXPECT_EQ(world.cursor.log.back(), "pulse 1");
  });
}

TEST_F(ClickActionTest, clicksOnceWhenAskedForNoClickAndShowsOne) {
  world.run([&] {
    world.look();
    EXPECT_EQ(world.act(clickAt(300, 300, 0, 0)), ActionWorld::success);
    EXPECT_THAT(world.posted(), ElementsAre(down, up));
    world.scheduler.sleep(milliseconds(1));
    EXPECT_EQ(world.cursor.log.back(), "pulse 1");
  });
}

TEST_F(ClickActionTest, clicksWithEachButtonByCoordinates) {
  world.run([&] {
    world.look();
    EXPECT_EQ(world.act(clickAt(300, 300, 2)), ActionWorld::success);
    EXPECT_EQ(world.act(clickAt(300, 300, 9)), ActionWorld::success);
    EXPECT_THAT(world.posted(), ElementsAre(InputEventType::otherMouseDown, InputEventType::otherMouseUp, down, up));
  });
}

TEST_F(ClickActionTest, refusesAPointOutsideTheWindowsAfterShowingIt) {
  world.run([&] {
    world.look();
    EXPECT_EQ(world.act(clickAt(-300, 300)), noTargetWindow);
    EXPECT_THAT(world.cursor.log, ::testing::Contains(StartsWith("place -134,334")));
    EXPECT_THAT(world.posted(), IsEmpty());
  });
}

TEST_F(ClickActionTest, acceptsAPointInAnotherWindowOfTheApplicationAndNotInSomebodyElses) {
  world.run([&] {
    world.look();
    world.notes.window("Palette", Rect{{1600, 100}, {100, 100}});
    world.scheduler.sleep(seconds(1));
    EXPECT_EQ(world.act(clickAt(1.28 * 1550, 64)), ActionWorld::success);
    EXPECT_EQ(world.act(clickAt(1.28 * 1100, 1.28 * 700)), noTargetWindow) << "the user's window";
  });
}

TEST_F(ClickActionTest, needsAPictureToCountPixelsIn) {
  world.run([&] {
    world.desktop.windowServer().stopAnswering();
    world.look();
    EXPECT_EQ(world.act(clickAt(10, 10)),
              "Screenshot coordinates require a current screenshot with target-window geometry. Re-query get_app_state "
              "after screenshot capture is available.");
  });
}

TEST_F(ClickActionTest, needsAnElementOrAPoint) {
  world.run([&] {
    world.look();
    ClickParams half;
    half.x = 5;
    EXPECT_EQ(world.act(ClickParams{}), "click requires either element_index or both x and y");
    EXPECT_EQ(world.act(half), "click requires either element_index or both x and y");
  });
}

TEST_F(ClickActionTest, passesOnThatNoEventCouldBeMade) {
  world.run([&] {
    world.look();
    world.desktop.eventPosting().takeAway(SimulatedEventPosting::Missing::nsEvent);
    EXPECT_THROW(world.act(clickAt(300, 300)), MouseEventTarget::Error);
    EXPECT_EQ(world.service.userInteractionMonitor().toolActionDepth(), 0);
  });
}

// The cursor

TEST_F(ClickActionTest, standsOverTheElementBeforeItIsClickedAndPulsesAfterwards) {
  world.run([&] {
    auto save = window.add(button("Save").frame(200, 300, 100, 40));
    world.look();
    world.act(clickOn(save));
    world.act(clickOn(save, 0, 2));
    world.scheduler.sleep(milliseconds(1));
    const std::string above = " above " + std::to_string(*world.service.session().currentSession()->targetWindowID);
    EXPECT_THAT(world.cursor.log, ElementsAre("place 250,320" + above, "pulse 1", "move 250,320" + above, "pulse 2"));
    EXPECT_FALSE(world.cursor.hasHandler());
  });
}

}  // namespace
}  // namespace tavik
