#include "HostCoordination/Router/HostCoordinationRouterClient.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <limits>

#include "Base/Concurrency/SimulatedScheduler.h"
#include "HostCoordination/Router/HostCoordinationRouterError.h"
#include "HostCoordination/Wire/HostCoordinationTransportError.h"
#include "Tests/Support/LogCapture.h"
#include "Tests/Support/ScriptedRouter.h"
#include "Tests/Support/SeedCount.h"

namespace tavik {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Case = HostCoordinationRouterError::Case;
using Value = HostCoordinationJSONValue;

struct Coordination {
  explicit Coordination(SimulatedScheduler& scheduler, RouterClientOptions options = {.clientType = "test-client"})
      : scheduler(scheduler), sockets(scheduler), client(scheduler, sockets, routerPath, std::move(options)) {
    sockets.listen(routerPath);
  }

  SimulatedScheduler& scheduler;
  LogCapture log;
  SimulatedSockets sockets;
  const MonotonicTime start = scheduler.now();
  HostCoordinationRouterClient client;

  double elapsed() const { return inSeconds(scheduler.now() - start); }
  ScriptedRouter connect() {
    client.start();
    ScriptedRouter router = ScriptedRouter::welcome(sockets);
    scheduler.settle();
    EXPECT_TRUE(client.isConnected());
    return router;
  }
  /// How a request fails; nothing when it does not.
  std::optional<Case> failureOf(const std::function<void()>& body) {
    try {
      body();
    } catch (const HostCoordinationRouterError& error) {
      return error.which();
    } catch (const HostCoordinationTransportError&) {
    }
    return std::nullopt;
  }
  std::vector<std::string> reasons() const {
    std::vector<std::string> reasons;
    for (const auto& record : log.records("host_coordination_unavailable")) {
      EXPECT_EQ(record.level, LogLevel::warning);
      EXPECT_EQ(record.category, LogCategory::ipc);
      EXPECT_EQ(record.fields.at("socketPath"), routerPath);
      reasons.push_back(record.fields.at("reason"));
    }
    return reasons;
  }
};

void withClient(const std::function<void(Coordination&)>& body) {
  SimulatedScheduler scheduler;
  scheduler.run([&] {
    {
      Coordination coordination(scheduler);
      body(coordination);
    }
    EXPECT_EQ(scheduler.unfinishedTaskCount(), 1u);
  });
}

TEST(HostCoordinationRouterClient, introducesItselfWithItsFirstFrame) {
  withClient([](Coordination& c) {
    c.client.start();
    ScriptedRouter router = ScriptedRouter::accept(c.sockets);
    ParsedJSON request = router.answerInitialize("client-9");
    EXPECT_EQ(request["requestId"].get<std::string>().size(), 36u);
    request.erase("requestId");
    EXPECT_EQ(request, parsedJSON(R"({"type":"request","sourceClientId":"initializing-client","version":0,
        "method":"initialize","params":{"clientType":"test-client"},"timeoutMs":5000})"));
    c.scheduler.settle();
    EXPECT_TRUE(c.client.isConnected());
    const auto connected = c.log.only("host_coordination_connected");
    EXPECT_EQ(connected.level, LogLevel::info);
    EXPECT_EQ(connected.category, LogCategory::ipc);
    EXPECT_EQ(connected.fields, (std::map<std::string, std::string>{{"socketPath", routerPath}}));

    c.client.sendBroadcast("hello", 3, Value::Object{{"a", 1.0}});
    EXPECT_EQ(router.receive().value(), parsedJSON(R"({"type":"broadcast","method":"hello","version":3,
        "sourceClientId":"client-9","params":{"a":1}})"));
    c.client.sendBroadcast("hello", 3, Value::Object{}, std::vector<std::string>{"x"});
    EXPECT_EQ(router.receive().value()["targetClientIds"], parsedJSON(R"(["x"])"));
  });
}

TEST(HostCoordinationRouterClient, aSecondStartDoesNothing) {
  withClient([](Coordination& c) {
    ScriptedRouter router = c.connect();
    c.client.start();
    c.scheduler.sleep(seconds(10));
    EXPECT_EQ(c.sockets.connectionAttempts(), 1);
  });
}

TEST(HostCoordinationRouterClient, aHostThatStaysAwayIsTriedEachSecondAndCostsOneLine) {
  withClient([](Coordination& c) {
    c.sockets.stopListening(routerPath);
    c.client.start();
    c.scheduler.sleep(seconds(99.5));
    EXPECT_EQ(c.sockets.connectionAttempts(), 100);
    EXPECT_THAT(c.reasons(), ElementsAre("system_error_" + std::to_string(ECONNREFUSED)));
  });
}

TEST(HostCoordinationRouterClient, theSameReasonIsWrittenAgainAfterAConnection) {
  withClient([](Coordination& c) {
    for (int i = 0; i < 3; ++i) {
      ScriptedRouter router = i == 0 ? c.connect() : ScriptedRouter::welcome(c.sockets);
      c.scheduler.settle();
      router.close();
      c.scheduler.settle();
    }
    EXPECT_THAT(c.reasons(), ElementsAre("connection_closed", "connection_closed", "connection_closed"));
  });
}

TEST(HostCoordinationRouterClient, anotherReasonIsWrittenAtOnce) {
  withClient([](Coordination& c) {
    c.sockets.stopListening(routerPath);
    c.client.start();
    c.scheduler.sleep(milliseconds(2500));
    c.sockets.listen(routerPath);
    ScriptedRouter::accept(c.sockets).close();
    c.scheduler.settle();
    c.sockets.stopListening(routerPath);
    c.scheduler.sleep(seconds(5));
    const std::string refused = "system_error_" + std::to_string(ECONNREFUSED);
    EXPECT_THAT(c.reasons(), ElementsAre(refused, "connection_closed", refused));
  });
}

TEST(HostCoordinationRouterClient, anIntroductionThatIsNotAnsweredInTimeIsGivenUp) {
  withClient([](Coordination& c) {
    c.client.start();
    ScriptedRouter silent = ScriptedRouter::accept(c.sockets);
    silent.receive();
    EXPECT_FALSE(silent.receive());
    EXPECT_EQ(c.elapsed(), 5);
    c.scheduler.settle();
    EXPECT_THAT(c.reasons(), ElementsAre("Host coordination initialize request timed out"));
    ScriptedRouter::welcome(c.sockets);
    EXPECT_EQ(c.elapsed(), 6);
  });
}

TEST(HostCoordinationRouterClient, anAnswerThatComesTogetherWithTheTimeLimitConnectsOrDoesNotButNeverHangs) {
  exploreSeeds(seedCount(2000), [](SimulatedScheduler& scheduler) {
    scheduler.run([&] {
      Coordination c(scheduler);
      c.client.start();
      ScriptedRouter late = ScriptedRouter::accept(c.sockets);
      const ParsedJSON request = late.receive().value();
      scheduler.sleep(seconds(5));
      late.answer(request, {{"clientId", "late"}});
      scheduler.sleep(milliseconds(1));
      const bool connected = c.client.isConnected();
      EXPECT_EQ(c.log.count("host_coordination_connected"), connected ? 1u : 0u);
      if (!connected) {
        EXPECT_THAT(c.reasons(), ElementsAre("Host coordination initialize request timed out"));
      }
    });
  });
}

TEST(HostCoordinationRouterClient, aNegativeTimeLimitGivesTheIntroductionUpAtOnce) {
  SimulatedScheduler scheduler;
  scheduler.run([&] {
    Coordination c(scheduler, {.clientType = "hasty", .initializeTimeoutMilliseconds = -1});
    c.client.start();
    c.scheduler.settle();
    EXPECT_THAT(c.reasons(), ElementsAre("Host coordination initialize request timed out"));
    EXPECT_EQ(c.elapsed(), 0);
  });
}

TEST(HostCoordinationRouterClient, anAnswerWithoutAClientIdentifierIsInvalid) {
  for (const char* answer : {R"({"resultType":"error","error":"no"})", R"({"resultType":"success"})",
                             R"({"resultType":"success","result":{}})", R"({"resultType":"success","result":[]})",
                             R"({"resultType":"success","result":{"clientId":""}})",
                             R"({"resultType":"success","result":{"clientId":7}})", R"({"result":{"clientId":"x"}})"}) {
    withClient([&](Coordination& c) {
      c.client.start();
      ScriptedRouter router = ScriptedRouter::accept(c.sockets);
      const ParsedJSON request = router.receive().value();
      JSON response = JSON::parse(answer);
      response["type"] = "response";
      response["requestId"] = request["requestId"].get<std::string>();
      router.send(response);
      c.scheduler.settle();
      EXPECT_THAT(c.reasons(), ElementsAre("Host coordination initialize response is invalid")) << answer;
    });
  }
}

TEST(HostCoordinationRouterClient, discoveriesAreAnsweredAlreadyDuringTheIntroduction) {
  withClient([](Coordination& c) {
    c.client.start();
    ScriptedRouter router = ScriptedRouter::accept(c.sockets);
    const ParsedJSON request = router.receive().value();
    router.send({{"type", "broadcast"}, {"method", "m"}, {"version", 1}, {"params", nullptr}});
    router.send({{"type", "response"}, {"requestId", "another"}, {"resultType", "success"}});
    router.send({{"type", "client-discovery-request"}});
    router.send({{"type", "client-discovery-request"}, {"requestId", "d1"}});
    const ParsedJSON canHandle = parsedJSON(R"({"type":"client-discovery-response","requestId":"d1","response":{"canHandle":false}})");
    EXPECT_EQ(router.receive().value(), canHandle);
    router.answer(request, {{"clientId", "c"}});
    router.send({{"type", "client-discovery-request"}, {"requestId", "d1"}});
    EXPECT_EQ(router.receive().value(), canHandle);
    EXPECT_TRUE(c.client.isConnected());
  });
}

TEST(HostCoordinationRouterClient, aBroadcastReachesTheHandlersOfItsMethodAndVersionOnly) {
  withClient([](Coordination& c) {
    std::vector<std::string> heard;
    const auto hear = [&](const std::string& name) {
      return [&heard, name](const HostCoordinationBroadcast& broadcast) {
        heard.push_back(name + " from " + broadcast.sourceClientID.value_or("nobody"));
      };
    };
    c.client.registerBroadcastHandler("m", 1, hear("one"));
    const UUID gone = c.client.registerBroadcastHandler("m", 1, hear("gone"));
    c.client.registerBroadcastHandler("m", 2, hear("two"));
    ScriptedRouter router = c.connect();
    c.client.unregisterBroadcastHandler(gone);
    router.send({{"type", "broadcast"}, {"method", "m"}, {"version", 1}, {"params", nullptr}, {"sourceClientId", "s"}});
    router.send({{"type", "broadcast"}, {"method", "m"}, {"version", 2.0}, {"params", 1}});
    for (const char* ignored : {R"({"type":"broadcast","method":"m","version":true,"params":{}})",
                                R"({"type":"broadcast","method":"m","version":3,"params":{}})",
                                R"({"type":"broadcast","method":"m","version":1})", R"({"type":"news"})", "{}"}) {
      router.sendBytes(frameOf(ignored));
    }
    c.scheduler.settle();
    EXPECT_THAT(heard, ElementsAre("one from s", "two from nobody"));
    EXPECT_TRUE(c.client.isConnected());
  });
}

TEST(HostCoordinationRouterClient, connectionHandlersRunAfterEachIntroduction) {
  withClient([](Coordination& c) {
    int runs = 0;
    const UUID id = c.client.registerConnectionHandler([&] {
      EXPECT_TRUE(c.client.isConnected());
      ++runs;
    });
    c.connect().close();
    c.scheduler.settle();
    EXPECT_EQ(runs, 1);
    ScriptedRouter::welcome(c.sockets).close();
    c.scheduler.settle();
    EXPECT_EQ(runs, 2);
    c.client.unregisterConnectionHandler(id);
    ScriptedRouter::welcome(c.sockets);
    c.scheduler.settle();
    EXPECT_EQ(runs, 2);
  });
}

TEST(HostCoordinationRouterClient, aRequestGetsItsResult) {
  withClient([](Coordination& c) {
    ScriptedRouter router = c.connect();
    Task host = c.scheduler.start("host", [&] {
      ParsedJSON request = router.receive().value();
      router.answer({{"requestId", "stranger"}}, 7);
      router.answer(request, {{"turn", 3}});
      request.erase("requestId");
      EXPECT_EQ(request, parsedJSON(R"({"type":"request","sourceClientId":"client-1","version":1,"method":"start",
          "params":{"x":"y"},"timeoutMs":700})"));
    });
    const Value result = c.client.sendRequest("start", 1, Value::Object{{"x", "y"}}, 700);
    EXPECT_EQ(result, (Value(Value::Object{{"turn", 3.0}})));
    EXPECT_EQ(c.client.pendingRequestCount(), 0u);
    host.join();
  });
}

TEST(HostCoordinationRouterClient, aSuccessWithoutAResultIsNull) {
  withClient([](Coordination& c) {
    ScriptedRouter router = c.connect();
    Task host = c.scheduler.start("host", [&] {
      const std::string id = router.receive().value()["requestId"];
      router.send({{"type", "response"}, {"requestId", id}, {"resultType", "success"}});
    });
    EXPECT_TRUE(c.client.sendRequest("m", 1, Value::Object{}, 100).isNull());
    host.join();
  });
}

TEST(HostCoordinationRouterClient, aRefusalCarriesTheRoutersWords) {
  const std::pair<const char*, const char*> refusals[] = {
      {R"({"resultType":"error","error":"no such client"})", "Host coordination request was rejected: no such client"},
      {R"({"resultType":"error","error":7})", "Host coordination request was rejected: unknown"},
      {R"({"result":{}})", "Host coordination request was rejected: unknown"}};
  for (const auto& [answer, words] : refusals) {
    withClient([&](Coordination& c) {
      ScriptedRouter router = c.connect();
      Task host = c.scheduler.start("host", [&] {
        JSON response = JSON::parse(answer);
        response["type"] = "response";
        response["requestId"] = router.receive().value()["requestId"].get<std::string>();
        router.send(response);
      });
      try {
        c.client.sendRequest("m", 1, Value::Object{}, 100);
        ADD_FAILURE();
      } catch (const HostCoordinationRouterError& error) {
        EXPECT_EQ(error.description(), words);
      }
      host.join();
    });
  }
}

TEST(HostCoordinationRouterClient, anAnswerAfterTheTimeLimitIsDropped) {
  withClient([](Coordination& c) {
    ScriptedRouter router = c.connect();
    EXPECT_EQ(c.failureOf([&] { c.client.sendRequest("m", 1, Value::Object{}, 300); }), Case::requestTimedOut);
    EXPECT_EQ(c.elapsed(), 0.3);
    router.answer(router.receive().value(), 1);
    c.scheduler.settle();
    EXPECT_TRUE(c.client.isConnected());
    EXPECT_EQ(c.client.pendingRequestCount(), 0u);
  });
}

TEST(HostCoordinationRouterClient, aLostConnectionFailsItsRequestsAtOnce) {
  withClient([](Coordination& c) {
    ScriptedRouter router = c.connect();
    c.scheduler.start("host", [&] {
      c.scheduler.sleep(seconds(1));
      router.close();
    });
    EXPECT_EQ(c.failureOf([&] { c.client.sendRequest("m", 1, Value::Object{}, 60'000); }), Case::disconnected);
    EXPECT_EQ(c.elapsed(), 1);
    EXPECT_FALSE(c.client.isConnected());
  });
}

TEST(HostCoordinationRouterClient, withoutAConnectionNothingCanBeSent) {
  withClient([](Coordination& c) {
    EXPECT_EQ(c.failureOf([&] { c.client.sendBroadcast("m", 1, Value::Object{}); }), Case::disconnected);
    EXPECT_EQ(c.failureOf([&] { c.client.sendRequest("m", 1, Value::Object{}, 1); }), Case::disconnected);
    // Not yet introduced is not connected either.
    c.client.start();
    ScriptedRouter::accept(c.sockets).receive();
    EXPECT_EQ(c.failureOf([&] { c.client.sendBroadcast("m", 1, Value::Object{}); }), Case::disconnected);
  });
}

TEST(HostCoordinationRouterClient, stopFailsWhatWaitsAndInterruptsThePause) {
  withClient([](Coordination& c) {
    ScriptedRouter router = c.connect();
    Task request = c.scheduler.start("request", [&] {
      EXPECT_EQ(c.failureOf([&] { c.client.sendRequest("m", 1, Value::Object{}, 60'000); }), Case::disconnected);
    });
    router.receive();
    c.client.stop();
    c.client.stop();
    request.join();
    EXPECT_FALSE(router.receive());
    EXPECT_EQ(c.sockets.openCount(), 0);
    EXPECT_THAT(c.reasons(), IsEmpty());
    EXPECT_EQ(c.elapsed(), 0);
  });
  withClient([](Coordination& c) {
    c.sockets.stopListening(routerPath);
    c.client.start();
    c.scheduler.settle();
    c.client.stop();
    c.scheduler.settle();
    EXPECT_EQ(c.scheduler.unfinishedTaskCount(), 2u);  // The test and the deadlines' queue.
    EXPECT_EQ(c.elapsed(), 0);
  });
}

TEST(HostCoordinationRouterClient, aPeerThatNeverReadsDoesNotKeepStopWaiting) {
  withClient([](Coordination& c) {
    c.sockets.limitBuffers(1024);
    ScriptedRouter router = c.connect();
    Task sender = c.scheduler.start("sender", [&] {
      c.failureOf([&] { c.client.sendBroadcast("m", 1, Value::Object{{"text", std::string(5000, 'x')}}); });
    });
    c.scheduler.settle();
    c.client.stop();
    sender.join();
    EXPECT_EQ(c.elapsed(), 0);
  });
}

TEST(HostCoordinationRouterClient, aHandlerMayStopAndStartTheClient) {
  withClient([](Coordination& c) {
    int runs = 0;
    c.client.registerConnectionHandler([&] {
      if (++runs > 1) return;
      c.client.stop();
      c.client.start();
    });
    c.client.start();
    ScriptedRouter first = ScriptedRouter::welcome(c.sockets);
    EXPECT_FALSE(first.receive());
    ScriptedRouter second = ScriptedRouter::welcome(c.sockets);
    c.scheduler.settle();
    EXPECT_TRUE(c.client.isConnected());
    EXPECT_EQ(runs, 2);
  });
}

TEST(HostCoordinationRouterClient, stoppedAndStartedAHundredTimesItAlwaysIntroducesItself) {
  exploreSeeds(seedCount(50), [](SimulatedScheduler& scheduler) {
    scheduler.run([&] {
      Coordination c(scheduler);
      bool isOver = false;
      Task host = scheduler.start("host", [&] {
        std::vector<ScriptedRouter> routers;
        while (!isOver) {
          ScriptedRouter router = ScriptedRouter::accept(c.sockets);
          if (const auto request = router.receive()) router.answer(*request, {{"clientId", "c"}});
          routers.push_back(router);
        }
      });
      c.client.start();
      for (int i = 0; i < 100; ++i) {
        c.client.stop();
        c.client.start();
        if (scheduler.random(4) == 0) scheduler.sleep(milliseconds(static_cast<std::int64_t>(scheduler.random(1500))));
      }
      scheduler.sleep(seconds(2));
      EXPECT_TRUE(c.client.isConnected());
      EXPECT_EQ(c.sockets.openCount(), 1);
      isOver = true;
      c.client.stop();
      host.cancel();
      host.join();
      scheduler.sleep(seconds(1));
      EXPECT_EQ(c.sockets.openCount(), 0);
    });
  });
}

TEST(HostCoordinationRouterClient, tenThousandReconnectionsLeaveNothingBehind) {
  withClient([](Coordination& c) {
    c.client.start();
    for (int i = 0; i < 10'000; ++i) {
      ScriptedRouter::welcome(c.sockets).close();
      c.scheduler.settle();
      ASSERT_EQ(c.sockets.openCount(), 0);
    }
    EXPECT_EQ(c.sockets.connectionAttempts(), 10'000);
    EXPECT_EQ(c.client.pendingRequestCount(), 0u);
    EXPECT_EQ(c.scheduler.unfinishedTaskCount(), 3u);
  });
}

TEST(HostCoordinationRouterClientExploration, aRequestEndsOnceWhenAnswerTimeLimitAndLossMeet) {
  std::map<std::string, int> endings;
  exploreSeeds(seedCount(10'000), [&](SimulatedScheduler& scheduler) {
    scheduler.run([&] {
      Coordination c(scheduler);
      ScriptedRouter router = c.connect();
      int ended = 0;
      Task request = scheduler.start("request", [&] {
        try {
          c.client.sendRequest("m", 1, Value::Object{}, 10);
          ++endings["answer"];
        } catch (const HostCoordinationRouterError& error) {
          ++endings[error.description()];
        } catch (const HostCoordinationTransportError& error) {
          ++endings[error.description()];
        }
        ++ended;
      });
      Task host = scheduler.start("host", [&] {
        const auto received = router.receive();
        scheduler.sleep(milliseconds(9 + static_cast<std::int64_t>(scheduler.random(3))));
        if (received && scheduler.random(2) == 0) router.answer(*received, 1);
        if (scheduler.random(2) == 0) router.close();
      });
      if (scheduler.random(4) == 0) {
        scheduler.sleep(milliseconds(10));
        c.client.stop();
      }
      request.join();
      host.join();
      EXPECT_EQ(ended, 1);
      EXPECT_EQ(c.client.pendingRequestCount(), 0u);
    });
  });
  EXPECT_GT(endings["answer"], 0);
  EXPECT_GT(endings["Host coordination request timed out"], 0);
  EXPECT_GT(endings["Host coordination Router is disconnected"], 0);
}

TEST(HostCoordinationRouterClientExploration, whateverARouterDoesTheClientEndsAndLeavesNothingOpen) {
  exploreSeeds(seedCount(2000), [](SimulatedScheduler& scheduler) {
    scheduler.run([&] {
      Coordination c(scheduler);
      bool isOver = false;
      Task host = scheduler.start("bad host", [&] {
        while (!isOver) {
          ScriptedRouter router = ScriptedRouter::accept(c.sockets);
          switch (scheduler.random(5)) {
            case 0: router.close(); break;
            case 1: router.sendBytes({0, 0, 0, 0}); break;
            case 2: router.sendBytes(frameOf("[")); break;
            case 3: {
              if (const auto request = router.receive()) router.answer(*request, {{"clientId", "c"}});
              router.sendBytes({9, 0});
              router.close();
              break;
            }
            default:
              if (const auto request = router.receive()) router.answer(*request, {{"clientId", "c"}});
              for (int i = 0; i < 5; ++i) router.send({{"type", "client-discovery-request"}, {"requestId", "d"}});
          }
        }
      });
      c.client.registerBroadcastHandler("m", 1, [](const HostCoordinationBroadcast&) {});
      for (int i = 0; i < 4; ++i) {
        c.client.start();
        scheduler.sleep(milliseconds(static_cast<std::int64_t>(scheduler.random(8000))));
        c.failureOf([&] { c.client.sendRequest("m", 1, Value::Object{}, 50); });
        c.client.stop();
      }
      isOver = true;
      host.cancel();
      host.join();
      scheduler.sleep(seconds(10));
      EXPECT_EQ(c.sockets.openCount(), 0);
      EXPECT_EQ(c.client.pendingRequestCount(), 0u);
    });
  });
}

TEST(HostCoordinationRouterError, saysEachCaseInItsWords) {
  EXPECT_EQ(HostCoordinationRouterError::requestRejected("x").description(), "Host coordination request was rejected: x");
  EXPECT_EQ(HostCoordinationRouterError(Case::disconnected).description(), "Host coordination Router is disconnected");
  EXPECT_EQ(HostCoordinationRouterError(Case::initializeTimedOut).description(), "Host coordination initialize request timed out");
  EXPECT_EQ(HostCoordinationRouterError(Case::invalidInitializeResponse).description(), "Host coordination initialize response is invalid");
  EXPECT_EQ(HostCoordinationRouterError(Case::requestTimedOut).description(), "Host coordination request timed out");
}

TEST(HostCoordinationRouterClient, aLengthOfNothingIsALostConnection) {
  withClient([](Coordination& c) {
    ScriptedRouter router = c.connect();
    router.sendBytes({0, 0, 0, 0});
    EXPECT_FALSE(router.receive());
    ScriptedRouter::welcome(c.sockets);
    EXPECT_EQ(c.elapsed(), 1);
    EXPECT_THAT(c.reasons(), ElementsAre("invalid_frame"));
  });
}

TEST(HostCoordinationRouterClient, stoppedDuringTheIntroductionItSaysNothing) {
  withClient([](Coordination& c) {
    c.client.start();
    ScriptedRouter router = ScriptedRouter::accept(c.sockets);
    router.receive();
    c.client.stop();
    EXPECT_FALSE(router.receive());
    c.scheduler.sleep(seconds(20));
    EXPECT_THAT(c.log.events(), IsEmpty());
    EXPECT_EQ(c.sockets.connectionAttempts(), 1);
  });
}

TEST(HostCoordinationRouterClient, aBroadcastHandlerMayStopTheClient) {
  withClient([](Coordination& c) {
    c.client.registerBroadcastHandler("m", 1, [&](const HostCoordinationBroadcast&) { c.client.stop(); });
    ScriptedRouter router = c.connect();
    router.send({{"type", "broadcast"}, {"method", "m"}, {"version", 1}, {"params", nullptr}});
    EXPECT_FALSE(router.receive());
    c.scheduler.settle();
    EXPECT_EQ(c.scheduler.unfinishedTaskCount(), 2u);
  });
}

TEST(HostCoordinationRouterClient, aRequestThatCannotBeWrittenFailsWithThatErrorAndIsForgotten) {
  withClient([](Coordination& c) {
    ScriptedRouter router = c.connect();
    const Value tooDeep(std::numeric_limits<double>::infinity());
    EXPECT_THROW(c.client.sendRequest("m", 1, tooDeep, 1000), EncodingError);
    EXPECT_EQ(c.client.pendingRequestCount(), 0u);
    EXPECT_TRUE(c.client.isConnected());
  });
}

}  // namespace
}  // namespace tavik
