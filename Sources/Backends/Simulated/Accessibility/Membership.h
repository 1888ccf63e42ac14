#pragma once

#include <algorithm>

namespace tavik {

/// Whether the value is among the members of a range.
template <class Range, class Value>
bool isMember(const Range& range, const Value& value) {
  return std::ranges::find(range, value) != std::ranges::end(range);
}

}  // namespace tavik
