#include "Base/JSON/JSON.h"

#include <cmath>

#include "Base/JSON/DecodingError.h"

namespace tavik {

namespace {

constexpr int kDeepestNesting = 512;
/// Up to here every whole double is an exact integer.
constexpr double kLargestExactInteger = 9007199254740992.0;

/// Counts open brackets outside strings; good enough for any text, since what is
/// not JSON fails in the parser anyway.
bool nestsTooDeeply(std::string_view text) {
  int depth = 0;
  bool inString = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (inString) {
      if (c == '\\') ++i;
      if (c == '"') inString = false;
    } else if (c == '"') {
      inString = true;
    } else if (c == '[' || c == '{') {
      if (++depth > kDeepestNesting) return true;
    } else if (c == ']' || c == '}') {
      --depth;
    }
  }
  return false;
}

}  // namespace

ParsedJSON parsedJSON(std::string_view text, std::size_t longestText) {
  if (text.size() > longestText) throw DecodingError::dataCorrupted("The given data was too long.");
  if (nestsTooDeeply(text)) throw DecodingError::dataCorrupted("Too many nested arrays or dictionaries.");
  ParsedJSON json = ParsedJSON::parse(text, nullptr, /*allow_exceptions=*/false);
  if (json.is_discarded()) throw DecodingError::dataCorrupted("The given data was not valid JSON.");
  return json;
}

std::string jsonText(const JSON& json) {
  return json.dump(-1, ' ', false, JSON::error_handler_t::replace);
}

JSON jsonNumber(double value) {
  if (!std::isfinite(value)) throw EncodingError();
  const bool isWhole = std::trunc(value) == value && std::abs(value) <= kLargestExactInteger;
  return isWhole ? JSON(static_cast<std::int64_t>(value)) : JSON(value);
}

}  // namespace tavik
