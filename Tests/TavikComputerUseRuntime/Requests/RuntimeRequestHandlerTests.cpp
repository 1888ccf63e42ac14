#include "TavikComputerUseRuntime/Requests/RuntimeRequestHandler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "Backends/Simulated/System/SimulatedCodeIdentity.h"
#include "Backends/Simulated/System/SimulatedPreferences.h"
#include "Backends/Simulated/System/SimulatedProcess.h"
#include "Backends/Simulated/System/SimulatedRequestTransport.h"
#include "Base/Concurrency/SimulatedScheduler.h"
#include "Base/JSON/DecodingError.h"
#include "Base/JSON/Record.h"
#include "ComputerUseContracts/AppshotRecords.h"
#include "ComputerUseContracts/EventStreamRecords.h"
#include "ComputerUseContracts/ToolError.h"
#include "ComputerUseContracts/ToolRequests.h"
#include "ComputerUsePlatform/IPC/ComputerUseIPCError.h"
#include "Tests/Support/LogCapture.h"
#include "Tests/Support/ServedMainQueue.h"

namespace tavik {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Fields = std::map<std::string, std::string>;

/// A request handler whose tools are what the test says, with a client that lives: 10.
struct HandlerDesk {
  explicit HandlerDesk(SimulatedScheduler& scheduler) : scheduler(scheduler) { process.state(10, {}); }

  SimulatedScheduler& scheduler;
  LogCapture log;
  MainQueue mainQueue{scheduler};
  SimulatedRequestTransport transport{scheduler, mainQueue};
  SimulatedCodeIdentity codeIdentity;
  SimulatedPreferences properties;
  SimulatedProcess process;
  BundleIdentifiers identifiers{properties};
  int terminations = 0;
  std::function<std::optional<ToolResult>(const std::string&, const Bytes&)> tools =
      [](const std::string&, const Bytes&) { return std::nullopt; };
  RuntimeLifetime lifetime{scheduler, mainQueue, process, [this] { ++terminations; }};
  ComputerUseIPCServerHandler server{scheduler, transport, codeIdentity, identifiers};
  RuntimeRequestHandler handler{
      scheduler,
      server,
      lifetime,
      [this](const std::string& type, const Bytes& data) { return tools(type, data); },
      {.generationID = "G1",
       .runtimePID = 100,
       .bundleIdentifier = "com.tavik.computeruse",
       .bundlePath = "/opt/tavik"}};
  ServedMainQueue main{scheduler, mainQueue};

