#include "ComputerUsePlatform/Windows/ApplicationWindow.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ComputerUsePlatform/Windows/WindowUtilities.h"
#include "Tests/Support/LogCapture.h"
#include "Tests/Support/SimulatedWorld.h"

namespace tavik {
namespace {

using testing::ElementsAre;

constexpr std::int32_t pid = 42;

Rect rect(double x, double y, double width, double height) { return {{x, y}, {width, height}}; }

class ApplicationWindowTest : public testing::Test {
 protected:
  std::vector<ApplicationWindow> windows() {
    WindowServerWindowSnapshot snapshot(broker);
    return joined.windowsForPID(pid, &snapshot);
  }

  std::vector<std::optional<std::string>> titles() {
    std::vector<std::optional<std::string>> titles;
    for (const auto& window : windows()) titles.push_back(window.title);
    return titles;
  }

  /// A window that only the window server knows.
  std::uint32_t serverWindow(const std::string& name, Rect bounds, int layer = 0, bool isOnScreen = true) {
    WindowRecord record;
    record.ownerPID = pid;
    record.name = name;
    record.bounds = bounds;
    record.layer = layer;
    record.isOnScreen = isOnScreen;
    return world.desktop.windowServer().addWindow(record);
  }

  SimulatedWorld world;
  LogCapture log;
  AXWrapper access{world.desktop.platform().accessibility, world.desktop.platform().process, world.scheduler,
                   world.mainQueue};
  WindowServerAccessBroker broker{world.desktop.windowServer(), world.scheduler};
  ApplicationWindows joined{access, broker};
  SimulatedApplication notes = world.desktop.application("Notes", "com.example.notes", pid);
};

TEST_F(ApplicationWindowTest, joinsTheTwoViewsOfAWindow) {
  const auto window = notes.window("Shopping", rect(10, 20, 400, 300));
  world.run([&] {
    const auto found = windows();
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].axWindow, window.element());
    EXPECT_EQ(found[0].pid, pid);
    EXPECT_EQ(found[0].title, "Shopping");
    EXPECT_EQ(found[0].bounds, rect(10, 20, 400, 300));
    EXPECT_TRUE(found[0].isOnScreen);
    EXPECT_EQ(found[0].layer, 0);
  });
}

TEST_F(ApplicationWindowTest, listsEachWindowOnceFromFrontToBackAndOddOnesLast) {
  notes.window("Back", rect(0, 0, 400, 300));
  notes.window("Front", rect(10, 10, 400, 300));
  notes.window("Panel", rect(500, 10, 200, 300));
  world.run([&] {
    serverWindow("Floating", rect(500, 10, 190, 300), 3);
    EXPECT_THAT(titles(), ElementsAre("Panel", "Front", "Back", "Floating"));
  });
}

TEST_F(ApplicationWindowTest, leavesOutWindowsTooSmallToBeOne) {
  world.run([&] {
    serverWindow("Sliver", rect(0, 0, 15, 300));
    EXPECT_THAT(titles(), ElementsAre());
  });
}

TEST_F(ApplicationWindowTest, prefersTheWindowWithExactlyTheFrame) {
  const auto large = notes.window("", rect(0, 0, 1000, 1000));
  const auto exact = notes.window("", rect(0, 0, 400, 300));
  world.run([&] {
    const auto best = joined.bestMatchingAXWindow({.name = "", .bounds = rect(0, 0, 400, 300)},
                                                  {large.element(), exact.element()});
    EXPECT_EQ(best, exact.element());
  });
}

TEST_F(ApplicationWindowTest, takesTheFirstOverlappingWindowOfTheSameTitle) {
  const auto named = notes.window("Shopping", rect(300, 200, 400, 300));
  const auto exact = notes.window("Other", rect(0, 0, 400, 300));
  world.run([&] {
    const auto best = joined.bestMatchingAXWindow({.name = "Shopping", .bounds = rect(0, 0, 400, 300)},
                                                  {named.element(), exact.element()});
    EXPECT_EQ(best, named.element());
  });
}

TEST_F(ApplicationWindowTest, doesNotTakeTwoMissingTitlesForTheSame) {
  const auto first = notes.window("", rect(350, 250, 400, 300));
  const auto better = notes.window("", rect(50, 50, 400, 300));
  world.run([&] {
    const auto best = joined.bestMatchingAXWindow({.name = "", .bounds = rect(0, 0, 400, 300)},
                                                  {first.element(), better.element()});
    EXPECT_EQ(best, better.element());
  });
}

TEST_F(ApplicationWindowTest, takesTheFirstOfTwoEqualMatchesAndNoneWithoutOverlap) {
  const auto first = notes.window("", rect(0, 0, 100, 100));
  const auto second = notes.window("", rect(0, 0, 100, 100));
  world.run([&] {
    const std::vector<AXElement> both = {first.element(), second.element()};
    EXPECT_EQ(joined.bestMatchingAXWindow({.name = {}, .bounds = rect(0, 0, 50, 50)}, both), first.element());
    EXPECT_EQ(joined.bestMatchingAXWindow({.name = {}, .bounds = rect(500, 0, 50, 50)}, both), std::nullopt);
  });
}

