#include <gmock/gmock.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <set>

#include "Backends/Linux/Process/ProcessFiles.h"
#include "Backends/Linux/Transport/BusRequestSender.h"
#include "Backends/Linux/Transport/RequestBusAddress.h"
#include "TransportEnd.h"

namespace tavik::test {
namespace {

using testing::HasSubstr;
using Failure = RequestSenderPort::Failure;
namespace fs = std::filesystem;

/// What a command of the shell prints on both channels.
std::string outputOf(const std::string& command) {
  std::string output;
  FILE* pipe = popen((command + " 2>&1").c_str(), "r");
  char buffer[4096];
  while (std::size_t count = fread(buffer, 1, sizeof buffer, pipe)) output.append(buffer, count);
  pclose(pipe);
  return output;
}

const std::string callRuntime =
    "gdbus call --session --dest com.tavik.computeruse --object-path /com/tavik/computeruse --method ";

fs::path echoRuntime() {
  return fs::path(ownExecutablePath()).parent_path() / "EchoRuntime";
}

bool eventually(const std::function<bool()>& question) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!question() && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return question();
}

class LinuxTransport : public testing::Test {
 protected:
  bool serve(RequestTransportPort::EventHandler handler) {
    return runtime.transport.setEventHandler(std::move(handler));
  }
  bool serveEchoes() {
    return serve([this](const IncomingRequest& request, RequestReply&) { echoLater(runtime, request); });
  }
  std::string sent(const std::string& type, const std::string& data, const std::string& id) {
    auto outcome = sender.send(type, bytesOf(data), id, 10);
    EXPECT_EQ(outcome.failure, Failure::none) << outcome.detail;
    return std::string(textOf(outcome.reply.directObject.value_or(Bytes{})));
  }

