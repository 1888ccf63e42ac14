#pragma once

#include <cstdint>

namespace tavik {

/// How many seeds an exploration tries: a tenth under a sanitizer, where each costs
/// many times as much and where the point is what the sanitizer sees.
constexpr std::uint64_t seedCount(std::uint64_t count) {
#if defined(TAVIK_SANITIZED)
  return count / 10;
#else
  return count;
#endif
}

}  // namespace tavik