  std::string send(std::string_view requestType, std::string_view json = "{}", std::int32_t senderPID = 10) {
    return std::string(textOf(handler.handle(std::string(requestType), bytesOf(json), senderPID)));
  }
  template <class Request>
  std::string send(std::string_view json = "{}") {
    return send(Request::requestType, json);
  }
  ComputerUseIPCHealthResponse health(std::string_view json = "{}", std::int32_t senderPID = 10) {
    return decodeRecord<ComputerUseIPCHealthResponse>(
        bytesOf(send(ComputerUseIPCHealthRequest::requestType, json, senderPID)));
  }
};

void onDesk(const std::function<void(HandlerDesk&)>& body) {
  SimulatedScheduler scheduler;
  scheduler.run([&] {
    HandlerDesk desk(scheduler);
    body(desk);
  });
}

TEST(RuntimeRequestHandler, aToolsResultIsAnsweredAsARecord) {
  onDesk([](HandlerDesk& desk) {
    desk.tools = [](const std::string& type, const Bytes& data) {
      return ToolResult::text(type + " " + std::string(textOf(data)));
    };
    EXPECT_EQ(desk.send("ComputerUseIPCListAppsRequest", "[1]"),
              R"({"content":[{"type":"text","text":"ComputerUseIPCListAppsRequest [1]"}],"isError":false})");
  });
}

TEST(RuntimeRequestHandler, aToolErrorIsAResultThatTheModelCanRead) {
  onDesk([](HandlerDesk& desk) {
    desk.tools = [](const std::string&, const Bytes&) -> std::optional<ToolResult> {
      throw ToolError::appNotFound("Sketch");
    };
    EXPECT_EQ(desk.send<ComputerUseIPCAppGetStateRequest>(R"({"app":"Sketch"})"),
              R"({"content":[{"type":"text","text":"App not found: Sketch"}],"isError":true})");
    EXPECT_EQ(desk.log.only("request_finished").fields.at("outcome"), "success");
  });
}

TEST(RuntimeRequestHandler, anyOtherErrorGoesOnToTheServer) {
  onDesk([](HandlerDesk& desk) {
    desk.tools = [](const std::string&, const Bytes&) -> std::optional<ToolResult> {
      throw std::runtime_error("broken");
    };
    EXPECT_THROW(desk.send<ComputerUseIPCListAppsRequest>(), std::runtime_error);
  });
}

TEST(RuntimeRequestHandler, aRequestIsLoggedWhenItComesAndWhenItIsDone) {
  onDesk([](HandlerDesk& desk) {
    desk.tools = [&](const std::string&, const Bytes&) {
      desk.scheduler.sleep(milliseconds(250));
      return ToolResult::text("x");
    };
    const std::string response = desk.send<ComputerUseIPCListAppsRequest>();
    EXPECT_THAT(desk.log.events(),
                ElementsAre("active_clients_changed", "request_received", "request_finished"));

    const auto received = desk.log.only("request_received");
    EXPECT_EQ(received.level, LogLevel::info);
    EXPECT_EQ(received.category, LogCategory::ipc);
    EXPECT_EQ(received.fields,
              (Fields{{"requestType", "ComputerUseIPCListAppsRequest"}, {"senderPid", "10"}}));

    const auto finished = desk.log.only("request_finished");
    EXPECT_EQ(finished.level, LogLevel::info);
    EXPECT_EQ(finished.category, LogCategory::ipc);
    EXPECT_EQ(finished.fields, (Fields{{"requestType", "ComputerUseIPCListAppsRequest"},
                                       {"durationMs", "250"},
                                       {"responseBytes", std::to_string(response.size())},
                                       {"outcome", "success"}}));
  });
}

TEST(RuntimeRequestHandler, aFailureIsLoggedAsItsTypeAndCode) {
  onDesk([](HandlerDesk& desk) {
    EXPECT_THROW(desk.send("ComputerUseIPCNonsenseRequest"), ComputerUseIPCError);
    const auto finished = desk.log.only("request_finished");
    EXPECT_EQ(finished.level, LogLevel::error);
    EXPECT_EQ(finished.fields,
              (Fields{{"requestType", "ComputerUseIPCNonsenseRequest"},
                      {"durationMs", "0"},
                      {"outcome", "failure"},
                      {"error",
                       "ComputerUseIPCError(domain=ComputerUsePlatform.ComputerUseIPCError,code=-10000)"}}));
  });
}

TEST(RuntimeRequestHandler, aRequestMayTakeThirtySeconds) {
  onDesk([](HandlerDesk& desk) {
    double duration = 29.9;
    desk.tools = [&](const std::string&, const Bytes&) {
      desk.scheduler.sleep(seconds(duration));
      return ToolResult::text("x");
    };
    EXPECT_NO_THROW(desk.send<ComputerUseIPCListAppsRequest>());
    desk.log.clear();
    duration = 100;
    const MonotonicTime start = desk.scheduler.now();
    try {
      desk.send<ComputerUseIPCListAppsRequest>();
      FAIL() << "no time-out";
    } catch (const ComputerUseIPCError& error) {
      EXPECT_EQ(error.rawValue(), -10011);
    }
    EXPECT_EQ(desk.scheduler.now() - start, seconds(30));
    desk.scheduler.sleep(seconds(60));
    EXPECT_THAT(desk.log.events(), ElementsAre("request_received", "request_timeout", "request_finished"));
    EXPECT_EQ(desk.log.only("request_timeout").fields,
              (Fields{{"requestType", "ComputerUseIPCListAppsRequest"}, {"timeoutMs", "30000"}}));
    EXPECT_EQ(desk.log.only("request_finished").fields.at("outcome"), "failure");
  });
}

TEST(RuntimeRequestHandler, theTimeoutIsLoggedBeforeTheEndOfTheRequestHoweverThreadsInterleave) {
  exploreSeeds(1000, [](SimulatedScheduler& scheduler) {
    scheduler.run([&] {
      HandlerDesk desk(scheduler);
      desk.tools = [&](const std::string&, const Bytes&) {
        scheduler.sleep(seconds(31));
        return ToolResult::text("x");
      };
      EXPECT_THROW(desk.send<ComputerUseIPCListAppsRequest>(), ComputerUseIPCError);
      scheduler.sleep(seconds(10));
      EXPECT_THAT(desk.log.events(), ElementsAre("active_clients_changed", "request_received",
                                                 "request_timeout", "request_finished"));
    });
  });
}

TEST(RuntimeRequestHandler, healthSaysWhoTheRuntimeIs) {
  onDesk([](HandlerDesk& desk) {
    const ComputerUseIPCHealthResponse health = desk.health();
    EXPECT_EQ(health.generationID, "G1");
    EXPECT_EQ(health.runtimePID, 100);
    EXPECT_EQ(health.bundleIdentifier, "com.tavik.computeruse");
    EXPECT_EQ(health.bundlePath, "/opt/tavik");
    EXPECT_TRUE(health.isHealthy);
    EXPECT_EQ(health.activeClientCount, 1);
    EXPECT_EQ(health.heartbeatTimeoutSeconds, 90.0);
  });
}

TEST(RuntimeRequestHandler, heartbeatsStayOutOfTheRequestLog) {
  onDesk([](HandlerDesk& desk) {
    desk.health();
    EXPECT_THAT(desk.log.events(), ElementsAre("active_clients_changed"));
  });
}

TEST(RuntimeRequestHandler, aHealthRequestThatRefreshesNothingLeavesClientsAndHeartbeatAlone) {
  onDesk([](HandlerDesk& desk) {
    EXPECT_EQ(desk.health(R"({"refreshClientActivity":false})").activeClientCount, 0);
    EXPECT_THAT(desk.log.records(), IsEmpty());
    desk.scheduler.sleep(seconds(299));
    EXPECT_EQ(desk.terminations, 0);

    // A client that is tracked, and then asks without refreshing, ends as if it had not.
    desk.health();
    desk.process.end(10);
    desk.scheduler.sleep(seconds(80));
    desk.health(R"({"refreshClientActivity":false})");
    desk.scheduler.sleep(seconds(10));
    desk.scheduler.settle();
    EXPECT_EQ(desk.log.only("runtime_shutdown_requested").fields.at("reason"), "no_active_clients");
  });
}

TEST(RuntimeRequestHandler, aHealthRequestOfGarbageCountsAsActivityAndIsAnswered) {
  for (const char* body : {"", "garbage", "{", "[]", R"({"refreshClientActivity":"no"})", "\xff\xfe"}) {
    onDesk([&](HandlerDesk& desk) { EXPECT_EQ(desk.health(body).activeClientCount, 1) << body; });
  }
}

TEST(RuntimeRequestHandler, aSenderWithoutAProcessIsServedAndNotCounted) {
  onDesk([](HandlerDesk& desk) { EXPECT_EQ(desk.health("{}", 0).activeClientCount, 0); });
}

TEST(RuntimeRequestHandler, everyRequestCountsTheIdleTimeAnew) {
  onDesk([](HandlerDesk& desk) {
    for (int i = 0; i < 10; ++i) {
      desk.health(R"({"refreshClientActivity":false})");
      desk.scheduler.sleep(seconds(299));
    }
    EXPECT_EQ(desk.terminations, 0);
    desk.scheduler.sleep(seconds(2));
    EXPECT_EQ(desk.terminations, 1);
  });
}

TEST(RuntimeRequestHandler, theReportsOfApplicationsAreLoggedAndAnsweredEmpty) {
  onDesk([](HandlerDesk& desk) {
    EXPECT_EQ(desk.send<ComputerUseIPCAppStartRequest>(R"({"app":"com.a"})"), "{}");
    EXPECT_EQ(desk.send<ComputerUseIPCAppModifyRequest>(R"({"app":"com.a","modification":"m"})"), "{}");
    EXPECT_EQ(desk.send<ComputerUseIPCAppUsageRequest>(), "{}");

    const auto started = desk.log.only("app_session_started");
    EXPECT_EQ(started.level, LogLevel::info);
    EXPECT_EQ(started.category, LogCategory::session);
    EXPECT_EQ(started.fields, (Fields{{"appBundleID", "com.a"}}));
    const auto modified = desk.log.only("app_modification_started");
    EXPECT_EQ(modified.level, LogLevel::info);
    EXPECT_EQ(modified.category, LogCategory::session);
    EXPECT_EQ(modified.fields, (Fields{{"appBundleID", "com.a"}, {"modification", "m"}}));
    const auto used = desk.log.only("app_usage_report_received");
    EXPECT_EQ(used.level, LogLevel::debug);
    EXPECT_EQ(used.category, LogCategory::session);
  });
}

TEST(RuntimeRequestHandler, dataThatIsNoSuchRequestFailsWithTheDecodersText) {
  onDesk([](HandlerDesk& desk) {
    for (const char* body : {"", "garbage", R"({"app":)", R"({"app":7})", "{}", "[]"}) {
      EXPECT_THROW(desk.send<ComputerUseIPCAppStartRequest>(body), DecodingError) << body;
    }
    EXPECT_EQ(desk.log.count("app_session_started"), 0u);
  });
}

TEST(RuntimeRequestHandler, anUnknownTypeFailsAsUnknown) {
  onDesk([](HandlerDesk& desk) {
    for (const char* type : {"", "ComputerUseIPCNonsenseRequest", "computeruseipchealthrequest"}) {
      desk.log.clear();
      try {
        desk.send(type);
        FAIL() << type;
      } catch (const ComputerUseIPCError& error) {
        EXPECT_EQ(error.rawValue(), -10000);
      }
      const auto record = desk.log.only("unknown_request_type");
      EXPECT_EQ(record.level, LogLevel::error);
      EXPECT_EQ(record.category, LogCategory::ipc);
      EXPECT_EQ(record.fields, (Fields{{"requestType", type}}));
    }
  });
}

TEST(RuntimeRequestHandler, whatThisVersionCannotDoItSaysInWordsForTheModel) {
  onDesk([](HandlerDesk& desk) {
    const std::string recording =
        R"({"content":[{"type":"text","text":"Recording is not available in this version of Tavik Computer Use."}],"isError":true})";
    EXPECT_EQ(desk.send<ComputerUseIPCEventStreamStartRequest>(), recording);
    EXPECT_EQ(desk.send<ComputerUseIPCEventStreamStatusRequest>(), recording);
    EXPECT_EQ(desk.send<ComputerUseIPCEventStreamStopRequest>(R"({"reason":"toolStopped"})"), recording);
    const std::string appshots =
        R"({"content":[{"type":"text","text":"Appshots are not available in this version of Tavik Computer Use."}],"isError":true})";
    EXPECT_EQ(desk.send<ComputerUseIPCAppStartFrontmostCaptureRequest>(R"({"requestId":"1"})"), appshots);
    EXPECT_EQ(desk.send<ComputerUseIPCAppNextCaptureUpdateRequest>(R"({"requestId":"1"})"), appshots);
    EXPECT_EQ(desk.send<ComputerUseIPCAppCancelCaptureRequest>(R"({"requestId":"1"})"), appshots);
  });
}

}  // namespace
}  // namespace tavik
