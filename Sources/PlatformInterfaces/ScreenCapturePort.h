#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "Base/Geometry/Geometry.h"
#include "PlatformInterfaces/WindowServerPort.h"

namespace tavik {

/// A display or a window that may be captured.
struct ShareableDisplay {
  std::uint32_t displayID = 0;
  /// In pixels.
  Size size;
};
struct ShareableWindow {
  std::uint32_t windowID = 0;
  std::optional<std::string> owningBundleIdentifier;
  std::optional<std::string> title;
  bool isOnScreen = false;
  Rect frame;
};
struct ShareableContent {
  std::vector<ShareableDisplay> displays;
  std::vector<ShareableWindow> windows;
};

/// What a picture shows: one window by itself, or a display without some windows.
struct DesktopIndependentWindowFilter {
  std::uint32_t windowID = 0;
  bool operator==(const DesktopIndependentWindowFilter&) const = default;
};
struct DisplayFilter {
  std::uint32_t displayID = 0;
  std::vector<std::uint32_t> excludingWindows;
  bool operator==(const DisplayFilter&) const = default;
};
using ContentFilter = std::variant<DesktopIndependentWindowFilter, DisplayFilter>;

struct StreamConfiguration {
  bool showsCursor = false;
  std::string pixelFormat = "BGRA";
  int width = 0;
  int height = 0;
  bool ignoreShadowsSingleWindow = true;
  bool ignoreShadowsDisplay = true;
  bool operator==(const StreamConfiguration&) const = default;
};

/// The platform's newer way to capture, beside the window server's. Operations may
/// be called from any thread and may block for many seconds; they do not throw.
class ScreenCapturePort {
 public:
  virtual ~ScreenCapturePort() = default;

  /// False on a platform that has none; the other operations then answer nothing.
  virtual bool isAvailable() = 0;
  /// Absent when it is not permitted or the platform failed.
  virtual std::optional<ShareableContent> currentShareableContent() = 0;
  virtual std::optional<Image> captureImage(const ContentFilter& filter, const StreamConfiguration& configuration) = 0;
};

/// For platforms where the window server's own pictures are all there is.
class NoScreenCapture : public ScreenCapturePort {
 public:
  bool isAvailable() override { return false; }
  std::optional<ShareableContent> currentShareableContent() override { return std::nullopt; }
  std::optional<Image> captureImage(const ContentFilter&, const StreamConfiguration&) override { return std::nullopt; }
};

}  // namespace tavik
