#include "AccessibilitySupport/Focus/ComputerUseUserInteractionMonitor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "AccessibilitySupport/Focus/UserInputObserver.h"
#include "PlatformInterfaces/EventPostingPort.h"
#include "Tests/Support/LogCapture.h"
#include "Tests/Support/SimulatedWorld.h"

namespace tavik {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* notes = "com.example.notes";
constexpr const char* stillInteracting = "The user is still interacting with 'Notes'. Wait 5 seconds and retry.";
constexpr const char* changed =
    "The user changed 'Notes'. Re-query the latest state with get_app_state before sending more actions.";

class UserInteractionMonitorTest : public testing::Test {
 protected:
  void run(const std::function<void()>& body) {
    world.run([&] {
      monitor.emplace(world.scheduler);
      body();
      monitor.reset();
    });
  }
  void sleep(std::int64_t ms) { world.scheduler.sleep(milliseconds(ms)); }

  /// The words of the refusal; empty when an action may go on.
  std::string refusal() {
    try {
      monitor->guardAction(notes);
      return "";
    } catch (const UserInteractionError& error) {
      return error.message();
    }
  }

  SimulatedWorld world;
  LogCapture log;
  std::optional<ComputerUseUserInteractionMonitor> monitor;
};

TEST_F(UserInteractionMonitorTest, letsActionsPassWhenTheUserDidNothing) {
  run([&] {
    const MonotonicTime start = world.scheduler.now();
    EXPECT_EQ(refusal(), "");
    EXPECT_EQ(world.scheduler.now(), start);
  });
}

TEST_F(UserInteractionMonitorTest, refusesActionsForFiveSecondsAfterAnInteraction) {
  run([&] {
    monitor->recordInterruption(notes, "Notes");
    EXPECT_EQ(refusal(), stillInteracting);
    sleep(5000);
    EXPECT_EQ(refusal(), "");
    EXPECT_FALSE(monitor->intervention(notes));
  });
}

TEST_F(UserInteractionMonitorTest, waitsAMomentForAnInteractionThatIsJustEnding) {
  run([&] {
    monitor->recordInterruption(notes, "Notes");
    sleep(4900);
    const MonotonicTime start = world.scheduler.now();
    EXPECT_EQ(refusal(), "");
    EXPECT_EQ(world.scheduler.now() - start, milliseconds(250));
  });
}

TEST_F(UserInteractionMonitorTest, countsFromTheLaterOfTwoInteractions) {
  run([&] {
    monitor->recordInterruption(notes, "Notes");
    sleep(3000);
    monitor->recordInterruption(notes, "Notes");
    sleep(2500);
    EXPECT_EQ(refusal(), stillInteracting);
    sleep(2600);
    EXPECT_EQ(refusal(), "");
  });
}

TEST_F(UserInteractionMonitorTest, keepsAStaleStateUntilSomeoneLooked) {
  run([&] {
    monitor->recordAppChanged(notes, "Notes");
    sleep(60'000);
    EXPECT_EQ(refusal(), changed);
    monitor->clearIntervention(notes);
    EXPECT_EQ(refusal(), "");
  });
}

TEST_F(UserInteractionMonitorTest, doesNotLetAnOldInteractionClearAStaleState) {
  run([&] {
    monitor->recordInterruption(notes, "Notes");
    sleep(1000);
    monitor->recordAppChanged(notes, "Notes");
    sleep(10'000);
    EXPECT_EQ(refusal(), changed);
  });
}

TEST_F(UserInteractionMonitorTest, bypassesStaleStatesButNoInteractions) {
  run([&] {
    monitor->setBypassStaleStateCheck(true);
    monitor->recordAppChanged(notes, "Notes");
    EXPECT_EQ(refusal(), "");
    monitor->recordInterruption(notes, "Notes");
    EXPECT_EQ(refusal(), stillInteracting);
  });
}

TEST_F(UserInteractionMonitorTest, findsAStateThatBecameStaleDuringItsWait) {
  run([&] {
    monitor->recordInterruption(notes, "Notes");
    Task change = world.scheduler.start("change", [&] {
      sleep(100);
      monitor->recordAppChanged(notes, "Notes");
    });
    EXPECT_EQ(refusal(), changed);
    change.join();
  });
}

TEST_F(UserInteractionMonitorTest, endsItsWaitWithoutAnErrorWhenCancelled) {
  run([&] {
    monitor->recordInterruption(notes, "Notes");
    std::string answer = "none";
    Task guarded = world.scheduler.start("guarded", [&] { answer = refusal(); });
    sleep(100);
    guarded.cancel();
    guarded.join();
    EXPECT_EQ(answer, "");
  });
}

TEST_F(UserInteractionMonitorTest, keepsApplicationsApart) {
  run([&] {
    monitor->recordInterruption("com.example.mail", "Mail");
    EXPECT_EQ(refusal(), "");
  });
}

TEST_F(UserInteractionMonitorTest, countsActionsOfTheMonitoredProcessOnlyAndNeverBelowNone) {
  run([&] {
    monitor->startMonitoring(notes, "Notes", 42);
    monitor->beginToolAction(43);
    EXPECT_EQ(monitor->toolActionDepth(), 0);
    monitor->beginToolAction(42);
    EXPECT_EQ(monitor->toolActionDepth(), 1);
    monitor->endToolAction(43, milliseconds(1));
    EXPECT_EQ(monitor->toolActionDepth(), 1);
    monitor->endToolAction(42, milliseconds(-5));
    monitor->endToolAction(42, milliseconds(1));
    EXPECT_EQ(monitor->toolActionDepth(), 0);
  });
}

TEST_F(UserInteractionMonitorTest, endsAnActionAlsoWhenAnotherApplicationWasLookedAtMeanwhile) {
  run([&] {
    monitor->startMonitoring(notes, "Notes", 42);
    monitor->beginToolAction(42);
    monitor->startMonitoring("com.example.mail", "Mail", 50);
    monitor->endToolAction(42, milliseconds(300));
    EXPECT_EQ(monitor->toolActionDepth(), 0);
    EXPECT_TRUE(monitor->isToolGenerated()) << "its echo is on the way";
    monitor->endToolAction(42, milliseconds(9000));
    sleep(301);
    EXPECT_FALSE(monitor->isToolGenerated());
  });
}

TEST_F(UserInteractionMonitorTest, forgetsEverythingAtTheEndOfATurn) {
  run([&] {
    monitor->startMonitoring(notes, "Notes", 42);
    monitor->beginToolAction(42);
    monitor->recordAppChanged(notes, "Notes");
    monitor->reset();
    EXPECT_EQ(refusal(), "");
    EXPECT_EQ(monitor->toolActionDepth(), 0);
    EXPECT_FALSE(monitor->isToolGenerated());
    EXPECT_EQ(monitor->currentAppIdentifier(), std::nullopt);
  });
}

TEST_F(UserInteractionMonitorTest, tellsWhoeverWantsToKnow) {
  run([&] {
    std::vector<std::string> told;
    monitor->setOnAppInterrupted([&](const std::string& identifier) { told.push_back(identifier); });
    monitor->recordInterruption(notes, "Notes");
    monitor->recordAppChanged(notes, "Notes");
    EXPECT_THAT(told, ElementsAre(notes));
  });
}

TEST(UserInteractionMonitor, leavesOneCleanUpWhateverIsRecordedAtOnce) {
  exploreSeeds(1000, [](SimulatedScheduler& scheduler) {
    scheduler.run([&] {
      ComputerUseUserInteractionMonitor monitor(scheduler);
      std::vector<Task> tasks;
      for (int i = 0; i < 3; ++i) {
        tasks.push_back(scheduler.start("user", [&] { monitor.recordInterruption(notes, "Notes"); }));
      }
      tasks.push_back(scheduler.start("look", [&] { monitor.clearIntervention(notes); }));
      for (auto& task : tasks) task.join();
      scheduler.sleep(seconds(5.1));
      EXPECT_FALSE(monitor.intervention(notes));
      monitor.recordAppChanged(notes, "Notes");
      scheduler.sleep(seconds(20));
      EXPECT_TRUE(monitor.intervention(notes));
    });
  });
}

// The observer of the user

class UserInputObserverTest : public UserInteractionMonitorTest {
 protected:
  void observe(const std::function<void()>& body) {
    run([&] {
      monitor->startMonitoring(notes, "Notes", 42);
      UserInputObserver observer(taps, *monitor);
      body();
    });
  }
  SimulatedEventTaps& taps = world.desktop.eventTaps();
};

TEST_F(UserInputObserverTest, takesClicksKeysAndWheelsInTheApplicationForInteractions) {
  observe([&] {
    for (const auto type : {InputEventType::leftMouseDown, InputEventType::rightMouseDown,
                            InputEventType::otherMouseDown, InputEventType::scrollWheel, InputEventType::keyDown}) {
      taps.userDoes(type, 42);
      EXPECT_EQ(refusal(), stillInteracting) << type;
      monitor->clearIntervention(notes);
    }
  });
}

TEST_F(UserInputObserverTest, leavesMovesAndOtherApplicationsAlone) {
  observe([&] {
    taps.userDoes(InputEventType::mouseMoved, 42);
    taps.userDoes(InputEventType::leftMouseDown, 43);
    taps.userDoes(InputEventType::leftMouseDown, std::nullopt);
    EXPECT_EQ(refusal(), "");
  });
}

TEST_F(UserInputObserverTest, takesNoEchoOfAnActionForTheUser) {
  observe([&] {
    monitor->beginToolAction(42);
    taps.userDoes(InputEventType::leftMouseDown, 42);
    monitor->endToolAction(42, milliseconds(500));
    taps.userDoes(InputEventType::leftMouseDown, 42);
    EXPECT_EQ(refusal(), "");
    sleep(500);
    taps.userDoes(InputEventType::leftMouseDown, 42);
    EXPECT_EQ(refusal(), stillInteracting);
  });
}

TEST_F(UserInputObserverTest, saysThatNobodyMayListen) {
  taps.refuse();
  observe([&] { EXPECT_EQ(taps.listenerCount(), 0u); });
  EXPECT_EQ(log.only("user_input_observer_unavailable").level, LogLevel::warning);
}

TEST_F(UserInputObserverTest, stopsListeningWithItsEnd) {
  observe([&] { EXPECT_EQ(taps.listenerCount(), 1u); });
  EXPECT_EQ(taps.listenerCount(), 0u);
}

}  // namespace
}  // namespace tavik
