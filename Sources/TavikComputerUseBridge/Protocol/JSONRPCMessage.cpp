#include "TavikComputerUseBridge/Protocol/JSONRPCMessage.h"

#include "Base/JSON/DecodingError.h"

namespace tavik {
namespace {

bool isIdentifier(const ParsedJSON& value) {
  return value.is_string() || value.is_number_integer();
}

std::unexpected<JSONRPCFailure> invalidRequest(std::string message, JSON id) {
  return std::unexpected(JSONRPCFailure{JSONRPCErrorCode::invalidRequest, std::move(message), std::move(id)});
}

}  // namespace

std::expected<JSONRPCMessage, JSONRPCFailure> JSONRPCMessage::read(ParsedJSON value) {
  if (!value.is_object()) return invalidRequest("A message must be an object", nullptr);
  const bool hasID = value.contains("id");
  JSON id = hasID && isIdentifier(value["id"]) ? JSON(value["id"]) : JSON(nullptr);
  if (value.value("jsonrpc", ParsedJSON()) != "2.0") {
    return invalidRequest("A message must say \"jsonrpc\": \"2.0\"", id);
  }

  JSONRPCMessage message;
  if (!value.contains("method")) {
    if (!value.contains("result") && !value.contains("error")) {
      return invalidRequest("A message must have a method", id);
    }
    message.kind = Kind::response;
    return message;
  }
  if (!value["method"].is_string()) return invalidRequest("\"method\" must be a text", id);
  if (hasID && id.is_null()) return invalidRequest("\"id\" must be a text or an integer", nullptr);

  message.kind = hasID ? Kind::request : Kind::notification;
  message.id = std::move(id);
  message.method = value["method"].get<std::string>();
  if (auto params = value.find("params"); params != value.end() && !params->is_null()) {
    if (!params->is_object()) {
      return std::unexpected(
          JSONRPCFailure{JSONRPCErrorCode::invalidParams, "\"params\" must be an object", message.id});
    }
    message.params = std::move(*params);
  }
  return message;
}

std::expected<ParsedJSON, JSONRPCFailure> parseJSONRPCLine(const std::string& line) {
  try {
    return parsedJSON(line);
  } catch (const DecodingError&) {
    return std::unexpected(JSONRPCFailure{JSONRPCErrorCode::parseError, "The line is not JSON"});
  }
}

JSON jsonRPCResult(const JSON& id, JSON result) {
  return {{"jsonrpc", "2.0"}, {"id", id}, {"result", std::move(result)}};
}

JSON jsonRPCError(const JSONRPCFailure& failure) {
  JSON error = {{"code", static_cast<int>(failure.code)}, {"message", failure.message}};
  return {{"jsonrpc", "2.0"}, {"id", failure.id}, {"error", std::move(error)}};
}

}  // namespace tavik
