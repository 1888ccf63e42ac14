#include "TavikComputerUseRuntime/TurnLifecycle/ComputerUseTurnLifecycleCoordinator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "Base/Concurrency/SimulatedScheduler.h"
#include "Tests/Support/LogCapture.h"
#include "Tests/Support/SeedCount.h"

namespace tavik {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Fields = std::map<std::string, std::string>;

struct Turn {
  explicit Turn(SimulatedScheduler& scheduler) : scheduler(scheduler) {}

  SimulatedScheduler& scheduler;
  LogCapture log;
  std::vector<std::string> calls;
  /// How long each call of the presentation takes.
  Duration callDuration{};
  int running = 0;
  int requestsRunning = 0;
  ComputerUseTurnLifecycleCoordinator coordinator{scheduler,
                                                  {.authoritativeCleanup = [this] { call("clean up"); },
                                                   .suspend = [this] { call("suspend"); },
                                                   .resume = [this] { call("resume"); }}};

  void call(const std::string& name) {
    EXPECT_EQ(++running, 1) << "two calls of the presentation overlap";
    EXPECT_TRUE(name != "clean up" || requestsRunning == 0) << "a reset under a running request";
    calls.push_back(name);
    if (callDuration > Duration::zero()) scheduler.sleep(callDuration);
    --running;
  }
  void request(Duration duration = {}) {
    coordinator.toolRequestStarted();
    ++requestsRunning;
    if (duration > Duration::zero()) scheduler.sleep(duration);
    --requestsRunning;
    coordinator.toolRequestFinished();
  }
  void activate(const std::string& id) { coordinator.hostConversationStateChanged({id, true}); }
  void end(const std::string& id) { coordinator.hostConversationStateChanged({id, false}); }
};

void inTurn(const std::function<void(Turn&)>& body) {
  SimulatedScheduler scheduler;
  scheduler.run([&] {
    Turn turn(scheduler);
    body(turn);
  });
}

TEST(ComputerUseTurnLifecycleCoordinator, theEndOfTheBoundConversationCleansUpAtOnce) {
  inTurn([](Turn& turn) {
    turn.activate("c");
    turn.request();
    EXPECT_EQ(turn.coordinator.boundConversationID(), "c");
    turn.end("c");
    turn.scheduler.settle();
    EXPECT_THAT(turn.calls, ElementsAre("clean up"));
    EXPECT_FALSE(turn.coordinator.sessionIsActive());
    EXPECT_EQ(turn.coordinator.boundConversationID(), std::nullopt);
    const auto record = turn.log.only("computer_use_turn_deactivated");
    EXPECT_EQ(record.level, LogLevel::info);
    EXPECT_EQ(record.category, LogCategory::lifecycle);
    EXPECT_EQ(record.fields, (Fields{{"reason", "ipc_turn_ended"}}));
    turn.scheduler.sleep(seconds(100));
    EXPECT_THAT(turn.calls, ElementsAre("clean up"));
  });
}

TEST(ComputerUseTurnLifecycleCoordinator, aConversationThatBeginsAfterTheRequestIsBoundToo) {
  inTurn([](Turn& turn) {
    turn.request();
    turn.activate("c");
    EXPECT_EQ(turn.coordinator.boundConversationID(), "c");
    turn.end("c");
    turn.scheduler.settle();
    EXPECT_THAT(turn.calls, ElementsAre("clean up"));
  });
}

TEST(ComputerUseTurnLifecycleCoordinator, theEndOfAnotherConversationDoesNothing) {
  inTurn([](Turn& turn) {
    turn.activate("c");
    turn.request();
    turn.end("other");
    turn.scheduler.settle();
    EXPECT_THAT(turn.calls, IsEmpty());
  });
  inTurn([](Turn& turn) {
    turn.activate("c");
    turn.end("c");
    turn.scheduler.sleep(seconds(100));
    EXPECT_THAT(turn.calls, IsEmpty());
  });
}

TEST(ComputerUseTurnLifecycleCoordinator, aTurnThatEndsDuringARequestWaitsForIt) {
  inTurn([](Turn& turn) {
    turn.activate("c");
    Task first = turn.scheduler.start("first", [&] { turn.request(seconds(2)); });
    Task second = turn.scheduler.start("second", [&] { turn.request(seconds(5)); });
    turn.scheduler.sleep(seconds(1));
    turn.end("c");
    turn.scheduler.sleep(seconds(3));
    EXPECT_THAT(turn.calls, IsEmpty());
    turn.scheduler.sleep(seconds(1.5));
    EXPECT_THAT(turn.calls, ElementsAre("clean up"));
    first.join();
    second.join();
  });
}

TEST(ComputerUseTurnLifecycleCoordinator, fifteenSecondsOfSilenceHideThePresentationAndARequestBringsItBackFirst) {
  inTurn([](Turn& turn) {
    turn.request();
    turn.scheduler.sleep(seconds(14.9));
    EXPECT_THAT(turn.calls, IsEmpty());
    turn.scheduler.sleep(seconds(0.2));
    EXPECT_THAT(turn.calls, ElementsAre("suspend"));
    EXPECT_TRUE(turn.coordinator.sessionIsActive());
    EXPECT_TRUE(turn.coordinator.presentationIsSuspended());
    const auto record = turn.log.only("computer_use_presentation_suspended");
    EXPECT_EQ(record.level, LogLevel::info);
    EXPECT_EQ(record.category, LogCategory::lifecycle);
    EXPECT_EQ(record.fields, (Fields{{"reason", "turn_end_timeout"}}));
    turn.scheduler.sleep(seconds(100));
    turn.coordinator.toolRequestStarted();
    EXPECT_THAT(turn.calls, ElementsAre("suspend", "resume"));
    turn.coordinator.toolRequestFinished();
    turn.scheduler.sleep(seconds(16));
    EXPECT_THAT(turn.calls, ElementsAre("suspend", "resume", "suspend"));
  });
}

TEST(ComputerUseTurnLifecycleCoordinator, aRequestWithinFifteenSecondsCountsAnew) {
  inTurn([](Turn& turn) {
    for (int i = 0; i < 5; ++i) {
      turn.request();
      turn.scheduler.sleep(seconds(14));
    }
    turn.request(seconds(60));
    EXPECT_THAT(turn.calls, IsEmpty());
  });
}

TEST(ComputerUseTurnLifecycleCoordinator, aHiddenTurnThatEndsIsCleanedUp) {
  inTurn([](Turn& turn) {
    turn.activate("c");
    turn.request();
    turn.scheduler.sleep(seconds(20));
    turn.end("c");
    turn.scheduler.settle();
    EXPECT_THAT(turn.calls, ElementsAre("suspend", "clean up"));
    EXPECT_FALSE(turn.coordinator.presentationIsSuspended());
    turn.request();
    EXPECT_THAT(turn.calls, ElementsAre("suspend", "clean up"));
  });
}

TEST(ComputerUseTurnLifecycleCoordinator, ofTwoActiveConversationsNoneIsBoundAndOnlySilenceCounts) {
  inTurn([](Turn& turn) {
    turn.activate("a");
    turn.activate("b");
    turn.request();
    EXPECT_EQ(turn.coordinator.boundConversationID(), std::nullopt);
    turn.end("a");
    turn.scheduler.sleep(seconds(20));
    EXPECT_THAT(turn.calls, ElementsAre("suspend"));
  });
  inTurn([](Turn& turn) {
    turn.activate("a");
    turn.request();
    turn.activate("b");
    turn.request();
    EXPECT_EQ(turn.coordinator.boundConversationID(), "a");
  });
}

TEST(ComputerUseTurnLifecycleCoordinator, aRequestThatComesDuringTheCleanUpWaitsForItsEnd) {
  inTurn([](Turn& turn) {
    turn.callDuration = seconds(3);
    turn.activate("c");
    turn.request();
    turn.end("c");
    turn.scheduler.sleep(seconds(1));
    EXPECT_EQ(turn.running, 1);
    turn.coordinator.toolRequestStarted();
    EXPECT_EQ(turn.running, 0);
    EXPECT_EQ(turn.scheduler.now().sinceStart, seconds(3));
    EXPECT_TRUE(turn.coordinator.sessionIsActive());
    turn.coordinator.toolRequestFinished();
  });
}

TEST(ComputerUseTurnLifecycleCoordinator, afterStopNothingIsHidden) {
  inTurn([](Turn& turn) {
    turn.request();
    turn.coordinator.stop();
    turn.scheduler.sleep(seconds(100));
    turn.request();
    turn.scheduler.sleep(seconds(100));
    EXPECT_THAT(turn.calls, IsEmpty());
  });
}

TEST(ComputerUseTurnLifecycleCoordinator, moreFinishesThanStartsCountAsNone) {
  inTurn([](Turn& turn) {
    turn.coordinator.toolRequestFinished();
    turn.request();
    turn.activate("c");
    turn.end("c");
    turn.scheduler.settle();
    EXPECT_THAT(turn.calls, ElementsAre("clean up"));
  });
}

TEST(ComputerUseTurnLifecycleCoordinatorExploration, whateverMeetsNothingIsResetUnderARequestAndTheTurnEndsHiddenOrClean) {
  int cleanUps = 0, suspensions = 0, resumptions = 0;
  exploreSeeds(seedCount(10'000), [&](SimulatedScheduler& scheduler) {
    scheduler.run([&] {
      Turn turn(scheduler);
      turn.callDuration = milliseconds(static_cast<std::int64_t>(scheduler.random(3)) * 500);
      std::vector<Task> tasks;
      for (int i = 0; i < 2; ++i) {
        tasks.push_back(scheduler.start("client", [&] {
          for (int n = 0; n < 2; ++n) {
            scheduler.sleep(seconds(static_cast<double>(scheduler.random(4) * 5)));
            turn.request(seconds(static_cast<double>(scheduler.random(2) * 5)));
          }
        }));
      }
      tasks.push_back(scheduler.start("host", [&] {
        for (int n = 0; n < 2; ++n) {
          turn.activate("c");
          scheduler.sleep(seconds(static_cast<double>(scheduler.random(4) * 5)));
          turn.end("c");
        }
      }));
      for (const Task& task : tasks) task.join();
      scheduler.sleep(seconds(20));
      EXPECT_TRUE(!turn.coordinator.sessionIsActive() || turn.coordinator.presentationIsSuspended());
      for (const std::string& call : turn.calls) {
        cleanUps += call == "clean up";
        suspensions += call == "suspend";
        resumptions += call == "resume";
      }
      // What was hidden last is what a person sees: nothing.
      ASSERT_FALSE(turn.calls.empty());
      EXPECT_NE(turn.calls.back(), "resume");
    });
  });
  EXPECT_GT(cleanUps, 0);
  EXPECT_GT(suspensions, 0);
  EXPECT_GT(resumptions, 0);
}

TEST(ComputerUseTurnLifecycleCoordinator, aCleanUpThatARequestOvertakesWaitsForIt) {
  inTurn([](Turn& turn) {
    turn.callDuration = seconds(3);
    turn.activate("c");
    turn.request();
    turn.scheduler.sleep(seconds(16));
    EXPECT_EQ(turn.running, 1) << "it is being hidden";
    turn.end("c");
    turn.coordinator.toolRequestStarted();
    EXPECT_THAT(turn.calls, ElementsAre("suspend", "resume"));
    turn.coordinator.toolRequestFinished();
    turn.scheduler.settle();
    EXPECT_THAT(turn.calls, ElementsAre("suspend", "resume", "clean up"));
  });
}

TEST(ComputerUseTurnLifecycleCoordinator, whatARequestSetsGoingIsLoggedInItsName) {
  inTurn([](Turn& turn) {
    {
      RequestIDScope name("r1");
      turn.request();
    }
    turn.scheduler.sleep(seconds(16));
    EXPECT_EQ(turn.log.only("computer_use_presentation_suspended").requestID, "r1");
    turn.activate("c");
    {
      RequestIDScope name("r2");
      turn.coordinator.toolRequestStarted();
      turn.end("c");
      turn.coordinator.toolRequestFinished();
    }
    turn.scheduler.settle();
    EXPECT_EQ(turn.log.only("computer_use_turn_deactivated").requestID, "r2");
  });
}

TEST(ComputerUseTurnLifecycleCoordinator, aPresentationThatFailsCostsNoRequest) {
  SimulatedScheduler scheduler;
  scheduler.run([&] {
    LogCapture log;
    const auto fail = [] { throw std::runtime_error("no screen"); };
    ComputerUseTurnLifecycleCoordinator coordinator(scheduler, {.authoritativeCleanup = fail, .suspend = fail, .resume = fail});
    for (int i = 0; i < 2; ++i) {
      coordinator.toolRequestStarted();
      coordinator.toolRequestFinished();
      scheduler.sleep(seconds(16));
    }
    EXPECT_EQ(log.count("computer_use_presentation_failed"), 3u);
  });
}

}  // namespace
}  // namespace tavik
