#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "Base/Geometry/Geometry.h"

namespace tavik {

/// A window of the system's settings whose title could be read, which only a program
/// with permission for screen capture can do.
struct ScreenRecordingAuthorizationEvidence {
  std::int32_t processIdentifier = 0;
  std::uint32_t windowID = 0;
  /// Global points, from the top left.
  Rect frame;
  std::string title;

  std::string diagnosticSummary() const;
};

/// Looks for the evidence now. Main thread.
using ScreenRecordingEvidenceSource = std::function<std::optional<ScreenRecordingAuthorizationEvidence>()>;

}  // namespace tavik
