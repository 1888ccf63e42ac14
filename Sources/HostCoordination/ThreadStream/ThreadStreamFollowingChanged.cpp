#include "HostCoordination/ThreadStream/ThreadStreamFollowingChanged.h"

#include "HostCoordination/Wire/HostCoordinationMethods.h"

namespace tavik {

std::optional<ThreadStreamFollowingChanged> ThreadStreamFollowingChanged::from(
    const HostCoordinationBroadcast& broadcast) {
  if (broadcast.method != HostCoordinationMethods::threadStreamFollowingChanged ||
      broadcast.version != HostCoordinationMethods::threadStreamFollowingChangedVersion) {
    return std::nullopt;
  }
  const auto* conversation = broadcast.params.member("conversationId");
  const auto* host = broadcast.params.member("hostId");
  const auto* following = broadcast.params.member("following");
  if (!conversation || !conversation->stringValue() || !host || !host->stringValue() || !following ||
      !following->boolValue()) {
    return std::nullopt;
  }
  return ThreadStreamFollowingChanged{*conversation->stringValue(), *host->stringValue(),
                                      *following->boolValue()};
}

HostCoordinationJSONValue ThreadStreamFollowingChanged::params() const {
  return HostCoordinationJSONValue::Object{
      {"conversationId", conversationID}, {"hostId", hostID}, {"following", following}};
}

}  // namespace tavik
