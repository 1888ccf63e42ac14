#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "ComputerUsePlatform/Capture/CapturePolicy.h"

namespace tavik {

/// What of the machine decides how pictures are taken.
struct CaptureEnvironment {
  static constexpr const char* backendVariable = "TAVIK_CU_SCREENSHOT_BACKEND";

  /// The value of `backendVariable`.
  std::optional<std::string> backend = {};
  int osMajorVersion = 0;
  bool isIntelX86_64 = false;
  bool hasScreenCaptureKit = true;
};

/// How to take a picture when nobody says how. Without a pid it is about the screen
/// as a whole; without a trusted window there is nothing to picture.
CapturePolicy defaultCapturePolicy(std::optional<std::int32_t> pid, bool hasTrustedTargetWindow,
                                   const CaptureEnvironment& environment);

}  // namespace tavik
