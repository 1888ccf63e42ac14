#include "ComputerUsePlatform/Windows/ScreenCapturePermissionProbeBroker.h"

#include <gtest/gtest.h>

#include <random>

#include "Tests/Support/SeedCount.h"
#include "Tests/Support/SimulatedWorld.h"

namespace tavik {
namespace {

/// A window server whose pictures are what a test says, after a while.
class ProbedWindowServer : public WindowServerPort {
 public:
  explicit ProbedWindowServer(Scheduler& scheduler) : scheduler_(scheduler) {}

  std::optional<std::vector<WindowRecord>> copyWindowInfo(std::uint32_t, std::uint32_t) override { return std::nullopt; }
  std::optional<Image> createWindowImage(std::uint32_t) override { return std::nullopt; }
  std::optional<Image> createScreenImage(Rect area) override {
    requireNoLockHeld("createScreenImage");
    ++probes;
    EXPECT_EQ(area, (Rect{{0, 0}, {1, 1}}));
    const bool answer = isGranted;
    const MonotonicTime end = scheduler_.now() + delay;
    while (scheduler_.now() < end) scheduler_.park("the window server", end);
    return answer ? std::optional(Image{1, 1, 4, Bytes(4)}) : std::nullopt;
  }
  std::vector<ScreenRecord> screens() override { return {}; }
  Point mouseLocation() override { return {}; }

  int probes = 0;
  bool isGranted = true;
  Duration delay{0};

 private:
  Scheduler& scheduler_;
};

class ScreenCapturePermissionProbeBrokerTest : public testing::Test {
 protected:
  void run(const std::function<void()>& body) {
    world.run([&] {
      broker.emplace(server, world.scheduler);
      body();
      broker.reset();
    });
  }
  bool ask() { return broker->isGranted(2, 5); }
  void sleep(std::int64_t ms) { world.scheduler.sleep(milliseconds(ms)); }

  SimulatedWorld world;
  ProbedWindowServer server{world.scheduler};
  std::optional<ScreenCapturePermissionProbeBroker> broker;
};

TEST_F(ScreenCapturePermissionProbeBrokerTest, remembersAGrantForASecond) {
  run([&] {
    EXPECT_TRUE(ask());
    sleep(1000);
    EXPECT_TRUE(ask());
    EXPECT_EQ(server.probes, 1);
    sleep(1);
    server.isGranted = false;
    EXPECT_FALSE(ask());
    EXPECT_EQ(server.probes, 2);
  });
}

TEST_F(ScreenCapturePermissionProbeBrokerTest, doesNotProbeAgainUntilTheCooldownOfADenialEnds) {
  run([&] {
    server.isGranted = false;
    EXPECT_FALSE(ask());
    server.isGranted = true;
    sleep(4999);
    EXPECT_FALSE(ask());
    EXPECT_EQ(server.probes, 1);
    sleep(1);
    EXPECT_TRUE(ask());
    EXPECT_EQ(server.probes, 2);
  });
}

TEST_F(ScreenCapturePermissionProbeBrokerTest, probesOnceForTwoCallers) {
  run([&] {
    server.delay = milliseconds(500);
    bool other = false;
    Task asking = world.scheduler.start("other", [&] { other = ask(); });
    EXPECT_TRUE(ask());
    asking.join();
    EXPECT_TRUE(other);
    EXPECT_EQ(server.probes, 1);
  });
}

TEST_F(ScreenCapturePermissionProbeBrokerTest, takesAHungWindowServerForADenial) {
  run([&] {
    server.delay = seconds(60);
    const MonotonicTime start = world.scheduler.now();
    EXPECT_FALSE(ask());
    EXPECT_EQ(world.scheduler.now() - start, milliseconds(2000));
    EXPECT_FALSE(ask());
    EXPECT_EQ(server.probes, 1);
  });
}

TEST_F(ScreenCapturePermissionProbeBrokerTest, goesOnForOthersWhenOneCallerGivesUp) {
  run([&] {
    server.delay = milliseconds(500);
    bool wasCancelled = false;
    Task asking = world.scheduler.start("first", [&] {
      try {
        ask();
      } catch (const CancellationError&) {
        wasCancelled = true;
      }
    });
    sleep(100);
    asking.cancel();
    EXPECT_TRUE(ask());
    asking.join();
    EXPECT_TRUE(wasCancelled);
    EXPECT_EQ(server.probes, 1);
  });
}

TEST(ScreenCapturePermissionProbeBroker, answersEachCallerWithOneProbeAtATimeUnderAnyInterleaving) {
  for (std::uint64_t seed = 1; seed <= seedCount(10'000) && !testing::Test::HasFailure(); ++seed) {
    SCOPED_TRACE(seed);
    SimulatedWorld world(seed);
    std::mt19937_64 random(seed);
    ProbedWindowServer server(world.scheduler);
    server.isGranted = random() % 2;
    server.delay = milliseconds(static_cast<std::int64_t>(random() % 200));
    const bool isInTime = server.delay < milliseconds(90);
    world.run([&] {
      ScreenCapturePermissionProbeBroker broker(server, world.scheduler);
      int answered = 0;
      std::vector<Task> callers;
      for (int i = 0; i < 5; ++i) {
        const auto start = milliseconds(static_cast<std::int64_t>(random() % 150));
        const bool givesUp = random() % 5 == 0;
        callers.push_back(world.scheduler.start("caller", [&, start] {
          try {
            world.scheduler.sleep(start);
            const bool granted = broker.isGranted(0.1, 5);
            if (isInTime) {
              EXPECT_EQ(granted, server.isGranted);
            }
            if (server.delay > milliseconds(110)) {
              EXPECT_FALSE(granted);
            }
          } catch (const CancellationError&) {
          }
          ++answered;
        }));
        if (givesUp) callers.back().cancel();
      }
      for (auto& caller : callers) caller.join();
      EXPECT_EQ(answered, 5);
      if (!server.isGranted || server.delay > milliseconds(110)) {
        EXPECT_LE(server.probes, 1);
      }
    });
  }
}

}  // namespace
}  // namespace tavik
