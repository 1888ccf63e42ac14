#pragma once

#include <optional>
#include <string>

#include "HostCoordination/ThreadStream/HostConversationActivityChange.h"
#include "HostCoordination/Wire/HostCoordinationBroadcast.h"

namespace tavik {

/// What the host streams of a conversation: a snapshot of its state, or patches to it.
struct ThreadStreamStateChanged {
  std::string conversationID;
  std::optional<std::string> hostID;
  HostCoordinationJSONValue change;

  /// Nothing when the broadcast is another one or lacks a field.
  static std::optional<ThreadStreamStateChanged> from(const HostCoordinationBroadcast& broadcast);

  /// Whether a turn runs now, as far as this says so. Of several patches the last one
  /// that says anything decides.
  std::optional<HostConversationActivityChange> activityChange() const;
};

}  // namespace tavik
