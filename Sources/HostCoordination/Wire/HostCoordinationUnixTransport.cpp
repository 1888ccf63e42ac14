#include "HostCoordination/Wire/HostCoordinationUnixTransport.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <mutex>
#include <utility>

#include "HostCoordination/Wire/HostCoordinationTransportError.h"

namespace tavik {

namespace {

using TransportError = HostCoordinationTransportError;

constexpr std::size_t headerBytes = 4;
/// A header may promise more than ever comes, so memory is taken as it arrives.
constexpr std::size_t readAheadBytes = 1024 * 1024;

Bytes frameOf(const JSON& object) {
  const std::string payload = jsonText(object);
  if (payload.size() > HostCoordinationUnixTransport::maximumFrameBytes) {
    throw TransportError(TransportError::Case::frameTooLarge);
  }
  Bytes frame;
  frame.reserve(headerBytes + payload.size());
  for (std::size_t byte = 0; byte < headerBytes; ++byte) {
    frame.push_back(static_cast<std::uint8_t>(payload.size() >> (8 * byte)));
  }
  frame.insert(frame.end(), payload.begin(), payload.end());
  return frame;
}

void writeAll(LocalSocket& socket, std::span<const std::uint8_t> bytes) {
  while (!bytes.empty()) {
    const SocketTransfer written = socket.write(bytes);
    if (written.error == EINTR) continue;
    if (written.error != 0 || written.count == 0) throw TransportError::system(written.error);
    bytes = bytes.subspan(written.count);
  }
}

void readAll(LocalSocket& socket, std::span<std::uint8_t> into) {
  while (!into.empty()) {
    const SocketTransfer taken = socket.read(into);
    if (taken.error == EINTR) continue;
    if (taken.error != 0 || taken.count == 0) throw TransportError(TransportError::Case::connectionClosed);
    into = into.subspan(taken.count);
  }
}

std::size_t readLength(LocalSocket& socket) {
  std::array<std::uint8_t, headerBytes> header;
  readAll(socket, header);
  std::size_t length = 0;
  for (std::size_t byte = 0; byte < headerBytes; ++byte) {
    length |= static_cast<std::size_t>(header[byte]) << (8 * byte);
  }
  if (length == 0 || length > HostCoordinationUnixTransport::maximumFrameBytes) {
    throw TransportError(TransportError::Case::invalidFrame);
  }
  return length;
}

Bytes readPayload(LocalSocket& socket, std::size_t length) {
  Bytes payload;
  while (payload.size() < length) {
    const std::size_t begin = payload.size();
    payload.resize(std::min(length, begin + readAheadBytes));
    readAll(socket, std::span(payload).subspan(begin));
  }
  return payload;
}

}  // namespace

HostCoordinationUnixTransport::HostCoordinationUnixTransport(Scheduler& scheduler, LocalSocketPort& sockets,
                                                             std::string socketPath)
    : scheduler_(scheduler), sockets_(sockets), socketPath_(std::move(socketPath)) {}

std::uint64_t HostCoordinationUnixTransport::connect() {
  close();
  if (socketPath_.size() + 1 > maximumPathBytes) {
    throw TransportError(TransportError::Case::socketPathTooLong);
  }
  LocalSocketPort::Connection connected = sockets_.connect(socketPath_);
  if (!connected.socket) throw TransportError::system(connected.error);

  std::shared_ptr<Connection> replaced;
  std::uint64_t generation;
  {
    MutexLock lock(connectionLock_);
    // 0 stands for no connection.
    if (++generationCounter_ == 0) ++generationCounter_;
    generation = generationCounter_;
    replaced = std::exchange(connection_, std::shared_ptr<Connection>(new Connection{
                                              generation, std::move(connected.socket), TurnLock(scheduler_)}));
  }
  if (replaced) replaced->socket->shutdown();
  return generation;
}

void HostCoordinationUnixTransport::writeFrame(const JSON& object,
                                               std::optional<std::uint64_t> expectedGeneration) {
  const Bytes frame = frameOf(object);
  const auto current = connection(expectedGeneration);
  std::lock_guard turn(current->writing);
  // It may have been replaced while this waited for its turn.
  connection(current->generation);
  writeAll(*current->socket, frame);
}

ParsedJSON HostCoordinationUnixTransport::readFrame(std::optional<std::uint64_t> expectedGeneration) {
  const auto current = connection(expectedGeneration);
  const Bytes payload = readPayload(*current->socket, readLength(*current->socket));
  ParsedJSON frame = parsedJSON(textOf(payload), maximumFrameBytes);
  if (!frame.is_object()) throw TransportError(TransportError::Case::invalidFrame);
  if (expectedGeneration) {
    MutexLock lock(connectionLock_);
    if (!connection_ || connection_->generation != *expectedGeneration) {
      throw TransportError(TransportError::Case::connectionChanged);
    }
  }
  return frame;
}

void HostCoordinationUnixTransport::close(std::optional<std::uint64_t> expectedGeneration) {
  std::shared_ptr<Connection> closed;
  {
    MutexLock lock(connectionLock_);
    if (!connection_ || (expectedGeneration && connection_->generation != *expectedGeneration)) return;
    closed = std::move(connection_);
  }
  closed->socket->shutdown();
}

bool HostCoordinationUnixTransport::isConnected() const {
  MutexLock lock(connectionLock_);
  return connection_ != nullptr;
}

auto HostCoordinationUnixTransport::connection(std::optional<std::uint64_t> expectedGeneration) const
    -> std::shared_ptr<Connection> {
  MutexLock lock(connectionLock_);
  if (!connection_) throw TransportError(TransportError::Case::notConnected);
  if (expectedGeneration && connection_->generation != *expectedGeneration) {
    throw TransportError(TransportError::Case::connectionChanged);
  }
  return connection_;
}

}  // namespace tavik
