#include "HostCoordination/Wire/HostCoordinationUnixTransport.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

#include "Base/Concurrency/SimulatedScheduler.h"
#include "Base/JSON/DecodingError.h"
#include "HostCoordination/Wire/HostCoordinationTransportError.h"
#include "Tests/Support/ScriptedRouter.h"
#include "Tests/Support/SeedCount.h"

namespace tavik {
namespace {

using Case = HostCoordinationTransportError::Case;

struct Wire {
  explicit Wire(SimulatedScheduler& scheduler, const std::string& path = routerPath)
      : scheduler(scheduler), sockets(scheduler), transport(scheduler, sockets, path) {
    sockets.listen(path);
  }
  SimulatedScheduler& scheduler;
  SimulatedSockets sockets;
  HostCoordinationUnixTransport transport;

  /// Connects and gives the other end.
  ScriptedRouter connect(std::uint64_t& generation) {
    generation = transport.connect();
    return ScriptedRouter::accept(sockets);
  }
};

void onWire(const std::function<void(Wire&)>& body) {
  SimulatedScheduler scheduler;
  scheduler.run([&] {
    Wire wire(scheduler);
    body(wire);
  });
}

template <class Body>
Case failureOf(Body body) {
  try {
    body();
  } catch (const HostCoordinationTransportError& error) {
    return error.which();
  }
  ADD_FAILURE() << "nothing was thrown";
  return Case::system;
}

TEST(HostCoordinationUnixTransport, carriesFramesInBothDirections) {
  onWire([](Wire& wire) {
    std::uint64_t generation;
    ScriptedRouter router = wire.connect(generation);
    wire.transport.writeFrame({{"b", 1}, {"a", "ü"}}, generation);
    EXPECT_EQ(router.receive().value().dump(), R"({"a":"ü","b":1})");
    router.send({{"x", {1, 2}}});
    EXPECT_EQ(wire.transport.readFrame(generation).dump(), R"({"x":[1,2]})");
  });
}

TEST(HostCoordinationUnixTransport, aFrameIsItsLengthLittleEndianAndItsText) {
  onWire([](Wire& wire) {
    wire.transport.connect();
    SimulatedPeer peer = wire.sockets.accept(routerPath);
    wire.transport.writeFrame({{"a", std::string(300, 'x')}});
    const Bytes header = peer.read(4).value();
    EXPECT_EQ(header, (Bytes{0x34, 0x01, 0, 0}));
    EXPECT_EQ(textOf(peer.read(0x134).value()), R"({"a":")" + std::string(300, 'x') + R"("})");
  });
}

TEST(HostCoordinationUnixTransport, framesThatArriveByteByByteOrTogetherAreReadOneByOne) {
  onWire([](Wire& wire) {
    std::uint64_t generation;
    ScriptedRouter router = wire.connect(generation);
    Task sender = wire.scheduler.start("router", [&] {
      for (std::uint8_t byte : frameOf(R"({"n":1})")) {
        router.sendBytes({byte});
        wire.scheduler.sleep(milliseconds(10));
      }
      Bytes two = frameOf(R"({"n":2})");
      const Bytes third = frameOf(R"({"n":3})");
      two.insert(two.end(), third.begin(), third.end());
      router.sendBytes(two);
    });
    for (int number = 1; number <= 3; ++number) EXPECT_EQ(wire.transport.readFrame(generation)["n"], number);
    sender.join();
  });
}

TEST(HostCoordinationUnixTransport, aPathOf103BytesConnectsAndOneMoreIsTooLongBeforeAnyAttempt) {
  SimulatedScheduler scheduler;
  scheduler.run([&] {
    Wire fits(scheduler, "/" + std::string(102, 'p'));
    EXPECT_EQ(fits.transport.connect(), 1u);
    Wire tooLong(scheduler, "/" + std::string(103, 'p'));
    EXPECT_EQ(failureOf([&] { tooLong.transport.connect(); }), Case::socketPathTooLong);
    EXPECT_EQ(tooLong.sockets.connectionAttempts(), 0);
  });
}

TEST(HostCoordinationUnixTransport, withoutAListenerConnectingFailsWithTheSystemsNumber) {
  onWire([](Wire& wire) {
    wire.sockets.stopListening(routerPath);
    try {
      wire.transport.connect();
      ADD_FAILURE();
    } catch (const HostCoordinationTransportError& error) {
      EXPECT_EQ(error.diagnosticReason(), "system_error_" + std::to_string(ECONNREFUSED));
      EXPECT_EQ(error.description(), std::strerror(ECONNREFUSED));
    }
    EXPECT_FALSE(wire.transport.isConnected());
  });
}

TEST(HostCoordinationUnixTransport, everyConnectionHasANewGenerationAndReplacesTheOneBefore) {
  onWire([](Wire& wire) {
    std::uint64_t first, second;
    ScriptedRouter old = wire.connect(first);
    ScriptedRouter fresh = wire.connect(second);
    EXPECT_GT(second, first);
    EXPECT_FALSE(old.receive());
    EXPECT_EQ(wire.sockets.openCount(), 1);
    EXPECT_EQ(failureOf([&] { wire.transport.writeFrame(JSON::object(), first); }), Case::connectionChanged);
    EXPECT_EQ(failureOf([&] { wire.transport.readFrame(first); }), Case::connectionChanged);
    wire.transport.writeFrame(JSON::object(), second);
    EXPECT_TRUE(fresh.receive());
  });
}

TEST(HostCoordinationUnixTransport, closingAnOldGenerationLeavesTheNewerConnectionOpen) {
  onWire([](Wire& wire) {
    std::uint64_t first, second;
    wire.connect(first);
    ScriptedRouter router = wire.connect(second);
    wire.transport.close(first);
    EXPECT_TRUE(wire.transport.isConnected());
    wire.transport.close(second);
    EXPECT_FALSE(wire.transport.isConnected());
    EXPECT_FALSE(router.receive());
    EXPECT_EQ(wire.sockets.openCount(), 0);
    wire.transport.close();
  });
}

TEST(HostCoordinationUnixTransport, withoutAConnectionNothingIsReadOrWritten) {
  onWire([](Wire& wire) {
    EXPECT_EQ(failureOf([&] { wire.transport.writeFrame(JSON::object()); }), Case::notConnected);
    EXPECT_EQ(failureOf([&] { wire.transport.readFrame(); }), Case::notConnected);
    EXPECT_EQ(failureOf([&] { wire.transport.readFrame(7); }), Case::notConnected);
  });
}

TEST(HostCoordinationUnixTransport, lengthsOutsideTheLimitsAreInvalidAndCloseNothingByThemselves) {
  for (const Bytes& header : {Bytes{0, 0, 0, 0}, Bytes{1, 0, 0, 0x10}, Bytes{0xff, 0xff, 0xff, 0xff}, Bytes{'H', 'T', 'T', 'P'}}) {
    onWire([&](Wire& wire) {
      std::uint64_t generation;
      ScriptedRouter router = wire.connect(generation);
      router.sendBytes(header);
      EXPECT_EQ(failureOf([&] { wire.transport.readFrame(generation); }), Case::invalidFrame);
      EXPECT_TRUE(wire.transport.isConnected());
    });
  }
}

TEST(HostCoordinationUnixTransport, aTopLevelThatIsNoObjectIsInvalid) {
  for (const char* payload : {"[]", "7", "\"text\"", "null"}) {
    onWire([&](Wire& wire) {
      std::uint64_t generation;
      ScriptedRouter router = wire.connect(generation);
      router.sendBytes(frameOf(payload));
      EXPECT_EQ(failureOf([&] { wire.transport.readFrame(generation); }), Case::invalidFrame) << payload;
    });
  }
}

TEST(HostCoordinationUnixTransport, aTextThatIsNoJSONFailsAsSuchAndSaysNothingOfItsContent) {
  onWire([](Wire& wire) {
    std::uint64_t generation;
    ScriptedRouter router = wire.connect(generation);
    router.sendBytes(frameOf(R"({"password": hunter2})"));
    try {
      wire.transport.readFrame(generation);
      ADD_FAILURE();
    } catch (const DecodingError& error) {
      EXPECT_STREQ(error.what(), "The given data was not valid JSON.");
    }
  });
}

TEST(HostCoordinationUnixTransport, anEndInTheHeaderOrThePayloadIsAClosedConnection) {
  for (const Bytes& sent : {Bytes{}, Bytes{7, 0}, Bytes{7, 0, 0, 0}, Bytes{7, 0, 0, 0, '{', '"'}}) {
    onWire([&](Wire& wire) {
      std::uint64_t generation;
      ScriptedRouter router = wire.connect(generation);
      router.sendBytes(sent);
      router.close();
      EXPECT_EQ(failureOf([&] { wire.transport.readFrame(generation); }), Case::connectionClosed);
    });
  }
}

TEST(HostCoordinationUnixTransport, closingWakesAReaderAndAWriterWhosePeerNeverReads) {
  onWire([](Wire& wire) {
    wire.sockets.limitBuffers(16);
    const std::uint64_t generation = wire.transport.connect();
    SimulatedPeer deaf = wire.sockets.accept(routerPath);
    int ended = 0;
    Task reader = wire.scheduler.start("reader", [&] {
      EXPECT_EQ(failureOf([&] { wire.transport.readFrame(generation); }), Case::connectionClosed);
      ++ended;
    });
    std::vector<Task> writers;
    for (int i = 0; i < 3; ++i) {
      writers.push_back(wire.scheduler.start("writer", [&] {
        failureOf([&] { wire.transport.writeFrame({{"text", std::string(100, 'x')}}, generation); });
        ++ended;
      }));
    }
    wire.scheduler.settle();
    EXPECT_EQ(ended, 0);
    wire.transport.close();
    wire.scheduler.settle();
    EXPECT_EQ(ended, 4);
    EXPECT_EQ(wire.sockets.openCount(), 0);
  });
}

TEST(HostCoordinationUnixTransport, aDescriptorIsClosedOnlyAfterItsReaderHasLeft) {
  onWire([](Wire& wire) {
    const std::uint64_t first = wire.transport.connect();
    Task reader = wire.scheduler.start("reader", [&] { failureOf([&] { wire.transport.readFrame(first); }); });
    wire.scheduler.settle();
    wire.transport.close();
    // The reader, which has not run yet, still owns the socket that it was reading.
    EXPECT_EQ(wire.sockets.openCount(), 1);
    reader.join();
    EXPECT_EQ(wire.sockets.openCount(), 0);
  });
}

TEST(HostCoordinationUnixTransport, aFrameThatArrivesWhileTheConnectionIsReplacedIsDropped) {
  std::uint64_t delivered = 0, dropped = 0;
  exploreSeeds(seedCount(2000), [&](SimulatedScheduler& scheduler) {
    scheduler.run([&] {
      Wire wire(scheduler);
      const std::uint64_t first = wire.transport.connect();
      SimulatedPeer peer = wire.sockets.accept(routerPath);
      Task reader = scheduler.start("reader", [&] {
        try {
          EXPECT_EQ(wire.transport.readFrame(first)["from"], "first");
          ++delivered;
        } catch (const HostCoordinationTransportError&) {
          ++dropped;
        }
      });
      Task sender = scheduler.start("sender", [&] { peer.write(frameOf(R"({"from":"first"})")); });
      wire.transport.connect();
      wire.sockets.accept(routerPath).write(frameOf(R"({"from":"second"})"));
      reader.join();
      sender.join();
    });
  });
  EXPECT_GT(delivered, 0u);
  EXPECT_GT(dropped, 0u);
}

TEST(HostCoordinationUnixTransport, framesOfManyWritersNeverMix) {
  exploreSeeds(seedCount(300), [&](SimulatedScheduler& scheduler) {
    scheduler.run([&] {
      Wire wire(scheduler);
      wire.sockets.limitBuffers(7);
      std::uint64_t generation;
      ScriptedRouter router = wire.connect(generation);
      std::vector<Task> writers;
      for (int number = 0; number < 4; ++number) {
        writers.push_back(scheduler.start("writer", [&, number] {
          wire.transport.writeFrame({{"number", number}, {"text", std::string(20, 'x')}}, generation);
        }));
      }
      int sum = 0;
      for (int i = 0; i < 4; ++i) sum += router.receive().value()["number"].get<int>();
      EXPECT_EQ(sum, 0 + 1 + 2 + 3);
      for (const Task& writer : writers) writer.join();
    });
  });
}

TEST(HostCoordinationTransportError, saysEachCaseInItsWords) {
  const std::pair<Case, std::pair<const char*, const char*>> words[] = {
      {Case::connectionClosed, {"Host coordination socket closed", "connection_closed"}},
      {Case::connectionChanged, {"Host coordination socket connection changed", "connection_changed"}},
      {Case::frameTooLarge, {"Host coordination frame is too large", "frame_too_large"}},
      {Case::invalidFrame, {"Host coordination frame is invalid", "invalid_frame"}},
      {Case::notConnected, {"Host coordination socket is not connected", "not_connected"}},
      {Case::socketPathTooLong, {"Host coordination socket path is too long", "socket_path_too_long"}},
  };
  for (const auto& [which, expected] : words) {
    const HostCoordinationTransportError error(which);
    EXPECT_EQ(error.description(), expected.first);
    EXPECT_EQ(error.diagnosticReason(), expected.second);
  }
}

/// A socket that gives what a test says, one answer a call.
class ScriptedSocket : public LocalSocket {
 public:
  explicit ScriptedSocket(std::vector<SocketTransfer> writes, Bytes incoming)
      : writes_(std::move(writes)), incoming_(std::move(incoming)) {}
  SocketTransfer read(std::span<std::uint8_t> into) override {
    if (std::exchange(interrupted_, !interrupted_)) return {0, EINTR};
    if (incoming_.empty()) return {0, ECONNRESET};
    into[0] = incoming_.front();
    incoming_.erase(incoming_.begin());
    return {1, 0};
  }
  SocketTransfer write(std::span<const std::uint8_t> bytes) override {
    if (writes_.empty()) return {bytes.size(), 0};
    const SocketTransfer next = writes_.front();
    writes_.erase(writes_.begin());
    return next;
  }
  void shutdown() override {}

