#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "AccessibilitySupport/Focus/EventTap.h"
#include "AccessibilitySupport/Focus/ProcessFocusClassification.h"
#include "AccessibilitySupport/Focus/SyntheticAppFocusEnforcer.h"
#include "AccessibilitySupport/Focus/SystemFocusStealPreventer.h"
#include "AccessibilitySupport/Focus/SystemFrontmostApplicationTracker.h"
#include "Tests/Support/SimulatedWorld.h"

namespace tavik {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using Class = ProcessFocusClassification;

class FocusProtection : public ::testing::Test {
 protected:
  static constexpr std::int64_t typingFocusChanged = 0x4000;
  static constexpr std::int64_t keyFocusChanged = 0x8000;
  static constexpr std::int64_t newFront = 1;

  /// A word of the window server to a process; false when it was held back.
  bool notify(std::int64_t subtype, std::int64_t pid = 0, std::int64_t word = 0) {
    return taps.happens(InputEventType::processNotification, std::nullopt,
                        {{InputEventField::processNotificationSubtype, subtype},
                         {InputEventField::processNotificationPID, pid},
                         {InputEventField::processNotificationWord, word}});
  }

  SimulatedWorld world;
  SimulatedEventTaps& taps = world.desktop.eventTaps();
  SimulatedApplication notes = world.desktop.application("Notes", "com.example.notes", 42);
  SimulatedApplication terminal = world.desktop.application("Terminal", "com.apple.Terminal", 77);
  SimulatedApplication mail = world.desktop.application("Mail", "com.example.mail", 79);
  SimulatedApplication host = world.desktop.application("Host", "com.tavik.ide", 78);
};

TEST(ProcessFocus, isClassified) {
  EXPECT_EQ(classifyProcessFocus("com.apple.Terminal", 77, 42), Class::disallowedThief);
  EXPECT_EQ(classifyProcessFocus("com.bitwarden.desktop", 77, 42), Class::disallowedThief);
  EXPECT_EQ(classifyProcessFocus("com.apple.Terminal", 42, 42), Class::protectedTarget);
  EXPECT_EQ(classifyProcessFocus("com.apple.Terminal", 0, 0), Class::disallowedThief) << "no process is protected";
  EXPECT_EQ(classifyProcessFocus("com.tavik.Tavik", 5, 42), Class::trustedModelHost);
  const std::set<std::string> both = {"com.example.both"};
  EXPECT_EQ(classifyProcessFocus("com.example.both", 5, 42, both, both), Class::trustedModelHost) << "never a thief";
  EXPECT_EQ(classifyProcessFocus("com.example.mail", 5, 42), Class::allowed);
  EXPECT_EQ(classifyProcessFocus("", 5, 42), Class::allowed);
  EXPECT_EQ(classifyProcessFocus(std::nullopt, 5, 42), Class::allowed);
}

TEST_F(FocusProtection, listensWhereProcessesAreToldOfTheFocus) {
  world.run([&] {
    SystemFocusStealPreventer preventer(taps, world.desktop.workspace());
    preventer.start(42);
    ASSERT_THAT(taps.requests(), SizeIs(1));
    const EventTapRequest request = taps.requests()[0];
    EXPECT_THAT(request.eventTypes, ElementsAre(21u));
    EXPECT_EQ(request.options, EventTapOptions::defaultTap);
    EXPECT_EQ(request.threadName, "EventTap annotatedSessionEventTap tailAppend");
    EXPECT_EQ(request.qualityOfService, 33);
    preventer.stop();
    preventer.stop();
    EXPECT_EQ(taps.listenerCount(), 0u);
  });
}

TEST_F(FocusProtection, noticesAThiefAndNobodyElse) {
  world.run([&] {
    SystemFocusStealPreventer preventer(taps, world.desktop.workspace());
    std::vector<std::int32_t> lost;
    preventer.setTargetLostFocusHandler([&](std::int32_t pid) { lost.push_back(pid); });
    preventer.start(42);
    EXPECT_TRUE(notify(newFront, 78));
    EXPECT_TRUE(notify(newFront, 42));
    EXPECT_TRUE(notify(newFront, 999)) << "no such process";
    EXPECT_TRUE(notify(newFront, 79)) << "on neither list";
    EXPECT_THAT(lost, IsEmpty());
    EXPECT_TRUE(notify(newFront, 77, 3));
    EXPECT_THAT(lost, ElementsAre(42));
    EXPECT_TRUE(notify(newFront, 79)) << "does not end the theft";
    EXPECT_TRUE(notify(newFront, 77)) << "the same again: the focus came back";
    EXPECT_TRUE(notify(newFront, 77));
    EXPECT_THAT(lost, ElementsAre(42, 42));
    EXPECT_TRUE(preventer.isDisallowedThief(77));
    EXPECT_FALSE(preventer.isDisallowedThief(78));
    EXPECT_FALSE(preventer.isDisallowedThief(999));
  });
}

TEST_F(FocusProtection, holdsBackTheWordOfALossOnlyFromAProtectedThief) {
  world.run([&] {
    SystemFocusStealPreventer preventer(taps, world.desktop.workspace());
    preventer.start(77);
    EXPECT_TRUE(notify(keyFocusChanged)) << "nobody took anything";
    notify(newFront, 77);
    EXPECT_TRUE(notify(keyFocusChanged)) << "the protected process is no thief";
    preventer.start(42);
    notify(newFront, 77);
    EXPECT_TRUE(notify(typingFocusChanged)) << "the loss is not the thief's";
    preventer.start(77);
    EXPECT_FALSE(notify(keyFocusChanged));
    EXPECT_FALSE(notify(typingFocusChanged));
    EXPECT_TRUE(notify(newFront, 77)) << "the focus came back";
    EXPECT_TRUE(notify(keyFocusChanged));
  });
}

TEST_F(FocusProtection, doesNotMatchAnAccessoryWithAPlainNumber) {
  world.run([&] {
    terminal.describe([](RunningApplication& record) { record.activationPolicy = ActivationPolicy::accessory; });
    SystemFocusStealPreventer preventer(taps, world.desktop.workspace());
    int lost = 0;
    preventer.setTargetLostFocusHandler([&](std::int32_t) { ++lost; });
    preventer.start(42);
    notify(newFront, 77);
    notify(newFront, 77);
    EXPECT_EQ(lost, 2) << "its return is not recognised";
  });
}

TEST_F(FocusProtection, endsTheBeliefAlsoWhenTheBodyThrows) {
  SystemFocusStealPreventer preventer(taps, world.desktop.workspace());
  EXPECT_EQ(preventer.withSuppression(42, [&] { return preventer.applicationBelievesItHasFocus(); }), true);
  EXPECT_FALSE(preventer.applicationBelievesItHasFocus());
  EXPECT_THROW(preventer.withSuppression(42, [&] { throw std::runtime_error("x"); }), std::runtime_error);
  EXPECT_FALSE(preventer.applicationBelievesItHasFocus());
}

TEST_F(FocusProtection, goesOnWithoutATap) {
  world.run([&] {
    taps.refuse();
    SystemFocusStealPreventer preventer(taps, world.desktop.workspace());
    preventer.start(42);
    EXPECT_EQ(preventer.protectedPID(), 42);
    preventer.stop();
  });
}

// Taps

TEST_F(FocusProtection, startsATapOnceAndStopsItAsOftenAsAsked) {
  world.run([&] {
    int heard = 0;
    EventTap tap(taps, EventTap::clickEventTap());
    tap.stop();
    const auto hear = [&](const TappedEvent&) {
      ++heard;
      return EventTapVerdict::pass;
    };
    tap.start(hear);
    tap.start(hear);
    EXPECT_EQ(taps.listenerCount(), 1u);
    taps.userDoes(InputEventType::rightMouseDown, 42);
    taps.userDoes(InputEventType::keyDown, 42);
    EXPECT_EQ(heard, 1);
    tap.stop();
    tap.stop();
    taps.userDoes(InputEventType::rightMouseDown, 42);
    EXPECT_EQ(heard, 1);
    EXPECT_FALSE(tap.isRunning());
  });
}

TEST_F(FocusProtection, goesOnAfterTheTapWasTooSlowAndStopsWhenTheUserDisabledIt) {
  world.run([&] {
    int heard = 0;
    EventTap tap(taps, EventTap::keyboardEventTap(42));
    tap.start([&](const TappedEvent&) {
      ++heard;
      return EventTapVerdict::pass;
    });
    taps.disableAll(EventTapEventType::disabledByTimeout);
    taps.userDoes(InputEventType::keyDown, 42);
    EXPECT_EQ(heard, 1);
    taps.userDoes(InputEventType::keyDown, 43);
    EXPECT_EQ(heard, 1) << "of one process only";
    taps.disableAll(EventTapEventType::disabledByUserInput);
    taps.userDoes(InputEventType::keyDown, 42);
    EXPECT_EQ(heard, 1);
  });
}

TEST(EventTapFactories, askForTheirTypes) {
  const auto mouse = EventTap::mouseEventTaps(7);
  EXPECT_THAT(mouse.eventTypes, ElementsAre(1u, 2u, 3u, 4u, 6u, 7u, 25u, 26u, 27u));
  EXPECT_EQ(mouse.targetPID, 7);
  EXPECT_EQ(mouse.location, EventTapLocation::sessionEventTap);
  EXPECT_EQ(mouse.options, EventTapOptions::listenOnly);
  EXPECT_TRUE(mouse.shouldAutoreenable);
  EXPECT_THAT(EventTap::keyboardEventTap(7).eventTypes, ElementsAre(10u));
  EXPECT_STREQ(eventTapLocationName(EventTapLocation::hidEventTap), "hidEventTap");
}

// Who is in front

TEST_F(FocusProtection, tellsWhenAnotherApplicationComesToTheFront) {
  world.run([&] {
    notes.activate();
    SystemFrontmostApplicationTracker tracker(world.desktop.workspace(), world.scheduler);
    EXPECT_EQ(tracker.frontmostApplication()->pid, 42);
    std::vector<std::pair<int, int>> changes;
    tracker.addObserver(&changes, [&](const auto& now, const auto& before) {
      changes.emplace_back(before ? before->pid : 0, now ? now->pid : 0);
    });
    host.activate();
    host.exit();
    tracker.removeObserver(&changes);
    notes.activate();
    EXPECT_THAT(changes, ElementsAre(std::pair(42, 78), std::pair(78, 0)));
    EXPECT_EQ(tracker.frontmostApplication()->pid, 42);
  });
}

TEST_F(FocusProtection, raisesAnEnforcedApplicationUntilItSucceedsOrTenTimes) {
  world.run([&] {
    notes.activate();
    SystemFrontmostApplicationTracker tracker(world.desktop.workspace(), world.scheduler);
    {
      SyntheticAppFocusEnforcer enforcer(world.desktop.eventPosting(), world.desktop.platform().accessibility, tracker,
                                         world.scheduler);
      enforcer.postSyntheticFocusEvent();
      EXPECT_THAT(world.desktop.eventPosting().posted(), IsEmpty()) << "nothing is enforced";
      enforcer.startEnforcing(42);
      EXPECT_EQ(enforcer.state(), (SyntheticAppFocusEnforcer::State{true, 42}));
      auto refusal = notes.element().on(AXCall::perform("AXRaise")).answers(AXError::failure);
      host.activate();
      EXPECT_THAT(world.desktop.eventPosting().posted(), SizeIs(1));
      world.scheduler.sleep(milliseconds(425));
      EXPECT_EQ(notes.element().calls(AXOperation::performAction, "AXRaise"), 9);
      world.scheduler.sleep(seconds(2));
      EXPECT_EQ(notes.element().calls(AXOperation::performAction, "AXRaise"), 10);
      enforcer.stopEnforcing();
      terminal.activate();
      world.scheduler.sleep(seconds(2));
      EXPECT_EQ(notes.element().calls(AXOperation::performAction, "AXRaise"), 10);
      refusal.remove();
      notes.element().on(AXCall::perform("AXRaise")).answers(AXError::failure).times(2);
      notes.element().onAction("AXRaise", [] {});
      enforcer.startEnforcing(42);
      host.activate();
      world.scheduler.sleep(seconds(2));
      EXPECT_EQ(notes.element().calls(AXOperation::performAction, "AXRaise"), 13) << "until it was raised";
    }
  });
}

TEST_F(FocusProtection, endsNoEnforcementWhileItsHandlerRuns) {
  for (std::uint64_t seed = 0; seed < 200; ++seed) {
    SimulatedWorld other(seed);
    auto mail = other.desktop.application("Mail", "com.example.mail", 50);
    other.run([&] {
      SystemFrontmostApplicationTracker tracker(other.desktop.workspace(), other.scheduler);
      bool isRunning = false;
      const int observer = 0;
      tracker.addObserver(&observer, [&](const auto&, const auto&) {
        isRunning = true;
        other.scheduler.sleep(milliseconds(10));
        isRunning = false;
      });
      Task change = other.scheduler.start("change", [&] { mail.activate(); });
      other.scheduler.sleep(milliseconds(static_cast<std::int64_t>(other.scheduler.random(12))));
      tracker.removeObserver(&observer);
      EXPECT_FALSE(isRunning) << "seed " << seed;
      change.join();
      EXPECT_FALSE(isRunning);
    });
  }
}

}  // namespace
}  // namespace tavik
