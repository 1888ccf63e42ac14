#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "AccessibilitySupport/Focus/EventTap.h"
#include "PlatformInterfaces/WorkspacePort.h"

namespace tavik {

/// Watches how processes are told about the focus, and keeps from the protected
/// application the word that it lost it to a process that has no business there.
/// Where the platform gives no such tap, it protects nothing and says nothing.
/// Any thread; no lock is held while a body or a port runs.
class SystemFocusStealPreventer {
 public:
  using Handler = std::function<void(std::int32_t pid)>;

  SystemFocusStealPreventer(EventTapPort& taps, WorkspacePort& workspace) : taps_(taps), workspace_(workspace) {}
  ~SystemFocusStealPreventer() { stop(); }
  SystemFocusStealPreventer(const SystemFocusStealPreventer&) = delete;
  SystemFocusStealPreventer& operator=(const SystemFocusStealPreventer&) = delete;

  /// Protects this process from now on, and no other.
  void start(std::int32_t protectingPID);
  void stop();
  /// 0 when none is.
  std::int32_t protectedPID() const;

  /// Called with the protected process when a thief took the focus, on the tap's
  /// thread; it must not call back into this object.
  void setTargetLostFocusHandler(Handler handler);

  /// Runs the body while the application is to believe that it has the focus.
  template <class Body>
  auto withSuppression(std::int32_t /*pid*/, Body body) -> decltype(body()) {
    setApplicationBelievesItHasFocus(true);
    const Belief belief{*this};
    return body();
  }
  void setApplicationBelievesItHasFocus(bool believes);
  bool applicationBelievesItHasFocus() const;

  bool isDisallowedThief(std::int32_t pid) const;

 private:
  struct Belief {
    SystemFocusStealPreventer& preventer;
    ~Belief() { preventer.setApplicationBelievesItHasFocus(false); }
  };
  /// Who holds the focus: a process number, and what the notification said of it in
  /// the upper half.
  struct Focus {
    static constexpr std::uint16_t noTheft = 2;
    static constexpr std::uint16_t thiefHasFocus = 1;
    std::uint64_t currentFocus = 0;
    std::uint64_t previousFocus = 0;
    std::uint16_t discriminator = noTheft;
  };
  struct SystemState {
    Focus focus;
    bool applicationBelievesItHasFocus = false;
    /// The type of the notification that was held back last.
    std::optional<std::uint16_t> suppressedReturnEvent;
    bool lastViewBridgeFocusStealWasSuppressed = false;
  };

  EventTapVerdict handleFocusEvent(const TappedEvent& event);
  EventTapVerdict handleTargetLostFocus(std::uint16_t subtype);
  EventTapVerdict handleProcessFocus(std::uint64_t pid, std::uint64_t normalizedPID, std::uint64_t upper);
  std::uint64_t normalized(std::int32_t pid) const;

  EventTapPort& taps_;
  WorkspacePort& workspace_;
  mutable Mutex lock_;
  SystemState systemState_;
  std::int32_t targetPID_ = 0;
  Handler targetLostFocusHandler_;
  std::shared_ptr<EventTap> systemProcessNotificationTap_;
};

}  // namespace tavik
