#include "Backends/Linux/Bus/BusConnection.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <future>
#include <thread>

#include "Backends/Linux/Bus/BusFlight.h"
#include "Support/PrivateBus.h"

namespace tavik {
namespace {

using namespace std::chrono_literals;
using Status = BusReply::Status;

const std::string objectPath = "/com/example/counter";
const std::string counterInterface = "com.example.Counter";
const std::string interfaceXML =
    "<interface name=\"com.example.Counter\"><method name=\"Echo\"><arg type=\"s\" direction=\"in\"/>"
    "<arg type=\"s\" direction=\"out\"/></method></interface>\n";

/// A server and a client on one private bus.
class BusConnectionTests : public testing::Test {
 protected:
  BusConnection::AddressProvider address() {
    return [this] { return bus.address(); };
  }
  BusMessage echo(const std::string& text) {
    BusMessage call = BusMessage::methodCall(server.uniqueName(), objectPath, counterInterface, "Echo");
    BusWriter(call).string(text);
    return call;
  }
  void exportEcho() {
    server.exportObject(objectPath, interfaceXML, [this](const BusMessage& call) {
      BusMessage reply = BusMessage::returnOf(call);
      BusWriter(reply).string(call.read().string());
      server.send(reply);
    });
  }
  template <class Condition>
  static bool becomesTrue(Condition condition) {
    auto deadline = std::chrono::steady_clock::now() + 5s;
    while (std::chrono::steady_clock::now() < deadline) {
      if (condition()) return true;
      std::this_thread::sleep_for(5ms);
    }
    return condition();
  }

