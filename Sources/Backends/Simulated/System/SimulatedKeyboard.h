#pragma once

#include <array>
#include <atomic>
#include <map>

#include "Base/Concurrency/Mutex.h"
#include "PlatformInterfaces/KeyboardLayoutPort.h"

namespace tavik {

/// What each key of a keyboard gives: plain, with shift, with option, with both.
class SimulatedKeyboardLayout : public KeyboardLayout {
 public:
  /// Up to four texts for a key; a missing or empty one gives nothing, as a dead key.
  using Keys = std::map<std::uint16_t, std::array<std::u16string, 4>>;
  explicit SimulatedKeyboardLayout(Keys keys) : keys_(std::move(keys)) {}

  static std::shared_ptr<const KeyboardLayout> us();
  /// "z" where the US has "y", "@" and brackets with option, "ü" on a key of its own,
  /// a dead accent.
  static std::shared_ptr<const KeyboardLayout> german();

  std::optional<std::u16string> translate(std::uint16_t keyCode, std::uint32_t modifierState) const override;

 private:
  const Keys keys_;
};

/// The keyboard of the simulated desktop; starts with the US layout. Any thread.
class SimulatedKeyboard : public KeyboardLayoutPort {
 public:
  /// The user switches to another layout, or, with null, to an input source that
  /// has none.
  void use(std::shared_ptr<const KeyboardLayout> layout);
  /// Runs inside each reading of the layout, before it answers.
  void setOnRead(std::function<void()> body);
  int reads() const;

  std::optional<KeyboardLayoutSnapshot> copyCurrentLayout() override;
  void setLayoutChangedHandler(std::function<void()> handler) override;
  void useControlForShortcuts() { shortcutsUseControl_ = true; }
  bool shortcutsUseControl() const override { return shortcutsUseControl_; }
  void acceptTextWithoutKeys() { acceptsTextWithoutKeys_ = true; }
  bool acceptsTextWithoutKeys() const override { return acceptsTextWithoutKeys_; }

 private:
  mutable Mutex mutex_;
  std::shared_ptr<const KeyboardLayout> layout_ = SimulatedKeyboardLayout::us();
  std::function<void()> onRead_;
  std::function<void()> handler_;
  int reads_ = 0;
  std::atomic<bool> shortcutsUseControl_ = false;
  std::atomic<bool> acceptsTextWithoutKeys_ = false;
};

}  // namespace tavik
