#include "HostCoordination/Wire/HostCoordinationBroadcast.h"

#include "HostCoordination/Wire/HostCoordinationFrame.h"

namespace tavik {

std::optional<HostCoordinationBroadcast> HostCoordinationBroadcast::from(const ParsedJSON& frame) {
  namespace wire = hostCoordinationFrame;
  auto method = wire::text(frame, "method");
  const auto version = wire::integer(frame, "version");
  const auto params = frame.find("params");
  if (!method || !version || params == frame.end()) return std::nullopt;
  auto value = HostCoordinationJSONValue::from(*params);
  if (!value) return std::nullopt;
  return HostCoordinationBroadcast{.method = std::move(*method),
                                   .version = *version,
                                   .sourceClientID = wire::text(frame, "sourceClientId"),
                                   .targetClientIDs = wire::texts(frame, "targetClientIds"),
                                   .params = std::move(*value)};
}

}  // namespace tavik
