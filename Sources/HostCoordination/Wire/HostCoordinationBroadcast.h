#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "HostCoordination/Wire/HostCoordinationJSONValue.h"

namespace tavik {

/// What one client of the Router tells the others.
struct HostCoordinationBroadcast {
  std::string method;
  std::int64_t version = 0;
  std::optional<std::string> sourceClientID;
  /// Absent when all clients are meant.
  std::optional<std::vector<std::string>> targetClientIDs;
  HostCoordinationJSONValue params;

  /// Nothing when the frame, which the sender calls a broadcast, lacks a method, a
  /// whole version or params.
  static std::optional<HostCoordinationBroadcast> from(const ParsedJSON& frame);

  bool operator==(const HostCoordinationBroadcast&) const = default;
};

}  // namespace tavik
