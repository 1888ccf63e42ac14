#include "ComputerUsePlatform/Capture/TargetWindow.h"

#include <gtest/gtest.h>

#include "ComputerUsePlatform/Capture/DefaultCapturePolicy.h"
#include "ComputerUsePlatform/Capture/WindowScreenshot.h"

namespace tavik {
namespace {

constexpr std::int32_t pid = 42;

Rect rect(double x, double y, double width, double height) { return {{x, y}, {width, height}}; }

struct Place {
  int layer = 0;
  bool isOnScreen = true;
  bool isDesktop = false;
  std::int32_t owner = pid;
};

class TargetWindowTest : public testing::Test {
 protected:
  /// Behind those that were added before.
  std::uint32_t add(const std::string& name, Rect bounds, Place place = Place()) {
    WindowRecord record;
    record.windowID = next++;
    record.ownerPID = place.owner;
    record.name = name;
    record.bounds = bounds;
    record.layer = place.layer;
    record.isOnScreen = place.isOnScreen;
    records.emplace_back(record, place.isDesktop);
    return *record.windowID;
  }

  std::optional<std::uint32_t> preferred() {
    auto windows = snapshot();
    const auto target = preferredTargetWindowCandidate(pid, windows);
    return target ? std::optional(target->windowID) : std::nullopt;
  }

  WindowServerWindowSnapshot snapshot() {
    return WindowServerWindowSnapshot([this](std::uint32_t options, std::uint32_t, const char* reason) {
      reasons.push_back(reason);
      std::vector<WindowRecord> listed;
      for (const auto& [record, isDesktop] : records) {
        if ((options & WindowListOption::onScreenOnly) && !record.isOnScreen) continue;
        if ((options & WindowListOption::excludeDesktopElements) && isDesktop) continue;
        listed.push_back(record);
      }
      return std::optional(listed);
    });
  }

