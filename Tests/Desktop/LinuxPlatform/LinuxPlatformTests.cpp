#include <gmock/gmock.h>
#include <unistd.h>

#include <cstdlib>
#include <thread>

#include "Backends/Linux/Platform/LinuxDesktopDiagnosis.h"
#include "Backends/Linux/Platform/MakePlatform.h"
#include "Base/Concurrency/ThreadScheduler.h"
#include "ChildProcess.h"

namespace tavik::test {
namespace {

using testing::HasSubstr;

class PlatformOfLinux : public testing::Test {
 protected:
  ~PlatformOfLinux() override {
    mainQueue.quit();
    main.join();
    platform.reset();
  }

  std::vector<WindowRecord> onScreen() {
    return platform->ports().windowServer.copyWindowInfo(17, 0).value();
  }

  ThreadScheduler scheduler;
  MainQueue mainQueue{scheduler};
  std::unique_ptr<LinuxPlatform> platform = makePlatform(mainQueue, "TEAM000001");
  std::thread main{[this] { mainQueue.run(); }};
};

TEST_F(PlatformOfLinux, ReadsAnApplicationItsWindowAndItsPictureAsOne) {
  ChildProcess calculator({"galculator"});
  Platform& ports = platform->ports();
  std::optional<RunningApplication> application;
  ASSERT_TRUE(eventually([&] {
    application = ports.workspace.runningApplication(calculator.pid());
    return application && application->activationPolicy == ActivationPolicy::regular;
  }));
  EXPECT_EQ(application->bundleIdentifier, "galculator");

  std::optional<WindowRecord> window;
  ASSERT_TRUE(eventually([&] {
    for (const WindowRecord& record : onScreen()) {
      if (record.ownerPID == calculator.pid()) window = record;
    }
    return window &&
           ports.accessibility
               .copyAttributeValue(ports.accessibility.createApplication(calculator.pid()), "AXWindows")
               .ok();
  }));
  auto image = ports.windowServer.createWindowImage(*window->windowID);
  ASSERT_TRUE(image);
  EXPECT_EQ(Size({static_cast<double>(image->width), static_cast<double>(image->height)}),
            window->bounds->size);
  EXPECT_TRUE(ports.imageCoding.encodePNG(ports.imageCoding.scaled(*image, 100, 100)));
}

TEST_F(PlatformOfLinux, WindowsStandWhereAccessibilitySaysThatTheyStand) {
  // One with a title bar of the window manager's, one with its own, one whose toolkit knows no screen.
  for (const char* program : {"galculator", "gtk3-widget-factory", "gtk4-widget-factory", "kcalc"}) {
    ChildProcess process({program});
    Platform& ports = platform->ports();
    AXElement application = ports.accessibility.createApplication(process.pid());
    Rect server, accessibility;
    EXPECT_TRUE(eventually([&] {
      server = accessibility = Rect::null();
      for (const WindowRecord& record : onScreen()) {
        if (record.ownerPID == process.pid() && record.layer == 0) server = *record.bounds;
      }
      auto windows = ports.accessibility.copyAttributeValue(application, "AXWindows");
      const AXArray* list = windows.value.get<AXArray>();
      if (list == nullptr || list->empty()) return false;
      const AXElement* window = list->front().get<AXElement>();
      auto position = ports.accessibility.copyAttributeValue(*window, "AXPosition");
      auto size = ports.accessibility.copyAttributeValue(*window, "AXSize");
      if (!position.value.get<Point>() || !size.value.get<Size>()) return false;
      accessibility = {*position.value.get<Point>(), *size.value.get<Size>()};
      return accessibility == server;
    })) << program
        << ": accessibility " << accessibility.minX() << "," << accessibility.minY() << " "
        << accessibility.size.width << "x" << accessibility.size.height << ", window server " << server.minX()
        << "," << server.minY() << " " << server.size.width << "x" << server.size.height;
  }
}

class Diagnosis : public testing::Test {
 protected:
  void change(const char* name, const char* value) {
    const char* before = std::getenv(name);
    changed.emplace_back(name, before != nullptr ? before : "");
    setenv(name, value, 1);
  }
  void TearDown() override {
    for (auto& [name, before] : changed) setenv(name.c_str(), before.c_str(), 1);
  }

  static DesktopProbe probe(const std::string& name) {
    for (DesktopProbe& candidate : diagnosis()) {
      if (candidate.name == name) return candidate;
    }
    return {};
  }
  static std::vector<DesktopProbe>& diagnosis() {
    static std::vector<DesktopProbe> last;
    last = diagnoseLinuxDesktop();
    return last;
  }

  std::vector<std::pair<std::string, std::string>> changed;
};

TEST_F(Diagnosis, FindsNothingWrongWithTheDesktop) {
  for (const DesktopProbe& probe : diagnosis()) {
    if (probe.name == "runtime") continue;
    EXPECT_TRUE(probe.ok) << probe.name << ": " << probe.detail;
    EXPECT_FALSE(probe.detail.empty());
    EXPECT_EQ(probe.remedy, "");
  }
  EXPECT_EQ(probe("window manager").detail, "Openbox");
  EXPECT_THAT(probe("X display").detail, HasSubstr("1920x1200"));
}

TEST_F(Diagnosis, SaysThatThereIsNoDisplay) {
  change("DISPLAY", "");
  EXPECT_EQ(probe("X display").detail, "DISPLAY is not set");
  EXPECT_FALSE(probe("window manager").ok);
  change("DISPLAY", ":4242");
  EXPECT_EQ(probe("X display").detail, "no X server answers at :4242");
  EXPECT_FALSE(probe("X display").remedy.empty());
}

TEST_F(Diagnosis, SaysThatThereIsNoBus) {
  change("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nowhere");
  for (const char* name : {"session bus", "accessibility bus", "accessibility enabled", "runtime"}) {
    DesktopProbe found = probe(name);
    EXPECT_FALSE(found.ok) << name;
    EXPECT_FALSE(found.remedy.empty()) << name;
  }
}

TEST_F(Diagnosis, SaysThatApplicationsAreNotTold) {
  auto setEnabled = [](const char* value) {
    std::string command = std::string(
                              "gdbus call --session --dest org.a11y.Bus --object-path /org/a11y/bus --method "
                              "org.freedesktop.DBus.Properties.Set org.a11y.Status IsEnabled '<") +
                          value + ">' > /dev/null";
    ASSERT_EQ(std::system(command.c_str()), 0);
  };
  setEnabled("false");
  EXPECT_FALSE(probe("accessibility enabled").ok);
  setEnabled("true");
  EXPECT_TRUE(probe("accessibility enabled").ok);
}

}  // namespace
}  // namespace tavik::test
