#include "TavikComputerUseBridge/Protocol/MessageLines.h"

#include <utility>

namespace tavik {

void MessageLines::append(std::string_view bytes, const Handler& handler) {
  while (true) {
    const auto end = bytes.find('\n');
    keep(bytes.substr(0, end));
    if (end == std::string_view::npos) return;
    handOn(handler);
    bytes.remove_prefix(end + 1);
  }
}

void MessageLines::finish(const Handler& handler) {
  if (!line_.empty() || isTooLong_) handOn(handler);
}

void MessageLines::keep(std::string_view bytes) {
  if (isTooLong_) return;
  if (line_.size() + bytes.size() > maximumBytes_) {
    isTooLong_ = true;
    line_ = {};
    return;
  }
  line_ += bytes;
}

void MessageLines::handOn(const Handler& handler) {
  if (line_.ends_with('\r')) line_.pop_back();
  const bool wasTooLong = std::exchange(isTooLong_, false);
  std::string line = std::exchange(line_, {});
  handler(wasTooLong ? std::nullopt : std::optional(std::move(line)));
}

}  // namespace tavik
