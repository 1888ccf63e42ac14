#include "TavikComputerUseRuntime/TurnLifecycle/ComputerUseTurnLifecycleObserver.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Base/Concurrency/SimulatedScheduler.h"
#include "Tests/Support/LogCapture.h"
#include "Tests/Support/ScriptedRouter.h"

namespace tavik {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

struct Following {
  explicit Following(SimulatedScheduler& scheduler) : scheduler(scheduler), sockets(scheduler) {
    sockets.listen(routerPath);
  }

  SimulatedScheduler& scheduler;
  LogCapture log;
  SimulatedSockets sockets;
  std::vector<HostConversationActivityChange> changes;
  HostCoordinationRouterClient client{scheduler, sockets, routerPath, {.clientType = "test"}};
  ComputerUseTurnLifecycleObserver observer{client, [this](const auto& change) { changes.push_back(change); }};

  ScriptedRouter connect() {
    client.start();
    return ScriptedRouter::welcome(sockets);
  }
};

void following(const std::function<void(Following&)>& body) {
  SimulatedScheduler scheduler;
  scheduler.run([&] {
    Following following(scheduler);
    body(following);
  });
}

JSON stateChanged(const std::string& change) {
  return {{"type", "broadcast"}, {"method", "thread-stream-state-changed"}, {"version", 11},
          {"params", {{"conversationId", "c"}, {"change", JSON::parse(change)}}}};
}

TEST(ComputerUseTurnLifecycleObserver, asksAfterEachConnectionWhichConversationsAreFollowed) {
  following([](Following& f) {
    f.observer.start();
    EXPECT_THAT(f.log.events(), IsEmpty()) << "without a host there is nothing to say";
    for (int i = 0; i < 2; ++i) {
      ScriptedRouter router = f.connect();
      EXPECT_EQ(router.receive().value(),
                parsedJSON(R"({"type":"broadcast","method":"thread-stream-following-status-requested","version":1,
                    "sourceClientId":"client-1","params":{}})"));
      f.scheduler.settle();
      router.close();
      f.scheduler.settle();
    }
    const auto records = f.log.records("host_thread_events_subscribed");
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].level, LogLevel::info);
    EXPECT_EQ(records[0].category, LogCategory::ipc);
    EXPECT_EQ(records[0].fields, (std::map<std::string, std::string>{{"socketPath", routerPath}}));
  });
}

TEST(ComputerUseTurnLifecycleObserver, followsWhatOthersFollow) {
  following([](Following& f) {
    f.observer.start();
    ScriptedRouter router = f.connect();
    router.receive();
    const JSON params = {{"conversationId", "c"}, {"hostId", "h"}, {"following", true}};
    router.send({{"type", "broadcast"}, {"method", "thread-stream-following-changed"}, {"version", 1},
                 {"params", {{"conversationId", "c"}}}});
    router.send({{"type", "broadcast"}, {"method", "thread-stream-following-changed"}, {"version", 1},
                 {"params", params}, {"targetClientIds", {"client-1"}}});
    EXPECT_EQ(router.receive().value(),
              parsedJSON(R"({"type":"broadcast","method":"thread-stream-following-changed","version":1,
                  "sourceClientId":"client-1","params":{"conversationId":"c","hostId":"h","following":true}})"));
  });
}

TEST(ComputerUseTurnLifecycleObserver, handsOnWhatIsKnownOfTurns) {
  following([](Following& f) {
    f.observer.start();
    ScriptedRouter router = f.connect();
    router.send(stateChanged(R"({"type":"snapshot","conversationState":{"threadRuntimeStatus":{"type":"active"}}})"));
    router.send(stateChanged(R"({"type":"patches","patches":[{"path":["title"],"value":"x"}]})"));
    router.send(stateChanged(R"("garbage")"));
    router.send(stateChanged(R"({"type":"patches","patches":[{"path":["threadRuntimeStatus","type"],"value":"idle"}]})"));
    f.scheduler.settle();
    EXPECT_THAT(f.changes, ElementsAre(HostConversationActivityChange{"c", true}, HostConversationActivityChange{"c", false}));
  });
}

TEST(ComputerUseTurnLifecycleObserver, stoppedItHearsNothing) {
  following([](Following& f) {
    f.observer.start();
    ScriptedRouter router = f.connect();
    f.scheduler.settle();
    f.observer.stop();
    f.observer.stop();
    router.send(stateChanged(R"({"type":"snapshot","conversationState":{"threadRuntimeStatus":{"type":"active"}}})"));
    f.scheduler.settle();
    EXPECT_THAT(f.changes, IsEmpty());
    f.observer.start();
    EXPECT_EQ(f.log.count("host_thread_events_subscribed"), 2u);
  });
}

TEST(ComputerUseTurnLifecycleObserver, aFailureToSendIsLoggedUnlessThereIsNoHost) {
  following([](Following& f) {
    f.sockets.limitBuffers(600);
    f.observer.start();
    ScriptedRouter router = f.connect();
    f.scheduler.settle();
    // The Router reads no more: the next question gets stuck until the connection ends.
    Task asking = f.scheduler.start("asking", [&] {
      for (int i = 0; i < 10; ++i) f.observer.requestFollowingStatus();
    });
    f.scheduler.settle();
    f.client.stop();
    asking.join();
    const auto records = f.log.records("host_following_status_request_failed");
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].level, LogLevel::warning);
    EXPECT_EQ(records[0].category, LogCategory::ipc);
  });
}

}  // namespace
}  // namespace tavik
