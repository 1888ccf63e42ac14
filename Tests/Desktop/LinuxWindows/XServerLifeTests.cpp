#include <gmock/gmock.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <fstream>

#include "Backends/Linux/Input/X11Keyboard.h"
#include "Backends/Linux/Windows/X11WindowServer.h"
#include "Backends/Linux/Workspace/LinuxWorkspace.h"
#include "ChildProcess.h"
#include "PaintedWindow.h"

namespace tavik::test {
namespace {

/// Points DISPLAY elsewhere while the test runs.
class XServerLife : public testing::Test {
 protected:
  void TearDown() override { setenv("DISPLAY", original.c_str(), 1); }

  /// A display number that no server has.
  static std::string freeDisplay() {
    int number = 200 + getpid() % 1000;
    while (std::ifstream("/tmp/.X" + std::to_string(number) + "-lock").good()) ++number;
    return ":" + std::to_string(number);
  }

  const std::string original = std::getenv("DISPLAY");
  X11Desktop desktop;
  X11WindowServer server{desktop};
  DesktopEntryIndex entries{{}, {}};
  BusConnection bus{BusConnection::sessionBusAddress()};
  ApplicationLauncher launcher{bus, desktop, entries};
  ActiveWindowKeeper activeWindows{desktop};
  LinuxWorkspace workspace{desktop, entries, launcher, activeWindows, [] { return std::vector<std::int32_t>{}; }};
};

TEST_F(XServerLife, WithoutAServerEverythingIsAbsent) {
  setenv("DISPLAY", freeDisplay().c_str(), 1);
  EXPECT_FALSE(server.copyWindowInfo(0, 0));
  EXPECT_FALSE(server.createWindowImage(1));
  EXPECT_FALSE(server.createScreenImage({{0, 0}, {1, 1}}));
  EXPECT_TRUE(server.screens().empty());
  EXPECT_EQ(server.mouseLocation(), (Point{0, 0}));
  EXPECT_TRUE(workspace.runningApplications().empty());
  EXPECT_FALSE(workspace.frontmostApplication());
}

TEST_F(XServerLife, AServerThatGoesAwayAndComesBackIsUsedAgain) {
  std::string display = freeDisplay();
  setenv("DISPLAY", display.c_str(), 1);
  signal(SIGPIPE, SIG_IGN);
  std::vector<std::string> command{"Xvfb",       display,     "-screen", "0",
                                   "800x600x24", "-nolisten", "tcp",     "-noreset"};
  auto first = std::make_unique<ChildProcess>(command);
  ASSERT_TRUE(eventually([&] { return server.screens().size() == 1; }));
  {
    PaintedWindow window({});
    ASSERT_TRUE(server.createWindowImage(window.id()));
  }
  first->end(SIGTERM);
  EXPECT_FALSE(server.copyWindowInfo(0, 0));
  EXPECT_FALSE(server.createWindowImage(1));

  ChildProcess second(command);
  EXPECT_TRUE(eventually([&] { return server.screens().size() == 1; }));
  PaintedWindow window({});
  EXPECT_EQ(server.copyWindowInfo(0, window.id())->size(), 1u);
  EXPECT_TRUE(server.createWindowImage(window.id()));
}

TEST_F(XServerLife, AKeyboardThatComesLaterOrComesBackIsListenedToAgain) {
  const std::string display = freeDisplay();
  setenv("DISPLAY", display.c_str(), 1);
  signal(SIGPIPE, SIG_IGN);
  const std::vector<std::string> command{"Xvfb",       display,     "-screen", "0",
                                         "800x600x24", "-nolisten", "tcp",     "-noreset"};
  std::atomic<int> changes = 0;
  X11Keyboard keyboard(desktop);
  keyboard.setLayoutChangedHandler([&] { ++changes; });
  EXPECT_FALSE(keyboard.copyCurrentLayout());
  const auto letterOfTheKeyZ = [&] {
    const auto layout = keyboard.copyCurrentLayout();
    return layout ? layout->layout->translate(6, 0) : std::nullopt;
  };
  for (const char* server : {"that comes later", "that comes back"}) {
    ChildProcess running(command);
    ASSERT_TRUE(eventually([&] { return letterOfTheKeyZ() == u"z"; })) << server;
    const int before = changes;
    ASSERT_EQ(std::system("setxkbmap de"), 0);
    EXPECT_TRUE(eventually([&] { return changes > before; })) << server;
    EXPECT_EQ(letterOfTheKeyZ(), u"y") << server;
    const int beforeEnd = changes;
    running.end(SIGTERM);
    EXPECT_TRUE(eventually([&] { return changes > beforeEnd; })) << "nobody knows the next server's layout";
  }
}

}  // namespace
}  // namespace tavik::test
