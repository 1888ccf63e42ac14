#include "Base/Concurrency/WorkQueue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Base/Concurrency/SimulatedScheduler.h"
#include "Base/Concurrency/TaskGroup.h"

namespace tavik {
namespace {

using ::testing::ElementsAre;

TEST(SerialQueue, runsWorkInOrderAndDelayedWorkWhenItIsDue) {
  SimulatedScheduler scheduler;
  scheduler.run([&] {
    std::vector<std::string> done;
    SerialQueue queue(scheduler, "queue");
    queue.asyncAfter(milliseconds(10), [&] { done.push_back("delayed"); });
    queue.async([&] { done.push_back("first"); });
    queue.sync([&] { done.push_back("second"); });
    EXPECT_THAT(done, ElementsAre("first", "second"));
    scheduler.sleep(milliseconds(11));
    EXPECT_THAT(done, ElementsAre("first", "second", "delayed"));
  });
}

TEST(SerialQueue, cancelledWorkDoesNotRun) {
  SimulatedScheduler scheduler;
  scheduler.run([&] {
    bool ran = false;
    SerialQueue queue(scheduler, "queue");
    WorkItem item = queue.asyncAfter(milliseconds(10), [&] { ran = true; });
    EXPECT_TRUE(item.cancel());
    EXPECT_FALSE(item.cancel());
    scheduler.sleep(milliseconds(20));
    EXPECT_FALSE(ran);
  });
}

TEST(SerialQueue, syncReturnsValuesExceptionsAndCarriesTheRequestIdentifier) {
  SimulatedScheduler scheduler;
  scheduler.run([&] {
    SerialQueue queue(scheduler, "queue");
    RequestIDScope request("ab12");
    EXPECT_EQ(queue.sync([] { return TaskRecord::requestID(); }), "ab12");
    EXPECT_THROW(queue.sync([]() -> int { throw std::out_of_range("x"); }), std::out_of_range);
  });
}

TEST(SerialQueue, syncFromTheQueueItselfRunsInPlace) {
  SimulatedScheduler scheduler;
  scheduler.run([&] {
    SerialQueue queue(scheduler, "queue");
    EXPECT_EQ(queue.sync([&] { return queue.sync([] { return 7; }); }), 7);
  });
}

TEST(MainQueue, syncOnAQueueThatStoppedRunsInPlace) {
  SimulatedScheduler scheduler;
  scheduler.run([&] {
    MainQueue main(scheduler);
    Task server = scheduler.start("main", [&] { main.run(); });
    scheduler.settle();
    main.quit();
    server.join();
    EXPECT_EQ(main.sync([] { return 3; }), 3);
  });
}

TEST(MainQueue, aSyncThatIsOvertakenByTheEndOfTheQueueStillReturns) {
  exploreSeeds(300, [](SimulatedScheduler& scheduler) {
    scheduler.run([&] {
      MainQueue main(scheduler);
      TaskGroup tasks(scheduler);
      int runs = 0;
      tasks.start("main", [&] { main.run(); });
      tasks.start("caller", [&] { main.sync([&] { ++runs; }); });
      tasks.start("quitter", [&] { main.quit(); });
      tasks.joinAll();
      ASSERT_EQ(runs, 1);
    });
  });
}

TEST(TaskLocal, theRequestIdentifierFollowsStartedTasksAndEndsWithItsScope) {
  SimulatedScheduler scheduler;
  scheduler.run([&] {
    std::string inherited;
    std::string afterwards;
    {
      RequestIDScope request("r-1");
      scheduler.start("child", [&] { inherited = TaskRecord::requestID(); }).join();
    }
    scheduler.start("later child", [&] { afterwards = TaskRecord::requestID(); }).join();
    EXPECT_EQ(inherited, "r-1");
    EXPECT_EQ(afterwards, "");
  });
}

TEST(WorkQueue, afterItStoppedWorkStillRunsOnePieceAtATimeAndMayRunMore) {
  exploreSeeds(200, [](SimulatedScheduler& scheduler) {
    scheduler.run([&] {
      MainQueue queue(scheduler);
      Task main = scheduler.start("main", [&] { queue.run(); });
      int running = 0, ran = 0;
      std::vector<Task> tasks;
      for (int i = 0; i < 3; ++i) {
        tasks.push_back(scheduler.start("caller", [&] {
          queue.sync([&] {
            EXPECT_EQ(++running, 1);
            EXPECT_TRUE(queue.isCurrent());
            scheduler.sleep(milliseconds(1));
            queue.sync([&] { ++ran; });
            --running;
          });
        }));
      }
      scheduler.yield();
      queue.async([&] { queue.quit(); });
      for (const Task& task : tasks) task.join();
      main.join();
      EXPECT_EQ(ran, 3);
    });
  });
}

}  // namespace
}  // namespace tavik
