#include "AccessibilitySupport/Input/ScrollEventSynthesizer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <numeric>

#include "InputDesk.h"

namespace tavik {
namespace {

using enum ScrollDirection;
using testing::Each;
using testing::ElementsAre;
using testing::Pair;
using testing::SizeIs;
using testing::UnorderedElementsAre;
using Delta = ScrollEventSynthesizer::Delta;

Delta deltas(ScrollDirection direction, double pages, double axisLength) {
  return ScrollEventSynthesizer::computeDeltas(direction, pages, axisLength);
}

TEST(ScrollEventSynthesizer, scrollsByPagesOfTheAxis) {
  EXPECT_EQ(deltas(down, 0.5, 400), Delta(0, -200));
  EXPECT_EQ(deltas(up, 2, 300), Delta(0, 600));
  EXPECT_EQ(deltas(left, 1, 300), Delta(-300, 0));
  EXPECT_EQ(deltas(right, 1, 300), Delta(300, 0));
}

TEST(ScrollEventSynthesizer, takesAPageToBeAHundredPixelsAtLeast) { EXPECT_EQ(deltas(up, 1, 60), Delta(0, 100)); }

TEST(ScrollEventSynthesizer, doesNotMoveByDistancesThatCannotBeCounted) {
  EXPECT_EQ(deltas(up, 1e300, 400), Delta(0, 0));
  EXPECT_EQ(deltas(up, INFINITY, 400), Delta(0, 0));
  EXPECT_EQ(deltas(up, NAN, 400), Delta(0, 0));
  EXPECT_EQ(deltas(up, 9223372036854775808.0, 1), Delta(0, 0));
}

TEST(ScrollEventSynthesizer, splitsAGestureIntoEventsOfFiftyPixels) {
  EXPECT_THAT(ScrollEventSynthesizer::scrollEventDeltaChunks({0, -200}), ElementsAre(Delta(0, -50), Delta(0, -50), Delta(0, -50), Delta(0, -50)));
  EXPECT_THAT(ScrollEventSynthesizer::scrollEventDeltaChunks({0, 0}), ElementsAre(Delta(0, 0)));
  EXPECT_THAT(ScrollEventSynthesizer::scrollEventDeltaChunks({51, 0}), ElementsAre(Delta(26, 0), Delta(25, 0)));
}

TEST(ScrollEventSynthesizer, neverSplitsAGestureIntoMoreThanThirtyTwoEvents) {
  const auto exact = ScrollEventSynthesizer::scrollEventDeltaChunks({0, 1600});
  EXPECT_THAT(exact, SizeIs(32));
  EXPECT_THAT(exact, Each(Delta(0, 50)));
  const auto one = ScrollEventSynthesizer::scrollEventDeltaChunks({0, 1601});
  EXPECT_THAT(one, SizeIs(32));
  EXPECT_EQ(one.front(), Delta(0, 51));
  EXPECT_EQ(one.back(), Delta(0, 50));
}

TEST(ScrollEventSynthesizer, losesNoPixelBySplitting) {
  for (const std::int64_t distance : {-99'999, -33, 7, 49, 12'345}) {
    std::int64_t sum = 0;
    for (const Delta& chunk : ScrollEventSynthesizer::scrollEventDeltaChunks({distance, 0})) sum += chunk.first;
    EXPECT_EQ(sum, distance);
  }
}

TEST(ScrollEventSynthesizer, postsTheGestureToTheWindowAtThePoint) {
  InputDesk desk;
  ScrollEventSynthesizer target(desk.port, InputDesk::pid, 9, MouseEventTarget::TargetGeometry{{{100, 50}, {400, 300}}});
  target.scroll(down, 1, {150, 90}, 100);
  EXPECT_THAT(desk.world.desktop.journal().lines("post"), ElementsAre("post scroll 0 -50", "post scroll 0 -50"));
  for (const InputEvent& event : desk.events()) {
    EXPECT_EQ(event.location, (Point{150, 90}));
    EXPECT_EQ(event.windowLocation, (Point{50, 40}));
    EXPECT_THAT(event.integerFields, UnorderedElementsAre(Pair(41, InputDesk::pid), Pair(91, 9), Pair(92, 9)));
  }
}

TEST(ScrollEventSynthesizer, stopsWhenAnEventCannotBeMadeAndKeepsWhatWasPosted) {
  InputDesk desk;
  desk.port.failAfter(1);
  try {
    ScrollEventSynthesizer(desk.port, InputDesk::pid).scroll(down, 1, {0, 0}, 100);
    FAIL() << "the gesture succeeded";
  } catch (const ScrollEventSynthesizer::Error& error) {
    EXPECT_EQ(error.kind(), ScrollEventSynthesizer::Error::Kind::failedToCreateCGEvent);
  }
  EXPECT_THAT(desk.port.posted(), SizeIs(1));
}

TEST(ScrollEventSynthesizer, failsWhereNothingCanBePosted) {
  InputDesk desk;
  desk.port.takeAway(SimulatedEventPosting::Missing::postToPid);
  EXPECT_THROW(ScrollEventSynthesizer(desk.port, InputDesk::pid).scroll(up, 1, {0, 0}, 100),
               ScrollEventSynthesizer::Error);
}

TEST(ScrollEventSynthesizer, postsOneEventThatDoesNotMoveForADistanceThatCannotBeCounted) {
  InputDesk desk;
  ScrollEventSynthesizer(desk.port, InputDesk::pid).scroll(up, 1e300, {0, 0}, 400);
  EXPECT_THAT(desk.world.desktop.journal().lines("post"), ElementsAre("post scroll 0 0"));
}

TEST(ScrollEventSynthesizer, clampsAnEventToWhatAWheelCanTell) {
  InputDesk desk;
  ScrollEventSynthesizer(desk.port, InputDesk::pid).scroll(up, 1e12, {0, 0}, 100);
  EXPECT_THAT(desk.of([](const InputEvent& event) { return event.wheel1; }), Each(2147483647));
}

}  // namespace
}  // namespace tavik
