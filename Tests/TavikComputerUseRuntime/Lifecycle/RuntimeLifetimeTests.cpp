#include "TavikComputerUseRuntime/Lifecycle/RuntimeLifetime.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "Backends/Simulated/System/SimulatedProcess.h"
#include "Base/Concurrency/SimulatedScheduler.h"
#include "Tests/Support/LogCapture.h"
#include "Tests/Support/SeedCount.h"
#include "Tests/Support/ServedMainQueue.h"

namespace tavik {
namespace {

using ::testing::ElementsAre;
using Fields = std::map<std::string, std::string>;

/// A lifetime whose main queue is served, with two clients that live: 10 and 20.
struct LifetimeDesk {
  explicit LifetimeDesk(SimulatedScheduler& scheduler) : scheduler(scheduler) {
    process.state(10, {});
    process.state(20, {});
  }

  SimulatedScheduler& scheduler;
  LogCapture log;
  MainQueue mainQueue{scheduler};
  SimulatedProcess process;
  const MonotonicTime start = scheduler.now();
  std::vector<double> terminations;
  /// Until when the permission flow and a recording keep the process alive, in seconds.
  double permissionFlowEnds = 0;
  double recordingEnds = 0;
  std::vector<std::string> triggers;
  RuntimeLifetime lifetime{scheduler,
                           mainQueue,
                           process,
                           {.shouldDeferForPermissionFlow =
                                [this](const std::string& trigger) {
                                  EXPECT_TRUE(mainQueue.isCurrent());
                                  triggers.push_back(trigger);
                                  return elapsed() < permissionFlowEnds;
                                },
                            .isRecording = [this] { return elapsed() < recordingEnds; }},
                           [this] {
                             EXPECT_TRUE(mainQueue.isCurrent());
                             terminations.push_back(elapsed());
                           }};
  ServedMainQueue main{scheduler, mainQueue};

