#pragma once

#include "PlatformInterfaces/ImageCodingPort.h"

namespace tavik {

/// Scales with pixman and writes PNG with libpng, tuned for screenshots: every
/// source pixel counts when shrinking, and the encoder prefers speed, which costs
/// these pictures no size.
class PixmanImageCoding : public ImageCodingPort {
 public:
  Image scaled(const Image& image, int width, int height) override;
  std::optional<Bytes> encodePNG(const Image& image) override;
};

}  // namespace tavik
