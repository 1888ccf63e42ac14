#pragma once

#include <vector>

#include "Backends/Linux/Accessibility/WindowPlacement.h"
#include "Backends/Linux/Windows/X11Desktop.h"

namespace tavik {

/// Of the process's windows the one with the title; where none has it, of all of
/// them the one whose size is nearest. Null when the process has no window.
const X11Window* windowOfProcess(const std::vector<X11Window>& windows, std::int32_t pid,
                                 const std::string& title, Size size);

/// Where windows stand on an X server.
class X11WindowPlacement : public WindowPlacement {
 public:
  explicit X11WindowPlacement(X11Desktop& desktop) : desktop_(desktop) {}

  std::optional<PlacedWindow> window(std::int32_t pid, const std::string& title, Size size) override;
  /// This process's own windows let the point through.
  std::optional<std::int32_t> frontmostProcess(Point point) override;

 private:
  X11Desktop& desktop_;
};

}  // namespace tavik
