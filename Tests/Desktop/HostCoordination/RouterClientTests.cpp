// The client against a Router of another make, over a real socket and in real time.

#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <fstream>
#include <thread>

#include "Backends/Linux/Transport/UnixSockets.h"
#include "Base/Concurrency/ThreadScheduler.h"
#include "ChildProcess.h"
#include "HostCoordination/Router/HostCoordinationRouterClient.h"
#include "HostCoordination/Router/HostCoordinationRouterError.h"
#include "HostCoordination/Wire/HostCoordinationTransportError.h"
#include "RouterProcess.h"
#include "SlimCore/Logging/TavikComputerUseLogger.h"

namespace tavik::test {
namespace {

using Value = HostCoordinationJSONValue;
using Case = HostCoordinationRouterError::Case;

std::size_t openDescriptors() {
  return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}));
}

std::size_t runningThreads() {
  return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator("/proc/self/task"), {}));
}

/// The reasons for which the Router was unavailable, as the log has them.
class Reasons {
 public:
  Reasons() {
    LogEnvironment listening = LogEnvironment::ofThisProcess();
    listening.observer = [this](const LogRecord& record) {
      if (record.event != "host_coordination_unavailable") return;
      std::lock_guard lock(mutex_);
      reasons_.push_back(std::get<std::string>(record.fields.at("reason").storage()));
    };
    listening.variable = [](const std::string&) { return std::optional<std::string>("fault"); };
    previous_ = TavikComputerUseLogger::install(listening);
  }
  ~Reasons() { TavikComputerUseLogger::install(previous_); }
  std::vector<std::string> all() {
    std::lock_guard lock(mutex_);
    return reasons_;
  }

 private:
  std::mutex mutex_;
  std::vector<std::string> reasons_;
  LogEnvironment previous_;
};

class RouterClient : public testing::Test {
 protected:
  struct Client {
    ThreadScheduler scheduler;
    UnixSockets sockets;
    HostCoordinationRouterClient client;
    explicit Client(const std::string& path, Duration reconnectDelay = milliseconds(20))
        : client(scheduler, sockets, path, {.clientType = "test", .reconnectDelay = reconnectDelay}) {}
    ~Client() { client.stop(); }
    void connect() {
      client.start();
      ASSERT_TRUE(eventually([this] { return client.isConnected(); }));
    }
    Value echo(const Value& params, std::int64_t timeout = 10'000) {
      return client.sendRequest("echo", 1, params, timeout);
    }
    std::optional<Case> failureOf(const std::string& method, std::int64_t timeout) {
      try {
        client.sendRequest(method, 1, Value::Object{}, timeout);
      } catch (const HostCoordinationRouterError& error) {
        return error.which();
      }
      return std::nullopt;
    }
    /// Asks until the Router answers again.
    bool recovers() {
      return eventually([this] {
        try {
          return echo("back") == Value("back");
        } catch (const std::exception&) {
          return false;
        }
      });
    }
  };

  Reasons reasons;
  RouterProcess router;
  Client first{router.socketPath()};
};

TEST_F(RouterClient, IntroducesItselfAsksAndIsRefused) {
  first.connect();
  EXPECT_EQ(first.echo(Value::Object{{"text", "ü\"\n"}, {"number", 1.5}}), (Value(Value::Object{{"text", "ü\"\n"}, {"number", 1.5}})));
  EXPECT_EQ(first.failureOf("refuse", 1000), Case::requestRejected);
  EXPECT_EQ(first.failureOf("silent", 50), Case::requestTimedOut);
  EXPECT_EQ(router.count("introductions"), 1);
}

