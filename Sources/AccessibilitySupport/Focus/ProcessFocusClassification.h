#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>

namespace tavik {

/// What a process may do with the focus of the application that the tool works in.
enum class ProcessFocusClassification { protectedTarget, trustedModelHost, disallowedThief, allowed };

/// `targetPID` is the protected process; 0 protects none.
ProcessFocusClassification classifyProcessFocus(const std::optional<std::string>& bundleIdentifier,
                                                std::int32_t processIdentifier, std::int32_t targetPID);
/// The same with lists of one's own; who stands on both is trusted.
ProcessFocusClassification classifyProcessFocus(const std::optional<std::string>& bundleIdentifier,
                                                std::int32_t processIdentifier, std::int32_t targetPID,
                                                const std::set<std::string>& trustedModelHosts,
                                                const std::set<std::string>& disallowedThieves);

}  // namespace tavik
