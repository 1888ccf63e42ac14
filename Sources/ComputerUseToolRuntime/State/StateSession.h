#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "AccessibilitySupport/Access/LiveElementReader.h"
#include "AccessibilitySupport/Focus/ComputerUseUserInteractionMonitor.h"
#include "AccessibilitySupport/Focus/SystemFocusStealPreventer.h"
#include "AccessibilitySupport/Focus/SystemFocusedUIElementObserver.h"
#include "ComputerUseToolRuntime/Apps/AppResolver.h"
#include "ComputerUseToolRuntime/Service/ToolSession.h"
#include "ComputerUseToolRuntime/State/FocusedElementSnapshot.h"
#include "PlatformInterfaces/WorkspacePort.h"

namespace tavik {

/// The application that a state is about, in the client's words and in its own.
struct StateSubject {
  std::string appQuery;
  ResolvedApp resolved;
  std::string appName;
  /// What had the focus before an action.
  std::optional<FocusedElementSnapshot> preActionFocusedElement = {};
};

/// The window that a state shows, and its picture.
struct StateWindow {
  std::optional<std::uint32_t> windowID = {};
  std::optional<Rect> bounds = {};
  std::optional<Size> pixelSize = {};
};

/// Makes a state the one that later actions refer to, and begins to follow its
/// application: its focus, the user's hands on it, and who takes the focus from it.
/// Called inside the session-state gate.
class StateSession {
 public:
  struct Services {
    AXWrapper& access;
    const UIElementTreeTransformationRunner& transformations;
    WorkspacePort& workspace;
    ComputerUseUserInteractionMonitor& userInteractionMonitor;
    SystemFocusStealPreventer& focusStealPreventer;
    ToolSession& session;
    Scheduler& scheduler;
  };
  explicit StateSession(const Services& services) : services_(services) {}

  /// Throws `CancellationError`: a state that nobody waits for is not installed.
  void install(const StateSubject& subject, std::shared_ptr<UIElementTree> tree, const StateWindow& window);
  /// Ends the following that the last state began.
  void stopFollowing();

  /// What the application was last heard to have focused; null when unknown.
  AXElement observedFocusedElement(std::int32_t pid) const;

 private:
  void startFocusedElementObserverIfNeeded(std::int32_t pid);

  const Services services_;
  std::shared_ptr<SystemFocusedUIElementObserver> focusedElementObserver_;
};

/// The focused element of the application as role and names, "name=value" joined with
/// "|"; absent when it says nothing. Tells whether the focus moved.
std::optional<std::string> focusedElementDescription(std::int32_t pid, AXWrapper& access);

}  // namespace tavik
