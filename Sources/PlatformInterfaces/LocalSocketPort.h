#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace tavik {

/// What one `read` or `write` of a socket gave: how many bytes, or the platform's
/// error number (errno) and no bytes.
struct SocketTransfer {
  std::size_t count = 0;
  int error = 0;
};

/// One connection to another process of this machine: a stream of bytes in each
/// direction. One thread at a time reads and one writes; `shutdown` may come from
/// any thread. Destroyed, and thereby closed, once nobody uses it any more.
class LocalSocket {
 public:
  virtual ~LocalSocket() = default;

  /// Blocks for at least one byte. No bytes and no error mean that the other end
  /// has closed the connection.
  virtual SocketTransfer read(std::span<std::uint8_t> into) = 0;
  /// Blocks until the other end has taken at least one byte. Never raises a signal.
  virtual SocketTransfer write(std::span<const std::uint8_t> bytes) = 0;
  /// Ends both directions; every call that blocks returns.
  virtual void shutdown() = 0;
};

/// Connects to sockets in the file system (AF_UNIX, SOCK_STREAM). Any thread.
class LocalSocketPort {
 public:
  struct Connection {
    /// Null when `error`, the platform's error number, says why not.
    std::unique_ptr<LocalSocket> socket;
    int error = 0;
  };

  virtual ~LocalSocketPort() = default;

  /// Does not wait: a listener with a full queue is an error.
  virtual Connection connect(const std::string& path) = 0;
};

}  // namespace tavik
