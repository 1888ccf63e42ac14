#pragma once

#include <string>

#include "HostCoordination/Wire/HostCoordinationJSONValue.h"

namespace tavik {

/// A request to the host to begin a turn in a conversation, as if the user had typed.
struct ThreadFollowerStartTurn {
  static HostCoordinationJSONValue params(const std::string& conversationID, const std::string& text) {
    using Value = HostCoordinationJSONValue;
    const Value input = Value::Object{{"type", "text"}, {"text", text}, {"text_elements", Value::Array{}}};
    return Value::Object{{"conversationId", conversationID},
                         {"turnStartParams",
                          Value::Object{{"input", Value::Array{input}}, {"inheritThreadSettings", true}}}};
  }
};

}  // namespace tavik
