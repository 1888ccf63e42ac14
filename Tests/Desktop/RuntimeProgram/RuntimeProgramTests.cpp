#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <future>
#include <thread>

#include "Backends/Linux/Transport/BusRequestSender.h"
#include "Base/JSON/Record.h"
#include "ChildProcess.h"
#include "ComputerUseContracts/HealthRecords.h"
#include "ComputerUseContracts/ToolRequests.h"
#include "RouterProcess.h"
#include "RuntimeProcess.h"

namespace tavik::test {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::seconds;

/// What a program tells the person who started it.
std::string saidBy(const std::string& command) {
  std::string said;
  FILE* pipe = popen((command + " 2>&1").c_str(), "r");
  for (int c = fgetc(pipe); c != EOF; c = fgetc(pipe)) said += static_cast<char>(c);
  pclose(pipe);
  return said;
}

class RuntimeProgram : public testing::Test {
 protected:
  void serve() {
    ASSERT_TRUE(eventually([&] { return sender.isRuntimeRunning(); }));
  }

  RequestReply send(std::string_view requestType, std::string_view data) {
    const auto outcome = sender.send(std::string(requestType), bytesOf(data), "", 60);
    EXPECT_EQ(outcome.failure, RequestSenderPort::Failure::none) << outcome.detail;
    return outcome.reply;
  }

  ComputerUseIPCHealthResponse health() {
    const RequestReply reply = send(ComputerUseIPCHealthRequest::requestType, "{}");
    EXPECT_EQ(reply.errorNumber, 0) << reply.errorString;
    return decodeRecord<ComputerUseIPCHealthResponse>(reply.directObject.value_or(Bytes{}));
  }

