#include "ComputerUsePlatform/Windows/WindowServerAccessBroker.h"

#include <gtest/gtest.h>

#include "ComputerUsePlatform/Windows/WindowServerWindowSnapshot.h"
#include "Tests/Support/LogCapture.h"
#include "Tests/Support/SimulatedWorld.h"

namespace tavik {
namespace {

/// A window server that counts questions and takes its time.
class SlowWindowServer : public WindowServerPort {
 public:
  explicit SlowWindowServer(Scheduler& scheduler) : scheduler_(scheduler) {}

  std::optional<std::vector<WindowRecord>> copyWindowInfo(std::uint32_t, std::uint32_t) override {
    requireNoLockHeld("copyWindowInfo");
    ++questions;
    if (delay > Duration(0)) scheduler_.sleep(delay);
    if (isSilent) return std::nullopt;
    WindowRecord record;
    record.windowID = static_cast<std::uint32_t>(questions);
    return std::vector<WindowRecord>{record};
  }
  std::optional<Image> createWindowImage(std::uint32_t) override { return std::nullopt; }
  std::optional<Image> createScreenImage(Rect) override { return std::nullopt; }
  std::vector<ScreenRecord> screens() override { return {}; }
  Point mouseLocation() override { return {}; }

  int questions = 0;
  Duration delay{0};
  bool isSilent = false;

 private:
  Scheduler& scheduler_;
};

class WindowServerAccessBrokerTest : public testing::Test {
 protected:
  /// Asks, and tells how many questions the window server has been asked so far.
  int asking(std::uint32_t options = 17, std::uint32_t window = 0) {
    broker.copyWindowInfo(options, window, "test");
    return server.questions;
  }
  void sleep(std::int64_t ms) { world.scheduler.sleep(milliseconds(ms)); }

  SimulatedWorld world;
  LogCapture log;
  SlowWindowServer server{world.scheduler};
  WindowServerAccessBroker broker{server, world.scheduler};
};

TEST_F(WindowServerAccessBrokerTest, answersABurstFromTheCache) {
  world.run([&] {
    EXPECT_EQ(asking(), 1);
    sleep(100);
    EXPECT_EQ(asking(), 1);
    sleep(100);
    EXPECT_EQ(asking(), 2);
  });
}

TEST_F(WindowServerAccessBrokerTest, keepsDifferentQuestionsApart) {
  world.run([&] {
    EXPECT_EQ(asking(17), 1);
    EXPECT_EQ(asking(16), 2);
    EXPECT_EQ(asking(17, 9), 3);
    EXPECT_EQ(asking(17), 3);
  });
}

TEST_F(WindowServerAccessBrokerTest, keepsAnswersLongerWhileTheWindowServerIsSlow) {
  world.run([&] {
    server.delay = milliseconds(250);
    EXPECT_EQ(asking(), 1);
    server.delay = Duration(0);
    sleep(700);
    EXPECT_EQ(asking(), 1);
    sleep(100);
    EXPECT_EQ(asking(), 2);
    sleep(121);
    EXPECT_EQ(asking(), 2);
    sleep(100);
    EXPECT_EQ(asking(), 3);
  });
  const auto record = log.only("window_snapshot_slow");
  EXPECT_EQ(record.category, LogCategory::windows);
  EXPECT_EQ(record.fields, (std::map<std::string, std::string>{{"reason", "test"}, {"durationMs", "250"}}));
}

TEST_F(WindowServerAccessBrokerTest, callsAQueryOfLessThanAQuarterSecondFast) {
  world.run([&] {
    server.delay = milliseconds(249);
    asking();
  });
  EXPECT_EQ(log.count("window_snapshot_slow"), 0u);
}

TEST_F(WindowServerAccessBrokerTest, dropsTheOldestOfNineQuestions) {
  world.run([&] {
    for (std::uint32_t options = 1; options <= 9; ++options) {
      asking(options);
      sleep(1);
    }
    EXPECT_EQ(asking(2), 9);
    EXPECT_EQ(asking(1), 10);
  });
}

TEST_F(WindowServerAccessBrokerTest, doesNotRememberThatThereWasNoAnswer) {
  world.run([&] {
    server.isSilent = true;
    EXPECT_EQ(broker.copyWindowInfo(17, 0, "test"), std::nullopt);
    EXPECT_EQ(asking(), 2);
  });
}

TEST_F(WindowServerAccessBrokerTest, freezesTheWindowsForOneRequest) {
  world.run([&] {
    WindowServerWindowSnapshot snapshot(broker);
    const auto first = snapshot.onScreenNonDesktopWindows("test");
    sleep(5000);
    EXPECT_EQ(snapshot.copyWindowInfo(17, 0, "test")->front().windowID, first->front().windowID);
    EXPECT_EQ(server.questions, 1);
    EXPECT_EQ(asking(), 2);
  });
}

TEST_F(WindowServerAccessBrokerTest, asksAgainForARequestThatGotNoAnswer) {
  world.run([&] {
    WindowServerWindowSnapshot snapshot(broker);
    server.isSilent = true;
    EXPECT_EQ(snapshot.onScreenNonDesktopWindows("test"), std::nullopt);
    server.isSilent = false;
    EXPECT_TRUE(snapshot.onScreenNonDesktopWindows("test"));
  });
}

}  // namespace
}  // namespace tavik
