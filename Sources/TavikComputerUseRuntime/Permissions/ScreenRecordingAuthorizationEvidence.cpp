#include "TavikComputerUseRuntime/Permissions/ScreenRecordingAuthorizationEvidence.h"

#include <fmt/format.h>

namespace tavik {

std::string ScreenRecordingAuthorizationEvidence::diagnosticSummary() const {
  return fmt::format("systemSettingsPID={} windowID={} frame=({:.1f}, {:.1f}, {:.1f}, {:.1f}) title={}",
                     processIdentifier, windowID, frame.origin.x, frame.origin.y, frame.size.width,
                     frame.size.height, title);
}

}  // namespace tavik
