#include "ComputerUseContracts/ToolResult.h"

#include <nlohmann/json.hpp>

#include "Base/Encoding/Base64.h"

namespace tavik {

nlohmann::ordered_json ToolResultContent::toJSON() const {
  if (isText()) return {{"type", "text"}, {"text", text()}};
  return {{"type", "image"}, {"data", base64Encoded(image().data)}, {"mimeType", image().mimeType}};
}

nlohmann::ordered_json ToolResult::toJSON() const {
  nlohmann::ordered_json blocks = nlohmann::ordered_json::array();
  for (const ToolResultContent& block : content) blocks.push_back(block.toJSON());
  nlohmann::ordered_json json = {{"content", std::move(blocks)}};
  if (isError) json["isError"] = true;
  return json;
}

}  // namespace tavik
