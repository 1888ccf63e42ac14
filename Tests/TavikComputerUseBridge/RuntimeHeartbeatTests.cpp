#include "TavikComputerUseBridge/Runtime/RuntimeHeartbeat.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Base/Concurrency/SimulatedScheduler.h"
#include "ScriptedSender.h"

namespace tavik {
namespace {

using ::testing::IsEmpty;
using ::testing::SizeIs;

TEST(RuntimeHeartbeat, beatsEvery30SecondsUntilItsEnd) {
  SimulatedScheduler scheduler;
  scheduler.run([&] {
    ScriptedSender sender;
    RuntimeClient client(sender);
    {
      RuntimeHeartbeat heartbeat(scheduler, client);
      scheduler.sleep(seconds(29));
      EXPECT_THAT(sender.sent(), IsEmpty());
      scheduler.sleep(seconds(2));
      EXPECT_THAT(sender.sent(), SizeIs(1));
      scheduler.sleep(seconds(60));
      EXPECT_THAT(sender.sent(), SizeIs(3));
    }
    scheduler.sleep(seconds(300));
    EXPECT_THAT(sender.sent(), SizeIs(3));
  });
}

TEST(RuntimeHeartbeat, goesOnAfterABeatThatFailed) {
  SimulatedScheduler scheduler;
  scheduler.run([&] {
    ScriptedSender sender;
    sender.script = [](const auto&) { return ScriptedSender::errorNumber(-10016, "rateLimited"); };
    RuntimeClient client(sender);
    RuntimeHeartbeat heartbeat(scheduler, client);
    scheduler.sleep(seconds(95));
    EXPECT_THAT(sender.sent(), SizeIs(3));
  });
}

TEST(RuntimeHeartbeat, beatsAgainForARuntimeThatWasStartedMeanwhile) {
  SimulatedScheduler scheduler;
  scheduler.run([&] {
    ScriptedSender sender;
    sender.isRunning = false;
    RuntimeClient client(sender);
    RuntimeHeartbeat heartbeat(scheduler, client);
    scheduler.sleep(seconds(100));
    EXPECT_THAT(sender.sent(), IsEmpty());
    sender.isRunning = true;
    scheduler.sleep(seconds(30));
    EXPECT_THAT(sender.sent(), SizeIs(1));
  });
}

TEST(RuntimeHeartbeat, waitsAtItsEndForABeatThatIsOnItsWay) {
  SimulatedScheduler scheduler;
  scheduler.run([&] {
    ScriptedSender sender;
    bool answered = false;
    // Like a real sender, this one cannot be interrupted.
    sender.script = [&](const auto&) {
      try {
        scheduler.sleep(seconds(3));
      } catch (const CancellationError&) {
      }
      answered = true;
      return ScriptedSender::answer("{}");
    };
    RuntimeClient client(sender);
    {
      RuntimeHeartbeat heartbeat(scheduler, client);
      scheduler.sleep(seconds(31));
    }
    EXPECT_TRUE(answered);
  });
}

}  // namespace
}  // namespace tavik
