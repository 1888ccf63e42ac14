#pragma once

#include <cstdint>

namespace tavik {

/// What is said between the clients of the Router. A handler is registered for a
/// method and a version, exactly, so the versions belong to the contract.
struct HostCoordinationMethods {
  static constexpr const char* initialize = "initialize";
  static constexpr std::int64_t initializeVersion = 0;

  static constexpr const char* threadStreamStateChanged = "thread-stream-state-changed";
  static constexpr std::int64_t threadStreamStateChangedVersion = 11;

  static constexpr const char* threadStreamFollowingChanged = "thread-stream-following-changed";
  static constexpr std::int64_t threadStreamFollowingChangedVersion = 1;

  static constexpr const char* threadStreamFollowingStatusRequested =
      "thread-stream-following-status-requested";
  static constexpr std::int64_t threadStreamFollowingStatusRequestedVersion = 1;

  static constexpr const char* threadFollowerStartTurn = "thread-follower-start-turn";
  static constexpr std::int64_t threadFollowerStartTurnVersion = 1;
};

}  // namespace tavik
