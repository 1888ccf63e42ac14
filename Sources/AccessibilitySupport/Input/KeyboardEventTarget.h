#pragma once

#include <cstdint>
#include <exception>
#include <string>
#include <vector>

#include "AccessibilitySupport/Input/KeyboardLayoutSnapshotProvider.h"
#include "AccessibilitySupport/Input/VirtualKeyPress.h"
#include "Base/Concurrency/Scheduler.h"
#include "PlatformInterfaces/EventPostingPort.h"

namespace tavik {

/// Key input for one process. Any thread.
class KeyboardEventTarget {
 public:
  class Error : public std::exception {
   public:
    enum class Kind { unsupportedKeySpec, failedToCreateCGEvent, layoutUnavailable };
    static Error unsupportedKeySpec(std::string spec) { return {Kind::unsupportedKeySpec, std::move(spec)}; }
    static Error failedToCreateCGEvent() { return {Kind::failedToCreateCGEvent, {}}; }
    static Error layoutUnavailable() { return {Kind::layoutUnavailable, {}}; }

    Kind kind() const { return kind_; }
    /// The part that names no key; empty for the other kinds.
    const std::string& spec() const { return spec_; }
    const char* what() const noexcept override;

   private:
    Error(Kind kind, std::string spec) : kind_(kind), spec_(std::move(spec)) {}
    Kind kind_;
    std::string spec_;
  };

  KeyboardEventTarget(EventPostingPort& port, KeyboardLayoutSnapshotProvider& layouts, Scheduler& scheduler,
                      std::int32_t pid);

  /// Types all presses in one burst. Throws `Error` before anything was typed.
  void typeKeyPresses(const std::vector<VirtualKeyPress>& presses);
  /// Waits after each press, for applications that drop keys from a burst. Throws
  /// `Error`, and `CancellationError` between two presses.
  void typeKeyPresses(const std::vector<VirtualKeyPress>& presses, std::uint64_t interKeyDelayMs);
  void typeText(const std::string& text);
  /// A key by name, or several joined with "+" of which the last is the key and the
  /// others are held: "Return", "ctrl+shift+t". Throws `Error`.
  void pressKey(const std::string& spec);

 private:
  std::optional<VirtualKeyPress> pressOnTheLayout(const std::string& key, std::uint32_t modifiers);
  std::vector<InputEvent> createKeyEvents(const VirtualKeyPress& press);
  InputEvent addressed(std::optional<InputEvent> event);
  void sendEventsSynchronously(std::vector<InputEvent> events);
  void postTypingFocusNotifications();

  EventPostingPort& port_;
  KeyboardLayoutSnapshotProvider& layouts_;
  Scheduler& scheduler_;
  const std::int32_t pid_;
};

}  // namespace tavik
