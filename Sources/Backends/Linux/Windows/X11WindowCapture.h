#pragma once

#include <xcb/damage.h>

#include <map>
#include <optional>

#include "Backends/Linux/Windows/PixelRegion.h"
#include "Backends/Linux/Windows/X11Desktop.h"
#include "Backends/Linux/Windows/X11ImageReader.h"

namespace tavik {

/// Takes pictures of single windows, also of covered ones: asks the server to keep
/// the window's content apart from the screen ("redirects" it) and reads it there.
///
/// What other windows covered at the moment of the redirection is not known until
/// the application has painted it, so the first picture of a covered window waits
/// for that. The redirection stays for as long as this process is connected, and
/// later pictures are there at once. Any thread.
class X11WindowCapture {
 public:
  explicit X11WindowCapture(X11Desktop& desktop) : desktop_(desktop) {}

  /// The window within its bounds. Absent when there is no such window, when it is
  /// not on screen, when the server cannot redirect, and when the application did
  /// not paint what was covered: the picture would show other windows.
  std::optional<Image> windowImage(xcb_window_t window);
  /// What the screen shows within the area; absent when nothing of it is on screen.
  std::optional<Image> screenImage(PixelRect area);

 private:
  /// What the application has yet to paint of a redirected window.
  struct AwaitedPaint {
    PixelRegion unpainted;
    /// What of it shows other windows, since this one has no background.
    PixelRegion foreign;
    xcb_damage_damage_t damage = XCB_NONE;
    /// The number of the request that redirected the window.
    std::uint32_t redirection = 0;
    bool paintedAnything = false;
  };
  struct Step {
    bool isWaiting = false;
    std::optional<Image> image;
  };

  Step takeStep(X11Session& session, xcb_window_t window, bool isLast);
  std::optional<Image> readContent(X11Session& session, const X11Window& window);
  bool redirect(X11Session& session, const X11Window& window);
  PixelRegion coveredPart(X11Session& session, const X11Window& window, PixelRect frame);
  void notePaints(X11Session& session);
  void stopAwaiting(X11Session& session, xcb_window_t toplevel);
  void startAfresh();

  X11Desktop& desktop_;
  /// The rest is touched only while the session is held.
  int generation_ = 0;
  X11ImageReader reader_;
  std::map<xcb_window_t, AwaitedPaint> awaited_;
};

}  // namespace tavik
