#pragma once

#include <memory>
#include <mutex>

#include "Backends/Linux/Input/XkbLayout.h"
#include "Backends/Linux/Windows/X11Desktop.h"
#include "Backends/Linux/Windows/X11EventListener.h"
#include "PlatformInterfaces/KeyboardLayoutPort.h"

namespace tavik {

/// The layout that the user types with: the keymap of the X server's core keyboard
/// and the group that is chosen in it. Any thread.
class X11Keyboard : public KeyboardLayoutPort {
 public:
  explicit X11Keyboard(X11Desktop& desktop) : desktop_(desktop) {}

  std::optional<KeyboardLayoutSnapshot> copyCurrentLayout() override;
  void setLayoutChangedHandler(std::function<void()> handler) override;
  bool shortcutsUseControl() const override { return true; }
  bool acceptsTextWithoutKeys() const override { return true; }

  /// The same on a session; null when the server lacks the keyboard extension.
  static std::shared_ptr<const XkbLayout> readLayout(X11Session& session);

 private:
  void listenAgainIfNeeded();
  void listen();

  X11Desktop& desktop_;
  std::mutex mutex_;
  std::function<void()> handler_;
  std::unique_ptr<X11EventListener> listener_;
};

}  // namespace tavik
