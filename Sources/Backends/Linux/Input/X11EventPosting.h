#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>

#include "Backends/Linux/Accessibility/Toolkit.h"
#include "Backends/Linux/Input/InputMeans.h"
#include "Backends/Linux/Input/SecondPointer.h"
#include "Backends/Linux/Input/X11Keyboard.h"
#include "Backends/Linux/Windows/X11Desktop.h"
#include "PlatformInterfaces/EventPostingPort.h"

namespace tavik {

/// Input for the windows of one process, by the means that its toolkit believes: it
/// reaches them in front and behind, and leaves the user's pointer, focus and active
/// window alone. Kinds of events that no X client knows are accepted and say nothing.
/// Any thread.
class X11EventPosting : public EventPostingPort {
 public:
  using ToolkitOfProcess = std::function<Toolkit(std::int32_t pid)>;
  /// Told, before, of input that may move the focus inside a process.
  using FocusMayMove = std::function<void(std::int32_t pid)>;

  X11EventPosting(X11Desktop& desktop, ToolkitOfProcess toolkit, FocusMayMove focusMayMove);
  /// Takes the second pointer off the server.
  ~X11EventPosting() override;

  /// Clicks at a global point in a process that is not in front. Absent, and nothing
  /// happens, when it is in front; false when nothing takes the click.
  std::optional<bool> clickBehind(std::int32_t pid, Point at);

  std::optional<InputEvent> createMouseEvent(std::uint32_t type, std::uint32_t windowNumber, std::int64_t eventNumber,
                                             int clickCount, InputEventFailure& failure) override;
  std::optional<InputEvent> createOtherEvent(std::uint32_t type, std::int16_t subtype, double timestamp) override;
  std::optional<InputEvent> createFlagsChangedEvent(std::uint64_t flags) override;
  std::optional<InputEvent> createKeyboardEvent(std::uint16_t keyCode, bool keyDown, std::uint64_t flags) override;
  void setUnicodeString(InputEvent& event, const std::u16string& units) override;
  std::optional<InputEvent> createScrollWheelEvent(std::int32_t wheel1, std::int32_t wheel2) override;

  std::unique_ptr<InputEventSequence> beginSequence(std::int32_t pid) override;
  bool postToPid(std::int32_t pid, const InputEvent& event) override;
  void setIntegerValueField(InputEvent& event, std::uint32_t field, std::int64_t value) override;
  void setWindowLocation(InputEvent& event, Point point) override;
  void setLocation(InputEvent& event, Point point) override;
  void setTimestamp(InputEvent& event, std::uint64_t nanoseconds) override;
  double systemUptime() override;

 private:
  class Sequence;
  /// What is under way in one process.
  struct Conversation {
    int sequences = 0;
    Toolkit toolkit = Toolkit::other;
    /// The window that believes that it has the focus.
    xcb_window_t believer = XCB_NONE;
    /// The window that a press went to, until the release.
    std::optional<X11Window> pressed = {};
    bool secondPointerIsOut = false;
    bool holdsSilentButton = false;
    /// Where keys go, and how they are meant; looked up at the first.
    std::optional<X11Window> keyWindow = {};
    std::shared_ptr<const XkbLayout> layout = {};
    /// Wheel movement that has not made a whole notch.
    double wheelVertical = 0;
    double wheelHorizontal = 0;
  };

  bool post(X11Session& session, std::int32_t pid, Conversation& conversation, const InputEvent& event);
  bool postButton(X11Session& session, std::int32_t pid, Conversation& conversation, const InputEvent& event);
  static void holdSilentButton(X11Session& session, SecondPointer& pointer, const X11Window& window);
  bool postKey(X11Session& session, std::int32_t pid, Conversation& conversation, const InputEvent& event);
  bool postWheel(X11Session& session, std::int32_t pid, Conversation& conversation, const InputEvent& event);

  void notch(X11Session& session, Conversation& conversation, const X11Window& window, Point at, std::uint8_t button);

  std::optional<X11Window> windowUnder(X11Session& session, std::int32_t pid, const InputEvent& event);
  std::optional<X11Window> windowForKeys(X11Session& session, std::int32_t pid);
  void makeBelieve(X11Session& session, Conversation& conversation, const X11Window& window);
  SecondPointer* secondPointer(X11Session& session);

  void end(std::int32_t pid);
  void conclude(X11Session& session, Conversation& conversation);

  X11Desktop& desktop_;
  const ToolkitOfProcess toolkit_;
  const FocusMayMove focusMayMove_;
  std::mutex mutex_;
  std::map<std::int32_t, Conversation> conversations_;
  std::unique_ptr<SecondPointer> secondPointer_;
  /// Of the connection that the second pointer was made on.
  int generation_ = -1;
};

}  // namespace tavik
