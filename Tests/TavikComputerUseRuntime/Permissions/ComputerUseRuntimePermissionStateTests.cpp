#include "TavikComputerUseRuntime/Permissions/ComputerUseRuntimePermissionState.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Tests/Support/LogCapture.h"
#include "Tests/Support/SimulatedWorld.h"

namespace tavik {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using Fields = std::map<std::string, std::string>;
using Grants = ComputerUseRuntimePermissionState::Grants;

/// The settings' window as the tracker would find it: in the upper half of the screen.
ScreenRecordingAuthorizationEvidence settingsWindow(double screenHeight) {
  return {.processIdentifier = 77,
          .windowID = 5,
          .frame = {{100, 0}, {600, screenHeight / 2}},
          .title = "Privacy & Security"};
}

struct PermissionDesk {
  PermissionDesk() {
    state.setChangeHandler([this](const Grants& before, const Grants& after) { changes.emplace_back(before, after); });
  }

  SimulatedWorld world;
  LogCapture log;
  SimulatedPermissions& permissions = world.desktop.permissions();
  Platform& ports = world.desktop.platform();
  std::optional<ScreenRecordingAuthorizationEvidence> evidence;
  std::vector<std::pair<Grants, Grants>> changes;
  ComputerUseRuntimePermissionState state{world.scheduler, ports.permissions, ports.windowServer, ports.process,
                                          [this] { return evidence; }};

