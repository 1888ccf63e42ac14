#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>

#include "Backends/Linux/Windows/X11Desktop.h"
#include "Backends/Linux/Windows/X11EventListener.h"
#include "PlatformInterfaces/WorkspacePort.h"

namespace tavik {

/// Follows the active window: tells when another one is active, and makes the user's
/// window active again when an application in which the tool works takes its place.
/// Whatever the user does with the mouse or the keyboard in the same moment is the
/// user's own wish and stays. Any thread; without an X server it does nothing.
class ActiveWindowKeeper {
 public:
  explicit ActiveWindowKeeper(X11Desktop& desktop) : desktop_(desktop) {}
  ActiveWindowKeeper(const ActiveWindowKeeper&) = delete;
  ActiveWindowKeeper& operator=(const ActiveWindowKeeper&) = delete;

  /// Called on the keeper's thread with each change.
  std::unique_ptr<FrontmostObservation> observe(std::function<void()> handler);
  /// Null when the process's own window is active.
  std::unique_ptr<FrontmostHold> hold(std::int32_t against);

 private:
  using Clock = std::chrono::steady_clock;
  class Observation;
  class Hold;
  /// The user's window, and until when it is kept; as long as somebody holds it.
  struct Kept {
    xcb_window_t window = XCB_NONE;
    int holders = 0;
    Clock::time_point until{};
  };

  void listen();
  void receive(X11Session& session, const xcb_generic_event_t& event);
  void activeWindowChanged();
  void release(std::int32_t pid);
  std::int32_t pidOfWindow(xcb_window_t window);

  X11Desktop& desktop_;
  std::mutex mutex_;
  std::map<int, std::function<void()>> handlers_;
  int nextHandler_ = 1;
  std::map<std::int32_t, Kept> kept_;
  Clock::time_point userActedAt_{};
  std::uint8_t inputOpcode_ = 0;
  xcb_atom_t activeWindowAtom_ = XCB_NONE;
  /// Guards the calls of handlers, so that one that was ended does not run.
  std::recursive_mutex calling_;
  std::mutex starting_;
  /// Last, so that it ends before the rest.
  std::unique_ptr<X11EventListener> listener_;
};

}  // namespace tavik
