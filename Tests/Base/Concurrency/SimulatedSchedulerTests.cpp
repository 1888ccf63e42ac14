#include "Base/Concurrency/SimulatedScheduler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <deque>

#include "Base/Concurrency/Completion.h"
#include "Base/Concurrency/TaskGroup.h"
#include "Base/Concurrency/WorkQueue.h"

namespace tavik {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

TEST(SimulatedScheduler, sleepingLetsTimeJumpWithoutWaiting) {
  SimulatedScheduler scheduler;
  scheduler.run([&] {
    const MonotonicTime start = scheduler.now();
    scheduler.sleep(seconds(300));
    EXPECT_EQ(scheduler.now() - start, seconds(300));
  });
}

TEST(SimulatedScheduler, wallTimePassesWithTheClock) {
  SimulatedScheduler scheduler;
  const WallTime before = scheduler.wallTime();
  scheduler.run([&] { scheduler.sleep(seconds(2)); });
  EXPECT_EQ(scheduler.wallTime() - before, seconds(2));
}

TEST(SimulatedScheduler, tasksRunInTheOrderInWhichTheyBecameAble) {
  SimulatedScheduler scheduler;
  std::vector<std::string> order;
  scheduler.run([&] {
    TaskGroup tasks(scheduler);
    tasks.start("late", [&] {
      scheduler.sleep(milliseconds(20));
      order.push_back("late");
    });
    tasks.start("early", [&] {
      scheduler.sleep(milliseconds(10));
      order.push_back("early");
    });
    tasks.start("first", [&] { order.push_back("first"); });
    tasks.joinAll();
  });
  EXPECT_THAT(order, ElementsAre("first", "early", "late"));
}

TEST(SimulatedScheduler, aDeadlockNamesEachTaskAndItsWait) {
  SimulatedScheduler scheduler;
  Completion<int> never(scheduler);
  try {
    scheduler.run([&] {
      scheduler.start("stuck", [&] { never.wait("an answer that never comes"); });
      scheduler.sleep(seconds(1));
      never.wait("the same answer");
    });
    FAIL() << "no deadlock was reported";
  } catch (const DeadlockError& error) {
    EXPECT_THAT(error.what(), HasSubstr("'stuck' (task 2) waits for an answer that never comes"));
    EXPECT_THAT(error.what(), HasSubstr("'test body' (task 1) waits for the same answer"));
  }
  EXPECT_EQ(scheduler.unfinishedTaskCount(), 0u);
}

TEST(SimulatedScheduler, anExceptionOfTheBodyIsThrownOn) {
  SimulatedScheduler scheduler;
  EXPECT_THROW(scheduler.run([] { throw std::invalid_argument("from the body"); }), std::invalid_argument);
}

TEST(SimulatedScheduler, destroyingItUnwindsTheTasksThatAreLeft) {
  bool unwound = false;
  {
    SimulatedScheduler scheduler;
    scheduler.run([&] {
      scheduler.start("left behind", [&] {
        struct Mark {
          bool& flag;
          ~Mark() { flag = true; }
        } mark{unwound};
        scheduler.sleep(seconds(1000));
      });
      scheduler.settle();
    });
    EXPECT_FALSE(unwound);
  }
  EXPECT_TRUE(unwound);
}

TEST(SimulatedScheduler, settleRunsAllOthersWithoutLettingTimePass) {
  SimulatedScheduler scheduler;
  scheduler.run([&] {
    TaskGroup tasks(scheduler);
    int steps = 0;
    tasks.start("worker", [&] {
      for (; steps < 5; ++steps) scheduler.yield();
      scheduler.sleep(seconds(1));
    });
    const MonotonicTime before = scheduler.now();
    scheduler.settle();
    EXPECT_EQ(steps, 5);
    EXPECT_EQ(scheduler.now(), before);
  });
}

TEST(SimulatedScheduler, aSeedReplaysTheSameInterleaving) {
  auto trace = [](std::uint64_t seed) {
    std::string text;
    SimulatedScheduler scheduler(seed);
    scheduler.run([&] {
      TaskGroup tasks(scheduler);
      for (char name : {'a', 'b', 'c'}) {
        tasks.start(std::string(1, name), [&, name] {
          for (int i = 0; i < 4; ++i) {
            text += name;
            scheduler.yield();
          }
        });
      }
      tasks.joinAll();
    });
    return text;
  };
  EXPECT_EQ(trace(7), trace(7));
  std::set<std::string> different;
  for (std::uint64_t seed = 0; seed < 20; ++seed) different.insert(trace(seed));
  EXPECT_GT(different.size(), 5u);
}

TEST(SimulatedScheduler, anOwnerThatOutlivesRunCanStillJoinItsTasks) {
  SimulatedScheduler scheduler;
  bool finished = false;
  {
    TaskGroup tasks(scheduler);
    scheduler.run([&] {
      tasks.start("sleeper", [&] {
        try {
          scheduler.sleep(seconds(10));
        } catch (const CancellationError&) {
          finished = true;
          throw;
        }
      });
      scheduler.settle();
    });
  }
  EXPECT_TRUE(finished);
}

/// The textbook lost update: two tasks read, give way and write.
TEST(SimulatedSchedulerExploration, findsTheRaceOfAnUnprotectedCounter) {
  bool lostUpdateSeen = false;
  exploreSeeds(1000, [&](SimulatedScheduler& scheduler) {
    int counter = 0;
    Mutex mutex;
    scheduler.run([&] {
      TaskGroup tasks(scheduler);
      for (int i = 0; i < 2; ++i) {
        tasks.start("incrementer", [&] {
          int seen;
          {
            MutexLock lock(mutex);
            seen = counter;
          }
          MutexLock lock(mutex);
          counter = seen + 1;
        });
      }
      tasks.joinAll();
    });
    if (counter == 1) lostUpdateSeen = true;
  });
  EXPECT_TRUE(lostUpdateSeen);
}

/// A gate hands its key on in the order of asking and is never held twice.
class FirstComeGate {
 public:
  explicit FirstComeGate(Scheduler& scheduler) : scheduler_(scheduler) {}