  TransportEnd runtime;
  BusConnection bridgeBus{BusConnection::sessionBusAddress()};
  BusRequestSender sender{bridgeBus, "/nowhere/TavikComputerUseRuntime", std::chrono::seconds(2)};
  const std::string self = std::to_string(getpid());
};

TEST_F(LinuxTransport, CarriesARequestItsSenderAndTheLateAnswer) {
  ASSERT_TRUE(serveEchoes());
  EXPECT_TRUE(sender.isRuntimeRunning());
  EXPECT_EQ(sent("Type", "{\"a\":\"ü\"}", "id-1"), "Type|{\"a\":\"ü\"}|id-1|" + self);
  EXPECT_EQ(sent("", "", ""), "||none|" + self);
}

TEST_F(LinuxTransport, CarriesBytesOfEveryValueAndMegabytes) {
  ASSERT_TRUE(serve([this](const IncomingRequest& request, RequestReply&) {
    runtime.transport.resume(*runtime.transport.suspendCurrentRequest(),
                             {.directObject = request.requestData, .errorNumber = 0, .errorString = {}});
  }));
  Bytes data(8 * 1024 * 1024);
  for (std::size_t i = 0; i < data.size(); ++i) data[i] = static_cast<std::uint8_t>(i * 31);
  auto outcome = sender.send("Type", data, "id", 30);
  ASSERT_EQ(outcome.failure, Failure::none) << outcome.detail;
  EXPECT_TRUE(outcome.reply.directObject == data);
}

TEST_F(LinuxTransport, AnswersAtOnceWhenTheHandlerDoesNotSuspend) {
  ASSERT_TRUE(serve([](const IncomingRequest&, RequestReply& reply) {
    reply.errorNumber = -10016;
    reply.errorString = "rateLimited";
  }));
  auto outcome = sender.send("Type", {}, "id", 10);
  EXPECT_EQ(outcome.failure, Failure::none);
  EXPECT_EQ(outcome.reply.errorNumber, -10016);
  EXPECT_EQ(outcome.reply.errorString, "rateLimited");
  EXPECT_FALSE(outcome.reply.directObject);
}

TEST_F(LinuxTransport, CallsTheHandlerOnTheMainQueue) {
  std::atomic<bool> isOnMainQueue = false;
  ASSERT_TRUE(
      serve([&](const IncomingRequest&, RequestReply&) { isOnMainQueue = runtime.mainQueue.isCurrent(); }));
  sender.send("Type", {}, "id", 10);
  EXPECT_TRUE(isOnMainQueue);
}

TEST_F(LinuxTransport, SuspendsOnlyInsideTheHandlerAndOnce) {
  std::atomic<bool> isSecondAbsent = false;
  ASSERT_TRUE(serve([&](const IncomingRequest&, RequestReply&) {
    auto suspension = runtime.transport.suspendCurrentRequest();
    isSecondAbsent = !runtime.transport.suspendCurrentRequest();
    runtime.transport.resume(*suspension, {});
    runtime.transport.resume(*suspension, {.directObject = {}, .errorNumber = 1, .errorString = "twice"});
  }));
  EXPECT_EQ(sender.send("Type", {}, "id", 10).reply.errorNumber, 0);
  EXPECT_TRUE(isSecondAbsent);
  EXPECT_FALSE(runtime.mainQueue.sync([&] { return runtime.transport.suspendCurrentRequest().has_value(); }));
}

TEST_F(LinuxTransport, AnswersManySendersAtTheSameTime) {
  ASSERT_TRUE(serveEchoes());
  std::vector<std::future<std::string>> answers;
  for (int i = 0; i < 32; ++i) {
    answers.push_back(std::async(std::launch::async, [&, i] { return sent("T", std::to_string(i), "id"); }));
  }
  for (int i = 0; i < 32; ++i)
    EXPECT_EQ(answers[static_cast<std::size_t>(i)].get(), "T|" + std::to_string(i) + "|id|" + self);
}

TEST_F(LinuxTransport, ReportsTheTimeOut) {
  ASSERT_TRUE(
      serve([&](const IncomingRequest&, RequestReply&) { runtime.transport.suspendCurrentRequest(); }));
  EXPECT_EQ(sender.send("Type", {}, "id", 0.1).failure, Failure::timedOut);
}

TEST_F(LinuxTransport, TakesNoRequestAfterTheHandlerWasRemovedButAnswersSuspendedOnes) {
  std::promise<SuspensionID> suspended;
  ASSERT_TRUE(serve([&](const IncomingRequest&, RequestReply&) {
    suspended.set_value(*runtime.transport.suspendCurrentRequest());
  }));
  auto answer = std::async(std::launch::async, [&] { return sender.send("Type", {}, "id", 10); });
  SuspensionID suspension = suspended.get_future().get();
  runtime.transport.removeEventHandler();
  EXPECT_FALSE(sender.isRuntimeRunning());
  EXPECT_EQ(sender.send("Type", {}, "id", 10).failure, Failure::notReachable);
  runtime.transport.resume(suspension, {.directObject = {}, .errorNumber = -10012, .errorString = "ending"});
  EXPECT_EQ(answer.get().reply.errorNumber, -10012);
}

TEST_F(LinuxTransport, SecondRuntimeIsToldThatTheAddressIsTaken) {
  ASSERT_TRUE(serveEchoes());
  TransportEnd second;
  EXPECT_FALSE(second.transport.setEventHandler([](const IncomingRequest&, RequestReply&) {}));
  EXPECT_EQ(sent("T", "", "id"), "T||id|" + self);
  runtime.transport.removeEventHandler();
  EXPECT_TRUE(second.transport.setEventHandler([](const IncomingRequest&, RequestReply&) {}));
}

TEST_F(LinuxTransport, DescribesItselfToCommandLineTools) {
  ASSERT_TRUE(serveEchoes());
  std::string description = outputOf(
      "gdbus introspect --session --dest com.tavik.computeruse --object-path /com/tavik/computeruse");
  EXPECT_THAT(description, HasSubstr("interface com.tavik.computeruse.Requests"));
  EXPECT_THAT(description, HasSubstr("SendRequest(in  s requestType"));
  EXPECT_THAT(
      outputOf(callRuntime + "com.tavik.computeruse.Requests.SendRequest Health '[byte 0x7b, 0x7d]' ''"),
      HasSubstr(", 0, '')"));
}

TEST_F(LinuxTransport, RefusesCallsItDoesNotKnow) {
  ASSERT_TRUE(serveEchoes());
  EXPECT_THAT(
      outputOf("dbus-send --session --print-reply --dest=com.tavik.computeruse /com/tavik/computeruse "
               "com.tavik.computeruse.Requests.SendRequest int32:5"),
      HasSubstr("org.freedesktop.DBus.Error.InvalidArgs"));
  EXPECT_THAT(
      outputOf("dbus-send --session --print-reply --dest=com.tavik.computeruse /com/tavik/computeruse "
               "com.tavik.computeruse.Requests.Nonsense"),
      HasSubstr("org.freedesktop.DBus.Error.UnknownMethod"));
  EXPECT_THAT(outputOf("dbus-send --session --print-reply --dest=com.tavik.computeruse /elsewhere "
                       "com.tavik.computeruse.Requests.SendRequest"),
              HasSubstr("org.freedesktop.DBus.Error.UnknownObject"));
  EXPECT_EQ(sent("T", "", "id"), "T||id|" + self);
}

TEST_F(LinuxTransport, AnswersLargerThanTheBusCarriesAreKnownBefore) {
  EXPECT_TRUE(runtime.transport.canEncodeResponse(Bytes(1024)));
  EXPECT_FALSE(runtime.transport.canEncodeResponse(Bytes(64 * 1024 * 1024 + 1)));
}

/// Where the sender starts the runtime.
class RuntimeStart : public testing::Test {
 protected:
  RuntimeStart() {
    fs::remove(notes);
    setenv("ECHO_RUNTIME_NOTES", notes.c_str(), 1);
  }
  ~RuntimeStart() override {
    if (sender.isRuntimeRunning()) sender.send("end", {}, "", 1);
    eventually([&] { return !sender.isRuntimeRunning(); });
  }

