#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "PlatformInterfaces/WorkspacePort.h"

namespace tavik {

/// A workspace in which nothing runs.
class NoApplications : public WorkspacePort {
 public:
  std::vector<RunningApplication> runningApplications() override { return {}; }
  std::optional<RunningApplication> runningApplication(std::int32_t) override { return std::nullopt; }
  std::optional<RunningApplication> frontmostApplication() override { return std::nullopt; }
};

}  // namespace tavik
