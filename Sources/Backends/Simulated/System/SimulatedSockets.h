#pragma once

#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "Base/Concurrency/Completion.h"
#include "Base/Concurrency/Mutex.h"
#include "Base/Encoding/Bytes.h"
#include "PlatformInterfaces/LocalSocketPort.h"

namespace tavik {

/// What lies between the two ends of a simulated connection: for each direction the
/// bytes that are on their way.
class SimulatedPipe;

/// The accepting end of a simulated connection, for a test that plays a server. Its
/// operations wait in the scheduler's time.
class SimulatedPeer {
 public:
  SimulatedPeer() = default;
  explicit SimulatedPeer(std::shared_ptr<SimulatedPipe> incoming, std::shared_ptr<SimulatedPipe> outgoing);

  explicit operator bool() const { return incoming_ != nullptr; }

  /// Blocks for exactly that many bytes; absent when the client has closed.
  std::optional<Bytes> read(std::size_t count);
  void write(const Bytes& bytes);
  /// Closes both directions.
  void close();

 private:
  std::shared_ptr<SimulatedPipe> incoming_;
  std::shared_ptr<SimulatedPipe> outgoing_;
};

/// Sockets in memory. A path has a listener while a test says so; each connection
/// then waits to be accepted.
class SimulatedSockets : public LocalSocketPort {
 public:
  explicit SimulatedSockets(Scheduler& scheduler) : scheduler_(scheduler) {}

  void listen(const std::string& path);
  /// From now on connecting fails; connections stay.
  void stopListening(const std::string& path);
  /// How many bytes a direction holds before a writer has to wait; unlimited at first.
  void limitBuffers(std::size_t bytes) { bufferLimit_ = bytes; }
  /// Blocks for the next connection to the path.
  SimulatedPeer accept(const std::string& path);

  /// Clients' ends that have not been destroyed.
  int openCount() const;
  int connectionAttempts() const;

  Connection connect(const std::string& path) override;

 private:
  struct Listener {
    bool isListening = false;
    std::deque<SimulatedPeer> waiting;
    std::optional<Completion<Unit>> arrival;
  };
  struct Count;
  class Socket;

  Scheduler& scheduler_;
  mutable Mutex mutex_;
  std::map<std::string, Listener> listeners_;
  std::optional<std::size_t> bufferLimit_;
  std::shared_ptr<Count> open_ = makeCount();
  int connectionAttempts_ = 0;

  static std::shared_ptr<Count> makeCount();
};

}  // namespace tavik
