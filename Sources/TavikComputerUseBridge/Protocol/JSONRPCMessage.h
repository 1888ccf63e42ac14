#pragma once

#include <expected>
#include <string>

#include "Base/JSON/JSON.h"

namespace tavik {

/// The error numbers of JSON-RPC 2.0.
enum class JSONRPCErrorCode {
  parseError = -32700,
  invalidRequest = -32600,
  methodNotFound = -32601,
  invalidParams = -32602,
};

/// Why a message, or a method of it, is refused.
struct JSONRPCFailure {
  JSONRPCErrorCode code;
  std::string message;
  /// Of the request that failed; null when it could not be read.
  JSON id = nullptr;
};

/// One message of JSON-RPC 2.0, checked for its form.
struct JSONRPCMessage {
  enum class Kind { request, notification, response };

  Kind kind = Kind::notification;
  /// A text or an integer; null when the message is no request.
  JSON id = nullptr;
  std::string method;
  /// Always an object; empty when the message had none.
  ParsedJSON params = ParsedJSON::object();

  /// Takes one value of a parsed line. The failure carries the request's
  /// identifier where that much could be read.
  static std::expected<JSONRPCMessage, JSONRPCFailure> read(ParsedJSON value);
};

std::expected<ParsedJSON, JSONRPCFailure> parseJSONRPCLine(const std::string& line);

JSON jsonRPCResult(const JSON& id, JSON result);
JSON jsonRPCError(const JSONRPCFailure& failure);

}  // namespace tavik