  void acquire(std::vector<int>& order, int name) {
    std::optional<Completion<Unit>> turn;
    {
      MutexLock lock(mutex_);
      order.push_back(name);
      if (!locked_) {
        locked_ = true;
      } else {
        turn.emplace(scheduler_);
        waiters_.push_back(*turn);
      }
    }
    if (turn) turn->wait("the gate");
  }

  void release() {
    std::optional<Completion<Unit>> next;
    {
      MutexLock lock(mutex_);
      if (waiters_.empty()) {
        locked_ = false;
      } else {
        next = waiters_.front();
        waiters_.pop_front();
      }
    }
    if (next) next->resume();
  }

 private:
  Scheduler& scheduler_;
  Mutex mutex_;
  bool locked_ = false;
  std::deque<Completion<Unit>> waiters_;
};

TEST(SimulatedSchedulerExploration, aGateIsNeverHeldTwiceAndServesInOrder) {
  exploreSeeds(1000, [](SimulatedScheduler& scheduler) {
    scheduler.run([&] {
      FirstComeGate gate(scheduler);
      std::vector<int> asked;
      std::vector<int> served;
      int inside = 0;
      TaskGroup tasks(scheduler);
      for (int name = 0; name < 5; ++name) {
        tasks.start("caller", [&, name] {
          gate.acquire(asked, name);
          ASSERT_EQ(++inside, 1);
          served.push_back(name);
          scheduler.sleep(milliseconds(static_cast<std::int64_t>(scheduler.random(3))));
          --inside;
          gate.release();
        });
      }
      tasks.joinAll();
      ASSERT_EQ(asked, served);
    });
  });
}

TEST(SimulatedSchedulerExploration, answerDeadlineAndCancellationSettleAWaitOnce) {
  int answers = 0, timeouts = 0, cancellations = 0;
  exploreSeeds(1000, [&](SimulatedScheduler& scheduler) {
    int endings = 0;
    scheduler.run([&] {
      Completion<int> answer(scheduler);
      TaskGroup tasks(scheduler);
      Task waiter = tasks.start("waiter", [&] {
        try {
          auto value = answer.waitFor(milliseconds(5));
          ++(value ? answers : timeouts);
        } catch (const CancellationError&) {
          ++cancellations;
        }
        ++endings;
      });
      tasks.start("giver", [&] {
        scheduler.sleep(milliseconds(static_cast<std::int64_t>(scheduler.random(10))));
        answer.resume(1);
        ASSERT_FALSE(answer.resume(2));
      });
      tasks.start("canceller", [&] {
        scheduler.sleep(milliseconds(static_cast<std::int64_t>(scheduler.random(10))));
        waiter.cancel();
      });
      tasks.joinAll();
    });
    ASSERT_EQ(endings, 1);
  });
  EXPECT_GT(answers, 100);
  EXPECT_GT(timeouts, 100);
  EXPECT_GT(cancellations, 100);
}

TEST(SimulatedSchedulerExploration, aCancellationHandlerRunsOnceOrNever) {
  exploreSeeds(1000, [](SimulatedScheduler& scheduler) {
    scheduler.run([&] {
      TaskGroup tasks(scheduler);
      int calls = 0;
      bool scopeEnded = false;
      Task task = tasks.start("scoped", [&] {
        {
          CancellationScope scope([&] {
            ++calls;
            ASSERT_FALSE(scopeEnded);
          });
          scheduler.yield();
        }
        scopeEnded = true;
      });
      tasks.start("canceller", [&] {
        scheduler.yield();
        task.cancel();
        task.cancel();
      });
      tasks.joinAll();
      ASSERT_LE(calls, 1);
    });
  });
}

}  // namespace
}  // namespace tavik
