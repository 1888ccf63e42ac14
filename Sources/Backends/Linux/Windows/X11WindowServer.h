#pragma once

#include "Backends/Linux/Windows/X11Desktop.h"
#include "Backends/Linux/Windows/X11WindowCapture.h"
#include "PlatformInterfaces/WindowServerPort.h"

namespace tavik {

/// The window server port on an X server.
///
/// The bounds of a window are those of what its application draws: a title bar of
/// the window manager lies outside, a shadow that the application draws around
/// itself is cut off. Its picture shows just that, and accessibility frames lie in
/// it. Points are pixels; the origin is the top left of the root window, which is
/// that of the primary display unless the user arranged it otherwise.
class X11WindowServer : public WindowServerPort {
 public:
  explicit X11WindowServer(X11Desktop& desktop) : desktop_(desktop), capture_(desktop) {}

  std::optional<std::vector<WindowRecord>> copyWindowInfo(std::uint32_t options,
                                                          std::uint32_t relativeToWindow) override;
  std::optional<Image> createWindowImage(std::uint32_t windowID) override;
  std::optional<Image> createScreenImage(Rect area) override;
  std::vector<ScreenRecord> screens() override;
  Point mouseLocation() override;

 private:
  X11Desktop& desktop_;
  X11WindowCapture capture_;
};

}  // namespace tavik
