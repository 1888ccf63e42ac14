#pragma once

#include <compare>
#include <string>

namespace tavik {

/// A random (version 4) identifier in its canonical upper-case text.
class UUID {
 public:
  static UUID make();
  const std::string& string() const { return text_; }
  auto operator<=>(const UUID&) const = default;

 private:
  explicit UUID(std::string text) : text_(std::move(text)) {}
  std::string text_;
};

}  // namespace tavik
