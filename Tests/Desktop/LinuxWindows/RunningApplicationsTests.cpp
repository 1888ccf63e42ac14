#include <gmock/gmock.h>
#include <unistd.h>

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
