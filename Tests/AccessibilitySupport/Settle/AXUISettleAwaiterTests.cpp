#include "AccessibilitySupport/Settle/AXUISettleAwaiter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Tests/Support/LogCapture.h"
#include "Tests/Support/SimulatedWorld.h"

namespace tavik {
namespace {

constexpr std::int32_t pid = 42;

class AXUISettleAwaiterTest : public testing::Test {
 protected:
  /// How long a wait of the profile took while `disturb` went on beside it.
  Duration wait(const AXUISettleAwaiter& awaiter, const std::function<void()>& disturb = {}) {
    const MonotonicTime start = world.scheduler.now();
    Task disturbance = world.scheduler.start("disturbance", [&] {
      if (disturb) disturb();
    });
    awaiter.waitForSettle(pid);
    const Duration took = world.scheduler.now() - start;
    disturbance.join();
    return took;
  }

  AXUISettleAwaiter standard() { return AXUISettleAwaiter(port(), world.scheduler); }
  AccessibilityPort& port() { return world.desktop.platform().accessibility; }
  /// Counts the calls of an operation on the application from now on.
  Fault counted(AXOperation operation, const std::string& name = {}) {
    return notes.on(AXCall::of(operation, name)).runs([] {});
  }
  void sleep(std::int64_t ms) { world.scheduler.sleep(milliseconds(ms)); }

  SimulatedWorld world;
  LogCapture log;
  SimulatedApplication notes = world.desktop.application("Notes", "com.example.notes", pid);
  SimulatedElement window = notes.window("Untitled", Rect{{0, 0}, {800, 600}});
};

TEST_F(AXUISettleAwaiterTest, settlesAQuietApplicationAfterOneDebounceInterval) {
  world.run([&] { EXPECT_EQ(wait(standard()), milliseconds(200)); });
  const auto record = log.only("settle_finished");
  EXPECT_EQ(record.level, LogLevel::debug);
  EXPECT_EQ(record.category, LogCategory::accessibility);
  EXPECT_EQ(record.fields, (std::map<std::string, std::string>{{"outcome", "settled"}, {"durationMs", "200"}}));
}

TEST_F(AXUISettleAwaiterTest, startsTheQuietAnewAtEachChange) {
  world.run([&] {
    EXPECT_EQ(wait(standard(),
                   [&] {
                     sleep(190);
                     window.set("AXTitle", "Changed");
                   }),
              milliseconds(390));
  });
}

TEST_F(AXUISettleAwaiterTest, givesUpOnAnApplicationThatNeverRestsExactlyAtTheTimeout) {
  world.run([&] {
    EXPECT_EQ(wait(standard(),
                   [&] {
                     for (int i = 0; i < 40; ++i) {
                       sleep(50);
                       window.notify("AXValueChanged");
                     }
                   }),
              milliseconds(1500));
  });
  const auto record = log.only("settle_finished");
  EXPECT_EQ(record.level, LogLevel::warning);
  EXPECT_EQ(record.fields, (std::map<std::string, std::string>{{"outcome", "timeout"}, {"timeoutMs", "1500"}}));
}

TEST_F(AXUISettleAwaiterTest, waitsLongerAfterAnAction) {
  const auto awaiter = AXUISettleAwaiter::postActionProfile(port(), world.scheduler);
  EXPECT_EQ(awaiter.timeout(), milliseconds(1800));
  world.run([&] { EXPECT_EQ(wait(awaiter), milliseconds(350)); });
}

TEST_F(AXUISettleAwaiterTest, endsAtOnceWhenItIsCancelled) {
  const Fault added = counted(AXOperation::addNotification);
  const Fault removed = counted(AXOperation::removeNotification);
  world.run([&] {
    const MonotonicTime start = world.scheduler.now();
    Task waiting = world.scheduler.start("waiting", [&] { standard().waitForSettle(pid); });
    sleep(120);
    waiting.cancel();
    waiting.join();
    EXPECT_EQ(world.scheduler.now() - start, milliseconds(120));
  });
  const auto record = log.only("settle_finished");
  EXPECT_EQ(record.level, LogLevel::info);
  EXPECT_EQ(record.fields, (std::map<std::string, std::string>{{"outcome", "cancelled"}}));
  EXPECT_EQ(added.metCalls(), 21);
  EXPECT_EQ(removed.metCalls(), 21);
}

TEST_F(AXUISettleAwaiterTest, listensForTwentyOneNotificationsAndForNoneAfterwards) {
  const Fault removed = counted(AXOperation::removeNotification);
  std::vector<Fault> added;
  for (const char* name :
       {"AXUIElementDestroyed", "AXFocusedUIElementChanged", "AXFocusedWindowChanged", "AXMainWindowChanged",
        "AXValueChanged", "AXSelectedTextChanged", "AXWindowCreated", "AXWindowMoved", "AXWindowResized",
        "AXWindowMiniaturized", "AXWindowDeminiaturized", "AXLayoutChanged", "AXSelectedChildrenChanged",
        "AXRowCountChanged", "AXSelectedRowsChanged", "AXCreated", "AXTitleChanged", "AXResized", "AXMoved",
        "AXMenuOpened", "AXMenuClosed"}) {
    added.push_back(counted(AXOperation::addNotification, name));
  }
  world.run([&] { standard().waitForSettle(pid); });
  EXPECT_EQ(removed.metCalls(), 21);
  for (const Fault& each : added) EXPECT_EQ(each.metCalls(), 1);
}

TEST_F(AXUISettleAwaiterTest, waitsAFixedTimeForAnApplicationThatCannotBeObserved) {
  notes.on(AXCall::of(AXOperation::createObserver)).answers(AXError::cannotComplete);
  world.run([&] { EXPECT_EQ(wait(standard()), milliseconds(200)); });
  const auto record = log.only("observer_creation_failed");
  EXPECT_EQ(record.level, LogLevel::warning);
  EXPECT_EQ(record.fields, (std::map<std::string, std::string>{
                               {"targetPid", "42"}, {"errorCode", "-25204"}, {"fallback", "fixed_delay"}}));
  EXPECT_EQ(log.count("settle_finished"), 0u);
}

TEST_F(AXUISettleAwaiterTest, saysThatTheFixedTimeWasCancelled) {
  notes.on(AXCall::of(AXOperation::createObserver)).answers(AXError::cannotComplete);
  world.run([&] {
    Task waiting = world.scheduler.start("waiting", [&] { standard().waitForSettle(pid); });
    sleep(50);
    waiting.cancel();
    waiting.join();
  });
  EXPECT_EQ(log.only("settle_finished").fields.at("outcome"), "cancelled");
}

TEST_F(AXUISettleAwaiterTest, takesTheSilenceOfADeadApplicationForRest) {
  world.run([&] { EXPECT_EQ(wait(standard(), [&] { notes.exit(); }), milliseconds(200)); });
}

TEST_F(AXUISettleAwaiterTest, keepsTwoWaitsOnOneApplicationApart) {
  const Fault created = counted(AXOperation::createObserver);
  world.run([&] {
    Task other = world.scheduler.start("other", [&] { standard().waitForSettle(pid); });
    sleep(100);
    standard().waitForSettle(pid);
    other.join();
  });
  EXPECT_EQ(log.count("settle_finished"), 2u);
  EXPECT_EQ(created.metCalls(), 2);
}

}  // namespace
}  // namespace tavik