 private:
  bool interrupted_ = true;
  std::vector<SocketTransfer> writes_;
  Bytes incoming_;
};

class ScriptedSockets : public LocalSocketPort {
 public:
  std::vector<SocketTransfer> writes;
  Bytes incoming;
  Connection connect(const std::string&) override { return {std::make_unique<ScriptedSocket>(writes, incoming), 0}; }
};

std::string writeFailure(std::vector<SocketTransfer> writes) {
  SimulatedScheduler scheduler;
  std::string reason;
  scheduler.run([&] {
    ScriptedSockets sockets;
    sockets.writes = std::move(writes);
    HostCoordinationUnixTransport transport(scheduler, sockets, routerPath);
    transport.connect();
    try {
      transport.writeFrame({{"a", 1}});
    } catch (const HostCoordinationTransportError& error) {
      reason = error.diagnosticReason();
    }
  });
  return reason;
}

TEST(HostCoordinationUnixTransport, anInterruptedCallIsMadeAgainAndAnyOtherFailureIsTheSystems) {
  EXPECT_EQ(writeFailure({{0, EINTR}, {2, 0}, {0, EINTR}}), "");
  EXPECT_EQ(writeFailure({{0, EPIPE}}), "system_error_" + std::to_string(EPIPE));
  EXPECT_EQ(writeFailure({{3, 0}, {0, 0}}), "system_error_0");
  SimulatedScheduler scheduler;
  scheduler.run([&] {
    ScriptedSockets sockets;
    sockets.incoming = frameOf(R"({"n":1})");
    HostCoordinationUnixTransport transport(scheduler, sockets, routerPath);
    transport.connect();
    EXPECT_EQ(transport.readFrame()["n"], 1);
    EXPECT_EQ(failureOf([&] { transport.readFrame(); }), Case::connectionClosed);
  });
}

TEST(HostCoordinationUnixTransport, theLargestLengthIsAccepted) {
  onWire([](Wire& wire) {
    std::uint64_t generation;
    ScriptedRouter router = wire.connect(generation);
    router.sendBytes({0, 0, 0, 0x10});
    router.close();
    EXPECT_EQ(failureOf([&] { wire.transport.readFrame(generation); }), Case::connectionClosed);
  });
}

}  // namespace
}  // namespace tavik
