#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Backends/Simulated/SimulatedDesktop.h"
#include "Tests/Support/SimulatedWorld.h"

namespace tavik {
namespace {

using namespace simulated;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class SimulatedElementTest : public ::testing::Test {
 protected:
  AccessibilityPort& ax() { return world.desktop.platform().accessibility; }
  AXValue read(const SimulatedElement& element, const std::string& attribute) {
    return ax().copyAttributeValue(element.element(), attribute).value;
  }
  AXErrorCode press(const SimulatedElement& element) {
    return ax().performAction(element.element(), "AXPress");
  }

  /// The notifications of those names that any element of the application sends from now on.
  void listen(const std::vector<std::string>& notifications) {
    auto made = ax().createObserver(
        42, [this](const AXElement&, const std::string& notification) { told.push_back(notification); });
    ASSERT_TRUE(made.ok());
    observer = made.value;
    ax().addObserverSource(observer);
    for (const auto& name : notifications) {
      ASSERT_EQ(ax().addNotification(observer, ax().createApplication(42), name), AXError::success);
    }
  }

  SimulatedWorld world;
  SimulatedApplication app = world.desktop.application("Notes", "com.example.notes", 42);
  SimulatedElement window = app.window("Untitled", Rect{{0, 0}, {800, 600}});
  std::shared_ptr<AXObserver> observer;
  std::vector<std::string> told;
};

TEST_F(SimulatedElementTest, aMenuOfTheMenuBarOpensAndItsItemClosesIt) {
  world.run([&] {
    int saved = 0;
    auto bar = app.menuBar({menu("File", {menuItem("Save").onPress([&] { ++saved; })})});
    auto file = bar.child(0);
    listen({"AXMenuOpened", "AXMenuClosed"});
    EXPECT_EQ(press(file), AXError::success);
    EXPECT_EQ(read(file, "AXSelected"), AXValue(true));
    EXPECT_EQ(press(bar.find("Save")), AXError::success);
    world.scheduler.settle();
    EXPECT_EQ(saved, 1);
    EXPECT_EQ(read(file, "AXSelected"), AXValue(false));
    EXPECT_THAT(told, ElementsAre("AXMenuOpened", "AXMenuClosed"));
  });
}

TEST_F(SimulatedElementTest, aPopUpButtonTakesTheChosenItem) {
  world.run([&] {
    auto size = window.add(popUpButton("Small", {menuItem("Small"), menuItem("Large")}));
    press(size);
    press(size.find("Large"));
    EXPECT_EQ(size.text(), "Large");
    EXPECT_THAT(size.children(), IsEmpty());
  });
}

TEST_F(SimulatedElementTest, aMenuThatWasTakenAwayCanBeOpenedAgain) {
  world.run([&] {
    auto size = window.add(popUpButton("Small", {menuItem("Small")}));
    press(size);
    size.child(0).remove();
    EXPECT_EQ(ax().copyAttributeValue(size.element(), "AXShownMenuUIElement").code, AXError::noValue);
    press(size);
    EXPECT_THAT(size.children(), SizeIs(1));
  });
}

TEST_F(SimulatedElementTest, rowsOfATableAreSelectedAndLetGoOfUnderTheTablesOwnNotification) {
  world.run([&] {
    auto files = window.add(table().add(row({"a"})).add(row({"b"})));
    listen({"AXSelectedRowsChanged", "AXSelectedChildrenChanged"});
    ax().setAttributeValue(files.child(1).element(), "AXSelected", true);
    EXPECT_EQ(read(files, "AXSelectedRows"), AXValue(AXArray{files.child(1)}));
    ax().setAttributeValue(files.child(1).element(), "AXSelected", false);
    EXPECT_EQ(read(files, "AXSelectedRows"), AXValue(AXArray{}));
    world.scheduler.settle();
    EXPECT_THAT(told, ElementsAre("AXSelectedRowsChanged", "AXSelectedRowsChanged"));
  });
}

TEST_F(SimulatedElementTest, writingTheSelectedTextReplacesItInUTF16Units) {
  world.run([&] {
    auto field = window.add(textField("a\xF0\x9F\x98\x80z"));
    ax().setAttributeValue(field.element(), "AXSelectedTextRange", TextRange{1, 2});
    EXPECT_EQ(read(field, "AXSelectedText"), AXValue("\xF0\x9F\x98\x80"));
    ax().setAttributeValue(field.element(), "AXSelectedText", "bc");
    EXPECT_EQ(field.text(), "abcz");
    EXPECT_EQ(field.selectedRange(), (TextRange{3, 0}));
  });
}

TEST_F(SimulatedElementTest, aTextAnswersForItsLinesAndRanges) {
  world.run([&] {
    auto area = window.add(textArea("one\ntwo"));
    const auto ask = [&](const char* attribute, AXValue parameter) {
      return ax().copyParameterizedAttributeValue(area.element(), attribute, parameter);
    };
    EXPECT_EQ(ask("AXStringForRange", TextRange{4, 3}).value, AXValue("two"));
    EXPECT_EQ(ask("AXLineForIndex", 4).value, AXValue(1));
    EXPECT_EQ(ask("AXRangeForLine", 1).value, AXValue(TextRange{4, 3}));
    EXPECT_EQ(ask("AXStringForRange", TextRange{4, 9}).code, AXError::illegalArgument);
  });
}

TEST_F(SimulatedElementTest, aPlannedParameterizedAttributeAnswers) {
  world.run([&] {
    auto page = window.add(webArea("Page").parameterized(
        "AXTwice", [](const AXValue& n) { return AXValue(*n.get<std::int64_t>() * 2); }));
    const auto answer = ax().copyParameterizedAttributeValue(page.element(), "AXTwice", 21);
    EXPECT_EQ(answer.code, AXError::success);
    EXPECT_EQ(answer.value, AXValue(42));
  });
}

TEST_F(SimulatedElementTest, aScrollAreaMovesItsContentAndLosesSightOfTheRest) {
  world.run([&] {
    auto area = window.add(scrollArea(Rect{{0, 0}, {100, 100}}, 300).computesVisibleChildren());
    auto last = area.add(staticText("last").frame(0, 250, 100, 20));
    EXPECT_EQ(ax().performAction(area.element(), "AXScrollDownByPage"), AXError::success);
    EXPECT_EQ(last.frame().origin.y, 150);
    ax().performAction(area.element(), "AXScrollDownByPage");
    ax().performAction(area.element(), "AXScrollDownByPage");
    EXPECT_EQ(last.frame().origin.y, 50) << "no further than to the end";
    ASSERT_TRUE(read(area, "AXVisibleChildren").get<AXArray>());
    EXPECT_THAT(*read(area, "AXVisibleChildren").get<AXArray>(),
                ::testing::Contains(AXValue(last.element())));
  });
}

TEST_F(SimulatedElementTest, aSearchEndsInATreeThatContainsItself) {
  world.run([&] {
    auto outer = window.add(group());
    auto inner = outer.add(group());
    inner.addReference(outer);
    EXPECT_FALSE(window.find("nothing of that name"));
  });
}

TEST_F(SimulatedElementTest, aSlowBatchCostsOneRoundTrip) {
  world.run([&] {
    auto save = window.add(button("Save"));
    app.on(AXCall::any()).delays(milliseconds(100));
    const MonotonicTime before = world.scheduler.now();
    EXPECT_TRUE(ax().copyMultipleAttributeValues(save.element(), {"AXRole", "AXTitle", "AXEnabled"}).ok());
    EXPECT_EQ(world.scheduler.now() - before, milliseconds(100));
  });
}

TEST_F(SimulatedElementTest, aBatchIsWrittenDownWhenReadsAre) {
  world.run([&] {
    auto save = window.add(button("Save"));
    world.desktop.journal().setRecordsReads(true);
    ax().copyMultipleAttributeValues(save.element(), {"AXRole"});
    EXPECT_FALSE(world.desktop.journal().entries("read").empty());
  });
}

TEST_F(SimulatedElementTest, makingAnAttributeReadOnlyLeavesItsValueAlive) {
  world.run([&] {
    auto field = window.add(textField("old"));
    field.setSettable("AXSelectedText", false);
    ax().setAttributeValue(field.element(), "AXSelectedTextRange", TextRange{0, 2});
    EXPECT_EQ(read(field, "AXSelectedText"), AXValue("ol"));
  });
}

TEST_F(SimulatedElementTest, nothingIsHitInAMinimisedWindow) {
  world.run([&] {
    window.add(button("Save").frame(10, 10, 80, 20));
    window.set("AXMinimized", true);
    EXPECT_EQ(ax().copyElementAtPosition(ax().createSystemWide(), {15, 15}).code, AXError::noValue);
  });
}

TEST_F(SimulatedElementTest, hidingAnApplicationTellsItsObservers) {
  world.run([&] {
    listen({"AXApplicationHidden"});
    app.hide();
    world.scheduler.settle();
    EXPECT_THAT(told, ElementsAre("AXApplicationHidden"));
  });
}

}  // namespace
}  // namespace tavik
