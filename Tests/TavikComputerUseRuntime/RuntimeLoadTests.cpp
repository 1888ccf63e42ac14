// Sixteen clients for five minutes, in a moment.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "RuntimeDesk.h"

namespace tavik {
namespace {

constexpr int clientCount = 16;
constexpr double loadSeconds = 300;

const char* const requestTypes[] = {"ComputerUseIPCListAppsRequest", "ComputerUseIPCAppGetStateRequest",
                                    "ComputerUseIPCAppPerformActionRequest", "ComputerUseIPCHealthRequest",
                                    "ComputerUseIPCHealthRequest", "ComputerUseIPCAppUsageRequest"};

/// What the clients saw.
struct Account {
  int sent = 0;
  int answered = 0;
  int refused = 0;
  /// Requests that their clients still wait for.
  int waiting = 0;
  int mostWaiting = 0;
};

void askOnce(RuntimeDesk& desk, Account& account, const std::string& type) {
  ++account.sent;
  account.mostWaiting = std::max(account.mostWaiting, ++account.waiting);
  const double start = desk.elapsed();
  const RequestReply reply = desk.desktop.transport().send(type, R"({"app":"x"})", RuntimeDesk::clientPID).reply();
  --account.waiting;
  if (reply.errorNumber == 0) {
    ++account.answered;
    return;
  }
  EXPECT_EQ(reply.errorNumber, -10016) << reply.errorString;
  EXPECT_EQ(desk.elapsed(), start) << "a refusal that waited";
  ++account.refused;
}

void putUnderLoad(RuntimeDesk& desk, Account& account, double duration) {
  const double end = desk.elapsed() + duration;
  std::vector<Task> clients;
  for (int i = 0; i < clientCount; ++i) {
    clients.push_back(desk.scheduler.start("client", [&] {
      while (desk.elapsed() < end) {
        askOnce(desk, account, requestTypes[desk.scheduler.random(std::size(requestTypes))]);
        desk.scheduler.sleep(milliseconds(static_cast<std::int64_t>(desk.scheduler.random(4000))));
      }
    }));
  }
  for (const Task& client : clients) client.join();
}

TEST(RuntimeLoad, sixteenClientsForFiveMinutesGetAnAnswerEachAndLeaveNothingBehind) {
  SimulatedScheduler scheduler(7);
  scheduler.run([&] {
    RuntimeDesk desk(scheduler);
    int running = 0, mostRunning = 0;
    desk.tools = [&](const std::string& type, const Bytes&) -> std::optional<ToolResult> {
      if (type == "ComputerUseIPCHealthRequest" || type == "ComputerUseIPCAppUsageRequest") return std::nullopt;
      mostRunning = std::max(mostRunning, ++running);
      scheduler.sleep(milliseconds(static_cast<std::int64_t>(scheduler.random(1500))));
      --running;
      return ToolResult::text("done");
    };
    ASSERT_TRUE(desk.launch());
    Account account;
    putUnderLoad(desk, account, loadSeconds / 10);
    const std::size_t tasks = scheduler.unfinishedTaskCount();
    putUnderLoad(desk, account, loadSeconds * 9 / 10);

    EXPECT_EQ(account.sent, account.answered + account.refused);
    EXPECT_GT(account.answered, 500);
    EXPECT_GT(account.refused, 50);
    EXPECT_EQ(mostRunning, 2);
    EXPECT_GT(account.mostWaiting, 10);
    EXPECT_EQ(desk.desktop.transport().suspendedCount(), 0u);
    scheduler.settle();
    EXPECT_LE(scheduler.unfinishedTaskCount(), tasks);
    EXPECT_EQ(desk.log.count("request_queue_rejected"), static_cast<std::size_t>(account.refused));
    EXPECT_TRUE(desk.terminations.empty());

    // The eleventh of a sudden crowd is refused, and all others get their turn.
    const int refusedBefore = account.refused;
    std::vector<Task> crowd;
    for (int i = 0; i < 11; ++i) {
      crowd.push_back(scheduler.start("crowd", [&] { askOnce(desk, account, "ComputerUseIPCListAppsRequest"); }));
    }
    for (const Task& one : crowd) one.join();
    EXPECT_EQ(account.refused, refusedBefore + 1);
  });
}

TEST(RuntimeLoad, aHealthRequestPassesARunningActionUnderLoadAsLongAsAPlaceIsFree) {
  SimulatedScheduler scheduler(7);
  scheduler.run([&] {
    RuntimeDesk desk(scheduler);
    desk.letToolsWorkFor(5);
    ASSERT_TRUE(desk.launch());
    for (int round = 0; round < 60; ++round) {
      const auto action = desk.send("ComputerUseIPCAppPerformActionRequest", R"({"app":"x"})");
      scheduler.sleep(seconds(1));
      const double start = desk.elapsed();
      EXPECT_EQ(desk.send("ComputerUseIPCHealthRequest").reply().errorNumber, 0);
      EXPECT_EQ(desk.elapsed(), start);
      EXPECT_FALSE(action.isAnswered());
      action.reply();
    }
  });
}

}  // namespace
}  // namespace tavik
