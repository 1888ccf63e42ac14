#pragma once

#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "Base/Encoding/Bytes.h"
#include "Base/JSON/Field.h"
#include "ComputerUseContracts/ToolResult.h"

namespace tavik {

/// A block of a tool's result on the wire.
struct ComputerUseIPCToolContentBlock {
  std::string type;
  std::optional<std::string> text;
  std::optional<Bytes> data;
  std::optional<std::string> mimeType;

  static ComputerUseIPCToolContentBlock from(const ToolResultContent& content);
  /// An image when the block says so and has data (by default a PNG); any other
  /// block is text, perhaps the empty one.
  ToolResultContent toToolResultContent() const;

  static constexpr auto fields = std::tuple(field("type", &ComputerUseIPCToolContentBlock::type),
                                            field("text", &ComputerUseIPCToolContentBlock::text),
                                            field("data", &ComputerUseIPCToolContentBlock::data),
                                            field("mimeType", &ComputerUseIPCToolContentBlock::mimeType));
  bool operator==(const ComputerUseIPCToolContentBlock&) const = default;
};

/// A tool's result on the wire.
struct ComputerUseIPCToolResultResponse {
  std::vector<ComputerUseIPCToolContentBlock> content;
  bool isError = false;

  static ComputerUseIPCToolResultResponse from(const ToolResult& result);
  ToolResult toToolResult() const;

  static constexpr auto fields = std::tuple(field("content", &ComputerUseIPCToolResultResponse::content),
                                            field("isError", &ComputerUseIPCToolResultResponse::isError));
  bool operator==(const ComputerUseIPCToolResultResponse&) const = default;
};

}  // namespace tavik