  /// Those that ran since the test began: process, parent, whether in a session of its own.
  std::vector<std::string> starts() {
    std::vector<std::string> lines;
    std::ifstream file(notes);
    for (std::string line; std::getline(file, line);) lines.push_back(line);
    return lines;
  }

  const fs::path notes = fs::temp_directory_path() / "echo-runtime-notes";
  BusConnection bus{BusConnection::sessionBusAddress()};
  BusRequestSender sender{bus, echoRuntime(), std::chrono::seconds(10)};
};

TEST_F(RuntimeStart, StartsTheProgramOnceForManyRequestsInASessionOfItsOwn) {
  std::vector<std::future<Failure>> outcomes;
  for (int i = 0; i < 8; ++i) {
    outcomes.push_back(
        std::async(std::launch::async, [&] { return sender.send("T", {}, "id", 10).failure; }));
  }
  for (auto& outcome : outcomes) EXPECT_EQ(outcome.get(), Failure::none);
  ASSERT_TRUE(eventually([&] { return starts().size() == 1; }));
  EXPECT_THAT(starts()[0], testing::EndsWith(" 1"));
  EXPECT_THAT(starts()[0], testing::Not(HasSubstr(" " + std::to_string(getpid()) + " ")));
}

TEST_F(RuntimeStart, StartsTheProgramAgainWhenItHasEnded) {
  EXPECT_EQ(sender.send("T", {}, "id", 10).failure, Failure::none);
  EXPECT_EQ(sender.send("end", {}, "id", 10).failure, Failure::disconnected);
  EXPECT_EQ(sender.send("T", {}, "id", 10).failure, Failure::none);
}

TEST_F(RuntimeStart, SendsAgainWhatARuntimeInItsLastMomentDidNotBegin) {
  auto ending = std::make_unique<BusConnection>(BusConnection::sessionBusAddress());
  ASSERT_TRUE(eventually([&] { return ending->requestName(requestBus::name); }));
  std::thread end([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    ending.reset();
  });
  auto outcome = sender.send("T", {}, "id", 10);
  end.join();
  EXPECT_EQ(outcome.failure, Failure::none) << outcome.detail;
  EXPECT_EQ(starts().size(), 1u);
}

TEST_F(RuntimeStart, SaysWhyTheProgramCannotBeStarted) {
  BusRequestSender hopeless(bus, "/nowhere/TavikComputerUseRuntime", std::chrono::seconds(1));
  auto outcome = hopeless.send("T", {}, "id", 10);
  EXPECT_EQ(outcome.failure, Failure::notReachable);
  EXPECT_EQ(outcome.detail, "Could not start /nowhere/TavikComputerUseRuntime: No such file or directory.");
}

TEST_F(RuntimeStart, GivesUpOnAProgramThatNeverAnswers) {
  BusRequestSender hopeless(bus, "/bin/true", std::chrono::milliseconds(300));
  auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(hopeless.send("T", {}, "id", 10).failure, Failure::notReachable);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

TEST_F(RuntimeStart, LetsTheBusStartAnInstalledRuntime) {
  fs::path services = fs::path(std::getenv("HOME")) / ".local/share/dbus-1/services";
  fs::create_directories(services);
  fs::path service = services / "com.tavik.computeruse.service";
  std::ofstream(service) << "[D-BUS Service]\nName=com.tavik.computeruse\nExec=" << echoRuntime().string()
                         << "\n";
  outputOf(
      "gdbus call --session --dest org.freedesktop.DBus --object-path /org/freedesktop/DBus --method "
      "org.freedesktop.DBus.ReloadConfig");
  BusRequestSender bridge(bus, "/nowhere/TavikComputerUseRuntime", std::chrono::seconds(10));
  auto outcome = bridge.send("T", {}, "id", 10);
  EXPECT_EQ(outcome.failure, Failure::none) << outcome.detail;
  fs::remove(service);
  outputOf(
      "gdbus call --session --dest org.freedesktop.DBus --object-path /org/freedesktop/DBus --method "
      "org.freedesktop.DBus.ReloadConfig");
}

TEST(RequestSenderWithoutABus, SaysThatThereIsNone) {
  BusConnection bus([] { return std::string(); });
  BusRequestSender sender(bus);
  auto outcome = sender.send("T", {}, "id", 1);
  EXPECT_EQ(outcome.failure, Failure::notReachable);
  EXPECT_THAT(outcome.detail, HasSubstr("There is no session bus"));
  EXPECT_FALSE(sender.isRuntimeRunning());
}

}  // namespace
}  // namespace tavik::test
