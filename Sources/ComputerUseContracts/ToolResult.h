#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "Base/Encoding/Bytes.h"

namespace tavik {

/// One block of what a tool gives to the model: a text or an image.
class ToolResultContent {
 public:
  struct Image {
    Bytes data;
    std::string mimeType;
    bool operator==(const Image&) const = default;
  };

  static ToolResultContent text(std::string text) { return ToolResultContent(std::move(text)); }
  static ToolResultContent image(Bytes data, std::string mimeType) {
    return ToolResultContent(Image{std::move(data), std::move(mimeType)});
  }

  bool isText() const { return std::holds_alternative<std::string>(content_); }
  bool isImage() const { return !isText(); }
  /// Of a text block only.
  const std::string& text() const { return std::get<std::string>(content_); }
  /// Of an image block only.
  const Image& image() const { return std::get<Image>(content_); }

  /// {"type": "text", "text"} or {"type": "image", "data" (base64), "mimeType"}.
  nlohmann::ordered_json toJSON() const;

  bool operator==(const ToolResultContent&) const = default;

 private:
  explicit ToolResultContent(std::variant<std::string, Image> content) : content_(std::move(content)) {}
  std::variant<std::string, Image> content_;
};

/// What a tool gives to the model.
struct ToolResult {
  std::vector<ToolResultContent> content;
  bool isError = false;

  static ToolResult text(std::string message) {
    return {{ToolResultContent::text(std::move(message))}, false};
  }
  static ToolResult error(std::string message) {
    return {{ToolResultContent::text(std::move(message))}, true};
  }

  /// {"content", and "isError": true for an error}. A success has no "isError".
  nlohmann::ordered_json toJSON() const;

  bool operator==(const ToolResult&) const = default;
};

}  // namespace tavik
