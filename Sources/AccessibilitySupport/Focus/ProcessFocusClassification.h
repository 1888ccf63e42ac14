#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace tavik {

/// What a process may do with the focus of the application that the tool works in.
enum class ProcessFocusClassification { protectedTarget, trustedModelHost, disallowedThief, allowed };

/// `targetPID` is the protected process; 0 protects none.
ProcessFocusClassification classifyProcessFocus(const std::optional<std::string>& bundleIdentifier,
                                                std::int32_t processIdentifier, std::int32_t targetPID);

}  // namespace tavik
