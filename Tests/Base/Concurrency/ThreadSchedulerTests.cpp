#include "Base/Concurrency/ThreadScheduler.h"

#include <gtest/gtest.h>

#include <atomic>

#include "Base/Concurrency/Completion.h"
#include "Base/Concurrency/TaskGroup.h"
#include "Base/Concurrency/WorkQueue.h"

namespace tavik {
namespace {

TEST(ThreadScheduler, anAnswerGivenByAnotherThreadEndsTheWait) {
  ThreadScheduler scheduler;
  Completion<int> answer(scheduler);
  Task giver = scheduler.start("giver", [&] { answer.resume(42); });
  EXPECT_EQ(answer.wait(), 42);
  giver.join();
}

TEST(ThreadScheduler, cancellationEndsALongSleep) {
  ThreadScheduler scheduler;
  TaskGroup tasks(scheduler);
  std::atomic<bool> cancelled = false;
  tasks.start("sleeper", [&] {
    try {
      scheduler.sleep(std::chrono::hours(24));
    } catch (const CancellationError&) {
      cancelled = true;
    }
  });
  tasks.cancelAll();
  tasks.joinAll();
  EXPECT_TRUE(cancelled);
}

TEST(ThreadScheduler, aThousandShortTasksLeaveNoThreadBehind) {
  std::atomic<int> count = 0;
  {
    ThreadScheduler scheduler;
    TaskGroup tasks(scheduler);
    for (int i = 0; i < 1000; ++i) tasks.start("short", [&] { ++count; });
  }
  EXPECT_EQ(count, 1000);
}

TEST(ThreadScheduler, queuesServeManyThreads) {
  ThreadScheduler scheduler;
  SerialQueue queue(scheduler, "queue");
  TaskGroup tasks(scheduler);
  int sum = 0;
  for (int i = 0; i < 8; ++i) {
    tasks.start("adder", [&] {
      for (int j = 0; j < 100; ++j) queue.sync([&] { ++sum; });
    });
  }
  tasks.joinAll();
  EXPECT_EQ(queue.sync([&] { return sum; }), 800);
}

TEST(ThreadScheduler, aTaskThatJoinsItselfGoesOn) {
  ThreadScheduler scheduler;
  Completion<Task> handle(scheduler);
  Completion<bool> joined(scheduler);
  Task task = scheduler.start("self", [&] {
    handle.wait().join();
    joined.resume(true);
  });
  handle.resume(task);
  EXPECT_TRUE(joined.wait());
  task.join();
}

TEST(MutexDeathTest, waitingWithALockInHandEndsTheProgram) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        ThreadScheduler scheduler;
        Mutex mutex;
        MutexLock lock(mutex);
        scheduler.sleep(seconds(1));
      },
      "a lock is held across a wait");
}

}  // namespace
}  // namespace tavik
