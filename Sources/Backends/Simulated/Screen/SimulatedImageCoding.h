#pragma once

#include "PlatformInterfaces/ImageCodingPort.h"

namespace tavik {

/// Scales by the nearest pixel and writes PNG without compression: small enough to
/// trust, and any viewer opens it.
class SimulatedImageCoding : public ImageCodingPort {
 public:
  Image scaled(const Image& image, int width, int height) override;
  std::optional<Bytes> encodePNG(const Image& image) override;
};

}  // namespace tavik
