#include "TavikComputerUseRuntime/Requests/RuntimeRequestHandler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "Backends/Simulated/SimulatedDesktop.h"
#include "Base/Concurrency/SimulatedScheduler.h"
#include "Base/JSON/DecodingError.h"
#include "Base/JSON/Record.h"
#include "ComputerUseContracts/AppshotRecords.h"
#include "ComputerUseContracts/EventStreamRecords.h"
#include "ComputerUseContracts/ToolError.h"
#include "ComputerUseContracts/ToolRequests.h"
#include "ComputerUsePlatform/IPC/ComputerUseIPCError.h"
#include "ScriptedServices.h"
#include "Tests/Support/LogCapture.h"
#include "Tests/Support/SeedCount.h"
#include "Tests/Support/ServedMainQueue.h"

namespace tavik {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Fields = std::map<std::string, std::string>;

/// A request handler whose tools are what the test says, with a client that lives: 10.
struct HandlerDesk {
  explicit HandlerDesk(SimulatedScheduler& scheduler, bool hasServices = true)
      : scheduler(scheduler), hasServices(hasServices) {
    desktop.process().state(10, {});
  }

  SimulatedScheduler& scheduler;
  const bool hasServices;
  LogCapture log;
  MainQueue mainQueue{scheduler};
  SimulatedDesktop desktop{scheduler, mainQueue};
  Platform& ports = desktop.platform();
  SimulatedProcess& process = desktop.process();
  BundleIdentifiers identifiers{ports.preferences};
  int terminations = 0;
  std::function<std::optional<ToolResult>(const std::string&, const Bytes&)> tools =
      [](const std::string&, const Bytes&) { return std::nullopt; };
  std::vector<std::string> presentation;
  ScriptedEventStream eventStream;
  ScriptedAppshots appshots;

  ComputerUseRuntimePermissionState permissionState{scheduler, ports.permissions, ports.windowServer, ports.process};
  PermissionFlow flow{scheduler, ports.userInterface, permissionState, [this] { gate.cancelPendingWaits(); }};
  ComputerUseRuntimePermissionGate gate{scheduler, mainQueue, permissionState,
                                        [this] { return flow.showPermissionsWindow("permissionGate"); }};
  RuntimeLifetime lifetime{scheduler, mainQueue, ports.process, {}, [this] { ++terminations; }};
  ComputerUseTurnLifecycleCoordinator turnLifecycle{
      scheduler,
      {.authoritativeCleanup = [this] { presentation.push_back("clean up"); },
       .suspend = [this] { presentation.push_back("suspend"); },
       .resume = [this] { presentation.push_back("resume"); }}};
  PermissionCheck permissionCheck{mainQueue, ports.permissions, ports.userInterface, permissionState, gate, flow};
  ToolRequests toolRequests{[this](const std::string& type, const Bytes& data) { return tools(type, data); },
                            &turnLifecycle};
  RecordingRequests recordingRequests{scheduler, mainQueue, ports.userInterface,
                                      hasServices ? &eventStream : nullptr};
  AppshotRequests appshotRequests{hasServices ? &appshots : nullptr};
  ComputerUseIPCServerHandler server{scheduler, ports.requestTransport, ports.codeIdentity, identifiers};
  RuntimeRequestHandler handler{scheduler,
                                server,
                                lifetime,
                                {.permissions = permissionCheck,
                                 .tools = toolRequests,
                                 .recording = recordingRequests,
                                 .appshots = appshotRequests},
                                {.generationID = "G1",
                                 .runtimePID = 100,
                                 .bundleIdentifier = "com.tavik.computeruse",
                                 .bundlePath = "/opt/tavik"}};
  ServedMainQueue main{scheduler, mainQueue};