TEST_F(ApplicationWindowTest, fallsBackToTheFocusedWindowOnce) {
  const auto focused = notes.window("Focused", rect(0, 0, 100, 100));
  focused.focus();
  world.run([&] {
    serverWindow("Elsewhere", rect(500, 500, 100, 100));
    serverWindow("Further", rect(700, 500, 100, 100));
    std::size_t onFocused = 0;
    for (const auto& window : windows()) onFocused += window.axWindow == focused.element() ? 1 : 0;
    EXPECT_EQ(onFocused, 2u);
  });
  const auto record = log.only("window_match_skipped");
  EXPECT_EQ(record.level, LogLevel::debug);
  EXPECT_EQ(record.fields.at("reason"), "fallback_already_used");
  EXPECT_EQ(record.fields.at("targetPid"), "42");
  EXPECT_TRUE(record.fields.contains("windowId"));
}

TEST_F(ApplicationWindowTest, saysThatNothingMatches) {
  world.run([&] {
    serverWindow("Alone", rect(500, 500, 100, 100));
    EXPECT_THAT(titles(), ElementsAre());
  });
  EXPECT_EQ(log.only("window_match_failed").fields.at("reason"), "no_fallback");
}

TEST_F(ApplicationWindowTest, findsAWindowByItsNumberAndRefreshesIt) {
  const auto window = notes.window("Shopping", rect(10, 20, 400, 300));
  world.run([&] {
    const auto id = windows().front().windowID;
    auto found = joined.window(pid, id, nullptr);
    ASSERT_TRUE(found);
    EXPECT_FALSE(joined.window(pid, id + 1000, nullptr));
    window.setFrame(rect(50, 60, 400, 300));
    world.scheduler.sleep(milliseconds(200));
    joined.refresh(*found);
    EXPECT_EQ(found->bounds, rect(50, 60, 400, 300));
    EXPECT_EQ(joined.getCGWindowBounds(id), rect(50, 60, 400, 300));
    notes.hide();
    world.scheduler.sleep(milliseconds(200));
    joined.refresh(*found);
    EXPECT_FALSE(found->isOnScreen);
  });
}

TEST_F(ApplicationWindowTest, findsTheWindowInFrontAtAPoint) {
  const auto other = world.desktop.application("Mail", "com.example.mail", 43);
  other.window("Behind", rect(0, 0, 500, 500));
  const auto window = notes.window("Before", rect(100, 100, 200, 200));
  notes.activate();
  world.run([&] {
    EXPECT_EQ(joined.windowAtPoint({150, 150})->axWindow, window.element());
    EXPECT_EQ(joined.windowAtPoint({20, 20})->pid, 43);
    EXPECT_FALSE(joined.windowAtPoint({1500, 20}));
    EXPECT_EQ(joined.cgWindowIDAtPoint({1500, 20}), std::nullopt);
  });
}

TEST_F(ApplicationWindowTest, answersSingleQuestionsAboutWindows) {
  const auto other = world.desktop.application("Mail", "com.example.mail", 43);
  other.window("Behind", rect(0, 0, 500, 500));
  notes.window("Before", rect(100, 100, 200, 200));
  notes.activate();
  WindowUtilities utilities(world.desktop.windowServer(), broker);
  world.run([&] {
    const auto front = utilities.windowNumber({150, 150}, 0);
    ASSERT_TRUE(front);
    EXPECT_EQ(utilities.windowOwnerPID(*front), pid);
    EXPECT_EQ(utilities.windowFrame(*front), rect(100, 100, 200, 200));
    EXPECT_TRUE(utilities.isWindowValid(*front));
    const auto behind = utilities.windowNumber({150, 150}, *front);
    ASSERT_TRUE(behind);
    EXPECT_EQ(utilities.windowOwnerPID(*behind), 43);
    EXPECT_EQ(utilities.windowNumber({150, 150}, *behind), std::nullopt);
    EXPECT_FALSE(utilities.isWindowValid(999'999));
    EXPECT_FALSE(utilities.isWindowValid(0));
    EXPECT_EQ(utilities.screen({5, 5})->frame, rect(0, 0, 1920, 1200));
    EXPECT_FALSE(utilities.screen({-5, 5}));
  });
}

TEST_F(ApplicationWindowTest, takesASilentWindowServerForOneWithoutWindows) {
  notes.window("Shopping", rect(10, 20, 400, 300));
  world.desktop.windowServer().stopAnswering();
  world.run([&] { EXPECT_THAT(titles(), ElementsAre()); });
}

}  // namespace
}  // namespace tavik
