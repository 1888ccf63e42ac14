#include "HostCoordination/Wire/HostCoordinationFrame.h"

#include <cmath>

namespace tavik::hostCoordinationFrame {

namespace {

const ParsedJSON* member(const ParsedJSON& frame, const char* key) {
  const auto found = frame.find(key);
  return found == frame.end() ? nullptr : &*found;
}

}  // namespace

JSON request(const Request& request) {
  return {{"type", "request"},
          {"requestId", request.requestID},
          {"sourceClientId", request.sourceClientID},
          {"version", request.version},
          {"method", request.method},
          {"params", request.params.foundationValue()},
          {"timeoutMs", request.timeoutMilliseconds}};
}

JSON broadcast(const std::string& method, const std::string& sourceClientID, std::int64_t version,
               const HostCoordinationJSONValue& params,
               const std::optional<std::vector<std::string>>& targetClientIDs) {
  JSON frame = {{"type", "broadcast"},
                {"method", method},
                {"sourceClientId", sourceClientID},
                {"version", version},
                {"params", params.foundationValue()}};
  if (targetClientIDs) frame["targetClientIds"] = *targetClientIDs;
  return frame;
}

JSON clientDiscoveryResponse(const std::string& requestID) {
  return {{"type", "client-discovery-response"},
          {"requestId", requestID},
          {"response", {{"canHandle", false}}}};
}

std::optional<std::string> text(const ParsedJSON& frame, const char* key) {
  const ParsedJSON* value = member(frame, key);
  return value && value->is_string() ? std::optional(value->get<std::string>()) : std::nullopt;
}

std::optional<std::int64_t> integer(const ParsedJSON& frame, const char* key) {
  constexpr double limit = 9223372036854775808.0;
  const ParsedJSON* value = member(frame, key);
  if (!value || !value->is_number()) return std::nullopt;
  if (value->is_number_unsigned() && value->get<std::uint64_t>() > INT64_MAX) return std::nullopt;
  if (value->is_number_integer()) return value->get<std::int64_t>();
  const double number = value->get<double>();
  if (std::trunc(number) != number || number < -limit || number >= limit) return std::nullopt;
  return static_cast<std::int64_t>(number);
}

std::optional<std::vector<std::string>> texts(const ParsedJSON& frame, const char* key) {
  const ParsedJSON* value = member(frame, key);
  if (!value || !value->is_array()) return std::nullopt;
  std::vector<std::string> texts;
  for (const ParsedJSON& element : *value) {
    if (!element.is_string()) return std::nullopt;
    texts.push_back(element.get<std::string>());
  }
  return texts;
}

bool hasType(const ParsedJSON& frame, const char* type) {
  return text(frame, "type") == type;
}

}  // namespace tavik::hostCoordinationFrame
