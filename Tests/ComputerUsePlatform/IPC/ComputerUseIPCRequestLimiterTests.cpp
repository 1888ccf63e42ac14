#include "ComputerUsePlatform/IPC/ComputerUseIPCRequestLimiter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Base/Concurrency/SimulatedScheduler.h"
#include "Base/Concurrency/TaskGroup.h"
#include "ComputerUsePlatform/IPC/ComputerUseIPCError.h"
#include "Tests/Support/LogCapture.h"

namespace tavik {
namespace {

using ::testing::ElementsAre;
using Case = ComputerUseIPCError::Case;

/// A limiter and what became of the requests that asked it for admission.
struct LimiterDesk {
  explicit LimiterDesk(SimulatedScheduler& scheduler) : scheduler(scheduler) {}

  SimulatedScheduler& scheduler;
  LogCapture log;
  ComputerUseIPCRequestLimiter limiter{scheduler};
  std::vector<std::string> admitted;
  std::map<std::string, std::string> failed;
  TaskGroup tasks{scheduler};

  Task acquire(const std::string& name, std::int32_t senderPID = 7) {
    Task task = tasks.start(name, [this, name, senderPID] {
      try {
        limiter.acquire(name, senderPID);
        admitted.push_back(name);
      } catch (const ComputerUseIPCError& error) {
        failed[name] = error.what();
      }
    });
    scheduler.settle();
    return task;
  }
};

void onDesk(const std::function<void(LimiterDesk&)>& body) {
  SimulatedScheduler scheduler;
  scheduler.run([&] {
    LimiterDesk desk(scheduler);
    body(desk);
  });
}

TEST(ComputerUseIPCRequestLimiter, twoRequestsRunAndTheThirdWaits) {
  onDesk([](LimiterDesk& desk) {
    for (const char* name : {"a", "b", "c"}) desk.acquire(name);
    EXPECT_THAT(desk.admitted, ElementsAre("a", "b"));
    EXPECT_EQ(desk.limiter.activeRequests(), 2);
    EXPECT_EQ(desk.limiter.queuedRequests(), 1u);
    desk.limiter.release();
    desk.scheduler.settle();
  });
}

TEST(ComputerUseIPCRequestLimiter, aReleaseHandsItsPlaceOnWithoutActiveRequestsEverFalling) {
  onDesk([](LimiterDesk& desk) {
    for (const char* name : {"a", "b", "c"}) desk.acquire(name, 42);
    desk.limiter.release();
    EXPECT_EQ(desk.limiter.activeRequests(), 2);
    desk.scheduler.settle();
    EXPECT_THAT(desk.admitted, ElementsAre("a", "b", "c"));
    EXPECT_EQ(desk.limiter.activeRequests(), 2);

    const auto record = desk.log.only("queued_request_admitted");
    EXPECT_EQ(record.level, LogLevel::info);
    EXPECT_EQ(record.category, LogCategory::ipc);
    EXPECT_EQ(record.fields.at("requestType"), "c");
    EXPECT_EQ(record.fields.at("senderPid"), "42");
  });
}

TEST(ComputerUseIPCRequestLimiter, waitersAreAdmittedInTheOrderInWhichTheyCame) {
  onDesk([](LimiterDesk& desk) {
    for (const char* name : {"a", "b", "c", "d", "e"}) desk.acquire(name);
    for (int i = 0; i < 3; ++i) desk.limiter.release();
    desk.scheduler.settle();
    EXPECT_THAT(desk.admitted, ElementsAre("a", "b", "c", "d", "e"));
  });
}

TEST(ComputerUseIPCRequestLimiter, theEleventhRequestIsRefusedAtOnce) {
  onDesk([](LimiterDesk& desk) {
    for (int i = 1; i <= 10; ++i) desk.acquire(std::to_string(i));
    EXPECT_TRUE(desk.failed.empty());
    desk.acquire("11", 99);
    EXPECT_EQ(desk.failed["11"], "rateLimited");
    EXPECT_EQ(desk.limiter.queuedRequests(), 8u);

    const auto record = desk.log.only("request_queue_rejected");
    EXPECT_EQ(record.level, LogLevel::error);
    EXPECT_EQ(record.category, LogCategory::ipc);
    EXPECT_THAT(record.fields, (std::map<std::string, std::string>{
                                   {"requestType", "11"}, {"senderPid", "99"}, {"reason", "queue_full"}}));
    for (int i = 0; i < 8; ++i) desk.limiter.release();
    desk.scheduler.settle();
  });
}

TEST(ComputerUseIPCRequestLimiter, cancellingAQueuedRequestFreesItsPlaceInTheQueue) {
  onDesk([](LimiterDesk& desk) {
    for (int i = 1; i <= 9; ++i) desk.acquire(std::to_string(i));
    const Task tenth = desk.acquire("10");
    tenth.cancel();
    desk.scheduler.settle();
    EXPECT_EQ(desk.failed["10"], "cancelled");
    EXPECT_EQ(desk.limiter.queuedRequests(), 7u);

    desk.acquire("after");
    EXPECT_EQ(desk.limiter.queuedRequests(), 8u);
    EXPECT_FALSE(desk.failed.contains("after"));
    for (int i = 0; i < 8; ++i) desk.limiter.release();
    desk.scheduler.settle();
  });
}

TEST(ComputerUseIPCRequestLimiter, cancellingARequestThatRunsLeavesItsPlaceAlone) {
  onDesk([](LimiterDesk& desk) {
    const ComputerUseIPCRequestAdmission admission = desk.limiter.acquire("running", 1);
    desk.limiter.cancelWaiter(UUID::make());
    EXPECT_EQ(desk.limiter.activeRequests(), 1);
    admission.release();
    EXPECT_EQ(desk.limiter.activeRequests(), 0);
  });
}

TEST(ComputerUseIPCRequestLimiter, aReleaseTooManyDoesNotMakePlaces) {
  onDesk([](LimiterDesk& desk) {
    desk.limiter.release();
    EXPECT_EQ(desk.limiter.activeRequests(), 0);
    for (const char* name : {"a", "b", "c"}) desk.acquire(name);
    EXPECT_THAT(desk.admitted, ElementsAre("a", "b"));
    desk.limiter.release();
    desk.scheduler.settle();
  });
}

constexpr std::uint64_t seedCount = 1000;

TEST(ComputerUseIPCRequestLimiterExploration, aRequestCancelledBeforeItAsksIsCancelledAndLeavesNoWaiter) {
  LogCapture log;
  exploreSeeds(seedCount, [](SimulatedScheduler& scheduler) {
    scheduler.run([&] {
      ComputerUseIPCRequestLimiter limiter(scheduler);
      const auto first = limiter.acquire("first", 1);
      const auto second = limiter.acquire("second", 1);
      int cancelled = 0;
      {
        TaskGroup tasks(scheduler);
        Completion<Unit> mayAsk(scheduler);
        const Task late = tasks.start("late", [&] {
          mayAsk.wait("the cancellation");
          try {
            limiter.acquire("late", 1).release();
          } catch (const ComputerUseIPCError& error) {
            EXPECT_EQ(error, ComputerUseIPCError(Case::cancelled));
            ++cancelled;
          }
        });
        tasks.start("releaser", [&] { first.release(); });
        tasks.start("canceller", [&] {
          late.cancel();
          mayAsk.resume();
        });
        tasks.joinAll();
      }
      EXPECT_EQ(cancelled, 1);
      EXPECT_EQ(limiter.queuedRequests(), 0u);
      second.release();
      EXPECT_EQ(limiter.activeRequests(), 0);
    });
  });
}

TEST(ComputerUseIPCRequestLimiterExploration, aPlacePassesToTheWaiterAndANewcomerQueuesBehind) {
  LogCapture log;
  exploreSeeds(seedCount, [](SimulatedScheduler& scheduler) {
    scheduler.run([&] {
      ComputerUseIPCRequestLimiter limiter(scheduler);
      const auto first = limiter.acquire("first", 1);
      const auto second = limiter.acquire("second", 1);
      std::vector<std::string> order;
      TaskGroup tasks(scheduler);
      tasks.start("waiter", [&] {
        limiter.acquire("waiter", 1);
        order.push_back("waiter");
      });
      scheduler.settle();
      tasks.start("releaser", [&] {
        first.release();
        EXPECT_EQ(limiter.activeRequests(), 2);
      });
      tasks.start("newcomer", [&] {
        limiter.acquire("newcomer", 1);
        order.push_back("newcomer");
      });
      tasks.start("observer", [&] {
        for (int i = 0; i < 5; ++i) {
          EXPECT_EQ(limiter.activeRequests(), 2);
          scheduler.yield();
        }
      });
      scheduler.settle();
      EXPECT_THAT(order, ElementsAre("waiter"));
      EXPECT_EQ(limiter.queuedRequests(), 1u);
      second.release();
      tasks.joinAll();
      EXPECT_THAT(order, ElementsAre("waiter", "newcomer"));
      EXPECT_EQ(limiter.activeRequests(), 2);
    });
  });
}

TEST(ComputerUseIPCRequestLimiterExploration, aWaiterCancelledAndAdmittedAtOnceCompletesOnce) {
  LogCapture log;
  std::map<std::string, int> outcomes;
  exploreSeeds(seedCount, [&](SimulatedScheduler& scheduler) {
    scheduler.run([&] {
      ComputerUseIPCRequestLimiter limiter(scheduler, 1);
      const auto held = limiter.acquire("held", 1);
      int completions = 0;
      TaskGroup tasks(scheduler);
      const Task waiter = tasks.start("waiter", [&] {
        try {
          const auto admission = limiter.acquire("waiter", 1);
          ++completions;
          ++outcomes["admitted"];
          EXPECT_EQ(limiter.activeRequests(), 1);
          admission.release();
        } catch (const ComputerUseIPCError& error) {
          EXPECT_EQ(error, ComputerUseIPCError(Case::cancelled));
          ++completions;
          ++outcomes["cancelled"];
        }
      });
      tasks.start("canceller", [&] { waiter.cancel(); });
      tasks.start("releaser", [&] { held.release(); });
      tasks.joinAll();
      EXPECT_EQ(completions, 1);
      EXPECT_EQ(limiter.queuedRequests(), 0u);
      EXPECT_EQ(limiter.activeRequests(), 0);
    });
  });
  EXPECT_GT(outcomes["admitted"], 0);
  EXPECT_GT(outcomes["cancelled"], 0);
}

TEST(ComputerUseIPCRequestLimiterExploration, aCrowdIsServedByTwoAtATimeAndNobodyIsForgotten) {
  LogCapture log;
  exploreSeeds(seedCount, [](SimulatedScheduler& scheduler) {
    scheduler.run([&] {
      ComputerUseIPCRequestLimiter limiter(scheduler);
      int running = 0;
      int served = 0;
      int refused = 0;
      TaskGroup tasks(scheduler);
      for (int i = 0; i < 13; ++i) {
        tasks.start("request", [&] {
          try {
            const auto admission = limiter.acquire("request", 1);
            EXPECT_LE(++running, 2);
            scheduler.sleep(milliseconds(static_cast<std::int64_t>(scheduler.random(3))));
            --running;
            ++served;
            admission.release();
          } catch (const ComputerUseIPCError& error) {
            EXPECT_EQ(error, ComputerUseIPCError(Case::rateLimited));
            ++refused;
          }
        });
      }
      tasks.joinAll();
      EXPECT_EQ(served + refused, 13);
      EXPECT_LE(refused, 3);
      EXPECT_EQ(limiter.activeRequests(), 0);
      EXPECT_EQ(limiter.queuedRequests(), 0u);
    });
  });
}

}  // namespace
}  // namespace tavik