  double elapsed() const { return inSeconds(scheduler.now().sinceStart); }
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

void onDesk(const std::function<void(HandlerDesk&)>& body, bool hasServices = true) {
  SimulatedScheduler scheduler;
  scheduler.run([&] {
    HandlerDesk desk(scheduler, hasServices);
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
  }, false);
}

constexpr const char* pendingText =
    "Computer Use permissions are still pending. The Tavik Computer Use authorization window is open, and the user has not finished granting Accessibility and Screen Recording permissions. Wait briefly, then call this same Computer Use tool again. Do not end your turn yet, and do not switch apps, activate other apps, or use screenshot or GUI automation commands while permission is pending.";

std::string errorResult(const std::string& text) {
  return R"({"content":[{"type":"text","text":")" + text + R"("}],"isError":true})";
}

TEST(RuntimeRequestHandlerGate, readingOperatingAndRecordingNeedThePermissions) {
  for (const char* type : {"ComputerUseIPCAppPerformActionRequest", "ComputerUseIPCAppGetStateRequest",
                           "ComputerUseIPCEventStreamStartRequest"}) {
    onDesk([&](HandlerDesk& desk) {
      desk.desktop.permissions().grantScreenCapture(false);
      EXPECT_EQ(desk.send(type), errorResult(pendingText)) << type;
      EXPECT_EQ(desk.elapsed(), 100);
      const auto gate = desk.log.only("request_gate_finished");
      EXPECT_EQ(gate.level, LogLevel::warning);
      EXPECT_EQ(gate.category, LogCategory::permissions);
      EXPECT_EQ(gate.fields, (Fields{{"requestType", type}, {"senderPid", "10"}, {"outcome", "pending"}, {"action", "return_pending"}}));
      EXPECT_EQ(desk.log.count("request_finished"), 0u);
      EXPECT_TRUE(desk.presentation.empty());
      EXPECT_FALSE(desk.turnLifecycle.sessionIsActive());
    });
  }
}

TEST(RuntimeRequestHandlerGate, everythingElseDoesNot) {
  onDesk([](HandlerDesk& desk) {
    desk.desktop.permissions().grantAccessibility(false);
    desk.tools = [](const std::string& type, const Bytes&) -> std::optional<ToolResult> {
      return type == ComputerUseIPCListAppsRequest::requestType ? std::optional(ToolResult::text("apps")) : std::nullopt;
    };
    desk.send<ComputerUseIPCListAppsRequest>();
    desk.health();
    desk.send<ComputerUseIPCEventStreamStatusRequest>();
    desk.send<ComputerUseIPCEventStreamStopRequest>(R"({"reason":"toolStopped"})");
    desk.send<ComputerUseIPCAppStartFrontmostCaptureRequest>(R"({"requestId":"1"})");
    desk.send<ComputerUseIPCAppUsageRequest>();
    EXPECT_EQ(desk.log.count("request_gate_finished"), 0u);
    EXPECT_EQ(desk.elapsed(), 0);
  });
}

TEST(RuntimeRequestHandlerGate, theUserWhoClosesTheWindowRefuses) {
  onDesk([](HandlerDesk& desk) {
    desk.desktop.permissions().grantAccessibility(false);
    desk.mainQueue.asyncAfter(seconds(3), [&] { desk.desktop.userInterface().closePermissionsWindowAsUser(); });
    EXPECT_EQ(desk.send<ComputerUseIPCAppGetStateRequest>(R"({"app":"x"})"), errorResult("Computer Use permissions are not granted"));
    EXPECT_LE(desk.elapsed(), 3.25);
    const auto gate = desk.log.only("request_gate_finished");
    EXPECT_EQ(gate.level, LogLevel::warning);
    EXPECT_EQ(gate.fields.at("outcome"), "not_granted");
    EXPECT_EQ(gate.fields.at("action"), "return_not_granted");
  });
}

TEST(RuntimeRequestHandlerGate, whereNoWindowLeadsTheUserTheWordsDo) {
  onDesk([](HandlerDesk& desk) {
    desk.desktop.permissions().grantAccessibility(false);
    desk.desktop.permissions().advise("Start the bus.");
    desk.desktop.userInterface().removePermissionsWindow();
    EXPECT_EQ(desk.send<ComputerUseIPCAppGetStateRequest>(R"({"app":"x"})"),
              errorResult("Computer Use permissions are not granted. Start the bus."));
    EXPECT_EQ(desk.elapsed(), 0);
  });
}

TEST(RuntimeRequestHandlerGate, aGrantLetsTheRequestGoOnAndClosesTheWindow) {
  onDesk([](HandlerDesk& desk) {
    desk.tools = [](const std::string&, const Bytes&) { return ToolResult::text("state"); };
    desk.desktop.permissions().grantAccessibility(false);
    desk.mainQueue.asyncAfter(seconds(40), [&] { desk.desktop.permissions().grantAccessibility(true); });
    EXPECT_EQ(desk.send<ComputerUseIPCAppGetStateRequest>(R"({"app":"x"})"),
              R"({"content":[{"type":"text","text":"state"}],"isError":false})");
    desk.scheduler.settle();
    EXPECT_FALSE(desk.desktop.userInterface().isPermissionsWindowOpen());
    const auto gate = desk.log.only("request_gate_finished");
    EXPECT_EQ(gate.level, LogLevel::debug);
    EXPECT_EQ(gate.fields.at("outcome"), "granted");
    EXPECT_EQ(gate.fields.at("action"), "continue");
    EXPECT_EQ(desk.log.only("request_finished").fields.at("durationMs"), "0") << "the user's time is not the request's";
  });
}

TEST(RuntimeRequestHandlerGate, withBothPermissionsNoDismissalIsLogged) {
  onDesk([](HandlerDesk& desk) {
    desk.tools = [](const std::string&, const Bytes&) { return ToolResult::text("state"); };
    desk.send<ComputerUseIPCAppGetStateRequest>(R"({"app":"x"})");
    desk.scheduler.settle();
    EXPECT_EQ(desk.log.count("permission_ui_dismissed"), 0u);
  });
}

TEST(RuntimeRequestHandlerGate, aHundredSecondsThereDoNotShortenTheIdleLife) {
  onDesk([](HandlerDesk& desk) {
    desk.desktop.permissions().grantAccessibility(false);
    desk.send("ComputerUseIPCAppGetStateRequest", "{}", 0);
    EXPECT_EQ(desk.elapsed(), 100);
    // The heartbeat's end is another matter: 90 seconds after the only request.
    EXPECT_EQ(desk.terminations, 1);
    desk.scheduler.sleep(seconds(299));
    EXPECT_EQ(desk.terminations, 1);
    desk.scheduler.sleep(seconds(2));
    EXPECT_EQ(desk.terminations, 2);
  });
}

TEST(RuntimeRequestHandlerGate, tenWaitingRequestsLeaveTheMainLoopFreeAndAreAllAnswered) {
  onDesk([](HandlerDesk& desk) {
    desk.desktop.permissions().grantAccessibility(false);
    std::vector<Task> requests;
    int answered = 0;
    for (int i = 0; i < 10; ++i) {
      requests.push_back(desk.scheduler.start("request", [&] {
        EXPECT_EQ(desk.send<ComputerUseIPCAppGetStateRequest>(R"({"app":"x"})"), errorResult(pendingText));
        ++answered;
      }));
    }
    desk.scheduler.sleep(seconds(50));
    desk.mainQueue.sync([] {});
    EXPECT_EQ(desk.elapsed(), 50);
    for (const Task& request : requests) request.join();
    EXPECT_EQ(answered, 10);
  });
}

TEST(RuntimeRequestHandlerTurn, onlyStatesAndActionsBelongToATurn) {
  onDesk([](HandlerDesk& desk) {
    desk.tools = [](const std::string&, const Bytes&) { return ToolResult::text("x"); };
    desk.send<ComputerUseIPCListAppsRequest>();
    EXPECT_FALSE(desk.turnLifecycle.sessionIsActive());
    desk.send<ComputerUseIPCAppGetStateRequest>(R"({"app":"x"})");
    EXPECT_TRUE(desk.turnLifecycle.sessionIsActive());
    desk.scheduler.sleep(seconds(16));
    EXPECT_EQ(desk.presentation, (std::vector<std::string>{"suspend"}));
  });
}

TEST(RuntimeRequestHandlerTurn, eachStartIsFollowedByOneFinishHoweverTheRequestEnds) {
  struct Foreign {};
  const std::pair<const char*, std::function<std::optional<ToolResult>(HandlerDesk&)>> endings[] = {
      {"result", [](HandlerDesk&) { return ToolResult::text("x"); }},
      {"nothing", [](HandlerDesk&) { return std::nullopt; }},
      {"tool error", [](HandlerDesk&) -> std::optional<ToolResult> { throw ToolError::missingTextToType(); }},
      {"decoding error", [](HandlerDesk&) -> std::optional<ToolResult> { throw DecodingError::dataCorrupted("x"); }},
      {"cancellation", [](HandlerDesk&) -> std::optional<ToolResult> { throw CancellationError(); }},
      {"foreign exception", [](HandlerDesk&) -> std::optional<ToolResult> { throw Foreign(); }},
      {"time-out", [](HandlerDesk& desk) -> std::optional<ToolResult> { desk.scheduler.sleep(seconds(200)); return std::nullopt; }},
  };
  for (const auto& [name, ending] : endings) {
    onDesk([&](HandlerDesk& desk) {
      desk.turnLifecycle.hostConversationStateChanged({"c", true});
      desk.tools = [&](const std::string&, const Bytes&) { return ending(desk); };
      try {
        desk.send<ComputerUseIPCAppGetStateRequest>(R"({"app":"x"})");
      } catch (...) {
      }
      EXPECT_EQ(desk.log.count("request_finished"), 1u) << name;
      desk.scheduler.settle();
      // Were one finish missing, the end of the turn would wait for it.
      desk.turnLifecycle.hostConversationStateChanged({"c", false});
      desk.scheduler.settle();
      EXPECT_EQ(desk.presentation, (std::vector<std::string>{"clean up"})) << name;
    });
  }
}

TEST(RuntimeRequestHandlerScreenRecording, aRefusedCaptureOpensTheWindowAndGoesToTheClientAllTheSame) {
  for (const char* words : {"Failed: SCStreamErrorDomain Code=-3801", "错误：用户拒绝了应用程序、窗口、显示器捕捉的TCC。"}) {
    onDesk([&](HandlerDesk& desk) {
      const std::string text = words;
      desk.tools = [&](const std::string&, const Bytes&) {
        ToolResult result;
        result.content = {ToolResultContent::image({1}, "image/png"), ToolResultContent::text("first"), ToolResultContent::text(text)};
        return result;
      };
      EXPECT_NE(desk.send<ComputerUseIPCAppGetStateRequest>(R"({"app":"x"})").find("first"), std::string::npos);
      EXPECT_TRUE(desk.desktop.userInterface().isPermissionsWindowOpen());
      const auto denied = desk.log.only("screen_recording_denied_result");
      EXPECT_EQ(denied.level, LogLevel::error);
      EXPECT_EQ(denied.category, LogCategory::permissions);
      EXPECT_EQ(denied.fields.count("permissionSummary"), 1u);
      EXPECT_EQ(desk.log.only("screen_recording_capture_denied").fields.at("source"), "computerUseTool");
      EXPECT_EQ(desk.log.only("permission_window_requested").fields.at("source"), "screenRecordingDeniedResult");
    });
  }
}

TEST(RuntimeRequestHandlerScreenRecording, otherResultsLeaveThePermissionsAlone) {
  onDesk([](HandlerDesk& desk) {
    desk.tools = [](const std::string&, const Bytes&) { return ToolResult::error("SCStreamErrorDomain Code=-3802"); };
    desk.send<ComputerUseIPCAppGetStateRequest>(R"({"app":"x"})");
    EXPECT_FALSE(desk.desktop.userInterface().isPermissionsWindowOpen());
    EXPECT_TRUE(desk.permissionState.screenRecordingGranted());
  });
}

TEST(RuntimeRequestHandlerRecording, theDurationIsKeptBetweenOneSecondAndAnHour) {
  const std::pair<const char*, const char*> durations[] = {
      {R"({"approvalAlreadyGranted":true})", "start 1800 none off"},
      {R"({"approvalAlreadyGranted":true,"maxDurationSeconds":0})", "start 1 none off"},
      {R"({"approvalAlreadyGranted":true,"maxDurationSeconds":-5})", "start 1 none off"},
      {R"({"approvalAlreadyGranted":true,"maxDurationSeconds":7200})", "start 3600 none off"},
      {R"({"approvalAlreadyGranted":true,"maxDurationSeconds":60,"sessionId":"s","screenshotMode":"window_changes"})", "start 60 s window_changes"},
  };
  for (const auto& [request, call] : durations) {
    onDesk([&](HandlerDesk& desk) {
      EXPECT_NE(desk.send<ComputerUseIPCEventStreamStartRequest>(request).find(R"("isRecording":true)"), std::string::npos);
      EXPECT_THAT(desk.eventStream.calls(), ElementsAre(call));
      EXPECT_THAT(desk.desktop.userInterface().alerts(), IsEmpty());
    });
  }
}

TEST(RuntimeRequestHandlerRecording, withoutApprovalTheUserIsAskedAndMayRefuse) {
  onDesk([](HandlerDesk& desk) {
    desk.desktop.userInterface().answerAlerts(1);
    EXPECT_EQ(desk.send<ComputerUseIPCEventStreamStartRequest>(R"({"sessionId":"s","maxDurationSeconds":60,"screenshotMode":"window_changes"})"),
              R"({"isRecording":false,"endReason":"approvalCancelled","sessionId":"s","eventCount":0,"suppressedEventCount":0,"maxDurationSeconds":1800,"screenshotMode":"off"})");
    EXPECT_THAT(desk.eventStream.calls(), IsEmpty());
    const auto alerts = desk.desktop.userInterface().alerts();
    ASSERT_EQ(alerts.size(), 1u);
    EXPECT_EQ(alerts[0].messageText, "Allow Tavik to record your actions on your Mac?");
    EXPECT_EQ(alerts[0].buttons, (std::vector<std::string>{"Allow Recording", "Cancel"}));

    desk.desktop.userInterface().answerAlerts(0);
    desk.desktop.userInterface().setPrefersChinese(true);
    desk.send<ComputerUseIPCEventStreamStartRequest>("{}");
    EXPECT_THAT(desk.eventStream.calls(), ElementsAre("start 1800 none off"));
    EXPECT_EQ(desk.desktop.userInterface().alerts()[1].messageText, "允许 Tavik 录制您在 Mac 上的操作吗？");
  });
}

TEST(RuntimeRequestHandlerRecording, anAnswerThatComesTooLateStartsNothing) {
  onDesk([](HandlerDesk& desk) {
    desk.desktop.userInterface().answerAlerts(0, seconds(45));
    try {
      desk.send<ComputerUseIPCEventStreamStartRequest>("{}");
      FAIL() << "no time-out";
    } catch (const ComputerUseIPCError& error) {
      EXPECT_EQ(error.rawValue(), -10011);
    }
    EXPECT_EQ(desk.elapsed(), 30);
    desk.scheduler.sleep(seconds(60));
    EXPECT_THAT(desk.eventStream.calls(), IsEmpty());
  });
}

TEST(RuntimeRequestHandlerRecording, statusAndStopGoToTheRecorder) {
  onDesk([](HandlerDesk& desk) {
    EXPECT_NE(desk.send<ComputerUseIPCEventStreamStatusRequest>().find(R"("isRecording":false)"), std::string::npos);
    EXPECT_NE(desk.send<ComputerUseIPCEventStreamStopRequest>(R"({"reason":"userStoppedSession"})").find(R"("endReason":"userStoppedSession")"), std::string::npos);
    EXPECT_THROW(desk.send<ComputerUseIPCEventStreamStopRequest>(R"({"reason":"boredom"})"), DecodingError);
    EXPECT_THAT(desk.eventStream.calls(), ElementsAre("stop userStoppedSession"));
  });
}

TEST(RuntimeRequestHandlerAppshot, requestsGoToTheCaptures) {
  onDesk([](HandlerDesk& desk) {
    EXPECT_EQ(desk.send<ComputerUseIPCAppStartFrontmostCaptureRequest>(R"({"requestId":"1"})"), R"({"transitionSnapshotHeight":4})");
    EXPECT_EQ(desk.send<ComputerUseIPCAppNextCaptureUpdateRequest>(R"({"requestId":"1","timeoutMs":500})"),
              R"({"requestId":"1","update":{"type":"heartbeat"}})");
    EXPECT_EQ(desk.send<ComputerUseIPCAppCancelCaptureRequest>(R"({"requestId":"1"})"), "{}");
    EXPECT_THAT(desk.appshots.calls(), ElementsAre("start 1", "next 1 500", "cancel 1"));
    const auto requested = desk.log.only("capture_requested");
    EXPECT_EQ(requested.level, LogLevel::info);
    EXPECT_EQ(requested.category, LogCategory::capture);
    EXPECT_EQ(requested.fields, (Fields{{"requestId", "1"}}));
    EXPECT_EQ(desk.log.only("capture_cancelled").fields, (Fields{{"requestId", "1"}}));
  });
}

TEST(RuntimeRequestHandlerRecordingExploration, consentInTheInstantOfTheTimeOutStartsARecordingOnlyIfItIsAnswered) {
  int started = 0, late = 0;
  exploreSeeds(seedCount(2000), [&](SimulatedScheduler& scheduler) {
    scheduler.run([&] {
      HandlerDesk desk(scheduler);
      desk.desktop.userInterface().answerAlerts(0, seconds(30));
      bool isAnswered = false;
      try {
        desk.send<ComputerUseIPCEventStreamStartRequest>("{}");
        isAnswered = true;
      } catch (const ComputerUseIPCError&) {
      }
      scheduler.sleep(seconds(1));
      // An answer that was on its way when the time was up may be lost; one that was not
      // given starts nothing.
      if (desk.eventStream.calls().empty()) {
        EXPECT_FALSE(isAnswered);
        ++late;
      } else {
        ++started;
      }
    });
  });
  EXPECT_GT(started, 0);
  EXPECT_GT(late, 0);
}

}  // namespace
}  // namespace tavik