  PrivateBus bus;
  BusConnection server{address()};
  BusConnection client{address()};
};

TEST_F(BusConnectionTests, ACallIsAnsweredByTheExportedObject) {
  exportEcho();
  BusReply reply = client.call(echo("hello"), 5s);
  ASSERT_TRUE(reply.ok());
  EXPECT_EQ(reply.read().string(), "hello");
}

TEST_F(BusConnectionTests, EveryArgumentTypeArrivesAsItWasWritten) {
  BusMessage received;
  std::promise<void> done;
  server.exportObject(objectPath, interfaceXML, [&](const BusMessage& call) {
    received = call;
    server.send(BusMessage::returnOf(call));
    done.set_value();
  });
  BusMessage call = BusMessage::methodCall(server.uniqueName(), objectPath, counterInterface, "Take");
  BusWriter(call)
      .string("größe")
      .boolean(true)
      .int32(-7)
      .uint64(1ull << 63)
      .real(0.5)
      .bytes(std::vector<std::uint8_t>{0, 255, 3})
      .strings({"a", "b"})
      .variant("i", [](BusWriter& inner) { inner.int32(9); })
      .structure([](BusWriter& inner) { inner.string("inside").path("/a/b"); });
  ASSERT_TRUE(client.call(call, 5s).ok());
  done.get_future().wait();

  BusReader reader = received.read();
  EXPECT_EQ(reader.string(), "größe");
  EXPECT_TRUE(reader.boolean());
  EXPECT_EQ(reader.integer(), -7);
  EXPECT_EQ(static_cast<std::uint64_t>(reader.integer()), 1ull << 63);
  EXPECT_EQ(reader.number(), 0.5);
  EXPECT_EQ(reader.bytes(), (std::vector<std::uint8_t>{0, 255, 3}));
  EXPECT_EQ(reader.strings(), (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(reader.inside().integer(), 9);
  BusReader structure = reader.inside();
  EXPECT_EQ(structure.string(), "inside");
  EXPECT_EQ(structure.string(), "/a/b");
  EXPECT_TRUE(reader.ok());
  EXPECT_TRUE(reader.atEnd());
}

TEST_F(BusConnectionTests, AValueOfAnotherTypeReadsAsEmptyAndIsSteppedOver) {
  BusMessage message = BusMessage::signal("/a", "b.c", "D");
  BusWriter(message).string("text").int32(4);
  BusReader reader = message.read();
  EXPECT_EQ(reader.integer(), 0);
  EXPECT_FALSE(reader.ok());
  EXPECT_EQ(reader.integer(), 4);
  EXPECT_EQ(reader.string(), "");
  EXPECT_TRUE(reader.inside().atEnd());
}

TEST_F(BusConnectionTests, TextThatNoBusAcceptsIsRepairedBeforeItGoesOut) {
  exportEcho();
  BusReply reply = client.call(echo(std::string("a\xff\0b", 4)), 5s);
  ASSERT_TRUE(reply.ok());
  EXPECT_EQ(reply.read().string(), "a\uFFFDb");
}

TEST_F(BusConnectionTests, AnAnswerCanBeSentLaterFromAnotherThread) {
  std::promise<BusMessage> asked;
  server.exportObject(objectPath, interfaceXML, [&](const BusMessage& call) { asked.set_value(call); });
  std::thread answerer([&] {
    BusMessage call = asked.get_future().get();
    std::this_thread::sleep_for(50ms);
    BusMessage reply = BusMessage::returnOf(call);
    BusWriter(reply).string("late");
    server.send(reply);
  });
  EXPECT_EQ(client.call(echo("x"), 5s).read().string(), "late");
  answerer.join();
}

TEST_F(BusConnectionTests, AnErrorAnswerKeepsItsName) {
  server.exportObject(objectPath, interfaceXML, [&](const BusMessage& call) {
    server.send(BusMessage::errorOf(call, "com.example.Error.Full", "full"));
  });
  BusReply reply = client.call(echo("x"), 5s);
  EXPECT_EQ(reply.status, Status::failed);
  EXPECT_EQ(reply.errorName(), "com.example.Error.Full");
}

TEST_F(BusConnectionTests, ACallOnAMissingObjectFailsAtOnce) {
  BusReply reply = client.call(echo("x"), 5s);
  EXPECT_EQ(reply.status, Status::failed);
  EXPECT_EQ(reply.errorName(), "org.freedesktop.DBus.Error.UnknownObject");
}

TEST_F(BusConnectionTests, ASilentObjectCostsTheTimeOutAndItsLateAnswerHarmsNobody) {
  BusMessage unanswered;
  server.exportObject(objectPath, interfaceXML, [&](const BusMessage& call) {
    if (call.read().string() == "silent") {
      unanswered = call;
      return;
    }
    server.send(BusMessage::returnOf(unanswered));
    BusMessage reply = BusMessage::returnOf(call);
    BusWriter(reply).string("second");
    server.send(reply);
  });
  auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(client.call(echo("silent"), 80ms).status, Status::timedOut);
  EXPECT_GE(std::chrono::steady_clock::now() - start, 80ms);
  EXPECT_EQ(client.call(echo("x"), 5s).read().string(), "second");
}

TEST_F(BusConnectionTests, AnAsynchronousCallReportsItsTimeOut) {
  server.exportObject(objectPath, interfaceXML, [](const BusMessage&) {});
  std::promise<Status> outcome;
  client.callLater(echo("x"), 60ms, [&](const BusReply& reply) { outcome.set_value(reply.status); });
  EXPECT_EQ(outcome.get_future().get(), Status::timedOut);
}

TEST_F(BusConnectionTests, AHandlerMayMakeABlockingCall) {
  exportEcho();
  std::promise<std::string> answer;
  client.callLater(echo("first"), 5s, [&](const BusReply& reply) {
    answer.set_value(client.call(echo(reply.read().string() + " second"), 5s).read().string());
  });
  EXPECT_EQ(answer.get_future().get(), "first second");
}

TEST_F(BusConnectionTests, AFlightKeepsTagsWithTheirAnswersBeyondItsWindow) {
  exportEcho();
  BusFlight flight(client, 16);
  for (std::uint64_t tag = 0; tag < 500; ++tag) flight.send(echo(std::to_string(tag)), tag);
  std::size_t answers = 0;
  while (auto arrival = flight.next(BusConnection::Clock::now() + 5s)) {
    EXPECT_EQ(arrival->reply.read().string(), std::to_string(arrival->tag));
    ++answers;
  }
  EXPECT_EQ(answers, 500u);
  EXPECT_TRUE(flight.isEmpty());
}

TEST_F(BusConnectionTests, AFlightCanGrowWhileItIsRead) {
  exportEcho();
  BusFlight flight(client, 4);
  flight.send(echo("0"), 0);
  std::uint64_t last = 0;
  while (auto arrival = flight.next(BusConnection::Clock::now() + 5s)) {
    last = arrival->tag;
    if (last < 100) flight.send(echo("x"), last + 1);
  }
  EXPECT_EQ(last, 100u);
}

TEST_F(BusConnectionTests, AFlightToASilentObjectEndsAtItsOneDeadline) {
  server.exportObject(objectPath, interfaceXML, [](const BusMessage&) {});
  auto start = std::chrono::steady_clock::now();
  BusFlight flight(client, 8);
  for (std::uint64_t tag = 0; tag < 100; ++tag) flight.send(echo("x"), tag);
  EXPECT_FALSE(flight.next(start + 100ms).has_value());
  EXPECT_FALSE(flight.isEmpty());
  EXPECT_LT(std::chrono::steady_clock::now() - start, 2s);
}

TEST_F(BusConnectionTests, ManyThreadsGetTheirOwnAnswers) {
  exportEcho();
  std::atomic<int> wrong = 0;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 8; ++thread) {
    threads.emplace_back([&, thread] {
      for (int call = 0; call < 100; ++call) {
        std::string text = std::to_string(thread) + "/" + std::to_string(call);
        if (client.call(echo(text), 10s).read().string() != text) ++wrong;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
}

TEST_F(BusConnectionTests, OnlyMatchingSignalsReachASubscription) {
  std::promise<std::string> heard;
  std::atomic<int> count = 0;
  client.subscribe({.sender = server.uniqueName(),
                    .path = "/a",
                    .interface = "b.c",
                    .member = "D",
                    .firstArgument = "yes"},
                   [&](const BusMessage& signal) {
                     ++count;
                     BusReader reader = signal.read();
                     reader.skip();
                     heard.set_value(reader.string());
                   });
  client.hasOwner("x.y");  // the match is in place once a later call has been answered
  auto emit = [&](const std::string& path, const std::string& first, const std::string& second) {
    BusMessage signal = BusMessage::signal(path, "b.c", "D");
    BusWriter(signal).string(first).string(second);
    server.send(signal);
  };
  emit("/other", "yes", "wrong path");
  emit("/a", "no", "wrong argument");
  emit("/a", "yes", "right");
  EXPECT_EQ(heard.get_future().get(), "right");
  EXPECT_EQ(count, 1);
}

TEST_F(BusConnectionTests, AnEndedSubscriptionHearsNothingMore) {
  std::atomic<int> ended = 0;
  std::promise<void> last;
  auto subscription =
      client.subscribe({.interface = "b.c", .member = "D"}, [&](const BusMessage&) { ++ended; });
  client.subscribe({.interface = "b.c", .member = "Last"}, [&](const BusMessage&) { last.set_value(); });
  client.unsubscribe(subscription);
  client.hasOwner("x.y");
  server.send(BusMessage::signal("/a", "b.c", "D"));
  server.send(BusMessage::signal("/a", "b.c", "Last"));
  last.get_future().wait();
  EXPECT_EQ(ended, 0);
}

TEST_F(BusConnectionTests, ANameHasOneOwnerUntilItIsReleased) {
  EXPECT_TRUE(server.requestName("com.example.Name"));
  EXPECT_TRUE(server.requestName("com.example.Name"));
  EXPECT_FALSE(client.requestName("com.example.Name"));
  EXPECT_TRUE(client.hasOwner("com.example.Name"));
  server.releaseName("com.example.Name");
  EXPECT_TRUE(client.requestName("com.example.Name"));
}

TEST_F(BusConnectionTests, TheBusKnowsTheProcessBehindAName) {
  auto credentials = client.credentials(server.uniqueName());
  ASSERT_TRUE(credentials.has_value());
  EXPECT_EQ(credentials->pid, getpid());
  EXPECT_EQ(credentials->uid, getuid());
  EXPECT_FALSE(client.credentials(":9.999").has_value());
}

TEST_F(BusConnectionTests, IntrospectionShowsTheObjectAndTheWayToIt) {
  exportEcho();
  auto introspect = [&](const std::string& path) {
    return client.call(BusMessage::methodCall(server.uniqueName(), path,
                                              "org.freedesktop.DBus.Introspectable", "Introspect"),
                       5s);
  };
  EXPECT_NE(introspect(objectPath).read().string().find(interfaceXML), std::string::npos);
  EXPECT_NE(introspect("/com").read().string().find("<node name=\"example\"/>"), std::string::npos);
  EXPECT_NE(introspect("/").read().string().find("<node name=\"com\"/>"), std::string::npos);
  EXPECT_EQ(introspect("/elsewhere").status, Status::failed);
}

TEST_F(BusConnectionTests, WaitingCallsFailAtOnceWhenTheBusEnds) {
  server.exportObject(objectPath, interfaceXML, [](const BusMessage&) {});
  BusMessage call = echo("x");
  std::thread stopper([&] {
    std::this_thread::sleep_for(50ms);
    bus.stop();
  });
  auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(client.call(call, 30s).status, Status::disconnected);
  EXPECT_LT(std::chrono::steady_clock::now() - start, 10s);
  stopper.join();
  EXPECT_EQ(client.call(call, 30s).status, Status::disconnected);
}

TEST_F(BusConnectionTests, WhenTheBusReturnsNamesMatchesAndObjectsAreBack) {
  exportEcho();
  ASSERT_TRUE(server.requestName("com.example.Name"));
  std::promise<void> heard;
  std::promise<void> reconnected;
  client.subscribe({.interface = "b.c", .member = "D"}, [&](const BusMessage&) { heard.set_value(); });
  client.onReconnected([&] { reconnected.set_value(); });

  bus.stop();
  ASSERT_TRUE(becomesTrue([&] { return !client.isConnected() && !server.isConnected(); }));
  bus.start();
  reconnected.get_future().wait();
  ASSERT_TRUE(becomesTrue([&] { return client.hasOwner("com.example.Name"); }));
  EXPECT_EQ(client.call(echo("again"), 5s).read().string(), "again");
  server.send(BusMessage::signal("/a", "b.c", "D"));
  EXPECT_EQ(heard.get_future().wait_for(5s), std::future_status::ready);
}

TEST(BusConnectionWithoutBusTests, CallsAnswerAtOnceAndTheConnectionEndsAtOnce) {
  BusConnection connection([] { return std::string("unix:path=/nonexistent/bus"); });
  EXPECT_FALSE(connection.isConnected());
  EXPECT_EQ(connection.uniqueName(), "");
  EXPECT_EQ(connection.call(BusMessage::methodCall("a.b", "/", "a.b", "C"), 30s).status,
            Status::disconnected);
  EXPECT_FALSE(connection.send(BusMessage::signal("/a", "b.c", "D")));
}

}  // namespace
}  // namespace tavik
