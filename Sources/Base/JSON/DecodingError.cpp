#include "Base/JSON/DecodingError.h"

#include <fmt/format.h>

#include <algorithm>

namespace tavik {

std::vector<std::string> CodingPath::steps() const {
  std::vector<std::string> steps;
  for (const CodingPath* step = this; step->parent_; step = step->parent_) {
    steps.push_back(step->key_.data() ? std::string(step->key_) : fmt::format("Index {}", step->index_));
  }
  std::ranges::reverse(steps);
  return steps;
}

DecodingError DecodingError::keyNotFound(std::string_view key, const CodingPath& path) {
  return {Kind::keyNotFound, fmt::format("No value associated with key \"{}\".", key), path};
}

DecodingError DecodingError::valueNotFound(std::string_view expectedType, const CodingPath& path) {
  return {Kind::valueNotFound, fmt::format("Expected {} value but found null instead.", expectedType), path};
}

DecodingError DecodingError::typeMismatch(std::string_view expectedType, std::string_view found,
                                          const CodingPath& path) {
  return {Kind::typeMismatch, fmt::format("Expected to decode {} but found {} instead.", expectedType, found),
          path};
}

DecodingError DecodingError::dataCorrupted(std::string text, const CodingPath& path) {
  return {Kind::dataCorrupted, std::move(text), path};
}

}  // namespace tavik
