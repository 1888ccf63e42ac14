#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "ComputerUseToolRuntime/State/AppStateCapture.h"
#include "ComputerUseToolRuntime/State/FallbackAppState.h"
#include "ComputerUseToolRuntime/State/GetAppStateCaptureDiagnostics.h"
#include "Service/ToolWorld.h"
#include "Tests/Support/SeedCount.h"

namespace tavik {
namespace {

using namespace simulated;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

using Diagnostics = GetAppStateCaptureDiagnostics;
using Fields = std::map<std::string, std::string>;

constexpr std::int32_t pid = 42;

/// Rows enough that nothing looks sparse.
void fill(const SimulatedElement& window, int rows = 20) {
  auto list = window.add(table());
  for (int i = 0; i < rows; ++i) list.add(row({"Entry " + std::to_string(i), "Value"}));
}

class GetAppStateTest : public testing::Test {
 protected:
  ToolResult look() { return world.getAppState("Notes"); }
  Fields finished() { return world.log.records("state_capture_finished").back().fields; }
  Duration timed(const std::function<void()>& body) {
    const MonotonicTime start = world.scheduler.now();
    body();
    return world.scheduler.now() - start;
  }
  std::size_t captures() { return world.log.count("screenshot_encoded"); }

  ToolWorld world;
  SimulatedApplication notes = world.desktop.application("Notes", "com.example.notes", pid);
  SimulatedElement window = notes.window("Untitled", Rect{{0, 0}, {800, 600}});
};

TEST_F(GetAppStateTest, takesOneLookAtAHealthyApplication) {
  fill(window);
  notes.activate();
  world.run([&] {
    // The tree build waits once for the application to answer.
    EXPECT_EQ(timed([&] { look(); }), milliseconds(100));
    EXPECT_EQ(captures(), 1u);
    const auto record = world.log.only("state_capture_finished");
    EXPECT_EQ(record.level, LogLevel::info);
    EXPECT_EQ(record.category, LogCategory::session);
    const Fields fields = record.fields;
    EXPECT_EQ(fields.at("outcome"), "success");
    EXPECT_EQ(fields.at("screenshotOutcome"), "success");
    EXPECT_EQ(fields.at("axOutcome"), "success");
    EXPECT_EQ(fields.at("axRecovery"), "none");
    EXPECT_EQ(fields.at("fallback"), "none");
    EXPECT_EQ(fields.at("thresholdMs"), "5000");
    EXPECT_EQ(fields.at("slowestPhase"), "capture_pipeline");
    EXPECT_EQ(fields.at("slowestPhaseDurationMs"), "100");
    EXPECT_EQ(fields.at("durationMs"), "100");
    EXPECT_EQ(fields.at("appResolutionMs"), "0");
    EXPECT_EQ(fields.at("responseBuildMs"), "0");
    EXPECT_EQ(fields.at("sessionSetupMs"), "0");
    EXPECT_EQ(fields.at("responseBlockCount"), "2");
    EXPECT_EQ(fields.at("appBundleID"), "com.example.notes");
    EXPECT_EQ(fields.at("targetPid"), "42");
    EXPECT_GT(std::stoi(fields.at("axNodeCount")), 20);
    EXPECT_GT(std::stoi(fields.at("axOutputLineCount")), 20);
    EXPECT_FALSE(fields.contains("axFailureStage"));
    EXPECT_FALSE(fields.contains("errorCode"));
  });
}

TEST_F(GetAppStateTest, letsABackgroundApplicationBelieveThatItIsActive) {
  fill(window);
  world.desktop.application("Mail", "com.example.mail", 43).activate();
  world.run([&] {
    EXPECT_EQ(timed([&] { look(); }), milliseconds(200));
    EXPECT_THAT(world.desktop.journal().lines("post"), ElementsAre("post focus 0"));
    EXPECT_EQ(world.desktop.eventPosting().posted().front().pid, pid);
    EXPECT_EQ(world.desktop.platform().workspace.frontmostApplication()->pid, 43);
  });
}

TEST_F(GetAppStateTest, waitsForAWindowThatFillsLate) {
  window.add(button("Close"));
  notes.activate();
  world.run([&] {
    world.desktop.after(milliseconds(600), [&] { fill(window); });
    const auto state = look();
    EXPECT_THAT(ToolWorld::textOf(state), HasSubstr("Entry 19"));
    EXPECT_EQ(finished().at("axOutcome"), "success");
  });
}

TEST_F(GetAppStateTest, stopsLookingOnceTwoAnswersInARowAreTheSame) {
  window.add(button("Close"));
  notes.activate();
  world.run([&] {
    look();
    const Fields fields = finished();
    EXPECT_EQ(fields.at("outcome"), "partial");
    EXPECT_EQ(fields.at("axOutcome"), "partial");
    EXPECT_EQ(fields.at("axFailureStage"), "tree_quality");
    EXPECT_EQ(fields.at("axErrorCode"), "sparse_tree");
    EXPECT_EQ(world.log.records("state_capture_finished").back().level, LogLevel::warning);
    // The first round and the rounds after 700 and 1000 ms, of two looks each.
    EXPECT_EQ(captures(), 6u);
  });
}

TEST_F(GetAppStateTest, takesThreeLongWaitsForAnApplicationThatItStartedItself) {
  world.desktop.workspace().install(
      {.path = "/Applications/Fresh.app",
       .bundle = {.bundleIdentifier = "com.example.fresh", .infoDictionary = {}},
       .launchError = std::nullopt,
       .whenLaunched = [&] {
         auto fresh = world.desktop.application("Fresh", "com.example.fresh", 77);
         auto shell = fresh.window("Fresh", Rect{{0, 0}, {800, 600}});
         world.desktop.after(milliseconds(2500), [shell] { fill(shell); });
       }});
  world.run([&] {
    const auto state = world.getAppState("Fresh");
    EXPECT_THAT(ToolWorld::textOf(state), HasSubstr("Entry 19"));
  });
}

TEST_F(GetAppStateTest, tellsTheModelInWordsThatAnApplicationIsNotThere) {
  world.run([&] {
    EXPECT_THAT(ToolWorld::refusalOf([&] { world.getAppState("Nowhere"); }), HasSubstr("Nowhere"));
    const auto record = world.log.only("state_capture_finished");
    EXPECT_EQ(record.level, LogLevel::error);
    EXPECT_EQ(record.fields.at("outcome"), "failed");
    EXPECT_FALSE(record.fields.contains("targetPid"));
  });
}

TEST_F(GetAppStateTest, keepsASkippedPicturesReasonAsItStands) {
  fill(window);
  world.run([&] {
    world.desktop.windowServer().setScreens({});
    const auto state = look();
    EXPECT_EQ(state.content.back().text(), "Screenshot skipped: display is not ready; AX state returned.");
    EXPECT_EQ(finished().at("screenshotOutcome"), "skipped");
    EXPECT_EQ(finished().at("outcome"), "partial");
    EXPECT_FALSE(state.isError);
  });
}

TEST_F(GetAppStateTest, reportsOnlyWhatAModelAskedForItself) {
  fill(window);
  world.run([&] {
    world.service.withSerializedSessionState([&] {
      FocusedElementSnapshot before;
      before.role = "AXTextArea";
      return world.service.getAppState("Notes", {.allowAppLaunch = true, .preActionFocusedElement = before});
    });
    EXPECT_EQ(world.log.count("state_capture_finished"), 0u);
    world.service.withSerializedSessionState([&] { return world.service.getAppState("Notes", {}); });
    EXPECT_EQ(world.log.count("state_capture_finished"), 0u);
  });
}

TEST_F(GetAppStateTest, startsToWatchTheApplicationAndForgetsWhatTheUserDid) {
  fill(window);
  world.run([&] {
    auto& monitor = world.service.userInteractionMonitor();
    monitor.recordAppChanged("com.example.notes", "Notes");
    look();
    EXPECT_FALSE(monitor.intervention("com.example.notes"));
    EXPECT_EQ(monitor.currentProcessID(), pid);
    EXPECT_EQ(monitor.currentAppName(), "Notes");
  });
}

TEST_F(GetAppStateTest, asksForTheFullTreeWhereAnApplicationHasOne) {
  fill(window);
  notes.element().setSettable("AXManualAccessibility", true);
  notes.element().setQuietly("AXManualAccessibility", false);
  notes.activate();
  world.run([&] {
    // The application is given time to show what it kept for itself.
    EXPECT_EQ(timed([&] { look(); }), milliseconds(300));
    EXPECT_EQ(notes.element().get("AXManualAccessibility"), AXValue(true));
  });
}

TEST_F(GetAppStateTest, leavesTheGateFreeWhenTheCallerIsGone) {
  window.add(button("Close"));
  world.run([&] {
    Task looking = world.scheduler.start("looking", [&] {
      try {
        look();
      } catch (const CancellationError&) {
      }
    });
    world.scheduler.sleep(milliseconds(700));
    looking.cancel();
    looking.join();
    EXPECT_EQ(world.service.session().currentSession(), std::nullopt);
    EXPECT_EQ(finished().at("errorCode"), "cancelled");
    EXPECT_EQ(finished().at("failureStage"), "capture_pipeline");
    fill(window);
    EXPECT_THAT(ToolWorld::textOf(look()), HasSubstr("Entry 19"));
  });
}

TEST(GetAppState, neverKeepsTheGateNorInstallsAStateTwiceWhenCallersGiveUpAtAnyTime) {
  for (std::uint64_t seed = 1; seed <= seedCount(300) && !testing::Test::HasFailure(); ++seed) {
    SCOPED_TRACE(seed);
    ToolWorld world(seed);
    std::mt19937_64 random(seed);
    auto notes = world.desktop.application("Notes", "com.example.notes", pid);
    auto window = notes.window("Untitled", Rect{{0, 0}, {800, 600}});
    if (random() % 2) fill(window, 3);
    // Pictures would take most of the time and change nothing.
    world.desktop.windowServer().setScreens({});
    world.run([&] {
      int announced = 0;
      world.service.session().setActiveSessionsDidChange([&](const auto&) { ++announced; });
      std::vector<Task> callers;
      for (int i = 0; i < 3; ++i) {
        callers.push_back(world.scheduler.start("caller", [&] {
          try {
            world.getAppState("Notes");
          } catch (const CancellationError&) {
          }
        }));
      }
      world.scheduler.sleep(milliseconds(static_cast<std::int64_t>(random() % 4000)));
      for (std::size_t i = 0; i < callers.size(); ++i) {
        if (random() % 2) callers[i].cancel();
      }
      for (auto& caller : callers) caller.join();
      EXPECT_LE(announced, 1);
      EXPECT_THAT(ToolWorld::textOf(world.getAppState("Notes")), HasSubstr("App=com.example.notes"));
      EXPECT_TRUE(world.service.session().currentSession());
    });
  }
}

// The picture that a richer look must not lose

ApplicationSnapshotCapture::CaptureResult captured(std::optional<Bytes> picture, std::uint32_t windowID, Rect bounds) {
  ApplicationSnapshotCapture::CaptureResult result;
  result.screenshotData = std::move(picture);
  result.targetWindowID = windowID;
  result.targetWindowBounds = bounds;
  if (!result.screenshotData) result.screenshotErrorDescription = "no picture";
  return result;
}

TEST(PreservedScreenshot, staysWithTheSameWindowThatMovedByLessThanHalfAPoint) {
  const auto earlier = captured(Bytes{1}, 7, {{0, 0}, {100, 100}});
  const auto keep = [&](std::uint32_t windowID, Rect bounds) {
    const auto kept = AppStateCapture::captureResultWithPreservedScreenshotIfNeeded(
        captured(std::nullopt, windowID, bounds), earlier);
    return kept.screenshotData.has_value();
  };
  EXPECT_TRUE(keep(7, {{0.5, 0}, {100, 99.5}}));
  EXPECT_FALSE(keep(7, {{0.6, 0}, {100, 100}}));
  EXPECT_FALSE(keep(8, {{0, 0}, {100, 100}}));
}

TEST(PreservedScreenshot, givesWayToANewerPicture) {
  const auto kept = AppStateCapture::captureResultWithPreservedScreenshotIfNeeded(
      captured(Bytes{2}, 7, {{0, 0}, {100, 100}}), captured(Bytes{1}, 7, {{0, 0}, {100, 100}}));
  EXPECT_EQ(kept.screenshotData, Bytes{2});
}

// The outcome of the whole

TEST(GetAppStateCaptureDiagnostics, concludesFromTheTreeAndThePicture) {
  const auto concluded = [](ArtifactOutcome tree, ArtifactOutcome picture) {
    Diagnostics diagnostics;
    diagnostics.axOutcome = tree;
    diagnostics.screenshotOutcome = picture;
    diagnostics.concludeOutcome();
    return rawValue(diagnostics.outcome);
  };
  EXPECT_EQ(concluded(ArtifactOutcome::success, ArtifactOutcome::success), "success");
  EXPECT_EQ(concluded(ArtifactOutcome::success, ArtifactOutcome::skipped), "partial");
  EXPECT_EQ(concluded(ArtifactOutcome::failed, ArtifactOutcome::success), "partial");
  EXPECT_EQ(concluded(ArtifactOutcome::partial, ArtifactOutcome::failed), "partial");
  EXPECT_EQ(concluded(ArtifactOutcome::empty, ArtifactOutcome::unavailable), "empty");
}

TEST(GetAppStateCaptureDiagnostics, namesErrorsInOneWord) {
  const auto code = [](const auto& error) { return getAppStateDiagnosticErrorCode(std::make_exception_ptr(error)); };
  EXPECT_EQ(code(CancellationError()), "cancelled");
  EXPECT_EQ(code(ApplicationSnapshotCaptureError::noTargetWindow(1)), "no_window");
  EXPECT_EQ(code(ApplicationSnapshotCaptureError::invalidWindowSize(1)), "invalid_window");
  EXPECT_EQ(code(ApplicationSnapshotCaptureError::windowScreenshotUnavailable(1)), "screenshot_unavailable");
  EXPECT_EQ(code(ApplicationSnapshotCaptureError::noDisplay()), "no_display");
  EXPECT_EQ(code(ApplicationSnapshotCaptureError::pngWriteFailed()), "encoding_failed");
  EXPECT_EQ(code(ApplicationSnapshotCaptureError::captureTimedOut()), "timeout");
  EXPECT_EQ(code(CaptureCoordinatorError::timedOut("x", 1)), "timeout");
  EXPECT_EQ(code(CaptureCoordinatorError::skipped("x")), "unknown");
  EXPECT_EQ(code(std::runtime_error("x")), "unknown");
}

TEST(GetAppStateCaptureDiagnostics, breaksTiesOfPhasesByTheEarlierAndWarnsOfSlowCalls) {
  LogCapture log;
  Diagnostics diagnostics;
  diagnostics.enabled = true;
  diagnostics.outcome = Diagnostics::Outcome::success;
  diagnostics.appResolutionMs = 7;
  diagnostics.responseBuildMs = 7;
  diagnostics.emit(MonotonicTime{milliseconds(4999)});
  EXPECT_EQ(log.records("state_capture_finished").back().level, LogLevel::info);
  EXPECT_EQ(log.records("state_capture_finished").back().fields.at("slowestPhase"), "app_resolution");
  diagnostics.emit(MonotonicTime{milliseconds(5000)});
  EXPECT_EQ(log.records("state_capture_finished").back().level, LogLevel::warning);
}

}  // namespace
}  // namespace tavik