  double screenHeight() { return ports.windowServer.screens().front().frame.maxY(); }
  /// In points from the bottom left: inside the settings' window, or below it.
  Point inside() { return {200, screenHeight() - 10}; }
  Point outside() { return {200, 10}; }
};

TEST(ComputerUseRuntimePermissionState, readsBothPermissionsOnceWhenItIsMade) {
  PermissionDesk desk;
  EXPECT_TRUE(desk.state.grants().areComplete());
  EXPECT_EQ(desk.permissions.refreshCount(), 1);
  EXPECT_THAT(desk.log.events(), IsEmpty());
  desk.permissions.grantAccessibility(false);
  EXPECT_TRUE(desk.state.accessibilityGranted());
}

TEST(ComputerUseRuntimePermissionState, aChangeIsPublishedAndLoggedOnce) {
  PermissionDesk desk;
  desk.permissions.grantAccessibility(false);
  desk.state.refreshNow("test");
  desk.state.refreshNow("test");
  EXPECT_THAT(desk.changes, ElementsAre(std::pair(Grants{true, true}, Grants{false, true})));
  auto changed = desk.log.only("permission_state_changed");
  EXPECT_EQ(changed.level, LogLevel::info);
  EXPECT_EQ(changed.category, LogCategory::permissions);
  EXPECT_THAT(changed.fields["permissionSummary"], HasSubstr("stateAX=false stateScreen=true"));
  changed.fields.erase("permissionSummary");
  EXPECT_EQ(changed.fields, (Fields{{"source", "test"}, {"accessibilityBefore", "true"}, {"accessibilityAfter", "false"},
                                    {"screenRecordingBefore", "true"}, {"screenRecordingAfter", "true"},
                                    {"rawScreenPreflight", "true"}}));
  EXPECT_EQ(desk.state.lastScreenRecordingDecisionReason(), "test.tccPreflight=true,validatedAfterAcceptedDrag=false");
}

TEST(ComputerUseRuntimePermissionState, theSummaryIsOneLineInItsOrder) {
  PermissionDesk desk;
  desk.permissions.grantScreenCapture(false);
  desk.state.refreshNow("look");
  EXPECT_EQ(desk.state.diagnosticSummary(),
            "pid=" + std::to_string(desk.ports.process.currentPID()) +
                " rawAX=true rawScreenPreflight=false stateAX=true stateScreen=false "
                "screenValidatedAfterAcceptedDrag=false screenGrantPending=false "
                "lastScreenAuthorizationEvidence=nil lastScreenRequestResult=nil "
                "lastScreenRequestPreflightBefore=nil lastScreenRequestPreflightAfter=nil "
                "lastScreenRequestDurationMs=nil look.tccPreflight=false,validatedAfterAcceptedDrag=false");
}

TEST(ComputerUseRuntimePermissionState, anAcceptedDropWaitsForItsEvidence) {
  PermissionDesk desk;
  desk.permissions.grantScreenCapture(false);
  desk.state.refreshNow("start");
  desk.log.clear();
  desk.state.beginScreenRecordingGrantAfterAcceptedDrag(desk.inside(), "drag");
  const auto armed = desk.log.only("screen_recording_validation_armed");
  EXPECT_EQ(armed.level, LogLevel::info);
  EXPECT_EQ(armed.fields.at("source"), "drag");
  EXPECT_EQ(armed.fields.at("replacedPending"), "false");
  EXPECT_THAT(armed.fields.at("permissionSummary"), HasSubstr("screenGrantPending=true"));
  EXPECT_FALSE(desk.state.screenRecordingGranted());
  EXPECT_THAT(desk.world.desktop.journal().lines("request"), IsEmpty());
  desk.state.beginScreenRecordingGrantAfterAcceptedDrag(desk.inside(), "drag");
  EXPECT_EQ(desk.log.records("screen_recording_validation_armed")[1].fields.at("replacedPending"), "true");
}

TEST(ComputerUseRuntimePermissionState, theSettingsReadableTitleProvesTheGrantWhateverTheSystemAnswers) {
  PermissionDesk desk;
  desk.permissions.grantScreenCapture(false);
  desk.permissions.answerScreenCaptureRequests(false);
  desk.state.beginScreenRecordingGrantAfterAcceptedDrag(desk.inside(), "drag");
  desk.evidence = settingsWindow(desk.screenHeight());
  desk.log.clear();
  desk.state.refreshNow("watcher");

  EXPECT_TRUE(desk.state.screenRecordingGranted());
  EXPECT_THAT(desk.world.desktop.journal().lines("request"), ElementsAre("request screen capture access"));
  const auto started = desk.log.only("screen_recording_request_started");
  EXPECT_EQ(started.fields.at("source"), "drag");
  EXPECT_EQ(started.fields.at("observerSource"), "watcher");
  EXPECT_EQ(started.fields.at("timing"), "window_name_visible_after_drag");
  EXPECT_EQ(started.fields.at("waitAfterDragMs"), "0");
  EXPECT_EQ(started.fields.at("preflightBefore"), "false");
  EXPECT_THAT(started.fields.at("evidence"), HasSubstr("systemSettingsPID=77 windowID=5 frame=(100.0, 0.0, 600.0, "));
  EXPECT_THAT(started.fields.at("evidence"), HasSubstr(" title=Privacy & Security"));
  EXPECT_THAT(started.fields.at("stateBefore"), HasSubstr("screenGrantPending=false"));
  const auto finished = desk.log.only("screen_recording_request_finished");
  EXPECT_EQ(finished.level, LogLevel::info);
  EXPECT_EQ(finished.fields.at("outcome"), "official_validation_accepted");
  EXPECT_EQ(finished.fields.at("requestResultIgnored"), "true");
  EXPECT_EQ(finished.fields.at("preflightAfter"), "false");
  EXPECT_EQ(finished.fields.at("durationMs"), "0");
  EXPECT_THAT(finished.fields.at("stateAfter"), HasSubstr("screenValidatedAfterAcceptedDrag=true"));
  EXPECT_EQ(desk.state.lastScreenRecordingDecisionReason(),
            "drag.officialValidationAccepted(requestResult=false,preflightAfter=false)");

  // A preflight that stays behind keeps the grant; one that catches up is noted.
  desk.state.refreshNow("later");
  EXPECT_TRUE(desk.state.screenRecordingGranted());
  EXPECT_EQ(desk.state.lastScreenRecordingDecisionReason(), "later.tccPreflight=false,validatedAfterAcceptedDrag=true");
  EXPECT_EQ(desk.log.count("screen_recording_preflight_caught_up"), 0u);
  desk.permissions.grantScreenCapture(true);
  desk.state.refreshNow("caught up");
  EXPECT_EQ(desk.log.only("screen_recording_preflight_caught_up").fields.at("source"), "caught up");
  EXPECT_THAT(desk.state.diagnosticSummary(), HasSubstr("screenValidatedAfterAcceptedDrag=false"));
}

TEST(ComputerUseRuntimePermissionState, aDropOutsideTheSettingsAsksTheSystemNothing) {
  PermissionDesk desk;
  desk.permissions.grantScreenCapture(false);
  desk.state.refreshNow("start");
  desk.evidence = settingsWindow(desk.screenHeight());
  desk.state.beginScreenRecordingGrantAfterAcceptedDrag(desk.outside(), "drag");
  EXPECT_FALSE(desk.state.screenRecordingGranted());
  EXPECT_THAT(desk.world.desktop.journal().lines("request"), IsEmpty());
  const auto skipped = desk.log.only("screen_recording_request_skipped");
  EXPECT_EQ(skipped.level, LogLevel::warning);
  EXPECT_EQ(skipped.fields.at("reason"), "drop_outside_system_settings");
  EXPECT_EQ(skipped.fields.at("source"), "drag");
  EXPECT_EQ(desk.state.lastScreenRecordingDecisionReason(),
            "drag.authorizationValidationFailed.dropOutsideSystemSettings");
}

TEST(ComputerUseRuntimePermissionState, aRefusedCaptureOutweighsTheEvidence) {
  PermissionDesk desk;
  desk.permissions.grantScreenCapture(false);
  desk.state.beginScreenRecordingGrantAfterAcceptedDrag(desk.inside(), "drag");
  desk.evidence = settingsWindow(desk.screenHeight());
  desk.state.refreshNow("watcher");
  desk.changes.clear();
  desk.state.markScreenRecordingDeniedFromCaptureFailure("computerUseTool", "refused");
  EXPECT_FALSE(desk.state.screenRecordingGranted());
  EXPECT_EQ(desk.changes.size(), 1u);
  EXPECT_EQ(desk.state.lastScreenRecordingDecisionReason(), "computerUseTool.realCaptureDenied");
  const auto denied = desk.log.only("screen_recording_capture_denied");
  EXPECT_EQ(denied.level, LogLevel::warning);
  EXPECT_EQ(denied.fields.at("reason"), "real_capture_denied");
  EXPECT_EQ(denied.fields.at("hasErrorDescription"), "true");
  EXPECT_THAT(denied.fields.at("stateBefore"), HasSubstr("stateScreen=true"));
  EXPECT_THAT(denied.fields.at("stateAfter"), HasSubstr("stateScreen=false"));
  desk.state.refreshNow("later");
  EXPECT_FALSE(desk.state.screenRecordingGranted());
}

TEST(ComputerUseRuntimePermissionState, aRefusalOfWhatWasNotGrantedPublishesNothing) {
  PermissionDesk desk;
  desk.permissions.grantScreenCapture(false);
  desk.state.refreshNow("start");
  desk.changes.clear();
  desk.state.markScreenRecordingDeniedFromCaptureFailure("computerUseTool", std::nullopt);
  EXPECT_THAT(desk.changes, IsEmpty());
  EXPECT_EQ(desk.log.only("screen_recording_capture_denied").fields.at("hasErrorDescription"), "false");
}

TEST(ComputerUseRuntimePermissionState, theSummaryTellsOfTheLastEvidenceAndRequest) {
  PermissionDesk desk;
  desk.permissions.grantScreenCapture(false);
  desk.permissions.answerScreenCaptureRequests(true);
  desk.state.beginScreenRecordingGrantAfterAcceptedDrag(desk.inside(), "drag");
  desk.evidence = settingsWindow(desk.screenHeight());
  desk.state.refreshNow("watcher");
  EXPECT_THAT(desk.state.diagnosticSummary(),
              HasSubstr(" title=Privacy & Security lastScreenRequestResult=true lastScreenRequestPreflightBefore=false "
                        "lastScreenRequestPreflightAfter=false lastScreenRequestDurationMs=0 drag.officialValidationAccepted("));
}

}  // namespace
}  // namespace tavik