  double elapsed() const { return inSeconds(scheduler.now() - start); }
};

void onDesk(const std::function<void(LifetimeDesk&)>& body) {
  SimulatedScheduler scheduler;
  scheduler.run([&] {
    LifetimeDesk desk(scheduler);
    body(desk);
  });
}

TEST(RuntimeLifetime, endsAfterThreeHundredSecondsWithoutARequest) {
  onDesk([](LifetimeDesk& desk) {
    desk.lifetime.scheduleIdleTimeout();
    desk.scheduler.sleep(seconds(200));
    desk.lifetime.scheduleIdleTimeout();
    desk.scheduler.sleep(seconds(1000));
    EXPECT_THAT(desk.terminations, ElementsAre(500));
    const auto record = desk.log.only("runtime_shutdown_requested");
    EXPECT_EQ(record.level, LogLevel::info);
    EXPECT_EQ(record.category, LogCategory::lifecycle);
    EXPECT_EQ(record.fields, (Fields{{"reason", "idle_timeout"}}));
    EXPECT_EQ(record.requestID, "");
  });
}

TEST(RuntimeLifetime, anOpenPermissionFlowPutsTheIdleEndOff) {
  onDesk([](LifetimeDesk& desk) {
    desk.permissionFlowEnds = 700;
    desk.lifetime.scheduleIdleTimeout();
    desk.scheduler.sleep(seconds(2000));
    EXPECT_THAT(desk.terminations, ElementsAre(900));
    EXPECT_THAT(desk.triggers, ElementsAre("idle_timeout", "idle_timeout", "idle_timeout"));
  });
}

TEST(RuntimeLifetime, anOpenPermissionFlowPutsTheEndWithoutClientsOff) {
  onDesk([](LifetimeDesk& desk) {
    desk.permissionFlowEnds = 200;
    desk.lifetime.recordClientActivity(10, "R");
    desk.process.end(10);
    desk.scheduler.sleep(seconds(2000));
    EXPECT_THAT(desk.terminations, ElementsAre(270));
    EXPECT_THAT(desk.triggers, ElementsAre("no_active_client", "no_active_client", "no_active_client"));
  });
}

TEST(RuntimeLifetime, aRecordingPutsTheIdleEndOffForAsLongAsItLasts) {
  onDesk([](LifetimeDesk& desk) {
    desk.recordingEnds = 1700;
    desk.lifetime.scheduleIdleTimeout();
    desk.scheduler.sleep(seconds(5000));
    EXPECT_THAT(desk.terminations, ElementsAre(1800));
  });
}

TEST(RuntimeLifetime, aRecordingDoesNotReplaceClients) {
  onDesk([](LifetimeDesk& desk) {
    desk.recordingEnds = 1700;
    desk.lifetime.recordClientActivity(10, "R");
    desk.process.end(10);
    desk.scheduler.sleep(seconds(5000));
    EXPECT_THAT(desk.terminations, ElementsAre(90));
  });
}

TEST(RuntimeLifetime, aClientWithoutAProcessArmsTheHeartbeatTimer) {
  onDesk([](LifetimeDesk& desk) {
    desk.lifetime.recordClientActivity(0, "R");
    desk.scheduler.sleep(seconds(200));
    EXPECT_THAT(desk.terminations, ElementsAre(90));
  });
}

TEST(RuntimeLifetime, aTimerThatARequestOvertakesWhileItAsksEndsNothing) {
  onDesk([](LifetimeDesk& desk) {
    desk.lifetime.scheduleIdleTimeout();
    desk.scheduler.start("request", [&] {
      desk.scheduler.sleep(seconds(300));
      desk.lifetime.scheduleIdleTimeout();
    });
    desk.mainQueue.asyncAfter(seconds(299.9), [&] { desk.scheduler.sleep(seconds(0.2)); });
    desk.scheduler.sleep(seconds(599));
    EXPECT_TRUE(desk.terminations.empty());
    desk.scheduler.sleep(seconds(10));
    EXPECT_THAT(desk.terminations, ElementsAre(600));
  });
}

TEST(RuntimeLifetimeExploration, whateverRequestsComeOneTimerIsLiveAndItCountsFromTheLast) {
  exploreSeeds(seedCount(10'000), [](SimulatedScheduler& scheduler) {
    scheduler.run([&] {
      LifetimeDesk desk(scheduler);
      double lastRequest = 0;
      // Half of the seeds put the end off, by a flow, a recording or both.
      desk.permissionFlowEnds = static_cast<double>(250 * scheduler.random(4)) * static_cast<double>(scheduler.random(2));
      desk.recordingEnds = static_cast<double>(250 * scheduler.random(4)) * static_cast<double>(scheduler.random(2));
      const double reservedUntil = std::max(desk.permissionFlowEnds, desk.recordingEnds);
      std::vector<Task> clients;
      desk.lifetime.scheduleIdleTimeout();
      for (int i = 0; i < 3; ++i) {
        clients.push_back(scheduler.start("client", [&] {
          for (int n = 0; n < 3; ++n) {
            scheduler.sleep(seconds(static_cast<double>(50 * scheduler.random(5))));
            desk.lifetime.scheduleIdleTimeout();
            if (desk.terminations.empty()) lastRequest = desk.elapsed();
          }
        }));
      }
      for (const Task& client : clients) client.join();
      scheduler.sleep(seconds(2000));
      ASSERT_EQ(desk.terminations.size(), 1u);
      const double end = desk.terminations.front();
      EXPECT_GE(end, std::max(lastRequest + 300, reservedUntil));
      EXPECT_LT(end, std::max(lastRequest + 300.001, reservedUntil + 300));
      EXPECT_EQ(std::fmod(end - lastRequest, 300), 0) << "a whole number of idle times after the last request";
    });
  });
}

TEST(RuntimeLifetime, endsNinetySecondsAfterItsLastClientWasSeen) {
  onDesk([](LifetimeDesk& desk) {
    desk.lifetime.recordClientActivity(10, "a");
    desk.process.end(10);
    desk.scheduler.sleep(seconds(1000));
    EXPECT_THAT(desk.terminations, ElementsAre(90));
    EXPECT_EQ(desk.log.only("runtime_shutdown_requested").fields, (Fields{{"reason", "no_active_clients"}}));
  });
}

TEST(RuntimeLifetimeExploration, whateverClientsDoItEndsOnlyWhenNoneIsLeftAndThenSoon) {
  exploreSeeds(seedCount(10'000), [](SimulatedScheduler& scheduler) {
    scheduler.run([&] {
      struct Client {
        double lastSeen = -1000;
        double gone = 1e9;
      };
      LifetimeDesk desk(scheduler);
      desk.permissionFlowEnds = static_cast<double>(125 * scheduler.random(4)) * static_cast<double>(scheduler.random(2));
      std::array<Client, 3> clients;
      std::vector<Task> tasks;
      for (std::size_t i = 0; i < clients.size(); ++i) {
        tasks.push_back(scheduler.start("client", [&, i] {
          const auto pid = static_cast<std::int32_t>(30 + i);
          desk.process.state(pid, {});
          for (int n = 0; n < 3; ++n) {
            // Never in the instant of a timer.
            scheduler.sleep(seconds(static_cast<double>(15 * scheduler.random(8) + i + 1)));
            desk.lifetime.recordClientActivity(pid, "R");
            if (desk.terminations.empty()) clients[i].lastSeen = desk.elapsed();
          }
          scheduler.sleep(seconds(static_cast<double>(15 * scheduler.random(8))));
          if (scheduler.random(2) == 0) return;
          desk.process.end(pid);
          clients[i].gone = desk.elapsed();
        }));
      }
      for (const Task& task : tasks) task.join();
      scheduler.sleep(seconds(2000));
      ASSERT_FALSE(desk.terminations.empty());
      const double end = desk.terminations.front();
      double lastSeen = 0;
      // The last one counts at the first look after it, exactly 90 seconds later.
      for (const Client& client : clients) {
        lastSeen = std::max(lastSeen, client.lastSeen);
        const bool isGone = client.gone <= end;
        if (!isGone) {
          EXPECT_GE(end, client.lastSeen + 90) << "under a client that lives";
        }
      }
      EXPECT_GE(end, desk.permissionFlowEnds);
      EXPECT_LE(end, std::max(lastSeen + 180, desk.permissionFlowEnds + 90) + 0.001);
    });
  });
}

TEST(RuntimeLifetime, aSilentClientIsGoneOnlyAtTheSecondLook) {
  onDesk([](LifetimeDesk& desk) {
    // Exactly 90 seconds after its last request it still counts.
    desk.lifetime.recordClientActivity(10, "a");
    desk.scheduler.sleep(seconds(1000));
    EXPECT_THAT(desk.terminations, ElementsAre(180));
  });
}

TEST(RuntimeLifetime, aClientThatSaysItLivesEveryThirtySecondsKeepsItAlive) {
  onDesk([](LifetimeDesk& desk) {
    for (int i = 0; i < 100; ++i) {
      desk.lifetime.scheduleIdleTimeout();
      desk.lifetime.recordClientActivity(10, "ComputerUseIPCHealthRequest");
      desk.scheduler.sleep(seconds(ComputerUseIPCClientTracker::defaultHeartbeatIntervalSeconds));
    }
    EXPECT_TRUE(desk.terminations.empty());
    EXPECT_EQ(desk.lifetime.activeClientCount(), 1);
  });
}

TEST(RuntimeLifetime, withoutAnyClientTheHeartbeatDoesNotCount) {
  onDesk([](LifetimeDesk& desk) {
    desk.lifetime.scheduleIdleTimeout();
    desk.scheduler.sleep(seconds(299));
    EXPECT_TRUE(desk.terminations.empty());
  });
}

TEST(RuntimeLifetime, stoppedItNeverEnds) {
  onDesk([](LifetimeDesk& desk) {
    desk.lifetime.scheduleIdleTimeout();
    desk.lifetime.recordClientActivity(10, "a");
    desk.lifetime.stop();
    desk.lifetime.scheduleIdleTimeout();
    desk.lifetime.recordClientActivity(20, "b");
    desk.scheduler.sleep(seconds(10000));
    EXPECT_TRUE(desk.terminations.empty());
  });
}

TEST(RuntimeLifetime, aChangeOfTheClientsIsLoggedOnce) {
  onDesk([](LifetimeDesk& desk) {
    desk.lifetime.recordClientActivity(10, "a");
    desk.lifetime.recordClientActivity(10, "b");
    desk.lifetime.recordClientActivity(20, "c");
    desk.lifetime.recordClientActivity(10, "d");
    const auto records = desk.log.records("active_clients_changed");
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].level, LogLevel::info);
    EXPECT_EQ(records[0].category, LogCategory::lifecycle);
    EXPECT_EQ(records[0].fields,
              (Fields{{"activeClientCount", "1"}, {"senderPid", "10"}, {"requestType", "a"}}));
    EXPECT_EQ(records[1].fields,
              (Fields{{"activeClientCount", "2"}, {"senderPid", "20"}, {"requestType", "c"}}));
  });
}

TEST(RuntimeLifetime, clientsThatAreGoneAreLoggedWithoutASender) {
  onDesk([](LifetimeDesk& desk) {
    desk.lifetime.recordClientActivity(10, "a");
    desk.lifetime.recordClientActivity(20, "b");
    desk.process.end(20);
    desk.scheduler.sleep(seconds(90));
    desk.scheduler.settle();
    EXPECT_EQ(desk.log.records("active_clients_changed").back().fields, (Fields{{"activeClientCount", "1"}}));
    EXPECT_TRUE(desk.terminations.empty());
  });
}

TEST(RuntimeLifetime, theEndIsNotLoggedInTheNameOfTheLastRequest) {
  onDesk([](LifetimeDesk& desk) {
    {
      RequestIDScope request("last request");
      desk.lifetime.recordClientActivity(10, "a");
      desk.lifetime.scheduleIdleTimeout();
    }
    desk.process.end(10);
    desk.scheduler.sleep(seconds(100));
    EXPECT_EQ(desk.log.only("runtime_shutdown_requested").requestID, "");
  });
}

}  // namespace
}  // namespace tavik
