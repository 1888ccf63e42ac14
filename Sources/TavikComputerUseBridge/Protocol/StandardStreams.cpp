#include "TavikComputerUseBridge/Protocol/StandardStreams.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <string_view>

#include "TavikComputerUseBridge/Protocol/MessageLines.h"

namespace tavik {
namespace {

void writeAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
}

}  // namespace

LineWriter::LineWriter(Scheduler& scheduler, int descriptor)
    : descriptor_(descriptor), queue_(scheduler, "standard output") {}

void LineWriter::write(std::string line) {
  queue_.async([this, line = std::move(line)] { writeAll(descriptor_, line + "\n"); });
}

void LineWriter::flush() {
  queue_.sync([] {});
}

void readLines(int descriptor, std::size_t maximumBytes,
               const std::function<void(std::optional<std::string>)>& handler) {
  MessageLines lines(maximumBytes);
  std::array<char, 64 * 1024> buffer;
  while (true) {
    const ssize_t count = ::read(descriptor, buffer.data(), buffer.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) break;
    lines.append({buffer.data(), static_cast<std::size_t>(count)}, handler);
  }
  lines.finish(handler);
}

}  // namespace tavik
