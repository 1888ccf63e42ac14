#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "HostCoordination/Wire/HostCoordinationJSONValue.h"

namespace tavik {

/// The messages that this program writes and the parts of those that it reads.
/// Every message is a JSON object; its key "type" tells them apart.
namespace hostCoordinationFrame {

/// The client identifier on a connection that has none yet.
inline constexpr const char* initializingClientID = "initializing-client";

struct Request {
  std::string requestID;
  std::string sourceClientID;
  std::int64_t version = 0;
  std::string method;
  HostCoordinationJSONValue params;
  std::int64_t timeoutMilliseconds = 0;
};

JSON request(const Request& request);
JSON broadcast(const std::string& method, const std::string& sourceClientID, std::int64_t version,
               const HostCoordinationJSONValue& params,
               const std::optional<std::vector<std::string>>& targetClientIDs);
/// The answer to a client discovery: this client never claims anything.
JSON clientDiscoveryResponse(const std::string& requestID);

/// A member of a frame; absent unless it has that type. A whole number may be
/// written 11 or 11.0.
std::optional<std::string> text(const ParsedJSON& frame, const char* key);
std::optional<std::int64_t> integer(const ParsedJSON& frame, const char* key);
std::optional<std::vector<std::string>> texts(const ParsedJSON& frame, const char* key);
bool hasType(const ParsedJSON& frame, const char* type);

}  // namespace hostCoordinationFrame
}  // namespace tavik