  std::uint32_t next = 1;
  std::vector<std::pair<WindowRecord, bool>> records;
  std::vector<std::string> reasons;
};

TEST_F(TargetWindowTest, passesOverAStripInFrontOfTheRealWindow) {
  add("", rect(0, 0, 900, 40));
  const auto real = add("Document", rect(0, 40, 900, 600));
  EXPECT_EQ(preferred(), real);
}

TEST_F(TargetWindowTest, takesTheFirstStripWhenThereIsNothingElse) {
  const auto strip = add(" ", rect(0, 0, 900, 40));
  add("", rect(0, 50, 900, 40));
  EXPECT_EQ(preferred(), strip);
}

TEST_F(TargetWindowTest, takesNoTitledAndNoTallWindowForAStrip) {
  const auto titled = add("Toolbar", rect(0, 0, 900, 40));
  add("Document", rect(0, 40, 900, 600));
  EXPECT_EQ(preferred(), titled);
  records.clear();
  const auto tall = add("", rect(0, 0, 1900, 160));
  add("Document", rect(0, 160, 900, 600));
  EXPECT_EQ(preferred(), tall);
}

TEST_F(TargetWindowTest, neverTakesAWindowThatIsTooSmall) {
  add("Sliver", rect(0, 0, 15, 300));
  add("Line", rect(0, 0, 300, 15));
  EXPECT_EQ(preferred(), std::nullopt);
}

TEST_F(TargetWindowTest, takesAHiddenWindowBeforeOneThatIsNotOrdinary) {
  add("Panel", rect(0, 0, 300, 300), {.layer = 3});
  const auto panelOnly = preferred();
  EXPECT_EQ(panelOnly, 1u);
  EXPECT_EQ(reasons.size(), 1u);
}

TEST_F(TargetWindowTest, findsAMinimisedWindowInTheListOfAllWindows) {
  const auto minimised = add("Document", rect(0, 0, 300, 300), {.isOnScreen = false});
  EXPECT_EQ(preferred(), minimised);
  EXPECT_EQ(reasons, (std::vector<std::string>{"applicationSnapshotRequestVisibleNonDesktopWindows",
                                               "applicationSnapshotRequestNonDesktopWindows"}));
}

TEST_F(TargetWindowTest, findsADesktopWindowLast) {
  const auto desktop = add("Desktop", rect(0, 0, 1920, 1200), {.layer = -1, .isDesktop = true});
  EXPECT_EQ(preferred(), desktop);
  EXPECT_EQ(reasons.back(), "applicationSnapshotRequestOnScreenWindows");
}

TEST_F(TargetWindowTest, leavesWindowsOfOthersAndIncompleteRecordsAlone) {
  add("Other", rect(0, 0, 300, 300), {.owner = 7});
  WindowRecord incomplete;
  incomplete.windowID = 99;
  incomplete.ownerPID = pid;
  incomplete.isOnScreen = true;
  records.emplace_back(incomplete, false);
  EXPECT_EQ(preferred(), std::nullopt);
}

TEST_F(TargetWindowTest, staysOnAWindowWhileItIsThere) {
  const auto front = add("Front", rect(0, 0, 300, 300));
  const auto back = add("Back", rect(0, 0, 300, 300));
  auto windows = snapshot();
  EXPECT_EQ(targetWindowSnapshot(back, pid, windows)->windowID, back);
  EXPECT_EQ(targetWindowSnapshot(777, pid, windows)->windowID, front);
  EXPECT_EQ(targetWindowSnapshot(back, 7, windows), std::nullopt);
  EXPECT_EQ(targetWindowCandidateFromSnapshot(back, windows)->title, "Back");
  EXPECT_EQ(targetWindowCandidateFromSnapshot(777, windows), std::nullopt);
}

// Which way a picture is taken

CapturePolicy policy(std::optional<std::string> backend, bool hasWindow = true, CaptureEnvironment environment = {}) {
  environment.backend = std::move(backend);
  return defaultCapturePolicy(pid, hasWindow, environment);
}

TEST(DefaultCapturePolicy, followsTheWishOfTheEnvironment) {
  for (const char* off : {"ax", "ax-only", "none", " OFF "}) EXPECT_EQ(policy(off), CapturePolicy::axOnly) << off;
  for (const char* safe : {"cg", "cgwindow", "safe", "Safe-Window\n"}) {
    EXPECT_EQ(policy(safe), CapturePolicy::safeWindowImage) << safe;
    EXPECT_EQ(policy(safe, false), CapturePolicy::axOnly) << safe;
  }
  for (const char* sck : {"sck", "ScreenCaptureKit"}) {
    EXPECT_EQ(policy(sck), CapturePolicy::sckWindowImage) << sck;
    EXPECT_EQ(policy(sck, false), CapturePolicy::sckDisplayImage) << sck;
  }
  for (const char* display : {"sck-display", "display"}) {
    EXPECT_EQ(policy(display), CapturePolicy::sckDisplayImage) << display;
    EXPECT_EQ(policy(display, false), CapturePolicy::sckDisplayImage) << display;
  }
}

TEST(DefaultCapturePolicy, ignoresAWishThatItDoesNotKnow) {
  for (const auto& unknown : {std::optional<std::string>(), std::optional<std::string>(""), std::optional<std::string>("gpu")}) {
    EXPECT_EQ(policy(unknown), CapturePolicy::sckWindowImage);
    EXPECT_EQ(policy(unknown, false), CapturePolicy::axOnly);
  }
  EXPECT_EQ(defaultCapturePolicy(std::nullopt, true, {}), CapturePolicy::sckDisplayImage);
}

TEST(DefaultCapturePolicy, avoidsTheCaptureThatHangsOnOneKindOfMachine) {
  EXPECT_EQ(policy(std::nullopt, true, {.osMajorVersion = 26, .isIntelX86_64 = true}), CapturePolicy::safeWindowImage);
  EXPECT_EQ(policy(std::nullopt, true, {.osMajorVersion = 26, .isIntelX86_64 = false}), CapturePolicy::sckWindowImage);
  EXPECT_EQ(policy(std::nullopt, true, {.osMajorVersion = 25, .isIntelX86_64 = true}), CapturePolicy::sckWindowImage);
}

TEST(DefaultCapturePolicy, usesTheWindowServerWhereThereIsNothingNewer) {
  EXPECT_EQ(policy(std::nullopt, true, {.hasScreenCaptureKit = false}), CapturePolicy::safeWindowImage);
}

// How large a picture is

TEST(WindowScreenshotSize, givesTheShorterSide768Pixels) {
  const auto size = [](double width, double height) {
    return WindowScreenshot::singleWindowCaptureSize(rect(0, 0, width, height));
  };
  EXPECT_EQ(size(400, 200), (Size{1536, 768}));
  EXPECT_EQ(size(1920, 1200), (Size{1229, 768}));
  EXPECT_EQ(size(333, 1000), (Size{768, 2307}));
  EXPECT_EQ(size(0, 100), std::nullopt);
  EXPECT_EQ(size(100, -1), std::nullopt);
  for (double side = 1; side < 3000; ++side) EXPECT_EQ(size(side, side * 2)->width, 768) << side;
}

}  // namespace
}  // namespace tavik
