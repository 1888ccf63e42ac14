#include "ComputerUsePlatform/IPC/ComputerUseIPCRequestAdmissionLease.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Base/Concurrency/SimulatedScheduler.h"
#include "Base/Concurrency/TaskGroup.h"
#include "Tests/Support/LogCapture.h"

namespace tavik {
namespace {

void inSimulation(const std::function<void(SimulatedScheduler&)>& body) {
  SimulatedScheduler scheduler;
  scheduler.run([&] { body(scheduler); });
}

TEST(ComputerUseIPCRequestAdmissionLease, givesTheAdmissionBackOnceAndSaysWhy) {
  inSimulation([](SimulatedScheduler& scheduler) {
    LogCapture log;
    ComputerUseIPCRequestLimiter limiter(scheduler);
    const auto other = limiter.acquire("other", 1);
    ComputerUseIPCRequestAdmissionLease lease;
    EXPECT_TRUE(lease.store(limiter.acquire("ComputerUseIPCListAppsRequest", 1)));
    lease.releaseIfHeld("ComputerUseIPCListAppsRequest", "completed");
    lease.releaseIfHeld("ComputerUseIPCListAppsRequest", "timeout grace");
    EXPECT_EQ(limiter.activeRequests(), 1);

    const auto record = log.only("admission_released");
    EXPECT_EQ(record.level, LogLevel::debug);
    EXPECT_EQ(record.category, LogCategory::ipc);
    EXPECT_THAT(record.fields,
                (std::map<std::string, std::string>{{"requestType", "ComputerUseIPCListAppsRequest"},
                                                    {"reason", "completed"}}));
    other.release();
  });
}

TEST(ComputerUseIPCRequestAdmissionLease, aHeartbeatIsReleasedWithoutALogRecord) {
  inSimulation([](SimulatedScheduler& scheduler) {
    LogCapture log;
    ComputerUseIPCRequestLimiter limiter(scheduler);
    ComputerUseIPCRequestAdmissionLease lease;
    lease.store(limiter.acquire("ComputerUseIPCHealthRequest", 1));
    lease.releaseIfHeld("ComputerUseIPCHealthRequest", "completed");
    EXPECT_EQ(limiter.activeRequests(), 0);
    EXPECT_EQ(log.records().size(), 0u);
  });
}

TEST(ComputerUseIPCRequestAdmissionLease, releasedBeforeItHoldsAnythingItTakesNothingAndLogsNothing) {
  inSimulation([](SimulatedScheduler& scheduler) {
    LogCapture log;
    ComputerUseIPCRequestLimiter limiter(scheduler);
    ComputerUseIPCRequestAdmissionLease lease;
    lease.releaseIfHeld("request", "timeout grace");
    const auto admission = limiter.acquire("request", 1);
    EXPECT_FALSE(lease.store(admission));
    EXPECT_EQ(limiter.activeRequests(), 1);
    EXPECT_EQ(log.count("admission_released"), 0u);
    admission.release();
  });
}

constexpr std::uint64_t seedCount = 1000;

TEST(ComputerUseIPCRequestAdmissionLeaseExploration, manyWhoReleaseGiveBackOnePlace) {
  LogCapture log;
  exploreSeeds(seedCount, [&](SimulatedScheduler& scheduler) {
    log.clear();
    scheduler.run([&] {
      ComputerUseIPCRequestLimiter limiter(scheduler);
      const auto other = limiter.acquire("other", 1);
      ComputerUseIPCRequestAdmissionLease lease;
      ASSERT_TRUE(lease.store(limiter.acquire("request", 1)));
      TaskGroup tasks(scheduler);
      for (const char* reason : {"completed", "error", "timeout grace"}) {
        tasks.start(reason, [&, reason] { lease.releaseIfHeld("request", reason); });
      }
      tasks.joinAll();
      EXPECT_EQ(limiter.activeRequests(), 1);
      other.release();
    });
    EXPECT_EQ(log.count("admission_released"), 1u);
  });
}

TEST(ComputerUseIPCRequestAdmissionLeaseExploration, aGraceThatEndsBeforeTheAdmissionArrivesLeaksNoPlace) {
  LogCapture log;
  int cameTooLate = 0;
  int cameInTime = 0;
  exploreSeeds(seedCount, [&](SimulatedScheduler& scheduler) {
    scheduler.run([&] {
      ComputerUseIPCRequestLimiter limiter(scheduler, 1);
      ComputerUseIPCRequestAdmissionLease lease;
      const auto held = limiter.acquire("held", 1);
      TaskGroup tasks(scheduler);
      tasks.start("request", [&] {
        const auto admission = limiter.acquire("request", 1);
        if (lease.store(admission)) {
          ++cameInTime;
        } else {
          ++cameTooLate;
          admission.release();
        }
      });
      tasks.start("grace", [&] { lease.releaseIfHeld("request", "timeout grace"); });
      tasks.start("running request", [&] { held.release(); });
      tasks.joinAll();
      EXPECT_EQ(limiter.activeRequests(), 0);
      EXPECT_EQ(limiter.queuedRequests(), 0u);
    });
  });
  EXPECT_GT(cameTooLate, 0);
  EXPECT_GT(cameInTime, 0);
}

}  // namespace
}  // namespace tavik
