#include "ComputerUsePlatform/IPC/ComputerUseIPCClientTracker.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <set>

#include "Backends/Simulated/System/SimulatedProcess.h"
#include "Base/Concurrency/SimulatedScheduler.h"
#include "Base/Concurrency/TaskGroup.h"

namespace tavik {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr WallTime start{std::chrono::seconds(1'000'000)};

/// A tracker for processes that live unless the test says that they are dead.
struct TrackerDesk {
  std::set<std::int32_t> dead;
  ComputerUseIPCClientTracker tracker{[this](std::int32_t pid) { return !dead.contains(pid); }};
};

TEST(ComputerUseIPCClientTracker, remembersEachClientOnceInTheOrderOfTheirNumbers) {
  TrackerDesk desk;
  desk.tracker.recordActivity(30, "a", start);
  desk.tracker.recordActivity(10, "b", start + seconds(2));
  const auto snapshot = desk.tracker.recordActivity(30, "c", start + seconds(1));
  EXPECT_EQ(snapshot.activeClientCount, 2);
  EXPECT_THAT(snapshot.activeClientPIDs, ElementsAre(10, 30));
  EXPECT_EQ(snapshot.mostRecentActivity, start + seconds(2));
}

TEST(ComputerUseIPCClientTracker, aProcessWithoutANumberLeavesTheClientsAsTheyWere) {
  TrackerDesk desk;
  EXPECT_THAT(desk.tracker.recordActivity(0, "a", start).activeClientPIDs, IsEmpty());
  EXPECT_THAT(desk.tracker.recordActivity(-5, "a", start).activeClientPIDs, IsEmpty());
  desk.tracker.recordActivity(10, "a", start);
  const auto snapshot = desk.tracker.recordActivity(0, "b", start + seconds(9));
  EXPECT_THAT(snapshot.activeClientPIDs, ElementsAre(10));
  EXPECT_EQ(snapshot.mostRecentActivity, start);
}

TEST(ComputerUseIPCClientTracker, withoutClientsThereIsNoActivity) {
  TrackerDesk desk;
  const auto snapshot = desk.tracker.snapshot(start, 90);
  EXPECT_EQ(snapshot.activeClientCount, 0);
  EXPECT_EQ(snapshot.mostRecentActivity, std::nullopt);
}

TEST(ComputerUseIPCClientTracker, aClientStaysUntilItWasSilentForLongerThanTheTimeout) {
  TrackerDesk desk;
  desk.tracker.recordActivity(10, "a", start);
  EXPECT_THAT(desk.tracker.pruneStaleClients(start + seconds(90), 90).activeClientPIDs, ElementsAre(10));
  EXPECT_THAT(desk.tracker.pruneStaleClients(start + seconds(90.001), 90).activeClientPIDs, IsEmpty());
}

TEST(ComputerUseIPCClientTracker, aTimeoutBelowOneSecondCountsAsOneSecond) {
  TrackerDesk desk;
  desk.tracker.recordActivity(10, "a", start);
  EXPECT_THAT(desk.tracker.snapshot(start + seconds(1), 0.2).activeClientPIDs, ElementsAre(10));
  EXPECT_THAT(desk.tracker.snapshot(start + seconds(1.001), 0.2).activeClientPIDs, IsEmpty());
}

TEST(ComputerUseIPCClientTracker, aDeadProcessIsForgottenHoweverRecentItsActivity) {
  TrackerDesk desk;
  desk.tracker.recordActivity(10, "a", start);
  desk.tracker.recordActivity(20, "a", start);
  desk.dead.insert(20);
  EXPECT_THAT(desk.tracker.pruneStaleClients(start, 90).activeClientPIDs, ElementsAre(10));
  desk.dead.clear();
  EXPECT_THAT(desk.tracker.snapshot(start, 90).activeClientPIDs, ElementsAre(10));
}

TEST(ComputerUseIPCClientTracker, aSnapshotForgetsNobody) {
  TrackerDesk desk;
  desk.tracker.recordActivity(10, "a", start);
  desk.dead.insert(10);
  EXPECT_THAT(desk.tracker.snapshot(start, 90).activeClientPIDs, IsEmpty());
  EXPECT_THAT(desk.tracker.pruneInactiveForSnapshot(start + seconds(500), 90).activeClientPIDs, IsEmpty());
  desk.dead.clear();
  EXPECT_THAT(desk.tracker.snapshot(start, 90).activeClientPIDs, ElementsAre(10));
}

TEST(ComputerUseIPCClientTracker, resetForgetsEverybody) {
  TrackerDesk desk;
  desk.tracker.recordActivity(10, "a", start);
  desk.tracker.reset();
  EXPECT_THAT(desk.tracker.snapshot(start, 90).activeClientPIDs, IsEmpty());
}

TEST(ComputerUseIPCClientTracker, aProcessThatMayNotBeSignalledIsAlive) {
  SimulatedProcess processes;
  processes.state(10, {});
  processes.state(20, {.probe = EPERM});
  processes.state(30, {.probe = ESRCH});
  const auto isAlive = ComputerUseIPCClientTracker::processIsAliveAccordingTo(processes);
  EXPECT_TRUE(isAlive(10));
  EXPECT_TRUE(isAlive(20));
  EXPECT_FALSE(isAlive(30));
  EXPECT_FALSE(isAlive(0));
  EXPECT_FALSE(isAlive(-1));
}

TEST(ComputerUseIPCClientTracker, processesAreAskedWithoutHoldingTheClients) {
  SimulatedProcess processes;
  processes.state(10, {});
  ComputerUseIPCClientTracker tracker(ComputerUseIPCClientTracker::processIsAliveAccordingTo(processes));
  tracker.recordActivity(10, "a", start);
  EXPECT_EQ(tracker.pruneStaleClients(start, 90).activeClientCount, 1);
}

TEST(ComputerUseIPCClientTrackerExploration, aClientHeardOfDuringThePruningStays) {
  exploreSeeds(1000, [](SimulatedScheduler& scheduler) {
    scheduler.run([&] {
      ComputerUseIPCClientTracker tracker([&](std::int32_t) {
        scheduler.yield();
        return true;
      });
      tracker.recordActivity(10, "old", start);
      tracker.recordActivity(20, "old", start);
      TaskGroup tasks(scheduler);
      tasks.start("prune", [&] { tracker.pruneStaleClients(start + seconds(200), 90); });
      tasks.start("activity", [&] { tracker.recordActivity(10, "new", start + seconds(200)); });
      tasks.joinAll();
      EXPECT_THAT(tracker.snapshot(start + seconds(200), 90).activeClientPIDs, ElementsAre(10));
    });
  });
}

}  // namespace
}  // namespace tavik
