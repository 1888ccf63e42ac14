#include "TavikComputerUseRuntime/ComputerUseRuntimeApplicationDelegate.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <set>

#include "Base/JSON/Record.h"
#include "ComputerUseContracts/ToolRequests.h"
#include "RuntimeDesk.h"
#include "Tests/Support/ScriptedRouter.h"

namespace tavik {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using Fields = std::map<std::string, std::string>;

constexpr const char* health = "ComputerUseIPCHealthRequest";
constexpr const char* listApps = "ComputerUseIPCListAppsRequest";
constexpr const char* getState = "ComputerUseIPCAppGetStateRequest";

void onDesk(const std::function<void(RuntimeDesk&)>& body) {
  SimulatedScheduler scheduler;
  scheduler.run([&] {
    RuntimeDesk desk(scheduler);
    body(desk);
  });
}

void onLaunchedDesk(const std::function<void(RuntimeDesk&)>& body) {
  onDesk([&](RuntimeDesk& desk) {
    ASSERT_TRUE(desk.launch());
    body(desk);
  });
}

TEST(ComputerUseRuntimeApplicationDelegate, launchingItServesAndSaysWhoItIs) {
  onDesk([](RuntimeDesk& desk) {
    desk.desktop.preferences().setApplicationProperty("CFBundleVersion", std::string("7"));
    desk.desktop.preferences().setApplicationProperty("CFBundleShortVersionString", std::string("1.2"));
    EXPECT_TRUE(desk.launch());
    EXPECT_TRUE(desk.desktop.transport().isReceiving());

    const auto screens = desk.log.only("screens_enumerated");
    EXPECT_EQ(screens.level, LogLevel::info);
    EXPECT_EQ(screens.category, LogCategory::lifecycle);
    EXPECT_EQ(screens.fields.at("screenCount"), std::to_string(desk.ports.windowServer.screens().size()));

    auto started = desk.log.only("runtime_started");
    EXPECT_EQ(started.level, LogLevel::info);
    EXPECT_EQ(started.category, LogCategory::lifecycle);
    EXPECT_EQ(started.fields["runtimeGeneration"].size(), 36u);
    started.fields.erase("runtimeGeneration");
    EXPECT_THAT(started.fields["permissionSummary"], HasSubstr("rawAX=true rawScreenPreflight=true"));
    started.fields.erase("permissionSummary");
    EXPECT_EQ(started.fields, (Fields{{"appBundleID", "com.tavik.computeruse"},
                                      {"bundlePath", "/opt/tavik"},
                                      {"bundleVersion", "7"},
                                      {"shortVersion", "1.2"},
                                      {"macOSVersion", "Simulated 1.0"}}));
  });
}

TEST(ComputerUseRuntimeApplicationDelegate, launchingItBoundsTheCallsToOtherApplications) {
  onLaunchedDesk([](RuntimeDesk& desk) { EXPECT_FALSE(desk.desktop.journal().lines("timeout").empty()); });
}

TEST(ComputerUseRuntimeApplicationDelegate, aSecondRuntimeDoesNotStart) {
  onDesk([](RuntimeDesk& desk) {
    desk.desktop.transport().occupyAddress();
    EXPECT_FALSE(desk.launch());
    EXPECT_EQ(desk.log.count("runtime_not_serving"), 1u);
    desk.scheduler.sleep(seconds(1000));
    EXPECT_TRUE(desk.terminations.empty());
  });
}

TEST(ComputerUseRuntimeApplicationDelegate, aRequestTakesTheWholeRoadToTheToolsAndBack) {
  onLaunchedDesk([](RuntimeDesk& desk) {
    const RequestReply unknownApp = desk.send(getState, R"({"app":"Nowhere"})").reply();
    EXPECT_EQ(unknownApp.errorNumber, 0);
    const auto result = decodeRecord<ComputerUseIPCToolResultResponse>(unknownApp.directObject.value());
    EXPECT_TRUE(result.isError);
    EXPECT_THAT(result.content.at(0).text.value(), HasSubstr("App not found: Nowhere"));
  });
}

TEST(ComputerUseRuntimeApplicationDelegate, nonsenseIsAnsweredWithItsErrorAndTheNextRequestIsServed) {
  onLaunchedDesk([](RuntimeDesk& desk) {
    const std::vector<std::pair<std::string, std::string>> nonsense{
        {getState, ""},
        {getState, "garbage"},
        {getState, R"({"app":"Calc)"},
        {getState, R"({"app":7})"},
        {getState, "[]"},
        {getState, std::string(200'000, '[')},
        {getState, std::string("\xff\x00", 2)},
        {"ComputerUseIPCAppPerformActionRequest", R"({"app":"x","action":{"fly":{"_0":{}}}})"},
        {"ComputerUseIPCAppPerformActionRequest", R"({"app":"x","action":{"click":{"_0":{}}}})"},
        {"ComputerUseIPCAppStartRequest", R"({"app":null})"},
        {"ComputerUseIPCNonsenseRequest", "{}"},
        {"", ""},
    };
    for (const auto& [type, data] : nonsense) {
      const RequestReply reply = desk.send(type, data).reply();
      EXPECT_EQ(reply.errorNumber, -10000) << type << " " << data.substr(0, 40);
      EXPECT_FALSE(reply.errorString.empty()) << type << " " << data.substr(0, 40);
      EXPECT_EQ(desk.send(health).reply().errorNumber, 0);
    }
  });
}

TEST(ComputerUseRuntimeApplicationDelegate, anOversizedRequestIsServedLikeAnyOther) {
  onLaunchedDesk([](RuntimeDesk& desk) {
    const std::string name(5'000'000, 'x');
    const RequestReply reply = desk.send(getState, R"({"app":")" + name + R"("})").reply();
    EXPECT_EQ(reply.errorNumber, 0);
    EXPECT_TRUE(decodeRecord<ComputerUseIPCToolResultResponse>(reply.directObject.value()).isError);
    EXPECT_EQ(desk.send(health).reply().errorNumber, 0);
  });
}

TEST(ComputerUseRuntimeApplicationDelegate, aHealthRequestPassesARunningTool) {
  onLaunchedDesk([](RuntimeDesk& desk) {
    desk.letToolsWorkFor(20);
    const auto tool = desk.send(listApps);
    EXPECT_EQ(desk.send(health).reply().errorNumber, 0);
    EXPECT_EQ(desk.elapsed(), 0);
    EXPECT_FALSE(tool.isAnswered());
    EXPECT_EQ(tool.reply().errorNumber, 0);
    EXPECT_EQ(desk.elapsed(), 20);
  });
}

TEST(ComputerUseRuntimeApplicationDelegate, withTenRequestsInFlightAHealthRequestIsRefusedAtOnce) {
  onLaunchedDesk([](RuntimeDesk& desk) {
    desk.letToolsWorkFor(2);
    std::vector<SimulatedRequest> tools;
    for (int i = 0; i < 10; ++i) tools.push_back(desk.send(listApps));
    desk.scheduler.settle();
    const RequestReply refused = desk.send(health).reply();
    EXPECT_EQ(refused.errorNumber, -10016);
    EXPECT_EQ(refused.errorString, "rateLimited");
    EXPECT_EQ(desk.elapsed(), 0);
    for (const auto& tool : tools) EXPECT_EQ(tool.reply().errorNumber, 0);
    EXPECT_EQ(desk.elapsed(), 10);
    EXPECT_EQ(desk.send(health).reply().errorNumber, 0);
  });
}

TEST(ComputerUseRuntimeApplicationDelegate, aRequestThatTimesOutGivesItsPlaceBackAtOnce) {
  onLaunchedDesk([](RuntimeDesk& desk) {
    desk.letToolsWorkFor(200, true);
    const auto first = desk.send(listApps);
    const auto second = desk.send(listApps);
    EXPECT_EQ(first.reply().errorNumber, -10011);
    EXPECT_EQ(second.reply().errorString, "timeout");
    EXPECT_EQ(desk.elapsed(), 30);
    EXPECT_EQ(desk.send(health).reply().errorNumber, 0);
    EXPECT_EQ(desk.elapsed(), 30);

    desk.scheduler.sleep(seconds(200));
    EXPECT_EQ(desk.log.count("request_timeout"), 2u);
    EXPECT_EQ(desk.log.count("request_finished"), 2u);
    for (const auto& record : desk.log.records("admission_released")) {
      EXPECT_EQ(record.fields.at("reason"), "error");
    }
  });
}

TEST(ComputerUseRuntimeApplicationDelegate, endsAfterThreeHundredIdleSeconds) {
  onLaunchedDesk([](RuntimeDesk& desk) {
    desk.scheduler.sleep(seconds(1000));
    EXPECT_THAT(desk.terminations, ElementsAre(300));
    EXPECT_THAT(desk.log.events(), ElementsAre("screens_enumerated", "runtime_started", "host_coordination_unavailable",
                                               "runtime_shutdown_requested", "pending_waits_cancelled",
                                               "runtime_terminating"));
    EXPECT_FALSE(desk.desktop.transport().isReceiving());
  });
}

TEST(ComputerUseRuntimeApplicationDelegate, endsWhenItsOnlyClientIsGone) {
  onLaunchedDesk([](RuntimeDesk& desk) {
    desk.send(health).reply();
    desk.desktop.process().end(RuntimeDesk::clientPID);
    desk.scheduler.sleep(seconds(1000));
    EXPECT_THAT(desk.terminations, ElementsAre(90));
    EXPECT_EQ(desk.log.only("runtime_shutdown_requested").fields.at("reason"), "no_active_clients");
  });
}

TEST(ComputerUseRuntimeApplicationDelegate, aSignalAnswersAllRequestsInFlightAndEndsIt) {
  onLaunchedDesk([](RuntimeDesk& desk) {
    desk.letToolsWorkFor(20, true);
    std::vector<SimulatedRequest> requests;
    for (int i = 0; i < 5; ++i) requests.push_back(desk.send(listApps));
    desk.scheduler.settle();
    desk.log.clear();
    desk.raise(SIGTERM);
    for (const auto& request : requests) {
      const RequestReply reply = request.reply();
      EXPECT_EQ(reply.errorNumber, -10012);
      EXPECT_EQ(reply.errorString, "TavikComputerUseRuntime received signal 15");
    }
    EXPECT_THAT(desk.terminations, ElementsAre(0));
    EXPECT_EQ(desk.log.events().front(), "signal_received");
    EXPECT_EQ(desk.log.count("pending_request_cancelled"), 5u);
    EXPECT_EQ(desk.log.events().back(), "runtime_terminating");

    const auto signal = desk.log.only("signal_received");
    EXPECT_EQ(signal.level, LogLevel::info);
    EXPECT_EQ(signal.category, LogCategory::lifecycle);
    EXPECT_EQ(signal.fields, (Fields{{"signal", "15"}, {"outcome", "terminating"}}));

    // Late answers find nobody, and no timer ends it again.
    desk.scheduler.sleep(seconds(1000));
    EXPECT_EQ(desk.desktop.transport().suspendedCount(), 0u);
    EXPECT_EQ(desk.terminations.size(), 1u);
  });
}

TEST(ComputerUseRuntimeApplicationDelegate, aSecondSignalChangesNothing) {
  onLaunchedDesk([](RuntimeDesk& desk) {
    desk.desktop.signals().raise(SIGTERM);
    desk.desktop.signals().raise(SIGTERM);
    desk.desktop.signals().raise(SIGINT);
    desk.mainQueue.sync([] {});
    EXPECT_EQ(desk.log.count("signal_received"), 1u);
    EXPECT_EQ(desk.log.count("runtime_terminating"), 1u);
    EXPECT_EQ(desk.terminations.size(), 1u);
  });
}

TEST(ComputerUseRuntimeApplicationDelegate, anInterruptEndsItToo) {
  onLaunchedDesk([](RuntimeDesk& desk) {
    desk.letToolsWorkFor(20);
    const auto request = desk.send(listApps);
    desk.scheduler.settle();
    desk.raise(SIGINT);
    EXPECT_EQ(request.reply().errorString, "TavikComputerUseRuntime received signal 2");
    EXPECT_EQ(desk.terminations.size(), 1u);
  });
}

TEST(ComputerUseRuntimeApplicationDelegate, withoutItsSourcesNoSignalCanKillTheProcessWhileItEnds) {
  onDesk([](RuntimeDesk& desk) {
    for (int signal : {SIGPIPE, SIGTERM, SIGINT})
      EXPECT_TRUE(desk.desktop.signals().isIgnored(signal)) << signal;
  });
}

TEST(ComputerUseRuntimeApplicationDelegate, terminatedFromOutsideItAnswersAllRequestsInFlight) {
  onLaunchedDesk([](RuntimeDesk& desk) {
    desk.letToolsWorkFor(20);
    const auto request = desk.send(listApps);
    desk.scheduler.settle();
    desk.mainQueue.sync([&] { desk.delegate.applicationWillTerminate(); });
    EXPECT_EQ(request.reply().errorNumber, -10012);
    EXPECT_EQ(request.reply().errorString, "TavikComputerUseRuntime is terminating");
  });
}

TEST(ComputerUseRuntimeApplicationDelegate, destroyedWithRequestsInFlightItLeavesNothingBehind) {
  SimulatedScheduler scheduler;
  scheduler.run([&] {
    {
      RuntimeDesk desk(scheduler);
      ASSERT_TRUE(desk.launch());
      desk.letToolsWorkFor(20);
      for (int i = 0; i < 5; ++i) desk.send(listApps);
      scheduler.settle();
    }
    EXPECT_EQ(scheduler.now(), MonotonicTime{});
    EXPECT_EQ(scheduler.unfinishedTaskCount(), 1u);
  });
}

TEST(ComputerUseRuntimeApplicationDelegate, anOpenPermissionsWindowKeepsItAliveForTenMinutes) {
  onLaunchedDesk([](RuntimeDesk& desk) {
    desk.desktop.permissions().grantAccessibility(false);
    const auto request = desk.send(getState, R"({"app":"x"})");
    desk.scheduler.sleep(seconds(599));
    EXPECT_TRUE(desk.terminations.empty());
    EXPECT_TRUE(desk.desktop.userInterface().isPermissionsWindowOpen());
    desk.scheduler.sleep(seconds(1000));
    // The client was last heard of at 0, and is asked after each 90 seconds.
    EXPECT_THAT(desk.terminations, ElementsAre(630));
    EXPECT_FALSE(desk.desktop.userInterface().isPermissionsWindowOpen());
    EXPECT_TRUE(request.isAnswered());
    std::multiset<std::string> triggers;
    for (const auto& record : desk.log.records("shutdown_deferred")) {
      EXPECT_EQ(record.requestID, "");
      triggers.insert(record.fields.at("trigger"));
    }
    EXPECT_EQ(triggers.count("idle_timeout"), 1u) << "300 seconds after the request had left the gate";
    EXPECT_EQ(triggers.count("no_active_client"), 5u) << "at 90 the client counts as alive";
  });
}

TEST(ComputerUseRuntimeApplicationDelegate, aRecordingKeepsItAliveAndIsEndedWithIt) {
  onLaunchedDesk([](RuntimeDesk& desk) {
    EventStreamControl::Status recording;
    recording.isRecording = true;
    desk.eventStream.setStatus(recording);
    desk.scheduler.sleep(seconds(1000));
    EXPECT_TRUE(desk.terminations.empty());
    desk.raise(SIGTERM);
    EXPECT_THAT(desk.eventStream.calls(), ElementsAre("stop error"));
  });
}

TEST(ComputerUseRuntimeApplicationDelegate, itsEndCancelsAppshotsAndWaitsForNobody) {
  onLaunchedDesk([](RuntimeDesk& desk) {
    desk.desktop.permissions().grantAccessibility(false);
    const auto waiting = desk.send(getState, R"({"app":"x"})");
    desk.scheduler.sleep(seconds(5));
    desk.raise(SIGTERM);
    EXPECT_EQ(waiting.reply().errorNumber, -10012);
    desk.scheduler.settle();
    EXPECT_THAT(desk.appshots.calls(), ElementsAre("cancel all", "cancel all"));
    EXPECT_EQ(desk.log.count("pending_waits_cancelled"), 1u);
    EXPECT_EQ(desk.elapsed(), 5);
  });
}

TEST(ComputerUseRuntimeApplicationDelegate, aSecondSignalIsSilentAlsoWhenTheFirstHasNotEndedItYet) {
  onLaunchedDesk([](RuntimeDesk& desk) {
    desk.endsAtOnce = false;
    desk.raise(SIGTERM);
    desk.raise(SIGTERM);
    desk.raise(SIGINT);
    EXPECT_EQ(desk.log.count("signal_received"), 1u);
    EXPECT_EQ(desk.terminations.size(), 1u);
  });
}

TEST(ComputerUseRuntimeApplicationDelegate, itsEndTakesLeaveOfTheHostAndHidesNothingLater) {
  onDesk([](RuntimeDesk& desk) {
    desk.desktop.sockets().listen(desk.routerSocket());
    ASSERT_TRUE(desk.launch());
    ScriptedRouter router(desk.desktop.sockets().accept(desk.routerSocket()));
    router.answerInitialize("runtime-1");
    router.receive();
    desk.send(getState, R"({"app":"Nowhere"})").reply();
    desk.raise(SIGTERM);
    EXPECT_FALSE(router.receive());
    desk.scheduler.sleep(seconds(60));
    EXPECT_EQ(desk.log.count("computer_use_presentation_suspended"), 0u);
    EXPECT_EQ(desk.desktop.sockets().connectionAttempts(), 1);
  });
}

TEST(ComputerUseRuntimeApplicationDelegate, theEndOfARecordingIsToldTheHostOnce) {
  onDesk([](RuntimeDesk& desk) {
    desk.desktop.sockets().listen(desk.routerSocket());
    ASSERT_TRUE(desk.launch());
    ScriptedRouter router(desk.desktop.sockets().accept(desk.routerSocket()));
    EXPECT_EQ(router.answerInitialize("runtime-1")["params"]["clientType"], "computer-use-runtime");
    EXPECT_EQ(router.receive().value()["method"], "thread-stream-following-status-requested");
    EventStreamControl::Status ended;
    ended.recordSessionId = "r";
    ended.endedAt = "2026-01-01T00:00:00Z";
    ended.endReason = "maxDuration";
    ended.sessionId = "c";
    desk.eventStream.announce(ended);
    desk.eventStream.announce(ended);
    const ParsedJSON turn = router.receive().value();
    EXPECT_EQ(turn["method"], "thread-follower-start-turn");
    router.answer(turn, nullptr);
    desk.scheduler.settle();
    EXPECT_EQ(desk.log.count("recording_continuation_sent"), 1u);
  });
}

TEST(ComputerUseRuntimeApplicationDelegate, theHostsWordThatATurnEndedForgetsTheState) {
  onDesk([](RuntimeDesk& desk) {
    desk.desktop.sockets().listen(desk.routerSocket());
    ASSERT_TRUE(desk.launch());
    ScriptedRouter router(desk.desktop.sockets().accept(desk.routerSocket()));
    router.answerInitialize("runtime-1");
    const auto say = [&](const char* status) {
      router.send({{"type", "broadcast"}, {"method", "thread-stream-state-changed"}, {"version", 11},
                   {"params", {{"conversationId", "c"},
                               {"change", {{"type", "patches"},
                                           {"patches", {{{"path", {"threadRuntimeStatus", "type"}}, {"value", status}}}}}}}}});
      desk.scheduler.settle();
    };
    say("active");
    desk.send(getState, R"({"app":"Nowhere"})").reply();
    say("idle");
    EXPECT_EQ(desk.log.only("computer_use_turn_deactivated").fields.at("reason"), "ipc_turn_ended");
  });
}

TEST(ComputerUseRuntimeApplicationDelegateExploration, aSignalAmongRequestsAnswersEachOfThemOnce) {
  int served = 0;
  int cancelled = 0;
  exploreSeeds(1000, [&](SimulatedScheduler& scheduler) {
    scheduler.run([&] {
      RuntimeDesk desk(scheduler);
      ASSERT_TRUE(desk.launch());
      desk.letToolsWorkFor(static_cast<double>(scheduler.random(2)) / 1000);
      std::vector<SimulatedRequest> requests;
      for (int i = 0; i < 4; ++i) requests.push_back(desk.send(i % 2 == 0 ? listApps : health));
      desk.mainQueue.sync([] {});
      scheduler.sleep(milliseconds(static_cast<std::int64_t>(scheduler.random(3))));
      desk.desktop.signals().raise(SIGTERM);
      for (const auto& request : requests) {
        const int number = request.reply().errorNumber;
        EXPECT_TRUE(number == 0 || number == -10012) << number;
        ++(number == 0 ? served : cancelled);
      }
      scheduler.sleep(seconds(100));
      EXPECT_EQ(desk.desktop.transport().suspendedCount(), 0u);
      EXPECT_EQ(desk.terminations.size(), 1u);
    });
  });
  EXPECT_GT(served, 0);
  EXPECT_GT(cancelled, 0);
}

}  // namespace
}  // namespace tavik
