#pragma once

#include <xcb/xcb.h>

#include <atomic>
#include <chrono>
#include <optional>
#include <string>
#include <thread>

namespace tavik::test {

/// A window of one colour, on a connection of its own, painted by a thread.
class PaintedWindow {
 public:
  struct Options {
    int x = 100;
    int y = 100;
    int width = 300;
    int height = 200;
    std::uint32_t color = 0xFF0000;
    std::string title = "Painted";
    /// Of _NET_WM_WINDOW_TYPE, without the common beginning.
    std::string type = "NORMAL";
    bool isPopup = false;
    /// What the server itself fills uncovered parts with; without one it leaves what
    /// was on the screen before.
    std::optional<std::uint32_t> background = std::nullopt;
    /// An application that never paints.
    bool isHung = false;
    /// How long the application thinks before it paints, the first time excepted.
    std::chrono::milliseconds repaintDelay{0};
    /// Whether it tells its process; the server knows it anyway.
    bool setsPID = true;
  };

  /// The window is on the screen when the constructor returns.
  explicit PaintedWindow(Options options);
  ~PaintedWindow();
  PaintedWindow(const PaintedWindow&) = delete;
  PaintedWindow& operator=(const PaintedWindow&) = delete;

  xcb_window_t id() const { return window_; }
  /// How often the left button was pressed in it.
  int presses() const { return presses_; }
  void minimise();
  /// Asks the window manager for the focus.
  void activate();
  void raise();

 private:
  xcb_atom_t atom(const std::string& name);
  void setText(const std::string& property, const std::string& text);
  void sendToRoot(const std::string& message, std::uint32_t first, std::uint32_t second);
  bool isManaged();
  void paintUntilClosed();

  const Options options_;
  xcb_connection_t* connection_;
  xcb_window_t root_ = 0;
  xcb_window_t window_ = 0;
  xcb_gcontext_t paint_ = 0;
  std::atomic<bool> isPainted_{false};
  std::atomic<int> presses_{0};
  std::thread painter_;
};

}  // namespace tavik::test
