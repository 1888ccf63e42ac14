#pragma once

#include <exception>
#include <string>
#include <string_view>
#include <vector>

namespace tavik {

/// Where a decoder stands: keys and indices from the top value down. Lives on the
/// stack of the decoder; each step refers to the one above it.
class CodingPath {
 public:
  CodingPath() = default;
  CodingPath(const CodingPath& parent, std::string_view key) : parent_(&parent), key_(key) {}
  CodingPath(const CodingPath& parent, std::size_t index) : parent_(&parent), index_(index) {}

  /// The steps as text; an index is written "Index 3".
  std::vector<std::string> steps() const;

 private:
  const CodingPath* parent_ = nullptr;
  std::string_view key_;
  std::size_t index_ = 0;
};

/// JSON that is not what a record asks for.
class DecodingError : public std::exception {
 public:
  enum class Kind { keyNotFound, valueNotFound, typeMismatch, dataCorrupted };

  static DecodingError keyNotFound(std::string_view key, const CodingPath& path);
  static DecodingError valueNotFound(std::string_view expectedType, const CodingPath& path);
  /// `found` with its article: "a number".
  static DecodingError typeMismatch(std::string_view expectedType, std::string_view found,
                                    const CodingPath& path);
  static DecodingError dataCorrupted(std::string text, const CodingPath& path = {});

  Kind kind() const { return kind_; }
  /// For `keyNotFound` the path of the object that lacks the key.
  const std::vector<std::string>& codingPath() const { return codingPath_; }
  /// The localized description: the error's own text.
  const char* what() const noexcept override { return text_.c_str(); }

 private:
  DecodingError(Kind kind, std::string text, const CodingPath& path)
      : kind_(kind), text_(std::move(text)), codingPath_(path.steps()) {}

  Kind kind_;
  std::string text_;
  std::vector<std::string> codingPath_;
};

}  // namespace tavik
