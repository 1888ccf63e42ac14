#pragma once

#include <optional>
#include <string>

namespace tavik {

/// Accessibility values may be absent, present but empty, or say something.
inline bool hasText(const std::optional<std::string>& text) {
  return text && !text->empty();
}

}  // namespace tavik
