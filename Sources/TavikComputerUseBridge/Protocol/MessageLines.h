#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace tavik {

/// Cuts a stream of bytes into lines, one message each. Of a line that is longer
/// than the limit no more is kept than the limit; it is reported when it ends.
class MessageLines {
 public:
  /// Given each line without its line end, or nothing for one that was too long.
  using Handler = std::function<void(std::optional<std::string> line)>;

  explicit MessageLines(std::size_t maximumBytes) : maximumBytes_(maximumBytes) {}

  /// Takes the next bytes of the stream and hands on each line that they complete.
  void append(std::string_view bytes, const Handler& handler);
  /// The stream ended: hands on what stands behind the last line feed, if anything.
  void finish(const Handler& handler);

 private:
  void keep(std::string_view bytes);
  void handOn(const Handler& handler);

  const std::size_t maximumBytes_;
  std::string line_;
  bool isTooLong_ = false;
};

}  // namespace tavik
