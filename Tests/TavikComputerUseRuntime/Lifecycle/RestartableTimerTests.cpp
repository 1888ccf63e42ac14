#include "TavikComputerUseRuntime/Lifecycle/RestartableTimer.h"

#include <gtest/gtest.h>

#include <optional>

#include "Base/Concurrency/SimulatedScheduler.h"

namespace tavik {
namespace {

void withQueue(const std::function<void(SimulatedScheduler&, WorkQueue&)>& body) {
  SimulatedScheduler scheduler;
  scheduler.run([&] {
    SerialQueue queue(scheduler, "timers");
    body(scheduler, queue);
  });
}

TEST(RestartableTimer, runsOnceWhenItWasLeftAlone) {
  withQueue([](SimulatedScheduler& scheduler, WorkQueue& queue) {
    int runs = 0;
    RestartableTimer timer(queue, seconds(10), [&] { ++runs; });
    scheduler.sleep(seconds(20));
    EXPECT_EQ(runs, 0);
    timer.restart();
    scheduler.sleep(seconds(9.9));
    EXPECT_EQ(runs, 0);
    scheduler.sleep(seconds(50));
    EXPECT_EQ(runs, 1);
  });
}

TEST(RestartableTimer, eachRestartCountsAnew) {
  withQueue([](SimulatedScheduler& scheduler, WorkQueue& queue) {
    std::optional<MonotonicTime> ranAt;
    const MonotonicTime start = scheduler.now();
    RestartableTimer timer(queue, seconds(10), [&] { ranAt = scheduler.now(); });
    for (int i = 0; i < 5; ++i) {
      timer.restart();
      scheduler.sleep(seconds(9));
    }
    EXPECT_EQ(ranAt, std::nullopt);
    scheduler.sleep(seconds(2));
    ASSERT_TRUE(ranAt);
    EXPECT_EQ(*ranAt - start, seconds(46));
  });
}

TEST(RestartableTimer, runsNoMoreAfterItWasStoppedOrDestroyed) {
  withQueue([](SimulatedScheduler& scheduler, WorkQueue& queue) {
    int runs = 0;
    RestartableTimer stopped(queue, seconds(10), [&] { ++runs; });
    stopped.restart();
    stopped.stop();
    stopped.restart();
    {
      RestartableTimer destroyed(queue, seconds(10), [&] { ++runs; });
      destroyed.restart();
    }
    scheduler.sleep(seconds(100));
    EXPECT_EQ(runs, 0);
  });
}

TEST(RestartableTimer, canRestartItselfWhenItRuns) {
  withQueue([](SimulatedScheduler& scheduler, WorkQueue& queue) {
    int runs = 0;
    RestartableTimer* self = nullptr;
    RestartableTimer timer(queue, seconds(10), [&] {
      if (++runs < 3) self->restart();
    });
    self = &timer;
    timer.restart();
    scheduler.sleep(seconds(100));
    EXPECT_EQ(runs, 3);
  });
}

}  // namespace
}  // namespace tavik
