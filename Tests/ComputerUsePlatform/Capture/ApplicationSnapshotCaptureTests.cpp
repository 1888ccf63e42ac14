#include "ComputerUsePlatform/Capture/ApplicationSnapshotCapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <random>

#include "Tests/Support/LogCapture.h"
#include "Tests/Support/SimulatedWorld.h"

namespace tavik {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using namespace simulated;

constexpr std::int32_t pid = 42;
using Fields = std::map<std::string, std::string>;

class ApplicationSnapshotCaptureTest : public testing::Test {
 protected:
  void SetUp() override { std::filesystem::create_directories(folder); }
  void TearDown() override {
    EXPECT_TRUE(std::filesystem::is_empty(folder));
    std::filesystem::remove_all(folder);
  }

  void run(const std::function<void(ApplicationSnapshotCapture&)>& body) {
    world.run([&] {
      auto& desktop = world.desktop;
      AXWrapper access(desktop.platform().accessibility, desktop.platform().process, world.scheduler, world.mainQueue);
      WindowServerAccessBroker broker(desktop.windowServer(), world.scheduler);
      WindowUtilities utilities(desktop.windowServer(), broker);
      ApplicationWindows applicationWindows(access, broker);
      WindowScreenshot screenshot(desktop.windowServer(), desktop.screenCapture(), desktop.platform().imageCoding,
                                  utilities, world.scheduler);
      CaptureCoordinator coordinator(desktop.windowServer(), world.scheduler, folder.string());
      UIElementTreeTransformationRunner transformations(desktop.platform().workspace);
      environment.hasScreenCaptureKit = desktop.screenCapture().isAvailable();
      ApplicationSnapshotCapture capture(access, desktop.windowServer(), broker, applicationWindows, screenshot,
                                         coordinator, transformations, environment, world.scheduler);
      body(capture);
    });
  }

  /// What the model is told in place of a picture.
  std::string reasonWith(ApplicationSnapshotCapture::Options options) {
    std::string reason;
    run([&](ApplicationSnapshotCapture& capture) {
      const auto result = capture.capture(pid, options);
      EXPECT_THAT(result.axTreeText, testing::HasSubstr("Save"));
      EXPECT_FALSE(result.screenshotData);
      reason = result.screenshotErrorDescription.value_or("none");
    });
    return reason;
  }