TEST_F(RouterClient, BroadcastsReachTheOthersAndThoseWhomTheyAreMeantFor) {
  Client second(router.socketPath());
  std::atomic<int> heard = 0, strays = 0;
  second.client.registerBroadcastHandler("news", 1, [&](const HostCoordinationBroadcast& broadcast) {
    EXPECT_EQ(broadcast.sourceClientID, "client-1");
    heard += broadcast.params == Value("for all") || broadcast.params == Value("for you");
  });
  first.client.registerBroadcastHandler("news", 1, [&](const HostCoordinationBroadcast&) { ++strays; });
  first.connect();
  second.connect();
  first.client.sendBroadcast("news", 1, "for all");
  first.client.sendBroadcast("news", 1, "for another", std::vector<std::string>{"client-9"});
  first.client.sendBroadcast("news", 1, "for you", std::vector<std::string>{"client-2"});
  EXPECT_TRUE(eventually([&] { return heard == 2; }));
  EXPECT_EQ(second.echo("done"), Value("done"));
  EXPECT_EQ(heard, 2);
  EXPECT_EQ(strays, 0);
}

TEST_F(RouterClient, FramesOfEverySizeComeBackAsTheyWent) {
  first.connect();
  for (std::size_t size : {0u, 1u, 127u, 4095u, 4096u, 65'535u, 65'536u, 1'048'576u, 5'000'000u}) {
    const Value text(std::string(size, 'x'));
    EXPECT_EQ(first.echo(text, 60'000), text) << size;
  }
}

TEST_F(RouterClient, FramesInPiecesAndLateOnesAreRead) {
  router.tell("split 1");
  first.connect();
  EXPECT_EQ(first.echo("byte by byte"), Value("byte by byte"));
  router.tell("split 7");
  EXPECT_EQ(first.echo(std::string(3000, 'y')), Value(std::string(3000, 'y')));
  router.tell("split 0");
  router.tell("lag 0.2");
  EXPECT_EQ(first.echo("late"), Value("late"));
  EXPECT_EQ(first.failureOf("echo", 20), Case::requestTimedOut);
  router.tell("lag 0");
  EXPECT_EQ(first.echo("in time"), Value("in time"));
}

TEST_F(RouterClient, AnswersInAnotherOrderFindTheirRequests) {
  first.connect();
  router.tell("reorder");
  Value answer;
  std::thread other([&] { answer = first.echo("one"); });
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_EQ(first.echo("two"), Value("two"));
  other.join();
  EXPECT_EQ(answer, Value("one"));
}

TEST_F(RouterClient, AFrameThatIsCutOffEndsTheConnectionAndItsRequests) {
  first.connect();
  router.tell("truncate");
  EXPECT_EQ(first.failureOf("echo", 5000), Case::disconnected);
  EXPECT_TRUE(first.recovers());
  EXPECT_THAT(reasons.all(), testing::ElementsAre("connection_closed"));
}

TEST_F(RouterClient, GarbageEndsTheConnectionAndTheNextOneWorks) {
  const std::pair<const char*, const char*> garbage[] = {
      {"00000000", "invalid_frame"},
      {"ffffffff", "invalid_frame"},
      {"01000010", "invalid_frame"},
      {"474554202f20485454502f312e310d0a", "invalid_frame"},
      {"020000005b5d", "invalid_frame"},
      {"03000000ff00fe", "The given data was not valid JSON."},
      {"050000007b2261227d", "The given data was not valid JSON."}};
  first.connect();
  for (const auto& [bytes, reason] : garbage) {
    const std::size_t before = reasons.all().size();
    router.tell(std::string("raw ") + bytes);
    ASSERT_TRUE(eventually([&] { return reasons.all().size() > before; })) << bytes;
    EXPECT_EQ(reasons.all().back(), reason) << bytes;
    EXPECT_TRUE(first.recovers());
  }
}

TEST_F(RouterClient, AFloodIsHeardToTheLastAndTheRequestBehindItIsAnswered) {
  std::atomic<int> heard = 0;
  first.client.registerBroadcastHandler("flood", 1, [&](const HostCoordinationBroadcast&) { ++heard; });
  first.connect();
  router.tell("flood 20000");
  EXPECT_EQ(first.echo("after"), Value("after"));
  EXPECT_TRUE(eventually([&] { return heard == 20'000; }));
}

TEST_F(RouterClient, ARouterThatLeavesIsMissedOnceAndFoundAgain) {
  first.connect();
  router.tell("leave");
  router.tell("close");
  ASSERT_TRUE(eventually([&] { return reasons.all().size() == 2; }));
  EXPECT_EQ(first.failureOf("echo", 100), Case::disconnected);
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  EXPECT_THAT(reasons.all(), testing::ElementsAre("connection_closed", "system_error_" + std::to_string(ENOENT)));
  router.tell("return");
  EXPECT_TRUE(first.recovers());
}

TEST_F(RouterClient, ARouterThatReadsNoMoreDoesNotKeepAnyoneFromStopping) {
  first.connect();
  router.tell("deaf");
  std::thread stuck([&] {
    try {
      for (int i = 0; i < 100; ++i) first.client.sendBroadcast("m", 1, std::string(100'000, 'x'));
      ADD_FAILURE() << "ten megabytes went to a Router that does not read";
    } catch (const std::exception&) {
    }
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  first.client.stop();
  stuck.join();
  router.tell("hear");
}

TEST_F(RouterClient, AListenerThatAcceptsNobodyDoesNotKeepAnyoneFromStopping) {
  // Nobody accepts here, so after a few connections the queue is full.
  const std::string path = router.home() / "full.sock";
  std::vector<std::unique_ptr<Client>> clients;
  const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
  path.copy(address.sun_path, path.size());
  ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
  ASSERT_EQ(listen(listener, 0), 0);
  for (int i = 0; i < 4; ++i) {
    clients.push_back(std::make_unique<Client>(path));
    clients.back()->client.start();
  }
  const std::string full = "system_error_" + std::to_string(EAGAIN);
  EXPECT_TRUE(eventually([&] { return std::ranges::count(reasons.all(), full) > 0; }));
  for (auto& client : clients) client->client.stop();
  close(listener);
}

TEST_F(RouterClient, TenThousandReconnectionsLeakNothing) {
  Client restless(router.socketPath(), Duration::zero());
  restless.connect();
  const std::size_t descriptors = openDescriptors(), threads = runningThreads();
  router.tell("farewell on");
  router.tell("close");
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (router.count("introductions") < 10'000 && std::chrono::steady_clock::now() < end) {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  EXPECT_GE(router.count("introductions"), 10'000);
  router.tell("farewell off");
  EXPECT_TRUE(restless.recovers());
  EXPECT_EQ(openDescriptors(), descriptors);
  EXPECT_EQ(runningThreads(), threads);
  EXPECT_EQ(restless.client.pendingRequestCount(), 0u);
}

TEST_F(RouterClient, StoppedAndStartedAHundredTimesItIntroducesItselfEachTime) {
  const std::size_t descriptors = openDescriptors(), threads = runningThreads();
  for (int i = 0; i < 100; ++i) {
    first.connect();
    EXPECT_EQ(first.echo(static_cast<double>(i)), Value(static_cast<double>(i)));
    first.client.stop();
    EXPECT_FALSE(first.client.isConnected());
  }
  EXPECT_EQ(router.count("introductions"), 100);
  EXPECT_TRUE(eventually([&] { return openDescriptors() == descriptors && runningThreads() == threads; }));
}

TEST_F(RouterClient, AFrameBeyondTheLimitIsNotSent) {
  first.connect();
  try {
    first.client.sendBroadcast("m", 1, std::string(HostCoordinationUnixTransport::maximumFrameBytes, 'x'));
    ADD_FAILURE();
  } catch (const HostCoordinationTransportError& error) {
    EXPECT_EQ(error.which(), HostCoordinationTransportError::Case::frameTooLarge);
  }
  EXPECT_EQ(first.echo("still here"), Value("still here"));
}

}  // namespace
}  // namespace tavik::test
