#include "ComputerUsePlatform/IPC/ComputerUseIPCServerHandler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "Backends/Simulated/System/SimulatedCodeIdentity.h"
#include "Backends/Simulated/System/SimulatedPreferences.h"
#include "Backends/Simulated/System/SimulatedRequestTransport.h"
#include "Base/Concurrency/SimulatedScheduler.h"
#include "ComputerUsePlatform/IPC/ComputerUseIPCError.h"
#include "Tests/Support/LogCapture.h"
#include "Tests/Support/ServedMainQueue.h"

namespace tavik {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using Case = ComputerUseIPCError::Case;
using Fields = std::map<std::string, std::string>;

/// A server on a simulated transport, used from inside `SimulatedScheduler::run`, and
/// one client that it trusts.
struct ServerDesk {
  static constexpr std::int32_t clientPID = 4711;

  explicit ServerDesk(SimulatedScheduler& scheduler) : scheduler(scheduler) {
    codeIdentity.state(clientPID, BundleIdentifiers::defaultTeamIdentifier, "com.tavik.ide");
  }

  SimulatedScheduler& scheduler;
  MainQueue mainQueue{scheduler};
  SimulatedRequestTransport transport{scheduler, mainQueue};
  SimulatedCodeIdentity codeIdentity;
  SimulatedPreferences properties;
  BundleIdentifiers identifiers{properties};
  ComputerUseIPCServerHandler server{scheduler, transport, codeIdentity, identifiers};
  ServedMainQueue main{scheduler, mainQueue};
  const MonotonicTime start = scheduler.now();

  SimulatedRequest send(const std::string& requestType, std::optional<std::string> requestID = std::nullopt) {
    return transport.send(requestType, "{}", clientPID, std::move(requestID));
  }
  double elapsed() const { return inSeconds(scheduler.now() - start); }

