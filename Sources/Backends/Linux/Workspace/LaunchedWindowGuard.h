#pragma once

#include <atomic>
#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Backends/Linux/Windows/X11Desktop.h"
#include "Backends/Linux/Workspace/DesktopEntryIndex.h"

namespace tavik {

/// Keeps the user's window active while an application starts in the background.
/// For one thread.
class LaunchedWindowGuard {
 public:
  /// Made before the launch: notes the windows that are there and the active one.
  LaunchedWindowGuard(X11Desktop& desktop, DesktopEntryIndex& entries, std::string entryID,
                      std::string startupID);

  /// Watches for some seconds, or until `isEnding`: when a window of the application
  /// becomes active as it appears, makes the user's window active again.
  void run(const std::atomic<bool>& isEnding);

 private:
  using Clock = std::chrono::steady_clock;

  /// The active window and all that the window manager shows.
  struct Glance {
    xcb_window_t active = XCB_NONE;
    std::vector<xcb_window_t> windows;
  };

  std::optional<Glance> glance();
  void noteNewWindows(const std::vector<xcb_window_t>& windows);
  void judge(xcb_window_t active);
  bool isLaunched(xcb_window_t window);
  void giveBackActivation();

  X11Desktop& desktop_;
  DesktopEntryIndex& entries_;
  const std::string entryID_;
  const std::string startupID_;
  /// The window that was active last, save those of the application.
  xcb_window_t usersWindow_ = XCB_NONE;
  /// All windows by when they were seen first; those that were there before the
  /// launch at the beginning of time.
  std::map<xcb_window_t, Clock::time_point> seen_;
};

}  // namespace tavik
