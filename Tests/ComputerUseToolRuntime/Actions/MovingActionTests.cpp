#include "Actions/ActionWorld.h"
#include "ComputerUseToolRuntime/Actions/TextSelectionRange.h"

namespace tavik {
namespace {

using namespace simulated;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;

constexpr const char* noTargetWindow =
    "No visible target window for coordinate action. Re-query get_app_state after the target window is visible.";

// Scrolling

class ScrollActionTest : public ActionTest {
 protected:
  std::string scroll(SimulatedElement element, std::int64_t direction = 1, double pages = 1) {
    return world.act(ScrollParams{world.indexOf(element), direction, pages});
  }
};

TEST_F(ScrollActionTest, needsAnElement) {
  world.run([&] {
    world.look();
    EXPECT_EQ(world.act(ScrollParams{std::nullopt, 1, 1}),
              ToolError::missingRequiredArgument("element_index").description());
  });
}

TEST_F(ScrollActionTest, writesTheScrollBarAndPostsNothing) {
  world.run([&] {
    auto area = window.add(scrollArea(Rect{{100, 100}, {400, 200}}, 2000));
    area.add(button("Below").frame(120, 800, 80, 20));
    world.look();
    EXPECT_EQ(scroll(area), ActionWorld::success);
    EXPECT_THAT(world.posted(), IsEmpty());
    EXPECT_THAT(world.written(), ::testing::Contains(HasSubstr("set AXValue of scroll bar")));
  });
}

TEST_F(ScrollActionTest, turnsTheWheelWhereThereIsNoBar) {
  world.run([&] {
    auto list = window.add(group("List").frame(100, 100, 400, 200));
    world.look();
    EXPECT_EQ(scroll(list, 1, 0.5), ActionWorld::success);
    EXPECT_THAT(world.posted(), SizeIs(6)) << "half of the window that it is seen in";
    EXPECT_THAT(world.posted(), Each(InputEventType::scrollWheel));
    EXPECT_EQ(world.lastEvent().location, (Point{300, 200}));
    EXPECT_EQ(world.lastEvent().wheel1, -50);
    EXPECT_EQ(scroll(list, 9), ActionWorld::success) << "any other number is down";
    EXPECT_LT(world.lastEvent().wheel1, 0);
    EXPECT_EQ(scroll(list, 2), ActionWorld::success);
    EXPECT_NE(world.lastEvent().wheel2, 0);
  });
}

TEST_F(ScrollActionTest, leavesItToTheApplicationWhenTheWheelMovedNothing) {
  world.run([&] {
    auto area = window.add(scrollArea(Rect{{100, 100}, {400, 200}}, 2000));
    auto bar = area.children().front();
    world.look();
    bar.on(AXCall::set("AXValue")).answers(AXError::failure);
    EXPECT_EQ(scroll(area), ActionWorld::success);
    EXPECT_THAT(world.posted(), Not(IsEmpty()));
    EXPECT_THAT(world.performed(), ElementsAre(StartsWith("perform AXScrollDownByPage of")));
  });
}

TEST_F(ScrollActionTest, leavesItToTheApplicationWhenTheWheelCannotBeTurned) {
  world.run([&] {
    auto area = window.add(group("List").frame(100, 100, 400, 200).action("AXScrollDownByPage"));
    auto other = window.add(group("Other").frame(100, 400, 400, 200));
    world.look();
    world.desktop.eventPosting().takeAway(SimulatedEventPosting::Missing::cgEvent);
    EXPECT_EQ(scroll(area), ActionWorld::success);
    EXPECT_THROW(scroll(other), ScrollEventSynthesizer::Error);
  });
}

TEST_F(ScrollActionTest, pagesAnElementOutsideTheWindowsOrRefuses) {
  world.run([&] {
    auto area = window.add(group("List").frame(2000, 1000, 400, 100).action("AXScrollDownByPage"));
    auto other = window.add(group("Other").frame(2600, 1000, 200, 100));
    world.look();
    EXPECT_EQ(scroll(area), ActionWorld::success);
    EXPECT_EQ(scroll(other), noTargetWindow);
    EXPECT_THAT(world.posted(), IsEmpty());
  });
}

TEST_F(ScrollActionTest, doesNotTakeAWindowThatComesTooLateForASuccess) {
  world.run([&] {
    auto other = window.add(group("Other").frame(2600, 1000, 200, 100));
    world.look();
    // While the application is asked for its own means, one of its windows comes there.
    other.on(AXCall::of(AXOperation::copyActionNames)).runs([&] {
      world.notes.window("Late", Rect{{2500, 900}, {400, 300}});
      world.scheduler.sleep(seconds(1));
    });
    EXPECT_EQ(scroll(other), noTargetWindow);
    EXPECT_THAT(world.posted(), IsEmpty());
  });
}

TEST_F(ScrollActionTest, aimsAtTheMiddleOfTheApplicationWhenTheElementHasNoPlace) {
  world.run([&] {
    auto list = window.add(group("List").without("AXPosition").without("AXSize").without("AXFrame"));
    list.add(button("Inside").frame(120, 120, 10, 10));
    world.look();
    EXPECT_EQ(scroll(list), ActionWorld::success);
    EXPECT_EQ(world.lastEvent().location, (Point{500, 400}));
  });
}

// Dragging

class DragActionTest : public ActionTest {
 protected:
  /// From and to global points.
  std::string drag(Point from, Point to) {
    const auto pixel = [](Point point) { return Point{(point.x - 100) * 1.28, (point.y - 100) * 1.28}; };
    const Point a = pixel(from);
    const Point b = pixel(to);
    return world.act(DragParams{a.x, a.y, b.x, b.y});
  }
};

TEST_F(DragActionTest, setsASliderAndPostsNothing) {
  world.run([&] {
    auto amount = window.add(slider(3, 0, 100).frame(200, 300, 200, 20));
    world.look();
    EXPECT_EQ(drag({210, 310}, {250, 310}), ActionWorld::success);
    EXPECT_NEAR(*amount.value().get<double>(), 25, 0.01);
    EXPECT_EQ(drag({210, 310}, {5000, 310}), ActionWorld::success);
    EXPECT_EQ(amount.value(), AXValue(100.0)) << "also outside the slider, as far as it goes";
    EXPECT_THAT(world.posted(), IsEmpty());
  });
}

TEST_F(DragActionTest, readsAVerticalSliderFromTheTop) {
  world.run([&] {
    auto amount = window.add(slider(3, 0, 100).frame(200, 300, 20, 200));
    world.look();
    EXPECT_EQ(drag({210, 310}, {210, 350}), ActionWorld::success);
    EXPECT_NEAR(*amount.value().get<double>(), 25, 0.01);
  });
}

TEST_F(DragActionTest, dragsWhatHasNoValueAndWhatRefusesOne) {
  world.run([&] {
    auto amount = window.add(slider(3, 0, 100).frame(200, 300, 200, 20));
    window.add(slider(3, 5, 5).frame(200, 400, 200, 20));
    world.look();
    const std::vector<std::uint32_t> whole = {
        InputEventType::leftMouseDown, InputEventType::leftMouseDragged, InputEventType::leftMouseDragged,
        InputEventType::leftMouseDragged, InputEventType::leftMouseUp};
    EXPECT_EQ(drag({150, 150}, {350, 250}), ActionWorld::success);
    EXPECT_EQ(world.posted(), whole);
    EXPECT_EQ(world.lastEvent().location, (Point{350, 250}));
    amount.on(AXCall::set("AXValue")).answers(AXError::failure);
    EXPECT_EQ(drag({210, 310}, {250, 310}), ActionWorld::success);
    EXPECT_EQ(drag({210, 410}, {250, 410}), ActionWorld::success);
    EXPECT_THAT(world.posted(), SizeIs(15));
  });
}

TEST_F(DragActionTest, mayEndOutsideTheWindowsButNotBeginThere) {
  world.run([&] {
    world.look();
    EXPECT_EQ(drag({150, 150}, {2000, 150}), ActionWorld::success);
    EXPECT_EQ(drag({2000, 150}, {150, 150}), noTargetWindow);
    EXPECT_THAT(world.posted(), SizeIs(5));
  });
}

TEST_F(DragActionTest, needsAPicture) {
  world.run([&] {
    world.desktop.windowServer().stopAnswering();
    world.look();
    EXPECT_EQ(drag({150, 150}, {200, 150}),
              "Screenshot coordinates require a current screenshot with target-window geometry. Re-query get_app_state "
              "after screenshot capture is available.");
  });
}

TEST_F(DragActionTest, takesTheCursorAlong) {
  world.run([&] {
    world.look();
    drag({150, 150}, {350, 250});
    world.scheduler.sleep(milliseconds(1));
    EXPECT_THAT(world.cursor.log, ElementsAre(StartsWith("place 150,150"), StartsWith("move 350,250"), "drag"));
  });
}

// Selecting text

class SelectTextActionTest : public ActionTest {
 protected:
  std::string select(SimulatedElement element, const std::string& text, std::optional<std::string> prefix = {},
                     std::optional<std::string> suffix = {}, TextSelectionMode mode = TextSelectionMode::text) {
    return world.act(TextSelectionParams{world.indexOf(element), text, std::move(prefix), std::move(suffix), mode});
  }
  static constexpr const char* notFound = "Could not find the requested text to select in the element";
};

TEST_F(SelectTextActionTest, focusesTheElementAndSelects) {
  world.run([&] {
    auto area = window.add(textArea("foo bar foo").frame(120, 120, 200, 100));
    world.look();
    EXPECT_EQ(select(area, "bar"), ActionWorld::success);
    EXPECT_EQ(area.selectedRange(), (TextRange{4, 3}));
    EXPECT_TRUE(area.isFocused());
    EXPECT_EQ(select(area, "bar", {}, {}, TextSelectionMode::cursorAfter), ActionWorld::success);
    EXPECT_EQ(area.selectedRange(), (TextRange{7, 0}));
    EXPECT_THAT(world.posted(), IsEmpty());
  });
}

TEST_F(SelectTextActionTest, refusesWhatIsNotThereOnce) {
  world.run([&] {
    auto area = window.add(textArea("foo bar foo").frame(120, 120, 200, 100));
    auto save = window.add(button("Save").frame(120, 320, 80, 20));
    world.look();
    EXPECT_EQ(select(area, "foo"), notFound);
    EXPECT_EQ(select(area, "baz"), notFound);
    EXPECT_EQ(select(save, "Save"),
              "Cannot select text for an element that does not support a settable selected text range");
    EXPECT_THAT(world.written(), IsEmpty());
    EXPECT_EQ(select(area, "foo", {}, " bar"), ActionWorld::success);
    EXPECT_EQ(area.selectedRange(), (TextRange{0, 3}));
  });
}

TEST_F(SelectTextActionTest, endsWhenTheCallerGivesUp) {
  world.run([&] {
    auto area = window.add(textArea("foo bar").frame(120, 120, 200, 100));
    world.look();
    for (const int after : {100, 200, 300}) {
      Task action = world.scheduler.start("action", [&] { EXPECT_THROW(select(area, "bar"), CancellationError); });
      area.on(AXCall::read("AXSelectedTextRange")).answers(AXError::noValue);
      world.scheduler.sleep(milliseconds(after));
      action.cancel();
      action.join();
      EXPECT_EQ(world.service.userInteractionMonitor().toolActionDepth(), 0);
    }
  });
}

TEST_F(SelectTextActionTest, selectsInALongText) {
  world.run([&] {
    auto area = window.add(textArea(std::string(100'000, 'x') + "שלום" + std::string("\0\x01", 2) + "🙂 bar")
                               .frame(120, 120, 200, 100));
    world.look();
    EXPECT_EQ(select(area, "bar"), ActionWorld::success);
    EXPECT_EQ(area.selectedRange(), (TextRange{100'009, 3}));
    EXPECT_EQ(select(area, std::string(200'000, 'x')), notFound);
  });
}

TEST_F(SelectTextActionTest, refusesWhatCannotBeFocused) {
  world.run([&] {
    auto area = window.add(textArea("foo bar").frame(120, 120, 200, 100));
    world.look();
    area.on(AXCall::set("AXFocused")).answers(AXError::failure);
    EXPECT_EQ(select(area, "bar"), "Could not focus the target element for text selection");
  });
}

TEST_F(SelectTextActionTest, reportsASelectionThatIsNotKeptOrRefused) {
  world.run([&] {
    auto area = window.add(textArea("foo bar").frame(120, 120, 200, 100).rewrites("AXSelectedTextRange", [](const AXValue&) {
      return std::optional(AXValue(TextRange{0, 0}));
    }));
    auto other = window.add(textArea("foo bar").frame(120, 320, 200, 100));
    world.look();
    const auto before = area.reads("AXSelectedTextRange");
    EXPECT_EQ(select(area, "bar"), notFound);
    EXPECT_EQ(area.reads("AXSelectedTextRange") - before, 4);
    other.on(AXCall::set("AXSelectedTextRange")).answers(AXError::failure);
    EXPECT_EQ(select(other, "bar"), ToolError::axSetValueFailed(AXError::failure).description());
  });
}

TEST(TextSelectionRangeRules, findTheOneMatchInItsSurroundings) {
  using enum TextSelectionMode;
  const auto none = std::nullopt;
  EXPECT_EQ(textSelectionRange("foo bar foo", "foo", none, none, text), none);
  EXPECT_EQ(textSelectionRange("foo bar foo", "foo", none, " bar", text), (TextRange{0, 3}));
  EXPECT_EQ(textSelectionRange("foo bar foo", "foo", "bar ", none, text), (TextRange{8, 3}));
  EXPECT_EQ(textSelectionRange("foo", "foo", "a", none, text), none) << "a prefix reaches past the start";
  EXPECT_EQ(textSelectionRange("foo", "foo", none, "a", text), none);
  EXPECT_EQ(textSelectionRange("aaa", "aa", none, none, text), none) << "matches may overlap";
  EXPECT_EQ(textSelectionRange("abc", "", none, none, text), none);
  EXPECT_EQ(textSelectionRange("🙂 bar", "bar", none, none, text), (TextRange{3, 3})) << "in UTF-16 units";
  EXPECT_EQ(textSelectionRange("a bar", "bar", none, none, cursorBefore), (TextRange{2, 0}));
  EXPECT_EQ(textSelectionRange("a bar", "bar", none, none, cursorAfter), (TextRange{5, 0}));
  EXPECT_EQ(textSelectionRange("שלום עולם", "עולם", none, none, text), (TextRange{5, 4}));
}

}  // namespace
}  // namespace tavik