  /// A handler that works for a while and notices when it is cancelled.
  ComputerUseIPCServerHandler::RequestHandler workingFor(double duration) {
    return [this, duration](const std::string&, const Bytes&, std::int32_t) {
      scheduler.sleep(seconds(duration));
      return bytesOf("done");
    };
  }
  /// A handler that works for a while and does not care whether it is cancelled.
  ComputerUseIPCServerHandler::RequestHandler workingStubbornlyFor(double duration) {
    return [this, duration](const std::string&, const Bytes&, std::int32_t) {
      const MonotonicTime end = scheduler.now() + seconds(duration);
      while (scheduler.now() < end) scheduler.park("stubborn work", end);
      return bytesOf("done");
    };
  }
};

void onDesk(const std::function<void(ServerDesk&)>& body) {
  SimulatedScheduler scheduler;
  scheduler.run([&] {
    ServerDesk desk(scheduler);
    body(desk);
  });
}

Bytes noAnswer(const std::string&, const Bytes&, std::int32_t) {
  return {};
}

void expectError(const RequestReply& reply, int number, const std::string& text) {
  EXPECT_EQ(reply.errorNumber, number);
  EXPECT_EQ(reply.errorString, text);
  EXPECT_EQ(reply.directObject, std::nullopt);
}

TEST(ComputerUseIPCServerHandler, movesBytesBetweenTheTransportAndTheHandler) {
  LogCapture log;
  onDesk([](ServerDesk& desk) {
    desk.server.install(std::nullopt, [](const std::string& type, const Bytes& data, std::int32_t pid) {
      return bytesOf(type + "|" + std::string(textOf(data)) + "|" + std::to_string(pid));
    });
    desk.codeIdentity.state(42, BundleIdentifiers::defaultTeamIdentifier, "com.tavik.ide");
    const RequestReply reply = desk.transport.send("Type", R"({"a":1})", 42).reply();
    EXPECT_EQ(reply.errorNumber, 0);
    EXPECT_EQ(textOf(reply.directObject.value()), "Type|{\"a\":1}|42");
  });
}

TEST(ComputerUseIPCServerHandler, missingTypeAndDataAreTakenAsEmpty) {
  LogCapture log;
  onDesk([](ServerDesk& desk) {
    desk.server.install(std::nullopt, [](const std::string& type, const Bytes& data, std::int32_t pid) {
      return bytesOf("[" + type + "][" + std::string(textOf(data)) + "][" + std::to_string(pid) + "]");
    });
    desk.codeIdentity.state(0, BundleIdentifiers::defaultTeamIdentifier, "com.tavik.ide");
    EXPECT_EQ(textOf(*desk.transport.send(IncomingRequest{}).reply().directObject), "[][][0]");
  });
}

TEST(ComputerUseIPCServerHandler, theRequestsRecordsCarryItsIdentifier) {
  LogCapture log;
  onDesk([&](ServerDesk& desk) {
    desk.server.install(30.0, [](const std::string&, const Bytes&, std::int32_t) {
      TavikComputerUseLogger::info(LogCategory::ipc, "handled");
      return Bytes{};
    });
    desk.send("Type", "abc-1").reply();
    EXPECT_EQ(log.only("handled").requestID, "abc-1");
    EXPECT_EQ(log.only("admission_released").requestID, "abc-1");
    EXPECT_EQ(TaskRecord::requestID(), "");
  });
}

TEST(ComputerUseIPCServerHandler, aRequestWithoutAnIdentifierIsLoggedUnderANewOne) {
  LogCapture log;
  onDesk([&](ServerDesk& desk) {
    desk.server.install(std::nullopt, noAnswer);
    desk.send("One").reply();
    desk.send("Two").reply();
    const auto records = log.records("admission_released");
    ASSERT_EQ(records.size(), 2u);
    EXPECT_THAT(records[0].requestID,
                MatchesRegex("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[0-9A-F]{4}-[0-9A-F]{12}"));
    EXPECT_NE(records[0].requestID, records[1].requestID);
  });
}

TEST(ComputerUseIPCServerHandler, aRequestThatCannotBeSuspendedIsAnsweredInPlaceAndNotServed) {
  LogCapture log;
  onDesk([](ServerDesk& desk) {
    bool served = false;
    desk.server.install(std::nullopt, [&](const std::string&, const Bytes&, std::int32_t) {
      served = true;
      return Bytes{};
    });
    desk.transport.refuseToSuspend();
    const auto sent = desk.send("Type");
    expectError(sent.reply(), -10000, "Failed to suspend Apple Event");
    desk.scheduler.settle();
    EXPECT_FALSE(served);
  });
}

TEST(ComputerUseIPCServerHandler, anAnswerThatTheTransportCannotCarryIsAFailure) {
  LogCapture log;
  onDesk([](ServerDesk& desk) {
    desk.server.install(std::nullopt, desk.workingFor(0));
    desk.transport.limitResponses(3);
    expectError(desk.send("Type").reply(), -10000, "Failed to encode IPC response descriptor");
  });
}

TEST(ComputerUseIPCServerHandler, withoutAHandlerARequestFailsAsUnknown) {
  LogCapture log;
  onDesk([&](ServerDesk& desk) {
    desk.server.install(std::nullopt, nullptr);
    expectError(desk.send("Type").reply(), -10000, "unknown");
    EXPECT_EQ(log.only("admission_released").fields, (Fields{{"requestType", "Type"}, {"reason", "error"}}));
  });
}

TEST(ComputerUseIPCServerHandler, installingFailsWhenAnotherProcessHasTheAddress) {
  onDesk([](ServerDesk& desk) {
    desk.transport.occupyAddress();
    EXPECT_FALSE(desk.server.install(std::nullopt, noAnswer));
  });
}

TEST(ComputerUseIPCServerHandler, afterUninstallingNoRequestArrives) {
  onDesk([](ServerDesk& desk) {
    EXPECT_TRUE(desk.server.install(std::nullopt, noAnswer));
    desk.server.uninstall();
    EXPECT_FALSE(desk.transport.isReceiving());
  });
}

TEST(ComputerUseIPCServerHandler, aTransportErrorIsAnsweredAsItsNumberAndCaseName) {
  LogCapture log;
  onDesk([](ServerDesk& desk) {
    desk.server.install(std::nullopt, [](const std::string&, const Bytes&, std::int32_t) -> Bytes {
      throw ComputerUseIPCError(Case::urlBlocklist);
    });
    expectError(desk.send("Type").reply(), -10015, "urlBlocklist");
  });
}

TEST(ComputerUseIPCServerHandler, anyOtherErrorIsAnsweredAsUnknownWithItsText) {
  LogCapture log;
  onDesk([](ServerDesk& desk) {
    desk.server.install(std::nullopt, [](const std::string&, const Bytes&, std::int32_t) -> Bytes {
      throw std::runtime_error("what happened");
    });
    expectError(desk.send("Type").reply(), -10000, "what happened");
  });
}

TEST(ComputerUseIPCServerHandler, aStrangerIsTurnedAwayWithoutTheReason) {
  LogCapture log;
  onDesk([](ServerDesk& desk) {
    bool served = false;
    desk.server.install(std::nullopt, [&](const std::string&, const Bytes&, std::int32_t) {
      served = true;
      return Bytes{};
    });
    desk.codeIdentity.state(ServerDesk::clientPID, BundleIdentifiers::defaultTeamIdentifier, "com.stranger");
    expectError(desk.send("Type").reply(), -10000,
                "The operation couldn’t be completed. (AuthorizationError error 3.)");
    EXPECT_FALSE(served);
  });
}

TEST(ComputerUseIPCServerHandler, authorizationCanBeSwitchedOffAndSaysSo) {
  LogCapture log;
  onDesk([&](ServerDesk& desk) {
    desk.server.install(std::nullopt, noAnswer);
    desk.codeIdentity.state(ServerDesk::clientPID, {.guestStatus = -1});
    desk.properties.setApplicationProperty("TavikComputerUseEnforceSenderAuthorization", false);
    EXPECT_EQ(desk.send("Type").reply().errorNumber, 0);
    const auto record = log.only("sender_authorization_bypassed");
    EXPECT_EQ(record.level, LogLevel::debug);
    EXPECT_EQ(record.category, LogCategory::ipc);
    EXPECT_EQ(record.fields, (Fields{{"reason", "bundle_configuration"}}));
  });
}

TEST(ComputerUseIPCServerHandler, twoRequestsRunEightWaitAndTheEleventhIsRefusedAtOnce) {
  LogCapture log;
  onDesk([](ServerDesk& desk) {
    desk.server.install(std::nullopt, desk.workingFor(1));
    std::vector<SimulatedRequest> sent;
    for (int i = 0; i < 11; ++i) {
      sent.push_back(desk.send("Type"));
      desk.scheduler.settle();
    }
    expectError(sent.back().reply(), -10016, "rateLimited");
    EXPECT_EQ(desk.elapsed(), 0);
    sent.pop_back();
    for (const auto& request : sent) EXPECT_EQ(request.reply().errorNumber, 0);
    EXPECT_EQ(desk.elapsed(), 5);
  });
}

TEST(ComputerUseIPCServerHandler, aRequestThatEndsInTimeIsAnsweredAndItsTimerStaysSilent) {
  LogCapture log;
  onDesk([&](ServerDesk& desk) {
    desk.server.install(5.0, desk.workingFor(4));
    EXPECT_EQ(textOf(*desk.send("Type").reply().directObject), "done");
    EXPECT_EQ(desk.elapsed(), 4);
    desk.scheduler.sleep(seconds(100));
    EXPECT_THAT(log.events(), ElementsAre("admission_released"));
  });
}

TEST(ComputerUseIPCServerHandler, aRequestThatTakesTooLongIsCancelledAndAnsweredAtOnce) {
  LogCapture log;
  onDesk([&](ServerDesk& desk) {
    std::optional<double> cancelledAt;
    desk.server.install(1.5, [&](const std::string&, const Bytes&, std::int32_t) -> Bytes {
      try {
        desk.scheduler.sleep(seconds(1000));
      } catch (const CancellationError&) {
        cancelledAt = desk.elapsed();
        throw;
      }
      return {};
    });
    expectError(desk.send("Slow").reply(), -10011, "timeout");
    EXPECT_EQ(desk.elapsed(), 1.5);
    desk.scheduler.settle();
    EXPECT_EQ(cancelledAt, 1.5);

    const auto record = log.only("request_timeout");
    EXPECT_EQ(record.level, LogLevel::error);
    EXPECT_EQ(record.category, LogCategory::ipc);
    EXPECT_EQ(record.fields, (Fields{{"requestType", "Slow"}, {"timeoutMs", "1500"}}));
    EXPECT_EQ(log.only("admission_released").fields.at("reason"), "error");
  });
}

TEST(ComputerUseIPCServerHandler, aTimedOutRequestKeepsItsPlaceUntilItsOperationEnds) {
  LogCapture log;
  onDesk([&](ServerDesk& desk) {
    desk.server.install(1.0, desk.workingStubbornlyFor(20));
    const auto first = desk.send("Slow");
    const auto second = desk.send("Slow");
    expectError(first.reply(), -10011, "timeout");
    expectError(second.reply(), -10011, "timeout");
    EXPECT_EQ(desk.elapsed(), 1);
    EXPECT_EQ(log.count("admission_released"), 0u);
    desk.scheduler.sleep(seconds(18.9));
    EXPECT_EQ(log.count("admission_released"), 0u);
    desk.scheduler.sleep(seconds(0.2));
    const auto released = log.records("admission_released");
    ASSERT_EQ(released.size(), 2u);
    EXPECT_EQ(released[0].fields.at("reason"), "completed");
  });
}

TEST(ComputerUseIPCServerHandler, aTimedOutRequestGivesItsPlaceBackAfterSixtySecondsAtTheLatest) {
  LogCapture log;
  onDesk([&](ServerDesk& desk) {
    desk.server.install(1.0, desk.workingStubbornlyFor(200));
    desk.send("Stuck", "r9").reply();
    desk.scheduler.sleep(seconds(59.9));
    EXPECT_EQ(log.count("admission_released"), 0u);
    desk.scheduler.sleep(seconds(0.2));
    const auto record = log.only("admission_released");
    EXPECT_EQ(record.fields, (Fields{{"requestType", "Stuck"}, {"reason", "timeout grace"}}));
    EXPECT_EQ(record.requestID, "r9");
    desk.scheduler.sleep(seconds(200));
    EXPECT_EQ(log.count("admission_released"), 1u);
  });
}

TEST(ComputerUseIPCServerHandler, stuckRequestsLetNewOnesInOnceTheirGraceIsOver) {
  LogCapture log;
  onDesk([](ServerDesk& desk) {
    desk.server.install(1.0, [&](const std::string& type, const Bytes& data, std::int32_t pid) {
      return type == "Stuck" ? desk.workingStubbornlyFor(500)(type, data, pid) : bytesOf("quick");
    });
    desk.send("Stuck").reply();
    desk.send("Stuck");
    desk.scheduler.sleep(seconds(2));
    expectError(desk.send("Quick").reply(), -10011, "timeout");
    desk.scheduler.sleep(seconds(60));
    EXPECT_EQ(textOf(*desk.send("Quick").reply().directObject), "quick");
  });
}

TEST(ComputerUseIPCServerHandler, aRequestThatTimesOutInTheQueueLeavesIt) {
  LogCapture log;
  onDesk([&](ServerDesk& desk) {
    std::vector<std::string> served;
    desk.server.install(1.0, [&](const std::string& type, const Bytes& data, std::int32_t pid) {
      served.push_back(type);
      return desk.workingStubbornlyFor(10)(type, data, pid);
    });
    desk.send("A");
    desk.send("B");
    desk.scheduler.settle();
    expectError(desk.send("Queued").reply(), -10011, "timeout");
    desk.scheduler.sleep(seconds(100));
    EXPECT_THAT(served, ElementsAre("A", "B"));
    EXPECT_EQ(log.count("queued_request_admitted"), 0u);
    EXPECT_EQ(log.count("admission_released"), 2u);
  });
}

TEST(ComputerUseIPCServerHandler, aTimeoutOfZeroOrLessIsOverAtOnce) {
  LogCapture log;
  onDesk([&](ServerDesk& desk) {
    desk.server.install(0.0, desk.workingFor(1));
    expectError(desk.send("Zero").reply(), -10011, "timeout");
    desk.server.install(-5.0, desk.workingFor(1));
    expectError(desk.send("Negative").reply(), -10011, "timeout");
    EXPECT_EQ(desk.elapsed(), 0);
    EXPECT_EQ(log.records("request_timeout").at(1).fields.at("timeoutMs"), "-5000");
  });
}

TEST(ComputerUseIPCServerHandler, whatComesAfterTheTimeoutIsDropped) {
  LogCapture log;
  onDesk([](ServerDesk& desk) {
    int timeouts = 0;
    try {
      desk.server.withRequestTimeout(
          1.0, "Slow", [&] { ++timeouts; }, [&desk] { return desk.workingStubbornlyFor(5)("", Bytes{}, 0); });
      FAIL() << "no time-out";
    } catch (const ComputerUseIPCError& error) {
      EXPECT_EQ(error, ComputerUseIPCError(Case::timeout));
    }
    desk.scheduler.sleep(seconds(10));
    EXPECT_EQ(timeouts, 1);
  });
}

TEST(ComputerUseIPCServerHandler, anErrorOfTheOperationComesThroughTheTimeLimit) {
  onDesk([](ServerDesk& desk) {
    EXPECT_THROW(desk.server.withRequestTimeout(1.0, "Type", nullptr,
                                                []() -> Bytes { throw std::out_of_range("index"); }),
                 std::out_of_range);
  });
}

TEST(ComputerUseIPCServerHandler, shutdownAnswersAllWhoWaitAndDropsWhatComesLater) {
  LogCapture log;
  onDesk([&](ServerDesk& desk) {
    desk.server.install(std::nullopt, desk.workingStubbornlyFor(3));
    std::vector<SimulatedRequest> sent;
    for (const char* type : {"A", "B", "C"}) sent.push_back(desk.send(type));
    desk.scheduler.settle();
    desk.server.failPendingRequestsAndUninstall("the runtime ends");
    for (const auto& request : sent) expectError(request.reply(), -10012, "the runtime ends");
    EXPECT_FALSE(desk.transport.isReceiving());

    const auto records = log.records("pending_request_cancelled");
    ASSERT_EQ(records.size(), 3u);
    EXPECT_EQ(records[0].level, LogLevel::warning);
    EXPECT_EQ(records[0].category, LogCategory::ipc);
    EXPECT_EQ(records[0].fields, (Fields{{"requestType", "A"}, {"reason", "runtime_shutdown"}}));

    // A second answer to one of them would end the program.
    desk.scheduler.sleep(seconds(10));
    EXPECT_EQ(desk.transport.suspendedCount(), 0u);
  });
}

TEST(ComputerUseIPCServerHandler, aRequestThatWaitedWhenTheEndCameIsNeverServed) {
  LogCapture log;
  onDesk([](ServerDesk& desk) {
    std::vector<std::string> served;
    desk.server.install(std::nullopt, [&](const std::string& type, const Bytes& data, std::int32_t pid) {
      served.push_back(type);
      return desk.workingStubbornlyFor(3)(type, data, pid);
    });
    for (const char* type : {"A", "B", "Waiting"}) desk.send(type);
    desk.scheduler.settle();
    desk.server.failPendingRequestsAndUninstall("the runtime ends");
    desk.scheduler.sleep(seconds(100));
    EXPECT_THAT(served, ElementsAre("A", "B"));
  });
}

TEST(ComputerUseIPCServerHandler, aSecondShutdownFindsNothingToAnswer) {
  LogCapture log;
  onDesk([&](ServerDesk& desk) {
    desk.server.install(std::nullopt, desk.workingFor(3));
    const auto sent = desk.send("A");
    desk.scheduler.settle();
    desk.server.failPendingRequestsAndUninstall("first");
    desk.server.failPendingRequestsAndUninstall("second");
    expectError(sent.reply(), -10012, "first");
    EXPECT_EQ(log.count("pending_request_cancelled"), 1u);
  });
}

TEST(ComputerUseIPCServerHandler, destroyingItEndsTheTasksOfItsRequests) {
  LogCapture log;
  SimulatedScheduler scheduler;
  scheduler.run([&] {
    {
      ServerDesk desk(scheduler);
      desk.server.install(30.0, desk.workingFor(1000));
      for (int i = 0; i < 5; ++i) desk.send("Long");
      scheduler.settle();
    }
    EXPECT_EQ(scheduler.now(), MonotonicTime{});
    EXPECT_EQ(scheduler.unfinishedTaskCount(), 1u);
  });
}

TEST(ComputerUseIPCServerHandler, aRequestThatIsGivenUpInTheQueueIsAnsweredAsCancelled) {
  LogCapture log;
  SimulatedScheduler scheduler;
  scheduler.run([&] {
    std::optional<SimulatedRequest> queued;
    {
      ServerDesk desk(scheduler);
      desk.server.install(std::nullopt, desk.workingFor(1000));
      desk.send("One");
      desk.send("Two");
      queued = desk.send("Three");
      scheduler.settle();
    }
    expectError(queued->reply(), -10012, "cancelled");
  });
}

constexpr std::uint64_t seedCount = 1000;

TEST(ComputerUseIPCServerHandlerExploration, shutdownAgainstLateCompletionsAnswersEachRequestOnce) {
  LogCapture log;
  int succeeded = 0;
  int cancelled = 0;
  exploreSeeds(seedCount, [&](SimulatedScheduler& scheduler) {
    scheduler.run([&] {
      ServerDesk desk(scheduler);
      desk.server.install(std::nullopt, [&](const std::string&, const Bytes&, std::int32_t) {
        scheduler.sleep(milliseconds(static_cast<std::int64_t>(scheduler.random(3))));
        return bytesOf("done");
      });
      std::vector<SimulatedRequest> sent;
      for (int i = 0; i < 4; ++i) sent.push_back(desk.send("Type"));
      desk.mainQueue.sync([] {});
      scheduler.sleep(milliseconds(static_cast<std::int64_t>(scheduler.random(4))));
      desk.server.failPendingRequestsAndUninstall("the end");
      for (const auto& request : sent) {
        const RequestReply reply = request.reply();
        EXPECT_TRUE(reply.errorNumber == 0 || reply.errorNumber == -10012);
        ++(reply.errorNumber == 0 ? succeeded : cancelled);
      }
      scheduler.sleep(seconds(1));
      EXPECT_EQ(desk.transport.suspendedCount(), 0u);
    });
  });
  EXPECT_GT(succeeded, 0);
  EXPECT_GT(cancelled, 0);
}

TEST(ComputerUseIPCServerHandlerExploration, anOperationThatEndsAsItsTimeIsUpIsAnsweredOnce) {
  LogCapture log;
  int succeeded = 0;
  int timedOut = 0;
  exploreSeeds(seedCount, [&](SimulatedScheduler& scheduler) {
    log.clear();
    scheduler.run([&] {
      ServerDesk desk(scheduler);
      desk.server.install(1.0, desk.workingFor(1));
      const auto sent = desk.send("Type");
      const RequestReply reply = sent.reply();
      scheduler.sleep(seconds(100));
      const bool success = reply.errorNumber == 0;
      ++(success ? succeeded : timedOut);
      EXPECT_EQ(log.count("request_timeout"), success ? 0u : 1u);
      EXPECT_EQ(log.count("admission_released"), 1u);
      EXPECT_EQ(desk.transport.suspendedCount(), 0u);
    });
  });
  EXPECT_GT(succeeded, 0);
  EXPECT_GT(timedOut, 0);
}

TEST(ComputerUseIPCServerHandlerExploration, timeOutsInTheQueueLeakNoPlace) {
  LogCapture log;
  exploreSeeds(seedCount, [&](SimulatedScheduler& scheduler) {
    scheduler.run([&] {
      ServerDesk desk(scheduler);
      desk.server.install(1.0, [&](const std::string& type, const Bytes& data, std::int32_t pid) {
        if (type == "Quick") return bytesOf("quick");
        return desk.workingStubbornlyFor(static_cast<double>(scheduler.random(3)))(type, data, pid);
      });
      std::vector<SimulatedRequest> sent;
      for (int i = 0; i < 6; ++i) sent.push_back(desk.send("Slow"));
      for (const auto& request : sent) {
        const int number = request.reply().errorNumber;
        EXPECT_TRUE(number == 0 || number == -10011) << number;
      }
      scheduler.sleep(seconds(70));
      // Both places are free again, so that two run side by side at once.
      const auto first = desk.send("Quick");
      const auto second = desk.send("Quick");
      EXPECT_EQ(first.reply().errorNumber, 0);
      EXPECT_EQ(second.reply().errorNumber, 0);
      EXPECT_EQ(desk.transport.suspendedCount(), 0u);
    });
  });
}

}  // namespace
}  // namespace tavik
