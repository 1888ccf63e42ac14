#include "AccessibilitySupport/Input/MouseEventTarget.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "InputDesk.h"

namespace tavik {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;
using Button = MouseEventTarget::MouseButton;
using Missing = SimulatedEventPosting::Missing;
using namespace InputEventType;

constexpr MouseEventTarget::TargetGeometry geometry{{{100, 50}, {400, 300}}, false};

class MouseEventTargetTest : public testing::Test {
 protected:
  MouseEventTarget target(std::optional<std::uint32_t> windowID = {},
                          std::optional<MouseEventTarget::TargetGeometry> geometry = {}) {
    return MouseEventTarget(desk.port, InputDesk::pid, windowID, geometry);
  }

  InputDesk desk;
};

TEST_F(MouseEventTargetTest, postsWithoutAWindowToTheProcessAlone) {
  target().click({30, 40}, Button::left, 1, false);
  EXPECT_THAT(desk.types(), ElementsAre(leftMouseDown, leftMouseUp));
  for (const auto& posted : desk.port.posted()) {
    EXPECT_EQ(posted.pid, InputDesk::pid);
    EXPECT_EQ(posted.event.windowNumber, 0u);
    EXPECT_EQ(posted.event.location, (Point{30, 40}));
    EXPECT_EQ(posted.event.windowLocation, std::nullopt);
    EXPECT_THAT(posted.event.integerFields, UnorderedElementsAre(Pair(41, InputDesk::pid), Pair(3, 0), Pair(7, 3)));
  }
}

TEST_F(MouseEventTargetTest, namesTheWindowUnderThePointerAndThePlaceInIt) {
  target(9, geometry).click({130, 90}, Button::right, 1, false);
  EXPECT_THAT(desk.types(), ElementsAre(rightMouseDown, rightMouseUp));
  for (const InputEvent& event : desk.events()) {
    EXPECT_EQ(event.windowNumber, 9u);
    EXPECT_EQ(event.windowLocation, (Point{30, 40}));
    EXPECT_THAT(event.integerFields,
                UnorderedElementsAre(Pair(41, InputDesk::pid), Pair(3, 1), Pair(7, 3), Pair(91, 9), Pair(92, 9)));
  }
}

TEST_F(MouseEventTargetTest, countsWindowLocalYFromTheBottomOfAFlippedWindow) {
  auto flipped = geometry;
  flipped.flipped = true;
  target(9, flipped).move({130, 90});
  EXPECT_EQ(desk.events().front().windowLocation, (Point{30, 260}));
}

TEST_F(MouseEventTargetTest, countsEachClickOfATripleClickUnderANumberOfItsOwn) {
  target().click({0, 0}, Button::left, 3, false);
  EXPECT_THAT(desk.types(), ElementsAre(leftMouseDown, leftMouseUp, leftMouseDown, leftMouseUp, leftMouseDown,
                                        leftMouseUp));
  EXPECT_THAT(desk.of([](const InputEvent& event) { return event.clickCount; }), ElementsAre(1, 1, 2, 2, 3, 3));
  const auto numbers = desk.of([](const InputEvent& event) { return event.eventNumber; });
  EXPECT_THAT(numbers, ElementsAre(numbers[0], numbers[0], numbers[0] + 1, numbers[0] + 1, numbers[0] + 2,
                                   numbers[0] + 2));
}

TEST_F(MouseEventTargetTest, movesFirstUnderANumberOfItsOwn) {
  target().click({5, 6}, Button::middle, 1, true);
  EXPECT_THAT(desk.types(), ElementsAre(mouseMoved, otherMouseDown, otherMouseUp));
  const auto events = desk.events();
  EXPECT_EQ(events[1].eventNumber, events[0].eventNumber + 1);
  EXPECT_EQ(events[0].clickCount, 1);
  EXPECT_EQ(events[0].integerFields.at(3), 0);
  EXPECT_EQ(events[1].integerFields.at(3), 2);
}

TEST_F(MouseEventTargetTest, dragsInThreeStepsUnderOneNumber) {
  target().drag({0, 0}, {10, 20}, Button::left);
  EXPECT_THAT(desk.types(),
              ElementsAre(leftMouseDown, leftMouseDragged, leftMouseDragged, leftMouseDragged, leftMouseUp));
  EXPECT_THAT(desk.of([](const InputEvent& event) { return *event.location; }),
              ElementsAre(Point{0, 0}, Point{0, 0}, Point{5, 10}, Point{10, 20}, Point{10, 20}));
  const auto numbers = desk.of([](const InputEvent& event) { return event.eventNumber; });
  EXPECT_THAT(numbers, Each(numbers[0]));
  EXPECT_THAT(desk.events(), Each(Field(&InputEvent::clickCount, 1)));
}

TEST_F(MouseEventTargetTest, dragsFromAPointToItselfInFiveEventsAsWell) {
  target().drag({3, 3}, {3, 3}, Button::right);
  EXPECT_THAT(desk.types(),
              ElementsAre(rightMouseDown, rightMouseDragged, rightMouseDragged, rightMouseDragged, rightMouseUp));
}

TEST_F(MouseEventTargetTest, postsNothingWhenOneEventOfASequenceCannotBeMade) {
  desk.port.failAfter(3);
  try {
    target().click({0, 0}, Button::left, 2, false);
    FAIL() << "the click succeeded";
  } catch (const MouseEventTarget::Error& error) {
    EXPECT_EQ(error.kind(), MouseEventTarget::Error::Kind::failedToCreateCGEvent);
  }
  EXPECT_THAT(desk.port.posted(), IsEmpty());
}

TEST_F(MouseEventTargetTest, tellsWhichStageOfMakingAnEventFailed) {
  desk.port.takeAway(Missing::nsEvent);
  try {
    target().move({0, 0});
    FAIL() << "the move succeeded";
  } catch (const MouseEventTarget::Error& error) {
    EXPECT_EQ(error.kind(), MouseEventTarget::Error::Kind::failedToCreateNSEvent);
  }
}

TEST_F(MouseEventTargetTest, leavesOutWhatThePlatformLacks) {
  for (const auto part : {Missing::integerFields, Missing::location, Missing::windowLocation, Missing::timestamp}) {
    desk.port.takeAway(part);
  }
  target(9, geometry).move({130, 90});
  const InputEvent event = desk.events().front();
  EXPECT_THAT(event.integerFields, IsEmpty());
  EXPECT_EQ(event.location, std::nullopt);
  EXPECT_EQ(event.windowLocation, std::nullopt);
}

TEST_F(MouseEventTargetTest, deliversNothingAndFailsNotWhereNothingCanBePosted) {
  desk.port.takeAway(Missing::postToPid);
  EXPECT_NO_THROW(target().click({0, 0}, Button::left, 1, false));
  EXPECT_THAT(desk.port.posted(), IsEmpty());
}

TEST_F(MouseEventTargetTest, stampsEventsWithTheTimeOfTheirPosting) {
  desk.run([&] {
    desk.world.scheduler.sleep(milliseconds(2500));
    target().move({0, 0});
  });
  EXPECT_EQ(desk.events().front().timestamp, static_cast<std::uint64_t>(desk.port.systemUptime() * 1e9));
  EXPECT_GE(desk.events().front().timestamp, 2'500'000'000u);
}

TEST(MouseEventTarget, neverSharesAnEventNumberBetweenTwoClicksAtOnce) {
  exploreSeeds(200, [](SimulatedScheduler& scheduler) {
    Journal journal(scheduler);
    SimulatedEventPosting port(scheduler, journal);
    scheduler.run([&] {
      const auto click = [&] { MouseEventTarget(port, 1).click({0, 0}, Button::left, 2, true); };
      Task other = scheduler.start("other", click);
      click();
      other.join();
    });
    std::map<std::int64_t, std::vector<std::uint32_t>> typesByNumber;
    for (const auto& posted : port.posted()) typesByNumber[posted.event.eventNumber].push_back(posted.event.type);
    EXPECT_EQ(typesByNumber.size(), 6u);
    for (const auto& [number, types] : typesByNumber) {
      if (types.size() == 1) {
        EXPECT_THAT(types, ElementsAre(mouseMoved));
      } else {
        EXPECT_THAT(types, ElementsAre(leftMouseDown, leftMouseUp));
      }
    }
  });
}

}  // namespace
}  // namespace tavik