  BusConnection bus{BusConnection::sessionBusAddress()};
  BusRequestSender sender{bus};
};

TEST_F(RuntimeProgram, SaysWhoItIsAndEndsOnRequest) {
  RuntimeProcess runtime;
  serve();
  const ComputerUseIPCHealthResponse answer = health();
  EXPECT_EQ(answer.runtimePID, runtime.pid());
  EXPECT_EQ(answer.bundleIdentifier, "com.tavik.computeruse");
  EXPECT_EQ(answer.activeClientCount, 1);
  runtime.signal(SIGTERM);
  EXPECT_EQ(runtime.exitCode(), 0);
  EXPECT_FALSE(sender.isRuntimeRunning());
}

TEST_F(RuntimeProgram, RefusesAProgramThatItDoesNotKnow) {
  RuntimeProcess runtime(RuntimeLauncher::siblingRuntime());
  serve();
  const RequestReply reply = send(ComputerUseIPCListAppsRequest::requestType, "{}");
  EXPECT_EQ(reply.errorNumber, -10000);
  EXPECT_EQ(reply.errorString, "The operation couldn’t be completed. (AuthorizationError error 3.)");
}

TEST_F(RuntimeProgram, ASecondOneSaysSoAndLeavesTheFirstAlone) {
  RuntimeProcess first;
  serve();
  const std::string generation = health().generationID;
  RuntimeProcess second;
  EXPECT_EQ(second.exitCode(), 3);
  EXPECT_EQ(saidBy(trustingRuntime().string()), "Tavik Computer Use is already running in this session.\n");
  EXPECT_EQ(health().generationID, generation);
}

TEST_F(RuntimeProgram, WithoutASessionBusItSaysSoAndEnds) {
  const std::vector<std::string> withoutBus{
      std::string("DBUS_SESSION_BUS_ADDRESS=unix:path=/nonexistent/bus"),
      std::string("XDG_RUNTIME_DIR=/nonexistent")};
  RuntimeProcess runtime(trustingRuntime(), withoutBus);
  EXPECT_EQ(runtime.exitCode(), 4);
  EXPECT_EQ(saidBy("env " + withoutBus[0] + " " + withoutBus[1] + " " + trustingRuntime().string()),
            "Tavik Computer Use needs a session bus, and none answers.\n");
}

TEST_F(RuntimeProgram, AnswersNonsenseWithItsErrorAndGoesOn) {
  RuntimeProcess runtime;
  serve();
  const std::string generation = health().generationID;
  const std::string deep(200'000, '[');
  const std::string oversized = R"({"app":")" + std::string(20'000'000, 'x') + R"("})";
  const std::string_view state = ComputerUseIPCAppGetStateRequest::requestType;
  const std::string_view action = ComputerUseIPCAppPerformActionRequest::requestType;
  for (const std::string_view data :
       {std::string_view(), std::string_view("garbage"), std::string_view("\xff\xfe\x00", 3),
        std::string_view(R"({"app":"Calcu)"), std::string_view(R"({"app":7})"), std::string_view("[]"),
        std::string_view("{}"), std::string_view("null"), std::string_view(deep)}) {
    for (const std::string_view type : {state, action}) {
      const RequestReply reply = send(type, data);
      EXPECT_EQ(reply.errorNumber, -10000) << type << " " << data.substr(0, 40);
      EXPECT_NE(reply.errorString, "") << type << " " << data.substr(0, 40);
    }
  }
  EXPECT_EQ(send(action, R"({"app":"x","action":{"click":{"_0":{}},"drag":{"_0":{}}}})").errorString,
            "Invalid number of keys found, expected one.");

  const RequestReply huge = send(state, oversized);
  EXPECT_EQ(huge.errorNumber, 0);
  EXPECT_TRUE(decodeRecord<ComputerUseIPCToolResultResponse>(huge.directObject.value_or(Bytes{})).isError);

  for (const std::string_view type : {"", "nonsense", "ComputerUseIPCAppGetState"}) {
    const RequestReply reply = send(type, R"({"app":"x"})");
    EXPECT_EQ(reply.errorNumber, -10000) << type;
    EXPECT_EQ(reply.errorString, "unknown") << type;
  }
  EXPECT_EQ(health().generationID, generation);
}

TEST_F(RuntimeProgram, AnInterruptEndsItToo) {
  RuntimeProcess runtime;
  serve();
  runtime.signal(SIGINT);
  EXPECT_EQ(runtime.exitCode(), 0);
  EXPECT_FALSE(sender.isRuntimeRunning());
}

TEST_F(RuntimeProgram, SignalledAtAnyMomentOfItsStartItEndsAndLeavesNoName) {
  for (int delay : {0, 1, 2, 4, 8, 12, 16, 24, 32, 48, 64, 96, 128}) {
    RuntimeProcess runtime;
    std::this_thread::sleep_for(std::chrono::milliseconds(delay));
    runtime.signal(SIGTERM);
    const std::optional<int> code = runtime.exitCode();
    EXPECT_TRUE(!code || code == 0) << delay;
    EXPECT_TRUE(eventually([&] { return !sender.isRuntimeRunning(); })) << delay;
  }
  RuntimeProcess next;
  serve();
  EXPECT_EQ(health().runtimePID, next.pid());
}

TEST_F(RuntimeProgram, OfTwoThatStartAtOnceOneServesAndTheOtherSaysSo) {
  for (int round = 0; round < 5; ++round) {
    RuntimeProcess first, second;
    serve();
    const pid_t serving = health().runtimePID;
    ASSERT_TRUE(serving == first.pid() || serving == second.pid());
    RuntimeProcess& loser = serving == first.pid() ? second : first;
    RuntimeProcess& winner = serving == first.pid() ? first : second;
    EXPECT_EQ(loser.exitCode(), 3);
    EXPECT_EQ(health().runtimePID, serving);
    winner.signal(SIGTERM);
    EXPECT_EQ(winner.exitCode(), 0);
  }
}

TEST_F(RuntimeProgram, IntroducesItselfToTheHostsRouterAndTakesItsLeave) {
  RouterProcess router;
  RuntimeProcess runtime(trustingRuntime(), {"TAVIK_HOME=" + router.home().string()});
  serve();
  EXPECT_TRUE(eventually([&] { return router.count("heard thread-stream-following-status-requested") == 1; }));
  EXPECT_EQ(router.count("clients"), 1);
  router.tell("close");
  EXPECT_TRUE(eventually([&] { return router.count("heard thread-stream-following-status-requested") == 2; }));
  runtime.signal(SIGTERM);
  EXPECT_EQ(runtime.exitCode(), 0);
  EXPECT_TRUE(eventually([&] { return router.count("clients") == 0; }));
}

TEST_F(RuntimeProgram, WithoutADisplayItServesAndSaysWhatIsMissing) {
  RuntimeProcess runtime(trustingRuntime(), {"-u", "DISPLAY"});
  serve();
  const RequestReply reply = send(ComputerUseIPCAppGetStateRequest::requestType, R"({"app":"x"})");
  const auto result = decodeRecord<ComputerUseIPCToolResultResponse>(reply.directObject.value());
  EXPECT_TRUE(result.isError);
  EXPECT_THAT(result.content.at(0).text.value(),
              testing::StartsWith("Computer Use permissions are not granted. The X display does not let windows be captured;"));
  EXPECT_EQ(send(ComputerUseIPCListAppsRequest::requestType, "{}").errorNumber, 0);
}

class RuntimeProgramWithAHungApplication : public RuntimeProgram {
 protected:
  void SetUp() override {
    serve();
    ASSERT_TRUE(eventually([&] {
      const RequestReply reply = send(ComputerUseIPCListAppsRequest::requestType, "{}");
      return textOf(reply.directObject.value_or(Bytes{})).contains("gtk3-widget-factory");
    }));
    kill(application.pid(), SIGSTOP);
  }

  std::future<RequestReply> sendStateRequest() {
    return std::async(std::launch::async, [this] {
      return send(ComputerUseIPCAppGetStateRequest::requestType, R"({"app":"gtk3-widget-factory"})");
    });
  }

  ChildProcess application{{"gtk3-widget-factory"}};
  RuntimeProcess runtime;
};

TEST_F(RuntimeProgramWithAHungApplication, AHealthRequestPassesARunningOne) {
  auto state = sendStateRequest();
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  const auto start = Clock::now();
  health();
  EXPECT_LT(Clock::now() - start, seconds(1));
  EXPECT_EQ(state.wait_for(seconds(0)), std::future_status::timeout);
  // What could be read comes within the time that a request may take.
  EXPECT_EQ(state.get().errorNumber, 0);
  EXPECT_LT(Clock::now() - start, seconds(31));
}

TEST_F(RuntimeProgramWithAHungApplication, TheEleventhRequestIsRefusedAndTheEndAnswersTheOthers) {
  std::vector<std::future<RequestReply>> states;
  for (int i = 0; i < 10; ++i) states.push_back(sendStateRequest());
  std::this_thread::sleep_for(std::chrono::milliseconds(500));
  const RequestReply eleventh = send(ComputerUseIPCHealthRequest::requestType, "{}");
  EXPECT_EQ(eleventh.errorNumber, -10016);
  EXPECT_EQ(eleventh.errorString, "rateLimited");

  const auto start = Clock::now();
  runtime.signal(SIGTERM);
  runtime.signal(SIGTERM);
  for (auto& state : states) {
    const RequestReply reply = state.get();
    EXPECT_EQ(reply.errorNumber, -10012);
    EXPECT_EQ(reply.errorString, "TavikComputerUseRuntime received signal 15");
  }
  EXPECT_LT(Clock::now() - start, seconds(1));
  EXPECT_EQ(runtime.exitCode(), 0);
  EXPECT_LT(Clock::now() - start, seconds(10));
}

}  // namespace
}  // namespace tavik::test
