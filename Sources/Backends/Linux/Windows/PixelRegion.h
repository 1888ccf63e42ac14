#pragma once

#include <pixman.h>

#include "Backends/Linux/Windows/X11ImageReader.h"

namespace tavik {

/// A set of pixels made of rectangles.
class PixelRegion {
 public:
  PixelRegion() { pixman_region32_init(&region_); }
  explicit PixelRegion(PixelRect rect) {
    pixman_region32_init_rect(&region_, rect.x, rect.y, static_cast<unsigned>(rect.width),
                              static_cast<unsigned>(rect.height));
  }
  PixelRegion(const PixelRegion& other) {
    pixman_region32_init(&region_);
    pixman_region32_copy(&region_, &other.region_);
  }
  PixelRegion& operator=(const PixelRegion& other) {
    pixman_region32_copy(&region_, &other.region_);
    return *this;
  }
  ~PixelRegion() { pixman_region32_fini(&region_); }

  bool isEmpty() const { return pixman_region32_not_empty(&region_) == 0; }
  bool intersects(PixelRect rect) const {
    pixman_box32_t box{rect.x, rect.y, rect.x + rect.width, rect.y + rect.height};
    return pixman_region32_contains_rectangle(&region_, &box) != PIXMAN_REGION_OUT;
  }
  void subtract(PixelRect rect) { subtract(PixelRegion(rect)); }
  void subtract(const PixelRegion& other) { pixman_region32_subtract(&region_, &region_, &other.region_); }
  void translate(int x, int y) { pixman_region32_translate(&region_, x, y); }

 private:
  /// Pixman reads through pointers that are not const.
  mutable pixman_region32_t region_;
};

}  // namespace tavik
