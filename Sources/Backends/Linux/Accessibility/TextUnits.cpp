#include "Backends/Linux/Accessibility/TextUnits.h"

#include <limits>

namespace tavik {

namespace {

struct Place {
  long codePoints = 0;
  long utf16Units = 0;
};

/// Walks whole characters while both counts stay within their limits.
Place walk(std::string_view text, long codePoints, long utf16Units) {
  Place place;
  for (std::size_t i = 0; i < text.size();) {
    auto lead = static_cast<unsigned char>(text[i]);
    std::size_t bytes = lead < 0x80 ? 1 : lead < 0xe0 ? 2 : lead < 0xf0 ? 3 : 4;
    long units = bytes == 4 ? 2 : 1;
    if (place.codePoints + 1 > codePoints || place.utf16Units + units > utf16Units) break;
    ++place.codePoints;
    place.utf16Units += units;
    i += bytes;
  }
  return place;
}

constexpr long unlimited = std::numeric_limits<long>::max();

}  // namespace

long utf16Offset(std::string_view text, long codePoints) {
  return walk(text, codePoints, unlimited).utf16Units;
}

long codePointOffset(std::string_view text, long utf16Units) {
  return walk(text, unlimited, utf16Units).codePoints;
}

TextRange utf16Range(std::string_view text, long start, long end) {
  long first = utf16Offset(text, start);
  return {first, utf16Offset(text, end) - first};
}

}  // namespace tavik