  SimulatedWorld world;
  LogCapture log;
  const std::filesystem::path folder =
      std::filesystem::temp_directory_path() / ("snapshot-tests-" + std::to_string(std::random_device()()));
  CaptureEnvironment environment;
  SimulatedApplication notes = world.desktop.application("Notes", "com.example.notes", pid);
  SimulatedElement window = notes.window("Shopping", Rect{{10, 20}, {400, 200}});
  SimulatedElement save = window.add(button("Save"));
};

TEST_F(ApplicationSnapshotCaptureTest, takesTreeTextPictureAndGeometryTogether) {
  world.desktop.windowServer().moveMouse({3, 4});
  run([&](ApplicationSnapshotCapture& capture) {
    const auto result = capture.capture(pid, {.toolName = "get_app_state"});
    EXPECT_EQ(result.tree->rootItem->axElement, window.element());
    EXPECT_EQ(result.axTreeText, result.tree->serializeForAppState());
    EXPECT_TRUE(result.screenshotData);
    EXPECT_EQ(result.scaledScreenSize, (Size{1536, 768}));
    EXPECT_EQ(result.targetWindowBounds, (Rect{{10, 20}, {400, 200}}));
    EXPECT_EQ(result.cursorPosition, (Point{3, 4}));
    EXPECT_EQ(result.screenshotErrorDescription, std::nullopt);
    EXPECT_EQ(result.targetWindowID, capture.preferredTargetWindowSnapshot(pid)->windowID);
  });
  const auto encoded = log.only("screenshot_encoded");
  EXPECT_EQ(encoded.level, LogLevel::info);
  EXPECT_EQ(encoded.fields, (Fields{{"backend", "cgwindow"}, {"width", "1536"}, {"height", "768"}}));
}

TEST_F(ApplicationSnapshotCaptureTest, staysOnTheWindowThatWasAskedFor) {
  run([&](ApplicationSnapshotCapture& capture) {
    const auto first = capture.preferredTargetWindowSnapshot(pid)->windowID;
    const auto second = notes.window("Another", Rect{{500, 20}, {400, 200}});
    world.scheduler.sleep(seconds(1));
    const auto result = capture.capture(pid, {.preferredTargetWindowID = first});
    EXPECT_EQ(result.targetWindowID, first);
    EXPECT_EQ(result.tree->rootItem->axElement, window.element());
    EXPECT_EQ(capture.capture(pid, {}).tree->rootItem->axElement, second.element());
  });
}

TEST_F(ApplicationSnapshotCaptureTest, readsTheApplicationItselfWhenItHasNoWindow) {
  const auto menus = world.desktop.application("Agent", "com.example.agent", 43);
  menus.menuBar({menu("File", {menuItem("Quit")})});
  run([&](ApplicationSnapshotCapture& capture) {
    const auto result = capture.capture(43, {});
    EXPECT_EQ(result.tree->rootItem->role, "AXApplication");
    EXPECT_EQ(result.targetWindowID, std::nullopt);
    EXPECT_EQ(result.screenshotErrorDescription, "Screenshot skipped: capture policy AX_ONLY; AX state returned.");
  });
  const auto skipped = log.only("capture_skipped");
  EXPECT_EQ(skipped.fields.at("policy"), "AX_ONLY");
}

TEST_F(ApplicationSnapshotCaptureTest, takesNoPictureWhenTheEnvironmentForbidsIt) {
  environment.backend = " OFF ";
  EXPECT_EQ(reasonWith({}), "Screenshot skipped: capture policy AX_ONLY; AX state returned.");
  EXPECT_THAT(world.desktop.journal().entries("capture"), IsEmpty());
}

TEST_F(ApplicationSnapshotCaptureTest, saysThatAWindowGaveNoPicture) {
  std::uint32_t id = 0;
  run([&](ApplicationSnapshotCapture& capture) {
    id = capture.preferredTargetWindowSnapshot(pid)->windowID;
    world.desktop.windowServer().refusePicture(id);
    const auto result = capture.capture(pid, {});
    EXPECT_EQ(result.screenshotErrorDescription, "Screenshot capture failed for target window " + std::to_string(id));
    EXPECT_THAT(result.axTreeText, testing::HasSubstr("Save"));
  });
  const auto failed = log.records("capture_failed").back();
  EXPECT_EQ(failed.fields.at("policy"), "SAFE_WINDOW_IMAGE");
}

TEST_F(ApplicationSnapshotCaptureTest, returnsTheTreeOfAWindowThatClosesDuringTheCapture) {
  world.desktop.screenCapture().setAvailable(true);
  world.desktop.screenCapture().setOnContent([&] { window.remove(); });
  run([&](ApplicationSnapshotCapture& capture) {
    const auto result = capture.capture(pid, {});
    EXPECT_TRUE(result.tree);
    EXPECT_EQ(result.screenshotErrorDescription,
              "Screenshot capture failed for target window " + std::to_string(*result.targetWindowID));
  });
}

// ScreenCaptureKit

class ScreenCaptureKitTest : public ApplicationSnapshotCaptureTest {
 protected:
  void SetUp() override {
    ApplicationSnapshotCaptureTest::SetUp();
    sck.setAvailable(true);
  }
  SimulatedScreenCapture& sck = world.desktop.screenCapture();
};

TEST_F(ScreenCaptureKitTest, takesAWindowByItselfInItsSize) {
  run([&](ApplicationSnapshotCapture& capture) {
    const auto result = capture.capture(pid, {});
    EXPECT_EQ(result.scaledScreenSize, (Size{1536, 768}));
    ASSERT_EQ(sck.captured().size(), 1u);
    const auto [filter, configuration] = sck.captured().front();
    EXPECT_EQ(filter, ContentFilter(DesktopIndependentWindowFilter{*result.targetWindowID}));
    StreamConfiguration expected;
    expected.width = 1536;
    expected.height = 768;
    EXPECT_EQ(configuration, expected);
    EXPECT_FALSE(configuration.showsCursor);
    EXPECT_EQ(configuration.pixelFormat, "BGRA");
  });
  EXPECT_EQ(log.only("screenshot_encoded").fields.at("backend"), "sck");
  EXPECT_EQ(log.only("capture_started").fields.at("timeoutMs"), "3000");
}

TEST_F(ScreenCaptureKitTest, takesTheFirstDisplayWithoutUnwantedWindowsButWithItsWallpaper) {
  sck.setContent([](ShareableContent content) {
    content.windows = {{501, "com.apple.dock", "Wallpaper-1", true, {}},
                       {502, "com.apple.dock", "Dock", true, {}},
                       {503, "com.example.notes", "Shopping", true, {}}};
    return content;
  });
  run([&](ApplicationSnapshotCapture& capture) {
    const auto result = capture.capture(
        pid, {.excludeWindowIDs = {501, 502}, .capturePolicy = CapturePolicy::sckDisplayImage});
    EXPECT_EQ(result.scaledScreenSize, (Size{1920, 1200}));
    EXPECT_EQ(sck.captured().front().filter, ContentFilter(DisplayFilter{1, {502}}));
  });
}

TEST_F(ScreenCaptureKitTest, takesTheOtherWayAfterAFailure) {
  sck.refuseImages(true);
  run([&](ApplicationSnapshotCapture& capture) {
    const auto result = capture.capture(pid, {});
    EXPECT_TRUE(result.screenshotData);
    const auto fallback = log.only("capture_fallback");
    EXPECT_EQ(fallback.level, LogLevel::warning);
    EXPECT_EQ(fallback.fields, (Fields{{"windowId", std::to_string(*result.targetWindowID)},
                                       {"backend", "sck"},
                                       {"fallback", "cgwindow"},
                                       {"reason", "sck_failed"}}));
  });
  EXPECT_EQ(log.records("capture_started").back().fields.at("timeoutMs"), "1500");
}

TEST_F(ScreenCaptureKitTest, takesNoOtherWayAfterATimeout) {
  sck.setOnImage([&] { world.scheduler.sleep(seconds(10)); });
  run([&](ApplicationSnapshotCapture& capture) {
    const auto result = capture.capture(pid, {});
    EXPECT_EQ(result.screenshotErrorDescription,
              "Screenshot skipped: SCScreenshotManager.captureImage timed out after 2.0s; AX state returned.");
  });
  EXPECT_EQ(log.count("capture_fallback"), 0u);
  EXPECT_EQ(log.records("capture_failed").back().fields.at("outcome"), "timeout");
}

TEST_F(ScreenCaptureKitTest, boundsTheSearchForContentAsWell) {
  sck.setOnContent([&] { world.scheduler.sleep(seconds(10)); });
  EXPECT_EQ(reasonWith({}), "Screenshot skipped: SCShareableContent.current timed out after 2.0s; AX state returned.");
}

TEST_F(ScreenCaptureKitTest, saysWhatItMisses) {
  sck.setContent([](ShareableContent content) {
    content.displays.clear();
    return content;
  });
  EXPECT_EQ(reasonWith({.capturePolicy = CapturePolicy::sckDisplayImage}), "No display available for screenshot capture");
}

TEST_F(ScreenCaptureKitTest, saysThatAWindowHasNoUsableFrame) {
  sck.setContent([](ShareableContent content) {
    for (auto& shareable : content.windows) shareable.frame = Rect{};
    return content;
  });
  std::string id;
  run([&](ApplicationSnapshotCapture& capture) {
    id = std::to_string(capture.preferredTargetWindowSnapshot(pid)->windowID);
    world.desktop.windowServer().refusePicture(static_cast<std::uint32_t>(std::stoul(id)));
    capture.capture(pid, {});
  });
  EXPECT_EQ(log.count("capture_fallback"), 1u);
}

TEST_F(ScreenCaptureKitTest, refusesWindowPicturesWithoutAWindow) {
  world.desktop.application("Agent", "com.example.agent", 43);
  run([&](ApplicationSnapshotCapture& capture) {
    EXPECT_EQ(capture.capture(43, {.capturePolicy = CapturePolicy::sckWindowImage}).screenshotErrorDescription,
              "No visible target window available for pid 43");
    EXPECT_EQ(capture.capture(43, {.capturePolicy = CapturePolicy::safeWindowImage}).screenshotErrorDescription,
              "Screenshot skipped: safe window capture requires a target app; AX state returned.");
  });
}

TEST(ApplicationSnapshotCaptureError, hasItsWords) {
  using Error = ApplicationSnapshotCaptureError;
  EXPECT_EQ(Error::noTargetWindow(7).description(), "No visible target window available for pid 7");
  EXPECT_EQ(Error::invalidWindowSize(7).description(),
            "Skipping screenshot capture with invalid size for window 7");
  EXPECT_EQ(Error::windowScreenshotUnavailable(7).description(), "Screenshot capture failed for target window 7");
  EXPECT_EQ(Error::noDisplay().description(), "No display available for screenshot capture");
  EXPECT_EQ(Error::pngWriteFailed().description(), "Failed to write PNG screenshot to disk");
  EXPECT_EQ(Error::captureTimedOut().description(), "Screenshot capture timed out");
}

}  // namespace
}  // namespace tavik
