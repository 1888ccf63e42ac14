#include "TavikComputerUseBridge/Protocol/MCPServer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "Base/Concurrency/SimulatedScheduler.h"
#include "ScriptedSender.h"

namespace tavik {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

/// A server on a scripted runtime, in virtual time.
struct Server {
  explicit Server(SimulatedScheduler& scheduler) : scheduler(scheduler) {}

  SimulatedScheduler& scheduler;
  ScriptedSender sender;
  ToolCatalogue catalogue{"ctrl"};
  RuntimeClient runtime{sender};
  ToolCaller caller{catalogue, scheduler, runtime};
  std::vector<JSON> answers;
  MCPServer mcp{scheduler, caller, [this](std::string line) { answers.push_back(JSON::parse(line)); }};

  void receive(const std::string& line) { mcp.receive(line); }

  /// Sends a request and gives the answers that are there before time passes.
  JSON ask(const std::string& method, const JSON& params = JSON::object()) {
    receive(JSON{{"jsonrpc", "2.0"}, {"id", 1}, {"method", method}, {"params", params}}.dump());
    scheduler.settle();
    const JSON answer = answers.empty() ? JSON() : answers.back();
    answers.clear();
    return answer;
  }
  void startCall(const JSON& id, const std::string& tool, const JSON& arguments) {
    receive(JSON{{"jsonrpc", "2.0"},
                 {"id", id},
                 {"method", "tools/call"},
                 {"params", {{"name", tool}, {"arguments", arguments}}}}
                .dump());
  }
  JSON initialize(const std::string& version) {
    return ask("initialize", {{"protocolVersion", version},
                              {"capabilities", JSON::object()},
                              {"clientInfo", {{"name", "test"}, {"version", "1"}}}});
  }
  std::vector<JSON> identifiers() const {
    std::vector<JSON> all;
    for (const JSON& answer : answers) all.push_back(answer["id"]);
    return all;
  }
};

void withServer(const std::function<void(Server&)>& body) {
  SimulatedScheduler scheduler;
  scheduler.run([&] {
    Server server(scheduler);
    body(server);
  });
}

TEST(MCPServer, initialisesWithTheVersionThatTheClientAsksFor) {
  withServer([](Server& server) {
    for (const char* version : {"2025-06-18", "2025-03-26", "2024-11-05"}) {
      EXPECT_EQ(server.initialize(version)["result"]["protocolVersion"], version);
    }
  });
}

TEST(MCPServer, offersItsNewestVersionForOneThatItDoesNotSpeak) {
  withServer([](Server& server) {
    EXPECT_EQ(server.initialize("1999-01-01")["result"]["protocolVersion"], "2025-06-18");
    EXPECT_EQ(server.ask("initialize")["result"]["protocolVersion"], "2025-06-18");
  });
}

TEST(MCPServer, saysWhoItIsWhatItCanAndHowToUseIt) {
  withServer([](Server& server) {
    const JSON result = server.initialize("2025-06-18")["result"];
    EXPECT_EQ(result["serverInfo"]["name"], "tavik-computer-use");
    EXPECT_EQ(result["capabilities"].dump(), R"({"tools":{"listChanged":false}})");
    EXPECT_THAT(result["instructions"].get<std::string>(), HasSubstr("get_app_state"));
  });
}

TEST(MCPServer, answersAPingWithNothing) {
  withServer([](Server& server) {
    EXPECT_EQ(server.ask("ping").dump(), R"({"jsonrpc":"2.0","id":1,"result":{}})");
  });
}

TEST(MCPServer, answersNoNotification) {
  withServer([](Server& server) {
    server.receive(R"({"jsonrpc":"2.0","method":"notifications/initialized"})");
    server.receive(R"({"jsonrpc":"2.0","method":"notifications/of_the_future","params":{"x":1}})");
    server.receive(R"({"jsonrpc":"2.0","method":"notifications/cancelled"})");
    EXPECT_THAT(server.answers, IsEmpty());
  });
}

TEST(MCPServer, refusesUnknownMethods) {
  withServer([](Server& server) {
    const JSON error = server.ask("resources/list")["error"];
    EXPECT_EQ(error["code"], -32601);
    EXPECT_EQ(error["message"], "Unknown method: resources/list");
  });
}

TEST(MCPServer, answersGarbageAndGoesOn) {
  withServer([](Server& server) {
    server.receive("{\"jsonrpc\": \"2.0\", \"id\": 1, \"meth");
    server.receive("\x01\xff garbage");
    server.receive("[]");
    server.receive("17");
    server.mcp.receive(std::nullopt);
    std::vector<int> codes;
    for (const JSON& answer : server.answers) {
      EXPECT_TRUE(answer["id"].is_null());
      codes.push_back(answer["error"]["code"].get<int>());
    }
    EXPECT_THAT(codes, ElementsAre(-32700, -32700, -32600, -32600, -32600));
    server.answers.clear();
    EXPECT_TRUE(server.ask("ping").contains("result"));
  });
}

TEST(MCPServer, ignoresBlankLines) {
  withServer([](Server& server) {
    server.receive("");
    server.receive("  \t ");
    EXPECT_THAT(server.answers, IsEmpty());
  });
}

TEST(MCPServer, listsAllToolsOnOnePage) {
  withServer([](Server& server) {
    EXPECT_THAT(server.ask("tools/list")["result"]["tools"], SizeIs(13));
    EXPECT_EQ(server.ask("tools/list", {{"cursor", "2"}})["error"]["code"], -32602);
  });
}

TEST(MCPServer, answersAToolCallWithItsContent) {
  withServer([](Server& server) {
    server.sender.script = [](const auto&) {
      return ScriptedSender::answer(
          R"({"content":[{"type":"text","text":"state"},{"type":"image","data":"AQID","mimeType":"image/png"}],)"
          R"("isError":false})");
    };
    const JSON answer =
        server.ask("tools/call", {{"name", "get_app_state"}, {"arguments", {{"app", "kcalc"}}}});
    EXPECT_EQ(answer["result"].dump(), R"({"content":[{"type":"text","text":"state"},)"
                                       R"({"type":"image","data":"AQID","mimeType":"image/png"}]})");
    EXPECT_EQ(server.sender.sent()[0].requestType, "ComputerUseIPCAppGetStateRequest");
  });
}

TEST(MCPServer, carriesTheErrorOfATool) {
  withServer([](Server& server) {
    server.sender.script = [](const auto&) {
      return ScriptedSender::answer(R"({"content":[{"type":"text","text":"No"}],"isError":true})");
    };
    const JSON result = server.ask("tools/call", {{"name", "list_apps"}})["result"];
    EXPECT_EQ(result["isError"], true);
    EXPECT_EQ(result["content"][0]["text"], "No");
  });
}

TEST(MCPServer, answersAMistakeInTheArgumentsAsAToolErrorWithoutARequest) {
  withServer([](Server& server) {
    const JSON result = server.ask("tools/call", {{"name", "get_app_state"}})["result"];
    EXPECT_EQ(result["isError"], true);
    EXPECT_EQ(result["content"][0]["text"], "Missing required argument: app");
    EXPECT_THAT(server.sender.sent(), IsEmpty());
  });
}

TEST(MCPServer, refusesACallThatNamesNoToolOrHasNoObjectForArguments) {
  withServer([](Server& server) {
    const auto code = [&](const JSON& params) { return server.ask("tools/call", params)["error"]["code"]; };
    EXPECT_EQ(code(JSON::object()), -32602);
    EXPECT_EQ(code({{"name", 5}}), -32602);
    EXPECT_EQ(code({{"name", "make_coffee"}}), -32602);
    EXPECT_EQ(code({{"name", "list_apps"}, {"arguments", "none"}}), -32602);
    EXPECT_THAT(server.sender.sent(), IsEmpty());
  });
}

TEST(MCPServer, letsAPingAndOtherCallsPassACallThatTakesLong) {
  withServer([](Server& server) {
    server.sender.script = [&](const ScriptedSender::Sent& sent) {
      if (sent.requestType == "ComputerUseIPCAppGetStateRequest") server.scheduler.sleep(seconds(20));
      return ScriptedSender::textAnswer("done");
    };
    server.startCall("slow", "get_app_state", {{"app", "kcalc"}});
    server.startCall("quick", "list_apps", JSON::object());
    server.scheduler.sleep(seconds(1));
    server.receive(R"({"jsonrpc":"2.0","id":"ping","method":"ping"})");
    server.scheduler.sleep(seconds(60));
    EXPECT_THAT(server.identifiers(), ElementsAre("quick", "ping", "slow"));
  });
}

TEST(MCPServer, givesEachCallARequestIdentifierOfItsOwn) {
  withServer([](Server& server) {
    server.startCall(1, "list_apps", JSON::object());
    server.startCall(2, "list_apps", JSON::object());
    server.mcp.finish();
    const auto sent = server.sender.sent();
    ASSERT_THAT(sent, SizeIs(2));
    EXPECT_THAT(sent[0].requestID, SizeIs(36));
    EXPECT_NE(sent[0].requestID, sent[1].requestID);
  });
}

TEST(MCPServer, doesNotAnswerACancelledCallAndTakesItsIdentifierAgain) {
  withServer([](Server& server) {
    int call = 0;
    server.sender.script = [&](const auto&) {
      const int number = ++call;
      server.scheduler.sleep(seconds(number == 1 ? 20 : 5));
      return ScriptedSender::textAnswer(std::to_string(number));
    };
    server.startCall(1, "list_apps", JSON::object());
    server.scheduler.sleep(seconds(1));
    server.receive(R"({"jsonrpc":"2.0","method":"notifications/cancelled","params":{"requestId":1}})");
    server.startCall(1, "list_apps", JSON::object());
    server.mcp.finish();
    ASSERT_THAT(server.answers, SizeIs(1));
    EXPECT_EQ(server.answers[0]["result"]["content"][0]["text"], "2");
  });
}

TEST(MCPServer, aCancellationOfAnythingElseChangesNothing) {
  withServer([](Server& server) {
    server.sender.script = [&](const auto&) {
      server.scheduler.sleep(seconds(5));
      return ScriptedSender::textAnswer("done");
    };
    server.startCall("1", "list_apps", JSON::object());
    server.receive(R"({"jsonrpc":"2.0","method":"notifications/cancelled","params":{"requestId":1}})");
    server.receive(R"({"jsonrpc":"2.0","method":"notifications/cancelled","params":{"requestId":{"a":[]}}})");
    server.mcp.finish();
    EXPECT_THAT(server.identifiers(), ElementsAre("1"));
  });
}

TEST(MCPServer, refusesAnIdentifierThatIsInUse) {
  withServer([](Server& server) {
    server.sender.script = [&](const auto&) {
      server.scheduler.sleep(seconds(5));
      return ScriptedSender::textAnswer("done");
    };
    server.startCall(1, "list_apps", JSON::object());
    server.startCall(1, "list_apps", JSON::object());
    server.mcp.finish();
    ASSERT_THAT(server.answers, SizeIs(2));
    EXPECT_EQ(server.answers[0]["error"]["code"], -32600);
    EXPECT_TRUE(server.answers[1].contains("result"));
  });
}

TEST(MCPServer, answersCallsBeyondItsLimitAtOnce) {
  withServer([](Server& server) {
    server.sender.script = [&](const auto&) {
      server.scheduler.sleep(seconds(5));
      return ScriptedSender::textAnswer("done");
    };
    for (std::size_t id = 0; id < MCPServer::maximumRunningCalls; ++id) {
      server.startCall(id, "list_apps", JSON::object());
    }
    EXPECT_THAT(server.answers, IsEmpty());
    server.startCall("late", "list_apps", JSON::object());
    ASSERT_THAT(server.answers, SizeIs(1));
    EXPECT_EQ(server.answers[0]["result"]["isError"], true);
    server.mcp.finish();
    EXPECT_THAT(server.answers, SizeIs(MCPServer::maximumRunningCalls + 1));
  });
}

TEST(MCPServer, finishWaitsForTheCallsThatRun) {
  withServer([](Server& server) {
    server.sender.script = [&](const auto&) {
      server.scheduler.sleep(seconds(5));
      return ScriptedSender::textAnswer("done");
    };
    server.startCall(1, "list_apps", JSON::object());
    server.mcp.finish();
    EXPECT_THAT(server.identifiers(), ElementsAre(1));
  });
}

TEST(MCPServer, answersABatchAsOneWhenItsLastCallIsDone) {
  withServer([](Server& server) {
    server.initialize("2025-03-26");
    server.sender.script = [&](const auto&) {
      server.scheduler.sleep(seconds(5));
      return ScriptedSender::textAnswer("done");
    };
    server.receive(R"([{"jsonrpc":"2.0","id":1,"method":"tools/call","params":{"name":"list_apps"}},)"
                   R"({"jsonrpc":"2.0","method":"notifications/initialized"},)"
                   R"({"jsonrpc":"2.0","id":2,"method":"ping"},5])");
    EXPECT_THAT(server.answers, IsEmpty());
    server.mcp.finish();
    ASSERT_THAT(server.answers, SizeIs(1));
    ASSERT_THAT(server.answers[0], SizeIs(3));
    EXPECT_EQ(server.answers[0][0]["id"], 2);
    EXPECT_EQ(server.answers[0][1]["error"]["code"], -32600);
    EXPECT_EQ(server.answers[0][2]["id"], 1);
  });
}

TEST(MCPServer, answersABatchOfNotificationsWithNothing) {
  withServer([](Server& server) {
    server.receive(R"([{"jsonrpc":"2.0","method":"notifications/initialized"}])");
    EXPECT_THAT(server.answers, IsEmpty());
  });
}

TEST(MCPServer, refusesABatchInTheVersionThatHasNone) {
  withServer([](Server& server) {
    server.initialize("2025-06-18");
    server.receive(R"([{"jsonrpc":"2.0","id":1,"method":"ping"}])");
    ASSERT_THAT(server.answers, SizeIs(1));
    EXPECT_EQ(server.answers[0]["error"]["code"], -32600);
  });
}

TEST(MCPServer, answersEveryCallOnceWhateverTheOrderOfAnswersAndCancellations) {
  exploreSeeds(300, [](SimulatedScheduler& scheduler) {
    scheduler.run([&] {
      Server server(scheduler);
      server.sender.script = [&](const auto&) {
        scheduler.sleep(milliseconds(static_cast<std::int64_t>(scheduler.random(5))));
        return ScriptedSender::textAnswer("done");
      };
      for (int id = 0; id < 6; ++id) server.startCall(id, "list_apps", JSON::object());
      scheduler.sleep(milliseconds(2));
      for (int id = 0; id < 6; id += 2) {
        server.receive(
            JSON{{"jsonrpc", "2.0"}, {"method", "notifications/cancelled"}, {"params", {{"requestId", id}}}}
                .dump());
      }
      server.mcp.finish();
      std::map<int, int> answersOf;
      for (const JSON& id : server.identifiers()) ++answersOf[id.get<int>()];
      for (int id = 0; id < 6; ++id) {
        EXPECT_LE(answersOf[id], 1);
        if (id % 2 == 1) {
          EXPECT_EQ(answersOf[id], 1);
        }
      }
    });
  });
}

}  // namespace
}  // namespace tavik
