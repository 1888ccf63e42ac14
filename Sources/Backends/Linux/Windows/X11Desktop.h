#pragma once

#include <mutex>
#include <optional>
#include <vector>

#include "Backends/Linux/Windows/X11Session.h"
#include "Backends/Linux/Windows/X11Window.h"

namespace tavik {

/// The X server that this process talks to, shared by all services. It may be
/// absent, go away and come back; the connection is made when it is needed. Any
/// thread.
class X11Desktop {
 public:
  /// Runs `use` alone with a live session and gives what it gives. Absent when
  /// there is no server, or when it went away meanwhile. `use` may run twice: a
  /// connection that turned out to be dead is replaced once.
  template <class Use>
  auto with(Use use) -> std::optional<decltype(use(std::declval<X11Session&>()))> {
    std::lock_guard lock(mutex_);
    for (int attempt = 0; attempt < 2; ++attempt) {
      if (session_ == nullptr || session_->isBroken()) {
        session_ = X11Session::open();
        ++generation_;
      }
      if (session_ == nullptr) return std::nullopt;
      auto result = use(*session_);
      if (!session_->isBroken()) return result;
    }
    return std::nullopt;
  }

  /// The windows from front to back.
  std::optional<std::vector<X11Window>> windows();
  /// The window that the user works in; 0 when there is none.
  std::optional<xcb_window_t> activeWindow();

  /// Changes when a connection was replaced: what was made on the server before is
  /// gone. Ask it inside `with`.
  int generation() const { return generation_; }

 private:
  std::mutex mutex_;
  std::unique_ptr<X11Session> session_;
  int generation_ = 0;
};

}  // namespace tavik
