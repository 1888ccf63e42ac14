#include "TavikComputerUseRuntime/Lifecycle/RestartableTimer.h"

#include <gtest/gtest.h>

#include <optional>

#include "Base/Concurrency/SimulatedScheduler.h"
#include "Tests/Support/SeedCount.h"

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
    RestartableTimer timer(queue, seconds(10), [&](const RestartableTimer::IsOvertaken&) { ++runs; });
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
    RestartableTimer timer(queue, seconds(10), [&](const RestartableTimer::IsOvertaken&) { ranAt = scheduler.now(); });
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
    RestartableTimer stopped(queue, seconds(10), [&](const RestartableTimer::IsOvertaken&) { ++runs; });
    stopped.restart();
    stopped.stop();
    stopped.restart();
    {
      RestartableTimer destroyed(queue, seconds(10), [&](const RestartableTimer::IsOvertaken&) { ++runs; });
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
    RestartableTimer timer(queue, seconds(10), [&](const RestartableTimer::IsOvertaken&) {
      if (++runs < 3) self->restart();
    });
    self = &timer;
    timer.restart();
    scheduler.sleep(seconds(100));
    EXPECT_EQ(runs, 3);
  });
}

TEST(RestartableTimer, tellsItsWorkWhenItWasOvertaken) {
  withQueue([](SimulatedScheduler& scheduler, WorkQueue& queue) {
    std::vector<bool> overtaken;
    RestartableTimer* self = nullptr;
    RestartableTimer timer(queue, seconds(10), [&](const RestartableTimer::IsOvertaken& isOvertaken) {
      overtaken.push_back(isOvertaken());
      if (overtaken.size() < 3) self->restart();
      overtaken.push_back(isOvertaken());
      self->stop();
      overtaken.push_back(isOvertaken());
    });
    self = &timer;
    timer.restart();
    scheduler.sleep(seconds(100));
    EXPECT_EQ(overtaken, (std::vector<bool>{false, true, true}));
  });
}

TEST(RestartableTimer, howeverManyRestartItAtOnceItRunsOnceAfterTheLast) {
  exploreSeeds(seedCount(2000), [](SimulatedScheduler& scheduler) {
    scheduler.run([&] {
      SerialQueue queue(scheduler, "timers");
      int runs = 0;
      MonotonicTime lastRestart{};
      RestartableTimer timer(queue, milliseconds(10), [&](const RestartableTimer::IsOvertaken& isOvertaken) {
        if (isOvertaken()) return;
        EXPECT_GE(scheduler.now() - lastRestart, milliseconds(10));
        ++runs;
      });
      std::vector<Task> tasks;
      for (int i = 0; i < 4; ++i) {
        tasks.push_back(scheduler.start("restarter", [&] {
          for (int n = 0; n < 3; ++n) {
            scheduler.sleep(milliseconds(static_cast<std::int64_t>(scheduler.random(5))));
            timer.restart();
            lastRestart = scheduler.now();
          }
        }));
      }
      for (const Task& task : tasks) task.join();
      scheduler.sleep(seconds(1));
      EXPECT_EQ(runs, 1);
    });
  });
}

}  // namespace
}  // namespace tavik
