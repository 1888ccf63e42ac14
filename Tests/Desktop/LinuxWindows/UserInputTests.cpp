#include <gtest/gtest.h>

#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <string>

#include "Backends/Linux/Windows/X11EventTaps.h"
#include "ChildProcess.h"
#include "PaintedWindow.h"
#include "PlatformInterfaces/EventPostingPort.h"

namespace tavik::test {
namespace {

/// The user's hands: a device of the core pointer and keyboard.
void xdotool(const std::string& command) { ASSERT_EQ(std::system(("xdotool " + command).c_str()), 0); }

class UserInput : public testing::Test {
 protected:
  std::unique_ptr<InstalledEventTap> listen(std::vector<std::uint32_t> types) {
    auto tap = taps.createTap({.eventTypes = std::move(types)}, [this](const TappedEvent& event) {
      pid = event.targetPID().value_or(0);
      type = event.type;
      ++heard;
      return EventTapVerdict::pass;
    });
    if (tap) tap->setEnabled(true);
    return tap;
  }

  X11Desktop desktop;
  X11EventTaps taps{desktop};
  std::atomic<int> heard = 0;
  std::atomic<std::uint32_t> type = 0;
  std::atomic<std::int32_t> pid = 0;
  PaintedWindow window{{}};
};

TEST_F(UserInput, IsHeardWithTheProcessThatItGoesTo) {
  const auto tap = listen({InputEventType::leftMouseDown, InputEventType::keyDown, InputEventType::scrollWheel});
  ASSERT_TRUE(tap);
  window.activate();
  ASSERT_TRUE(eventually([&] { return desktop.activeWindow() == window.id(); }));
  xdotool("mousemove --window " + std::to_string(window.id()) + " 20 20 click 1");
  ASSERT_TRUE(eventually([&] { return heard == 1; }));
  EXPECT_EQ(type, InputEventType::leftMouseDown);
  EXPECT_EQ(pid, getpid());
  xdotool("click 5");
  ASSERT_TRUE(eventually([&] { return heard == 2; }));
  EXPECT_EQ(type, InputEventType::scrollWheel);
  xdotool("key a");
  ASSERT_TRUE(eventually([&] { return heard == 3; }));
  EXPECT_EQ(type, InputEventType::keyDown);
  EXPECT_EQ(pid, getpid());
}

TEST_F(UserInput, IsNotHeardOfTypesThatNobodyAskedFor) {
  const auto tap = listen({InputEventType::rightMouseDown});
  xdotool("click 1 click 3");
  ASSERT_TRUE(eventually([&] { return heard == 1; }));
  EXPECT_EQ(type, InputEventType::rightMouseDown);
}

TEST_F(UserInput, IsNotHeardAnyMoreAfterTheTapHasEnded) {
  auto tap = listen({InputEventType::leftMouseDown});
  xdotool("click 1");
  ASSERT_TRUE(eventually([&] { return heard == 1; }));
  tap.reset();
  xdotool("click 1");
  EXPECT_EQ(heard, 1);
}

}  // namespace
}  // namespace tavik::test
