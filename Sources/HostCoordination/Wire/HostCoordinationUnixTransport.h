#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "Base/Concurrency/Mutex.h"
#include "Base/Concurrency/TurnLock.h"
#include "Base/Encoding/Bytes.h"
#include "Base/JSON/JSON.h"
#include "PlatformInterfaces/LocalSocketPort.h"

namespace tavik {

/// Carries JSON objects over one local socket, each behind its length in four
/// bytes, little-endian. Each connection has a generation of its own, so that
/// whoever used an older one finds out instead of reading or writing on the new one.
///
/// One thread at a time reads; any thread writes, connects and closes. Operations
/// throw `HostCoordinationTransportError`, and reading also `DecodingError`.
class HostCoordinationUnixTransport {
 public:
  static constexpr std::size_t maximumFrameBytes = 0x10000000;
  /// The longest path of a socket, with the zero byte at its end.
  static constexpr std::size_t maximumPathBytes = 104;

  HostCoordinationUnixTransport(Scheduler& scheduler, LocalSocketPort& sockets, std::string socketPath);

  const std::string& socketPath() const { return socketPath_; }

  /// Closes what is open and connects anew. Gives the generation of the connection.
  std::uint64_t connect();

  /// Blocks until the other end has taken the whole frame or the connection is
  /// closed. With a generation, only on that connection.
  void writeFrame(const JSON& object, std::optional<std::uint64_t> expectedGeneration = std::nullopt);

  /// Blocks for the next frame, or until the connection is closed. A frame that
  /// arrived while the connection was being replaced is dropped.
  ParsedJSON readFrame(std::optional<std::uint64_t> expectedGeneration = std::nullopt);

  /// Wakes whoever reads and writes; the descriptor is closed when they have left.
  /// With a generation, only that connection.
  void close(std::optional<std::uint64_t> expectedGeneration = std::nullopt);

  bool isConnected() const;

 private:
  struct Connection {
    const std::uint64_t generation;
    const std::unique_ptr<LocalSocket> socket;
    /// Keeps the frames of several writers apart. Not held by `close`, which a peer
    /// that never reads must not keep waiting.
    TurnLock writing;
  };

  std::shared_ptr<Connection> connection(std::optional<std::uint64_t> expectedGeneration) const;

  Scheduler& scheduler_;
  LocalSocketPort& sockets_;
  const std::string socketPath_;

  mutable Mutex connectionLock_;
  std::shared_ptr<Connection> connection_;
  std::uint64_t generationCounter_ = 0;
};

}  // namespace tavik
