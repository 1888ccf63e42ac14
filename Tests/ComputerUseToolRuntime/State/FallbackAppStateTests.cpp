#include "ComputerUseToolRuntime/State/FallbackAppState.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Tests/Support/LogCapture.h"
#include "Tests/Support/SimulatedWorld.h"

namespace tavik {
namespace {

using namespace simulated;
using testing::HasSubstr;
using testing::SizeIs;
using testing::StartsWith;

constexpr std::int32_t pid = 42;

class FallbackAppStateTest : public testing::Test {
 protected:
  FallbackAppStateCapture fallBack() {
    FallbackAppStateCapture state;
    world.run([&] {
      auto& platform = world.desktop.platform();
      AXWrapper access(platform.accessibility, platform.process, world.scheduler, world.mainQueue);
      WindowServerAccessBroker broker(platform.windowServer, world.scheduler);
      WindowUtilities utilities(platform.windowServer, broker);
      ApplicationWindows windows(access, broker);
      WindowScreenshot screenshot(platform.windowServer, platform.screenCapture, platform.imageCoding, utilities,
                                  world.scheduler);
      CaptureCoordinator coordinator(platform.windowServer, world.scheduler, "/tmp");
      UIElementTreeTransformationRunner transformations(platform.workspace);
      ApplicationSnapshotCapture capture(access, platform.windowServer, broker, windows, screenshot, coordinator,
                                         transformations, environment, world.scheduler);
      ScreenCapturePermissionProbeBroker probe(platform.windowServer, world.scheduler);
      StateRootSelector roots(access, transformations, world.scheduler, std::nullopt);
      FallbackAppState fallback(capture, windows, broker, probe, roots, access, transformations, environment,
                                world.scheduler);
      state = fallback.fallbackGetAppState(
          pid, "Notes", [](const UIElementTree&, const std::string& text) { return "State:\n" + text; }, content);
    });
    return state;
  }

  SimulatedWorld world;
  LogCapture log;
  CaptureEnvironment environment{.backend = {}, .hasScreenCaptureKit = false};
  SimulatedApplication notes = world.desktop.application("Notes", "com.example.notes", pid);
  SimulatedElement window = notes.window("Untitled", Rect{{0, 0}, {400, 200}});
  std::vector<ToolResultContent> content;

  void fill() {
    auto list = window.add(table());
    for (int i = 0; i < 20; ++i) list.add(row({"Entry " + std::to_string(i)}));
  }
};

TEST_F(FallbackAppStateTest, givesThePictureBeforeTheText) {
  fill();
  const auto state = fallBack();
  EXPECT_EQ(state.screenshotOutcome, ArtifactOutcome::success);
  EXPECT_EQ(state.screenshotPixelSize, (Size{1536, 768}));
  EXPECT_EQ(state.targetWindowBounds, (Rect{{0, 0}, {400, 200}}));
  EXPECT_EQ(state.axOutcome, ArtifactOutcome::success);
  EXPECT_EQ(state.axFailureStage, std::nullopt);
  EXPECT_TRUE(state.tree);
  ASSERT_THAT(content, SizeIs(2));
  EXPECT_EQ(content[0].image().mimeType, "image/png");
  EXPECT_THAT(content[1].text(), StartsWith("State:\n0 standard window Untitled"));
  EXPECT_EQ(log.only("capture_started").fields.at("tool"), "fallback-get-app-state");
  const auto checked = log.only("permission_check_finished");
  EXPECT_EQ(checked.level, LogLevel::info);
  EXPECT_EQ(checked.category, LogCategory::permissions);
  EXPECT_EQ(checked.fields, (std::map<std::string, std::string>{{"outcome", "granted"}, {"evidence", "fast_capture"}}));
}

TEST_F(FallbackAppStateTest, givesTheTextAloneWhenTheScreenMayNotBeCaptured) {
  fill();
  world.desktop.windowServer().stopAnswering();
  const auto state = fallBack();
  EXPECT_EQ(state.screenshotOutcome, ArtifactOutcome::unavailable);
  EXPECT_EQ(state.targetWindowID, std::nullopt);
  EXPECT_THAT(content, SizeIs(1));
  const auto checked = log.only("permission_check_finished");
  EXPECT_EQ(checked.level, LogLevel::warning);
  EXPECT_EQ(checked.fields.at("outcome"), "denied_or_timeout");
}

TEST_F(FallbackAppStateTest, saysThatATreeIsSparse) {
  const auto state = fallBack();
  EXPECT_EQ(state.axOutcome, ArtifactOutcome::partial);
  EXPECT_EQ(state.axFailureStage, "fallback_tree_quality");
  EXPECT_EQ(state.axErrorCode, "sparse_tree");
}

TEST_F(FallbackAppStateTest, listsWhatIsThereWhenNoTreeCanBeBuilt) {
  fill();
  notes.on(AXCall::of(AXOperation::copyMultipleAttributeValues)).answers(AXError::failure);
  const auto state = fallBack();
  EXPECT_EQ(state.axOutcome, ArtifactOutcome::partial);
  EXPECT_EQ(state.axFailureStage, "fallback_tree_fetch");
  EXPECT_EQ(state.axErrorCode, "unknown");
  EXPECT_FALSE(state.tree);
  EXPECT_THAT(content.back().text(), HasSubstr("\tAXWindow Title: Untitled"));
  EXPECT_THAT(content.back().text(), HasSubstr("AXStaticText"));
}

TEST_F(FallbackAppStateTest, hasNothingToSayOfAnApplicationThatAnswersNothing) {
  notes.on(AXCall::of(AXOperation::copyMultipleAttributeValues)).answers(AXError::failure);
  notes.on(AXCall::of(AXOperation::copyActionNames)).answers(AXError::failure);
  for (const char* attribute : {"AXTitle", "AXChildren", "AXDescription", "AXValue"}) {
    notes.on(AXCall::of(AXOperation::copyAttributeValue, attribute)).answers(AXError::failure);
  }
  notes.element().on(AXCall::of(AXOperation::copyAttributeValue, "AXRole")).answers(AXError::failure).after(1);
  const auto state = fallBack();
  EXPECT_EQ(state.axOutcome, ArtifactOutcome::failed);
  EXPECT_EQ(state.axFailureStage, "fallback_tree_fetch");
}

TEST(FallbackAppStateWords, tellTheModelWhatToDo) {
  EXPECT_EQ(minimalIndicesWarning("Notes"),
            "Accessibility warning: 'Notes' returned only a role-level fallback tree after normal serialization "
            "produced zero lines. The displayed element_index values are valid for this snapshot, but controls may "
            "have limited names or actions. Prefer a fresh get_app_state before relying on ambiguous elements.");
  EXPECT_EQ(emptyTreeFailure("Notes"),
            "Accessibility tree serialization failed for 'Notes': AX nodes were discovered, but no usable "
            "accessibility_tree lines could be produced after application-root and minimal-index recovery. The "
            "screenshot may be attached for diagnostics, but no element_index session was created. Retry "
            "get_app_state before sending element actions.");
}

}  // namespace
}  // namespace tavik
