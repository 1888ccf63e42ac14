#include <gmock/gmock.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <thread>

#include "Backends/Linux/Windows/X11WindowServer.h"
#include "Backends/Linux/Workspace/LinuxWorkspace.h"
#include "ChildProcess.h"
#include "PaintedWindow.h"

namespace tavik::test {
namespace {

class RunningApplications : public testing::Test {
 protected:
  /// The application once it has a window of its own.
  RunningApplication regular(pid_t pid) {
    std::optional<RunningApplication> found;
    eventually([&] {
      found = workspace.runningApplication(pid);
      return found && found->activationPolicy == ActivationPolicy::regular;
    });
    return found.value_or(RunningApplication{});
  }

  X11Desktop desktop;
  DesktopEntryIndex entries{DesktopEntryIndex::applicationFolders(), DesktopEntryIndex::userLanguages()};
  std::vector<std::int32_t> accessible;
  BusConnection bus{BusConnection::sessionBusAddress()};
  ApplicationLauncher launcher{bus, desktop, entries};
  ActiveWindowKeeper activeWindows{desktop};
  LinuxWorkspace workspace{desktop, entries, launcher, activeWindows, [this] { return accessible; }};
};

/// An application that takes the activation, as some do when they are asked to act.
class FrontmostHold : public RunningApplications {
 protected:
  FrontmostHold() {
    regular(other.pid());
    users.activate();
    eventually([&] { return desktop.activeWindow() == users.id(); });
  }

  void otherActivatesItself() { workspace.activate(other.pid()); }
  bool isUsersWindowActive() { return desktop.activeWindow() == users.id(); }
  bool isOtherActive() {
    const auto frontmost = workspace.frontmostApplication();
    return frontmost && frontmost->pid == other.pid();
  }
  static void pause(int milliseconds) { std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds)); }

  ChildProcess other{{"galculator"}};
  PaintedWindow users{{}};
};

TEST_F(FrontmostHold, GivesTheUsersWindowItsActivationBack) {
  std::atomic<int> changes = 0;
  const auto observation = workspace.observeFrontmostApplication([&](const auto&) { ++changes; });
  {
    const auto hold = workspace.holdFrontmost(other.pid());
    ASSERT_TRUE(hold);
    otherActivatesItself();
    ASSERT_TRUE(eventually([&] { return changes >= 2; })) << "taken, and given back";
    EXPECT_TRUE(eventually([&] { return isUsersWindowActive(); }));
  }
  otherActivatesItself();
  pause(200);
  EXPECT_TRUE(eventually([&] { return isUsersWindowActive(); })) << "for a moment after, too";
}

TEST_F(FrontmostHold, EndsAMomentAfterTheAction) {
  workspace.holdFrontmost(other.pid());
  pause(700);
  otherActivatesItself();
  EXPECT_TRUE(eventually([&] { return isOtherActive(); }));
  pause(200);
  EXPECT_TRUE(isOtherActive());
}

TEST_F(FrontmostHold, LeavesTheUserWhoGoesThereAlone) {
  const auto hold = workspace.holdFrontmost(other.pid());
  ASSERT_EQ(std::system("xdotool click 2"), 0) << "the user's hand";
  otherActivatesItself();
  EXPECT_TRUE(eventually([&] { return isOtherActive(); }));
  pause(300);
  EXPECT_TRUE(isOtherActive());
}

TEST_F(FrontmostHold, IsNotNeededInFront) {
  otherActivatesItself();
  ASSERT_TRUE(eventually([&] { return isOtherActive(); }));
  EXPECT_FALSE(workspace.holdFrontmost(other.pid()));
}

struct Installed {
  const char* program;
  const char* identifier;
  const char* name;
};

class InstalledApplication : public RunningApplications, public testing::WithParamInterface<Installed> {};

TEST_P(InstalledApplication, IsKnownByItsDesktopEntry) {
  const Installed& installed = GetParam();
  ChildProcess process({installed.program});
  RunningApplication application = regular(process.pid());
  EXPECT_EQ(application.bundleIdentifier, installed.identifier);
  EXPECT_EQ(application.localizedName, installed.name);
  EXPECT_EQ(application.bundlePath,
            std::string("/usr/share/applications/") + installed.identifier + ".desktop");
  EXPECT_EQ(application.executablePath, std::string("/usr/bin/") + installed.program);
  EXPECT_EQ(application.infoDictionary["CFBundleExecutable"], installed.program);
  EXPECT_EQ(application.infoDictionary["CFBundleName"], installed.name);
}

INSTANTIATE_TEST_SUITE_P(OfEveryToolkit, InstalledApplication,
                         testing::Values(Installed{"mousepad", "org.xfce.mousepad", "Mousepad"},
                                         Installed{"galculator", "galculator", "Galculator"},
                                         Installed{"gtk4-widget-factory", "org.gtk.WidgetFactory4",
                                                   "Widget Factory"},
                                         Installed{"kcalc", "org.kde.kcalc", "KCalc"}),
                         [](const auto& test) {
                           std::string name = test.param.program;
                           std::erase(name, '-');
                           return name;
                         });

TEST_F(RunningApplications, WithoutADesktopEntryAreKnownByTheirProgram) {
  PaintedWindow window({});
  RunningApplication self = regular(getpid());
  EXPECT_EQ(self.bundleIdentifier, "LinuxWindowsTests");
  EXPECT_EQ(self.localizedName, "Painted");
  EXPECT_FALSE(self.bundlePath);
}

TEST_F(RunningApplications, WithNothingButPopupsAreAccessories) {
  PaintedWindow popup({.isPopup = true});
  auto self = workspace.runningApplication(getpid());
  ASSERT_TRUE(self);
  EXPECT_EQ(self->activationPolicy, ActivationPolicy::accessory);
}

TEST_F(RunningApplications, OnTheAccessibilityBusOnlyAreAccessories) {
  ChildProcess process({"sleep", "60"});
  EXPECT_FALSE(workspace.runningApplication(process.pid()));
  accessible = {process.pid()};
  auto found = workspace.runningApplication(process.pid());
  ASSERT_TRUE(found);
  EXPECT_EQ(found->activationPolicy, ActivationPolicy::accessory);
  EXPECT_EQ(found->bundleIdentifier, "sleep");
}

TEST_F(RunningApplications, InFrontIsTheOneThatTheUserWorksIn) {
  ChildProcess calculator({"galculator"});
  regular(calculator.pid());
  PaintedWindow window({});
  window.activate();
  EXPECT_TRUE(eventually([&] {
    auto front = workspace.frontmostApplication();
    return front && front->pid == getpid();
  }));
  window.minimise();
  EXPECT_TRUE(eventually([&] {
    auto front = workspace.frontmostApplication();
    return front && front->pid == calculator.pid();
  }));
}

}  // namespace
}  // namespace tavik::test
