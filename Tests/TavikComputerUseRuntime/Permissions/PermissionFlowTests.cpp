#include "TavikComputerUseRuntime/Permissions/PermissionFlow.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Permissions/PermissionDesk.h"

namespace tavik {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Fields = std::map<std::string, std::string>;

bool defers(PermissionDesk& desk, const std::string& trigger) {
  return desk.mainQueue.sync([&] { return desk.flow.shouldDeferShutdown(trigger); });
}

TEST(PermissionFlow, theFirstShowingOpensTheWindowInFrontAndBeginsTheFlow) {
  onPermissionDesk([](PermissionDesk& desk) {
    EXPECT_TRUE(desk.show("somewhere"));
    EXPECT_TRUE(desk.flow.isActive());
    EXPECT_THAT(desk.windowJournal(), ElementsAre("open", "raise"));
    EXPECT_THAT(desk.log.events(), ElementsAre("permission_window_requested", "permission_flow_state_changed",
                                               "permission_window_created"));
    EXPECT_EQ(desk.log.only("permission_window_requested").fields.at("source"), "somewhere");
    EXPECT_EQ(desk.log.only("permission_flow_state_changed").fields,
              (Fields{{"active", "true"}, {"source", "somewhere"}, {"maxLifetimeMs", "600000"}}));
    EXPECT_EQ(desk.log.only("permission_window_created").fields, (Fields{{"automaticRaiseCount", "1"}}));
  });
}

TEST(PermissionFlow, aWindowInFrontIsLeftAlone) {
  onPermissionDesk([](PermissionDesk& desk) {
    desk.show("a");
    desk.show("b", true);
    EXPECT_THAT(desk.windowJournal(), ElementsAre("open", "raise"));
    EXPECT_EQ(desk.log.only("permission_window_raise_suppressed").fields,
              (Fields{{"reason", "already_front"}, {"isKey", "true"}, {"isMain", "true"}, {"count", "1"}}));
    EXPECT_EQ(desk.log.only("permission_window_reused").fields,
              (Fields{{"presentationMode", "logOnly"}, {"forceActivation", "true"}}));
  });
}

TEST(PermissionFlow, withinAMinuteItIsNotRaisedAgainAndNeverAThirdTime) {
  onPermissionDesk([](PermissionDesk& desk) {
    const auto showBehind = [&] {
      desk.userInterface.setPermissionsWindowFront(false);
      desk.show("again");
      return desk.log.records().rbegin()[1];
    };
    desk.show("first");
    desk.scheduler.sleep(seconds(59));
    EXPECT_EQ(showBehind().fields.at("reason"), "interval");
    desk.scheduler.sleep(seconds(1));
    const auto allowed = showBehind();
    EXPECT_EQ(allowed.event, "permission_window_raise_allowed");
    EXPECT_EQ(allowed.fields.at("reason"), "retry");
    desk.scheduler.sleep(seconds(300));
    EXPECT_EQ(showBehind().fields.at("reason"), "limit");
    EXPECT_THAT(desk.windowJournal(), ElementsAre("open", "raise", "raise"));
  });
}

TEST(PermissionFlow, aPermissionThatIsJustGrantedRaisesTheWindowDespiteTheLimit) {
  onPermissionDesk([](PermissionDesk& desk) {
    desk.show("first");
    desk.userInterface.setPermissionsWindowFront(false);
    desk.grant(true, false);
    desk.mainQueue.sync([&] { desk.state.refreshNow("test"); });
    desk.scheduler.settle();
    EXPECT_THAT(desk.windowJournal(), ElementsAre("open", "raise", "raise"));
    const auto observed = desk.log.only("permission_transition_observed");
    EXPECT_EQ(observed.fields.at("accessibilityJustGranted"), "true");
    EXPECT_EQ(observed.fields.at("screenRecordingJustGranted"), "false");
    EXPECT_EQ(desk.log.only("permission_window_raise_allowed").fields.at("reason"), "permission_transition");
    desk.grant(true, true);
    desk.mainQueue.sync([&] { desk.state.refreshNow("test"); });
    desk.scheduler.settle();
    EXPECT_FALSE(desk.userInterface.isPermissionsWindowOpen());
    EXPECT_FALSE(desk.flow.isActive());
    EXPECT_EQ(desk.log.only("permission_ui_dismissed").fields,
              (Fields{{"permissionsWindowWasVisible", "true"}, {"accessoryWindowWasVisible", "false"}}));
  });
}

TEST(PermissionFlow, aGrantWithoutAWindowIsOnlyNoted) {
  onPermissionDesk([](PermissionDesk& desk) {
    desk.grant(true, true);
    desk.mainQueue.sync([&] { desk.state.refreshNow("test"); });
    desk.scheduler.settle();
    EXPECT_EQ(desk.log.count("permission_transition_observed"), 1u);
    EXPECT_EQ(desk.log.count("permission_ui_dismissed"), 0u);
    EXPECT_THAT(desk.windowJournal(), IsEmpty());
  });
}

TEST(PermissionFlow, theUserWhoClosesTheWindowEndsTheFlow) {
  onPermissionDesk([](PermissionDesk& desk) {
    desk.show("first");
    desk.mainQueue.sync([&] { desk.userInterface.closePermissionsWindowAsUser(); });
    EXPECT_FALSE(desk.flow.isActive());
    EXPECT_EQ(desk.log.count("permission_ui_user_closed"), 1u);
    EXPECT_EQ(desk.log.count("pending_waits_cancelled"), 1u);
    EXPECT_EQ(desk.log.records("permission_flow_state_changed")[1].fields, (Fields{{"active", "false"}}));
  });
}

TEST(PermissionFlow, withoutAFlowNothingPutsTheEndOff) {
  onPermissionDesk([](PermissionDesk& desk) {
    EXPECT_FALSE(defers(desk, "idle_timeout"));
    EXPECT_THAT(desk.log.events(), IsEmpty());
  });
}

TEST(PermissionFlow, anUnfinishedFlowPutsTheEndOffForTenMinutes) {
  onPermissionDesk([](PermissionDesk& desk) {
    desk.show("first");
    desk.log.clear();
    desk.scheduler.sleep(seconds(599.9));
    EXPECT_TRUE(defers(desk, "idle_timeout"));
    auto deferred = desk.log.only("shutdown_deferred");
    EXPECT_EQ(deferred.level, LogLevel::info);
    EXPECT_EQ(deferred.category, LogCategory::lifecycle);
    deferred.fields.erase("permissionSummary");
    EXPECT_EQ(deferred.fields, (Fields{{"trigger", "idle_timeout"}, {"elapsedMs", "599900"}, {"maxLifetimeMs", "600000"}}));

    desk.scheduler.sleep(seconds(0.1));
    EXPECT_FALSE(defers(desk, "no_active_client"));
    auto expired = desk.log.only("shutdown_deferral_expired");
    EXPECT_EQ(expired.level, LogLevel::warning);
    EXPECT_EQ(expired.category, LogCategory::lifecycle);
    EXPECT_EQ(expired.fields.at("trigger"), "no_active_client");
    EXPECT_EQ(expired.fields.at("elapsedMs"), "600000");
    EXPECT_FALSE(desk.userInterface.isPermissionsWindowOpen());
    EXPECT_FALSE(desk.flow.isActive());
  });
}

TEST(PermissionFlow, aFinishedFlowPutsNothingOff) {
  onPermissionDesk([](PermissionDesk& desk) {
    desk.show("first");
    desk.scheduler.sleep(seconds(30));
    desk.grant(true, true);
    EXPECT_FALSE(defers(desk, "idle_timeout"));
    auto finished = desk.log.only("shutdown_deferral_finished");
    EXPECT_EQ(finished.level, LogLevel::info);
    EXPECT_EQ(finished.category, LogCategory::lifecycle);
    finished.fields.erase("permissionSummary");
    EXPECT_EQ(finished.fields, (Fields{{"trigger", "idle_timeout"}, {"reason", "permissions_granted"}, {"elapsedMs", "30000"}}));
    EXPECT_FALSE(desk.flow.isActive());
    EXPECT_FALSE(defers(desk, "idle_timeout"));
  });
}

TEST(PermissionFlow, aNewFlowMayRaiseItsWindowAnew) {
  onPermissionDesk([](PermissionDesk& desk) {
    desk.show("first");
    desk.mainQueue.sync([&] { desk.flow.dismissPermissionUI(); });
    desk.show("second");
    desk.scheduler.sleep(seconds(61));
    desk.userInterface.setPermissionsWindowFront(false);
    desk.show("third");
    EXPECT_THAT(desk.windowJournal(), ElementsAre("open", "raise", "close", "open", "raise", "raise"));
  });
}

}  // namespace
}  // namespace tavik
