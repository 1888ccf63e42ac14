#include <gmock/gmock.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <thread>

#include "Backends/Linux/Workspace/LinuxApplicationIndex.h"
#include "Backends/Linux/Workspace/LinuxWorkspace.h"
#include "Base/Concurrency/ThreadScheduler.h"
#include "ChildProcess.h"
#include "ComputerUseContracts/ToolError.h"
#include "ComputerUseToolRuntime/Apps/AppResolver.h"
#include "PaintedWindow.h"

namespace tavik::test {
namespace {

/// Which window the keyboard goes to, beside which one is active.
xcb_window_t focusedWindow(X11Desktop& desktop) {
  return desktop
      .with([](X11Session& session) {
        auto focus = session.reply(xcb_get_input_focus_reply, xcb_get_input_focus(session.connection()));
        return focus ? focus->focus : xcb_window_t{XCB_NONE};
      })
      .value_or(XCB_NONE);
}

std::string parentOf(std::int32_t pid) {
  std::ifstream status("/proc/" + std::to_string(pid) + "/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("PPid:\t")) return line.substr(6);
  }
  return {};
}

class Launch : public testing::Test {
 protected:
  ~Launch() override {
    for (std::int32_t pid : started) kill(pid, SIGKILL);
  }

  ResolvedApp launch(const std::string& query) {
    ResolvedApp app = resolver.resolveAppPIDForGetAppState(query, true);
    started.push_back(app.pid);
    return app;
  }

  /// The user's window keeps the keyboard while the application opens its windows;
  /// what took it meanwhile has given it back.
  void expectUsersWindowIsLeftAlone(std::int32_t pid) {
    ASSERT_TRUE(eventually([&] {
      auto app = workspace.runningApplication(pid);
      return app && app->activationPolicy == ActivationPolicy::regular;
    }));
    // For as long as applications take to ask for the activation themselves.
    int strange = 0;
    for (int look = 0; look < 60; ++look) {
      if (desktop.activeWindow() != users.id() || focusedWindow(desktop) != focus) ++strange;
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    EXPECT_LE(strange, 4) << "looks of 60 that found another window active";
    EXPECT_EQ(desktop.activeWindow(), users.id());
    EXPECT_EQ(focusedWindow(desktop), focus);
  }

  X11Desktop desktop;
  BusConnection bus{BusConnection::sessionBusAddress()};
  DesktopEntryIndex entries{DesktopEntryIndex::applicationFolders(), DesktopEntryIndex::userLanguages()};
  ApplicationLauncher launcher{bus, desktop, entries};
  ActiveWindowKeeper activeWindows{desktop};
  LinuxWorkspace workspace{desktop, entries, launcher, activeWindows, [] { return std::vector<std::int32_t>{}; }};
  LinuxApplicationIndex index{entries, ApplicationUseFiles::ofTheUser()};
  ThreadScheduler scheduler;
  AppSearchEngine search{index, workspace, scheduler};
  AppResolver resolver{workspace, search, scheduler};
  PaintedWindow users{{}};
  const xcb_window_t focus = [this] {
    users.activate();
    eventually([&] { return desktop.activeWindow() == users.id(); });
    return focusedWindow(desktop);
  }();
  std::vector<std::int32_t> started;
};

struct Asked {
  const char* how;
  const char* query;
  const char* identifier;
};

class LaunchAs : public Launch, public testing::WithParamInterface<Asked> {};

TEST_P(LaunchAs, StartsTheApplicationBehindTheUsersWindow) {
  const ResolvedApp app = launch(GetParam().query);
  EXPECT_EQ(app.bundleID, GetParam().identifier);
  expectUsersWindowIsLeftAlone(app.pid);
  EXPECT_NE(parentOf(app.pid), std::to_string(getpid()));

  const auto apps = search.discoverApps();
  const auto listed = std::find_if(apps.begin(), apps.end(), [&](const AppSearchResult& one) {
    return one.bundleIdentifier == app.bundleID;
  });
  ASSERT_NE(listed, apps.end());
  EXPECT_TRUE(listed->isRunning);
  EXPECT_FALSE(listed->isFrontmost);
}

INSTANTIATE_TEST_SUITE_P(EveryWay, LaunchAs,
                         testing::Values(Asked{"Name", "Widget Factory", "org.gtk.WidgetFactory4"},
                                         Asked{"NameOfQt", "KCalc", "org.kde.kcalc"},
                                         Asked{"Identifier", "org.xfce.mousepad", "org.xfce.mousepad"},
                                         Asked{"FileName", "featherpad.desktop", "featherpad"},
                                         Asked{"Program", "galculator", "galculator"},
                                         Asked{"BusActivation", "org.gnome.TextEditor",
                                               "org.gnome.TextEditor"}),
                         [](const auto& test) { return std::string(test.param.how); });

TEST_F(Launch, OfAProgramTakesTheEntryThatAsksNothingElseOfIt) {
  EXPECT_THAT(resolver.appLaunchURL("mousepad").value_or("none"), testing::EndsWith("/org.xfce.mousepad.desktop"));
}

TEST_F(Launch, OfAnApplicationForTheTerminalSaysSo) {
  try {
    resolver.resolveAppPIDForGetAppState("vim.desktop", true);
    FAIL() << "it started";
  } catch (const ToolError& error) {
    EXPECT_THAT(error.description(),
                testing::EndsWith(". Failed to launch vim.desktop: It runs inside a terminal only."));
  }
}

}  // namespace
}  // namespace tavik::test
