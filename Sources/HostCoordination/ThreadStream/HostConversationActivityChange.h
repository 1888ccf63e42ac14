#pragma once

#include <string>

namespace tavik {

/// The host's word on whether an agent's turn runs in a conversation.
struct HostConversationActivityChange {
  std::string conversationID;
  bool isTurnActive = false;

  bool operator==(const HostConversationActivityChange&) const = default;
};

}  // namespace tavik
