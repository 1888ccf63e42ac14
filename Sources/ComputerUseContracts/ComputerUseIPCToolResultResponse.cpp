#include "ComputerUseContracts/ComputerUseIPCToolResultResponse.h"

namespace tavik {

ComputerUseIPCToolContentBlock ComputerUseIPCToolContentBlock::from(const ToolResultContent& content) {
  if (content.isText()) return {.type = "text", .text = content.text(), .data = {}, .mimeType = {}};
  return {.type = "image", .text = {}, .data = content.image().data, .mimeType = content.image().mimeType};
}

ToolResultContent ComputerUseIPCToolContentBlock::toToolResultContent() const {
  if (type == "image" && data) return ToolResultContent::image(*data, mimeType.value_or("image/png"));
  return ToolResultContent::text(text.value_or(""));
}

ComputerUseIPCToolResultResponse ComputerUseIPCToolResultResponse::from(const ToolResult& result) {
  ComputerUseIPCToolResultResponse response{.content = {}, .isError = result.isError};
  for (const ToolResultContent& block : result.content) {
    response.content.push_back(ComputerUseIPCToolContentBlock::from(block));
  }
  return response;
}

ToolResult ComputerUseIPCToolResultResponse::toToolResult() const {
  ToolResult result{.content = {}, .isError = isError};
  for (const ComputerUseIPCToolContentBlock& block : content)
    result.content.push_back(block.toToolResultContent());
  return result;
}

}  // namespace tavik
