#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Base/Encoding/Bytes.h"
#include "Base/Geometry/Geometry.h"

namespace tavik {

/// One window of the window server, as it was when the list was made.
struct WindowRecord {
  std::optional<std::uint32_t> windowID;
  std::optional<std::int32_t> ownerPID;
  std::optional<std::string> name;
  /// The visible frame without shadows, in global points.
  std::optional<Rect> bounds;
  bool isOnScreen = false;
  /// 0 for ordinary windows, above it for panels, menus and docks.
  int layer = 0;

  bool operator==(const WindowRecord&) const = default;
};

/// Which windows a list holds; raw values combine.
namespace WindowListOption {
inline constexpr std::uint32_t onScreenOnly = 1;
inline constexpr std::uint32_t excludeDesktopElements = 16;
}  // namespace WindowListOption

/// Pixels, 8 bits a channel in the order blue, green, red, alpha; rows from the top,
/// `bytesPerRow` apart. Alpha is premultiplied.
struct Image {
  int width = 0;
  int height = 0;
  int bytesPerRow = 0;
  Bytes pixels;
};

struct ScreenRecord {
  /// In global points; the primary display's origin is (0, 0).
  Rect frame;
  /// The part that docks and panels leave free.
  Rect visibleFrame;
  double scaleFactor = 1;
};

/// Lists windows, takes one window's picture and lists screens. Operations may be
/// called from any thread and block for the window server; they do not throw.
class WindowServerPort {
 public:
  virtual ~WindowServerPort() = default;

  /// Windows from front to back. With `relativeToWindow` other than 0 the list is
  /// about that window alone. Absent when the window server did not answer.
  virtual std::optional<std::vector<WindowRecord>> copyWindowInfo(std::uint32_t options,
                                                                  std::uint32_t relativeToWindow) = 0;
  /// The content of one window, also where others cover it, without shadows, in
  /// the window's own pixels. Absent when there is no such window, it shows
  /// nothing (minimised), or capture is not permitted.
  virtual std::optional<Image> createWindowImage(std::uint32_t windowID) = 0;
  /// What the screen shows within `area`.
  virtual std::optional<Image> createScreenImage(Rect area) = 0;
  /// The primary display first.
  virtual std::vector<ScreenRecord> screens() = 0;
  /// Where the user's pointer is.
  virtual Point mouseLocation() = 0;
};

}  // namespace tavik
