#pragma once

#include <optional>
#include <string>

#include "Base/Encoding/Bytes.h"
#include "ComputerUseContracts/ToolResult.h"
#include "ComputerUseToolRuntime/State/GetAppStateCaptureDiagnostics.h"

namespace tavik {

/// What the model gets of a picture: the PNG, or in its place why there is none;
/// absent when there is nothing to say. `outcome` is what became of it.
std::optional<ToolResultContent> screenshotContent(std::optional<Bytes> png,
                                                   const std::optional<std::string>& errorDescription,
                                                   ArtifactOutcome& outcome);

}  // namespace tavik
