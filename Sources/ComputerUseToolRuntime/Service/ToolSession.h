#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "AccessibilitySupport/Tree/UIElementTree.h"
#include "Base/Concurrency/Mutex.h"
#include "ComputerUsePlatform/Refetch/RefetchableAppStateAXTree.h"
#include "ComputerUseToolRuntime/Service/AppStateSnapshotContext.h"

namespace tavik {

/// What the tools remember between requests: the tree that the model's element
/// indices belong to, what it was taken from, and the applications of this turn.
///
/// It is written only by holders of the session-state gate; readers get copies, so
/// that an action sees one consistent state while the next one is being captured.
/// The callback runs on the writer's thread, outside the lock.
class ToolSession {
 public:
  using ActiveSessions = std::vector<ComputerUseActiveSessionSummary>;
  using ActiveSessionsCallback = std::function<void(const ActiveSessions&)>;

  /// The way from the model's indices to live elements.
  std::shared_ptr<RefetchableAppStateAXTree> currentAppStateTree() const;
  /// The tree as last rendered, or as an element was last found in it.
  std::shared_ptr<UIElementTree> currentTree() const;
  std::optional<AppStateSnapshotContext> currentSession() const;
  ActiveSessions activeSessions() const;
  bool presentationIsSuspended() const;

  /// Told of every change of the active sessions that is to be shown. Set before use.
  void setActiveSessionsDidChange(ActiveSessionsCallback callback);

  /// Replaces trees and context together and records the application as active.
  void install(std::shared_ptr<RefetchableAppStateAXTree> appStateTree, std::shared_ptr<UIElementTree> tree,
               AppStateSnapshotContext context);
  void setCurrentTree(std::shared_ptr<UIElementTree> tree);
  /// Forgets trees and context; the active sessions stay.
  void clearState();

  void clearActiveSessions();
  void suspendPresentation();
  void resumePresentation();

 private:
  void recordActiveSession(const ComputerUseActiveSessionSummary& summary);
  void announce(const ActiveSessions& sessions);

  mutable Mutex mutex_;
  std::shared_ptr<RefetchableAppStateAXTree> currentAppStateTree_;
  std::shared_ptr<UIElementTree> currentTree_;
  std::optional<AppStateSnapshotContext> currentSession_;
  ActiveSessions activeSessions_;
  bool presentationIsSuspended_ = false;
  ActiveSessionsCallback activeSessionsDidChange_;
};

}  // namespace tavik
