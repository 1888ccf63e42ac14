#include "TavikComputerUseRuntime/Permissions/ComputerUseRuntimePermissionGate.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Permissions/PermissionDesk.h"
#include "Tests/Support/SeedCount.h"

namespace tavik {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using Fields = std::map<std::string, std::string>;
using Outcome = ComputerUseRuntimePermissionGateOutcome;

TEST(ComputerUseRuntimePermissionGate, withBothPermissionsNothingOpensAndNobodyWaits) {
  onPermissionDesk([](PermissionDesk& desk) {
    desk.grant(true, true);
    EXPECT_EQ(desk.gate.awaitGrant(), Outcome::granted);
    EXPECT_EQ(desk.elapsed(), 0);
    EXPECT_THAT(desk.windowJournal(), IsEmpty());
    const auto finished = desk.log.only("permission_gate_finished");
    EXPECT_EQ(finished.level, LogLevel::debug);
    EXPECT_EQ(finished.category, LogCategory::permissions);
    EXPECT_EQ(finished.fields, (Fields{{"outcome", "granted"}, {"reason", "already_granted"}}));
  });
}

TEST(ComputerUseRuntimePermissionGate, aMissingOneOpensTheWindowAndWaits) {
  onPermissionDesk([](PermissionDesk& desk) {
    desk.grant(true, false);
    desk.scheduler.start("user", [&] {
      desk.scheduler.sleep(seconds(12.1));
      desk.grant(true, true);
    });
    EXPECT_EQ(desk.gate.awaitGrant(), Outcome::granted);
    EXPECT_EQ(desk.elapsed(), 12.25);
    EXPECT_THAT(desk.windowJournal(), ElementsAre("open", "raise", "close"));

    const auto started = desk.log.only("permission_gate_started");
    EXPECT_EQ(started.level, LogLevel::info);
    EXPECT_EQ(started.fields, (Fields{{"timeoutMs", "100000"}, {"intervalMs", "250"},
                                      {"accessibilityGranted", "true"}, {"screenRecordingGranted", "false"}}));
    EXPECT_EQ(desk.log.only("permission_wait_started").fields,
              (Fields{{"timeoutMs", "100000"}, {"intervalMs", "250"}, {"cancellationGeneration", "0"}}));
    const auto watcher = desk.log.only("permission_watcher_finished");
    EXPECT_EQ(watcher.level, LogLevel::debug);
    EXPECT_EQ(watcher.fields, (Fields{{"outcome", "granted"}, {"reason", "permissions_granted"}}));
    const auto finished = desk.log.only("permission_gate_finished");
    EXPECT_EQ(finished.level, LogLevel::info);
    EXPECT_EQ(finished.fields.at("outcome"), "granted");
    EXPECT_EQ(finished.fields.at("duration"), "12.25 seconds");
    EXPECT_THAT(finished.fields.at("permissionSummary"), HasSubstr("stateScreen=true"));
    EXPECT_EQ(desk.log.count("permission_wait_timeout"), 0u);
  });
}

TEST(ComputerUseRuntimePermissionGate, afterAHundredSecondsTheWaitIsPendingTheWindowStaysAndTheNextWaitIsAsLong) {
  onPermissionDesk([](PermissionDesk& desk) {
    EXPECT_EQ(desk.gate.awaitGrant(), Outcome::pending);
    EXPECT_EQ(desk.elapsed(), 100);
    EXPECT_TRUE(desk.userInterface.isPermissionsWindowOpen());
    const auto timeout = desk.log.only("permission_wait_timeout");
    EXPECT_EQ(timeout.level, LogLevel::warning);
    EXPECT_EQ(timeout.fields, (Fields{{"outcome", "pending"}, {"timeoutMs", "100000"}}));
    EXPECT_EQ(desk.log.count("permission_watcher_finished"), 0u);
    EXPECT_EQ(desk.log.only("permission_gate_finished").fields.at("duration"), "100 seconds");
    EXPECT_EQ(desk.gate.awaitGrant(), Outcome::pending);
    EXPECT_EQ(desk.elapsed(), 200);
  });
}

TEST(ComputerUseRuntimePermissionGate, theUserWhoClosesTheWindowEndsEveryWaitWithinOneLook) {
  onPermissionDesk([](PermissionDesk& desk) {
    std::vector<Task> requests;
    int refused = 0;
    for (int i = 0; i < 3; ++i) {
      requests.push_back(desk.scheduler.start("request", [&, i] {
        desk.scheduler.sleep(milliseconds(100 * i));
        EXPECT_EQ(desk.gate.awaitGrant(), Outcome::notGranted);
        EXPECT_LE(desk.elapsed(), 7.25);
        ++refused;
      }));
    }
    desk.scheduler.sleep(seconds(7));
    desk.mainQueue.sync([&] { desk.userInterface.closePermissionsWindowAsUser(); });
    for (const Task& request : requests) request.join();
    EXPECT_EQ(refused, 3);
    EXPECT_FALSE(desk.userInterface.isPermissionsWindowOpen());
    const auto cancelled = desk.log.only("pending_waits_cancelled");
    EXPECT_EQ(cancelled.level, LogLevel::info);
    EXPECT_EQ(cancelled.fields.at("cancellationGeneration"), "1");
    for (const auto& record : desk.log.records("permission_watcher_finished")) {
      EXPECT_EQ(record.fields, (Fields{{"outcome", "not_granted"}, {"reason", "user_cancelled"}}));
    }
    EXPECT_EQ(desk.log.count("permission_wait_timeout"), 0u);
  });
}

TEST(ComputerUseRuntimePermissionGate, aCancelledCallerGetsPendingWithoutATimeOut) {
  onPermissionDesk([](PermissionDesk& desk) {
    std::optional<Outcome> outcome;
    Task request = desk.scheduler.start("request", [&] { outcome = desk.gate.awaitGrant(); });
    desk.scheduler.sleep(seconds(1));
    request.cancel();
    request.join();
    EXPECT_EQ(outcome, Outcome::pending);
    EXPECT_EQ(desk.elapsed(), 1);
    EXPECT_EQ(desk.log.count("permission_wait_timeout"), 0u);
    EXPECT_EQ(desk.log.only("permission_gate_finished").fields.at("outcome"), "pending");
  });
}

TEST(ComputerUseRuntimePermissionGate, withoutAWindowThereIsNothingToWaitFor) {
  onPermissionDesk([](PermissionDesk& desk) {
    desk.userInterface.removePermissionsWindow();
    EXPECT_EQ(desk.gate.awaitGrant(), Outcome::notGranted);
    EXPECT_EQ(desk.elapsed(), 0);
    EXPECT_FALSE(desk.flow.isActive());
    EXPECT_EQ(desk.log.only("permission_gate_finished").fields.at("outcome"), "not_granted");
  });
}

TEST(ComputerUseRuntimePermissionGate, tenWaitsLeaveTheMainLoopFree) {
  onPermissionDesk([](PermissionDesk& desk) {
    std::vector<Task> requests;
    for (int i = 0; i < 10; ++i) {
      requests.push_back(desk.scheduler.start("request", [&] { EXPECT_EQ(desk.gate.awaitGrant(), Outcome::pending); }));
    }
    for (int i = 0; i < 50; ++i) {
      desk.scheduler.sleep(seconds(1));
      const MonotonicTime before = desk.scheduler.now();
      desk.mainQueue.sync([] {});
      EXPECT_EQ(desk.scheduler.now(), before);
    }
    for (const Task& request : requests) request.join();
    EXPECT_EQ(desk.elapsed(), 100);
  });
}

TEST(ComputerUseRuntimePermissionGateExploration, everyWaitEndsOnceWithTheOutcomeThatItsWorldAllows) {
  std::map<Outcome, int> outcomes;
  exploreSeeds(seedCount(10'000), [&](SimulatedScheduler& scheduler) {
    scheduler.run([&] {
      PermissionDesk desk(scheduler);
      // A wait until the time limit takes four hundred looks: only a few seeds do it.
      const bool waitsLong = scheduler.random(400) == 0;
      const auto what = scheduler.random(waitsLong ? 4 : 3);
      const Duration when = milliseconds((waitsLong ? 99'000 : 0) + static_cast<std::int64_t>(250 * (1 + scheduler.random(5))));
      std::vector<Task> requests;
      int ended = 0;
      for (int i = 0; i < 2; ++i) {
        requests.push_back(scheduler.start("request", [&] {
          const Outcome outcome = desk.gate.awaitGrant();
          ++outcomes[outcome];
          ++ended;
          EXPECT_TRUE(outcome != Outcome::granted || what == 0);
          EXPECT_TRUE(outcome != Outcome::notGranted || what == 1);
          EXPECT_LE(desk.elapsed(), 100.001);
        }));
      }
      scheduler.sleep(when);
      if (what == 0) desk.grant(true, true);
      if (what == 1) desk.mainQueue.sync([&] { desk.userInterface.closePermissionsWindowAsUser(); });
      if (what == 2) {
        for (const Task& request : requests) request.cancel();
      }
      for (const Task& request : requests) request.join();
      EXPECT_EQ(ended, 2);
    });
  });
  for (Outcome outcome : {Outcome::granted, Outcome::pending, Outcome::notGranted}) EXPECT_GT(outcomes[outcome], 0);
}

}  // namespace
}  // namespace tavik
