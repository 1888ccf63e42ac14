#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "AccessibilitySupport/Tree/UIElementTree.h"
#include "Base/Concurrency/Mutex.h"
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

  std::shared_ptr<UIElementTree> currentTree() const;
  std::optional<AppStateSnapshotContext> currentSession() const;
  ActiveSessions activeSessions() const;
  bool presentationIsSuspended() const;

  /// Told of every change of the active sessions that is to be shown. Set before use.
  void setActiveSessionsDidChange(ActiveSessionsCallback callback);

  /// Replaces tree and context together and records the application as active.
  void install(std::shared_ptr<UIElementTree> tree, AppStateSnapshotContext context);
  /// Forgets tree and context; the active sessions stay.
  void clearState();

  void clearActiveSessions();
  void suspendPresentation();
  void resumePresentation();

 private:
  void recordActiveSession(const ComputerUseActiveSessionSummary& summary);
  void announce(const ActiveSessions& sessions);

  mutable Mutex mutex_;
  std::shared_ptr<UIElementTree> currentTree_;
  std::optional<AppStateSnapshotContext> currentSession_;
  ActiveSessions activeSessions_;
  bool presentationIsSuspended_ = false;
  ActiveSessionsCallback activeSessionsDidChange_;
};

}  // namespace tavik
