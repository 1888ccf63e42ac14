#include "ComputerUseToolRuntime/State/ScreenshotContent.h"

#include <utility>

#include "Base/Text/Text.h"

namespace tavik {

std::optional<ToolResultContent> screenshotContent(std::optional<Bytes> png,
                                                   const std::optional<std::string>& errorDescription,
                                                   ArtifactOutcome& outcome) {
  if (png) {
    outcome = ArtifactOutcome::success;
    return ToolResultContent::image(std::move(*png), "image/png");
  }
  const std::string reason = text::trimmed(errorDescription.value_or(""));
  if (reason.empty()) {
    outcome = ArtifactOutcome::unavailable;
    return std::nullopt;
  }
  const bool wasSkipped = text::hasPrefixIgnoringCase(reason, "Screenshot skipped:");
  outcome = wasSkipped ? ArtifactOutcome::skipped : ArtifactOutcome::failed;
  return ToolResultContent::text(wasSkipped ? reason : "Screenshot capture failed: " + reason);
}

}  // namespace tavik
