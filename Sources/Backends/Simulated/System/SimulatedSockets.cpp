#include "Backends/Simulated/System/SimulatedSockets.h"

#include <algorithm>
#include <atomic>
#include <cerrno>

namespace tavik {

/// One direction of a connection.
class SimulatedPipe {
 public:
  SimulatedPipe(Scheduler& scheduler, std::optional<std::size_t> limit) : scheduler_(scheduler), limit_(limit) {}

  SocketTransfer read(std::span<std::uint8_t> into) {
    while (true) {
      Completion<Unit> change(scheduler_);
      {
        MutexLock lock(mutex_);
        if (!bytes_.empty()) return {take(into), 0};
        if (isClosed_) return {0, 0};
        waiting_.push_back(change);
      }
      change.wait("bytes on a socket");
    }
  }

  SocketTransfer write(std::span<const std::uint8_t> bytes) {
    while (true) {
      Completion<Unit> change(scheduler_);
      {
        MutexLock lock(mutex_);
        if (isClosed_) return {0, EPIPE};
        const std::size_t room = limit_ ? *limit_ - std::min(*limit_, bytes_.size()) : bytes.size();
        if (room > 0) {
          const std::size_t count = std::min(room, bytes.size());
          bytes_.insert(bytes_.end(), bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(count));
          wakeLocked();
          return {count, 0};
        }
        waiting_.push_back(change);
      }
      change.wait("room on a socket");
    }
  }

  void close() {
    MutexLock lock(mutex_);
    isClosed_ = true;
    wakeLocked();
  }

  /// Like `close`, and what is on its way is lost.
  void cut() {
    MutexLock lock(mutex_);
    isClosed_ = true;
    bytes_.clear();
    wakeLocked();
  }

 private:
  std::size_t take(std::span<std::uint8_t> into) {
    const std::size_t count = std::min(into.size(), bytes_.size());
    const auto end = bytes_.begin() + static_cast<std::ptrdiff_t>(count);
    std::copy(bytes_.begin(), end, into.begin());
    bytes_.erase(bytes_.begin(), end);
    wakeLocked();
    return count;
  }

  void wakeLocked() {
    for (const auto& waiter : waiting_) waiter.resume();
    waiting_.clear();
  }

  Scheduler& scheduler_;
  const std::optional<std::size_t> limit_;
  Mutex mutex_;
  std::deque<std::uint8_t> bytes_;
  bool isClosed_ = false;
  std::vector<Completion<Unit>> waiting_;
};

SimulatedPeer::SimulatedPeer(std::shared_ptr<SimulatedPipe> incoming, std::shared_ptr<SimulatedPipe> outgoing)
    : incoming_(std::move(incoming)), outgoing_(std::move(outgoing)) {}

std::optional<Bytes> SimulatedPeer::read(std::size_t count) {
  Bytes bytes(count);
  std::span<std::uint8_t> rest(bytes);
  while (!rest.empty()) {
    const SocketTransfer taken = incoming_->read(rest);
    if (taken.count == 0) return std::nullopt;
    rest = rest.subspan(taken.count);
  }
  return bytes;
}

void SimulatedPeer::write(const Bytes& bytes) {
  std::span<const std::uint8_t> rest(bytes);
  while (!rest.empty()) {
    const SocketTransfer written = outgoing_->write(rest);
    if (written.error != 0) return;
    rest = rest.subspan(written.count);
  }
}

void SimulatedPeer::close() {
  incoming_->close();
  outgoing_->close();
}

struct SimulatedSockets::Count {
  std::atomic<int> value = 0;
};

class SimulatedSockets::Socket : public LocalSocket {
 public:
  Socket(std::shared_ptr<SimulatedPipe> incoming, std::shared_ptr<SimulatedPipe> outgoing,
         std::shared_ptr<Count> count)
      : incoming_(std::move(incoming)), outgoing_(std::move(outgoing)), count_(std::move(count)) {
    ++count_->value;
  }
  ~Socket() override {
    requireNoLockHeld("closing a socket");
    shutdown();
    --count_->value;
  }

  SocketTransfer read(std::span<std::uint8_t> into) override {
    requireNoLockHeld("reading a socket");
    return incoming_->read(into);
  }
  SocketTransfer write(std::span<const std::uint8_t> bytes) override {
    requireNoLockHeld("writing a socket");
    return outgoing_->write(bytes);
  }
  void shutdown() override {
    requireNoLockHeld("shutting a socket down");
    incoming_->cut();
    outgoing_->close();
  }

 private:
  std::shared_ptr<SimulatedPipe> incoming_;
  std::shared_ptr<SimulatedPipe> outgoing_;
  std::shared_ptr<Count> count_;
};

std::shared_ptr<SimulatedSockets::Count> SimulatedSockets::makeCount() {
  return std::make_shared<Count>();
}

void SimulatedSockets::listen(const std::string& path) {
  MutexLock lock(mutex_);
  listeners_[path].isListening = true;
}

void SimulatedSockets::stopListening(const std::string& path) {
  MutexLock lock(mutex_);
  listeners_[path].isListening = false;
}

SimulatedPeer SimulatedSockets::accept(const std::string& path) {
  while (true) {
    Completion<Unit> arrival(scheduler_);
    {
      MutexLock lock(mutex_);
      Listener& listener = listeners_[path];
      if (!listener.waiting.empty()) {
        SimulatedPeer peer = listener.waiting.front();
        listener.waiting.pop_front();
        return peer;
      }
      listener.arrival = arrival;
    }
    arrival.waitOrCancel("a connection");
  }
}

int SimulatedSockets::openCount() const {
  return open_->value;
}

int SimulatedSockets::connectionAttempts() const {
  MutexLock lock(mutex_);
  return connectionAttempts_;
}

auto SimulatedSockets::connect(const std::string& path) -> Connection {
  requireNoLockHeld("connecting a socket");
  std::optional<Completion<Unit>> arrival;
  Connection connection;
  {
    MutexLock lock(mutex_);
    ++connectionAttempts_;
    const auto listener = listeners_.find(path);
    if (listener == listeners_.end()) return {nullptr, ENOENT};
    if (!listener->second.isListening) return {nullptr, ECONNREFUSED};
    auto toClient = std::make_shared<SimulatedPipe>(scheduler_, bufferLimit_);
    auto toServer = std::make_shared<SimulatedPipe>(scheduler_, bufferLimit_);
    listener->second.waiting.emplace_back(toServer, toClient);
    arrival.swap(listener->second.arrival);
    connection.socket = std::make_unique<Socket>(std::move(toClient), std::move(toServer), open_);
  }
  if (arrival) arrival->resume();
  return connection;
}

}  // namespace tavik
