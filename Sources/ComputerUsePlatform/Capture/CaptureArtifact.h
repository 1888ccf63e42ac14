#pragma once

#include <string>

#include "Base/Encoding/Bytes.h"
#include "Base/Geometry/Geometry.h"

namespace tavik {

/// A picture as it goes to the model.
struct CaptureArtifact {
  Bytes pngData;
  /// Width and height of the PNG, in pixels.
  Size pixelSize;

  bool operator==(const CaptureArtifact&) const = default;

  /// Reads the file at the path and deletes it, whatever comes of it. Throws
  /// `CaptureCoordinatorError::unavailable` when it holds no readable PNG.
  static CaptureArtifact consumeTemporaryPNG(const std::string& path);
};

}  // namespace tavik
