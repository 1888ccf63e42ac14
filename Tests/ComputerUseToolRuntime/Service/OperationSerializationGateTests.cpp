#include "ComputerUseToolRuntime/Service/OperationSerializationGate.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Base/Concurrency/SimulatedScheduler.h"
#include "Base/Concurrency/TaskGroup.h"
#include "Tests/Support/SeedCount.h"

namespace tavik {
namespace {

using ::testing::ElementsAre;

TEST(OperationSerializationGate, aReleaseWithOneWaiterKeepsTheKeyLockedAndASecondUnlocksIt) {
  SimulatedScheduler scheduler;
  scheduler.run([&] {
    OperationSerializationGate gate(scheduler);
    TaskGroup tasks(scheduler);
    gate.acquire("key");
    tasks.start("waiter", [&] { gate.acquire("key"); });
    scheduler.settle();
    EXPECT_EQ(gate.waiterCount("key"), 1u);

    gate.release("key");
    EXPECT_TRUE(gate.isLocked("key"));
    EXPECT_EQ(gate.waiterCount("key"), 0u);
    tasks.joinAll();

    gate.release("key");
    EXPECT_FALSE(gate.isLocked("key"));
  });
}

TEST(OperationSerializationGate, servesWaitersOfOneKeyInTheOrderInWhichTheyCame) {
  SimulatedScheduler scheduler;
  std::vector<int> served;
  scheduler.run([&] {
    OperationSerializationGate gate(scheduler);
    TaskGroup tasks(scheduler);
    gate.acquire("key");
    for (int name : {1, 2, 3}) {
      tasks.start("waiter", [&, name] { gate.withLock("key", [&] { served.push_back(name); }); });
    }
    scheduler.settle();
    gate.release("key");
    tasks.joinAll();
  });
  EXPECT_THAT(served, ElementsAre(1, 2, 3));
}

TEST(OperationSerializationGate, differentKeysDoNotWaitForEachOther) {
  SimulatedScheduler scheduler;
  scheduler.run([&] {
    OperationSerializationGate gate(scheduler);
    gate.acquire("a");
    EXPECT_EQ(gate.withLock("b", [] { return 5; }), 5);
    gate.release("a");
  });
}

TEST(OperationSerializationGate, anOperationThatThrowsReleasesTheKey) {
  SimulatedScheduler scheduler;
  scheduler.run([&] {
    OperationSerializationGate gate(scheduler);
    EXPECT_THROW(gate.withLock("key", []() -> int { throw std::runtime_error("x"); }), std::runtime_error);
    EXPECT_FALSE(gate.isLocked("key"));
  });
}

TEST(OperationSerializationGate, aCancelledWaiterIsStillHandedTheKeyAndPassesItOn) {
  SimulatedScheduler scheduler;
  std::vector<std::string> served;
  scheduler.run([&] {
    OperationSerializationGate gate(scheduler);
    TaskGroup tasks(scheduler);
    gate.acquire("key");
    Task cancelled = tasks.start("cancelled", [&] {
      gate.withLock("key", [&] {
        served.push_back("cancelled");
        scheduler.checkCancellation();
      });
    });
    tasks.start("next", [&] { gate.withLock("key", [&] { served.push_back("next"); }); });
    scheduler.settle();
    cancelled.cancel();
    scheduler.settle();
    EXPECT_TRUE(served.empty());
    gate.release("key");
    tasks.joinAll();
    EXPECT_FALSE(gate.isLocked("key"));
  });
  EXPECT_THAT(served, ElementsAre("cancelled", "next"));
}

TEST(OperationSerializationGate, neverRunsTwoOperationsOfOneKeyAtOnce) {
  exploreSeeds(seedCount(10'000), [](SimulatedScheduler& scheduler) {
    scheduler.run([&] {
      OperationSerializationGate gate(scheduler);
      TaskGroup tasks(scheduler);
      int inside = 0;
      int runs = 0;
      std::vector<Task> started;
      for (int i = 0; i < 6; ++i) {
        started.push_back(tasks.start("operation", [&] {
          gate.withLock("key", [&] {
            ASSERT_EQ(++inside, 1);
            scheduler.yield();
            --inside;
            ++runs;
          });
        }));
      }
      started[scheduler.random(6)].cancel();
      tasks.joinAll();
      ASSERT_EQ(runs, 6);
      ASSERT_FALSE(gate.isLocked("key"));
      ASSERT_EQ(gate.waiterCount("key"), 0u);
    });
  });
}

TEST(OperationSerializationGate, handsAKeyOverInTheOrderOfArrivalWhoeverGivesUp) {
  exploreSeeds(seedCount(10'000), [](SimulatedScheduler& scheduler) {
    scheduler.run([&] {
      constexpr std::size_t waiters = 4;
      OperationSerializationGate gate(scheduler);
      TaskGroup tasks(scheduler);
      std::vector<std::size_t> served;
      std::vector<Task> started;
      gate.acquire("key");
      for (std::size_t i = 0; i < waiters; ++i) {
        started.push_back(tasks.start("operation", [&, i] {
          gate.withLock("key", [&] {
            scheduler.yield();
            served.push_back(i);
          });
        }));
        while (gate.waiterCount("key") <= i) scheduler.yield();
      }
      started[scheduler.random(waiters)].cancel();
      gate.release("key");
      tasks.joinAll();
      ASSERT_THAT(served, ElementsAre(0u, 1u, 2u, 3u));
    });
  });
}

}  // namespace
}  // namespace tavik
