#include "Backends/Linux/Transport/UnixSockets.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace tavik {

namespace {

SocketTransfer transferOf(ssize_t outcome) {
  if (outcome < 0) return {.count = 0, .error = errno};
  return {.count = static_cast<std::size_t>(outcome), .error = 0};
}

class UnixSocket : public LocalSocket {
 public:
  explicit UnixSocket(int descriptor) : descriptor_(descriptor) {}
  ~UnixSocket() override { close(descriptor_); }
  UnixSocket(const UnixSocket&) = delete;
  UnixSocket& operator=(const UnixSocket&) = delete;

  SocketTransfer read(std::span<std::uint8_t> into) override {
    return transferOf(recv(descriptor_, into.data(), into.size(), 0));
  }
  SocketTransfer write(std::span<const std::uint8_t> bytes) override {
    return transferOf(send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL));
  }
  void shutdown() override { ::shutdown(descriptor_, SHUT_RDWR); }

 private:
  const int descriptor_;
};

}  // namespace

auto UnixSockets::connect(const std::string& path) -> Connection {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof(address.sun_path)) return {nullptr, ENAMETOOLONG};
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);

  // A listener that accepts nobody would keep a blocking connect waiting for ever.
  const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (descriptor < 0) return {nullptr, errno};
  auto connected = std::make_unique<UnixSocket>(descriptor);
  if (::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
    return {nullptr, errno};
  }
  if (fcntl(descriptor, F_SETFL, fcntl(descriptor, F_GETFL) & ~O_NONBLOCK) != 0) return {nullptr, errno};
  return {std::move(connected), 0};
}

}  // namespace tavik
