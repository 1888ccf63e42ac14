#pragma once

#include <optional>
#include <string>

#include "HostCoordination/Wire/HostCoordinationBroadcast.h"

namespace tavik {

/// Somebody follows a conversation, or no longer.
struct ThreadStreamFollowingChanged {
  std::string conversationID;
  std::string hostID;
  bool following = false;

  /// Nothing when the broadcast is another one or lacks a field.
  static std::optional<ThreadStreamFollowingChanged> from(const HostCoordinationBroadcast& broadcast);
  HostCoordinationJSONValue params() const;

  bool operator==(const ThreadStreamFollowingChanged&) const = default;
};

}  // namespace tavik
