#pragma once

#include <optional>

#include "PlatformInterfaces/WindowServerPort.h"

namespace tavik {

/// Scales pictures and writes them as PNG. Pure; any thread.
class ImageCodingPort {
 public:
  virtual ~ImageCodingPort() = default;
  /// The picture in exactly that many pixels, in good quality. `width` and `height`
  /// are at least 1.
  virtual Image scaled(const Image& image, int width, int height) = 0;
  /// Absent when the picture has no pixels or cannot be encoded.
  virtual std::optional<Bytes> encodePNG(const Image& image) = 0;
};

}  // namespace tavik
