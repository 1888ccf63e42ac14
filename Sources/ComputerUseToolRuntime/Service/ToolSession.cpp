#include "ComputerUseToolRuntime/Service/ToolSession.h"

#include <algorithm>

namespace tavik {

std::shared_ptr<RefetchableAppStateAXTree> ToolSession::currentAppStateTree() const {
  MutexLock lock(mutex_);
  return currentAppStateTree_;
}

std::shared_ptr<UIElementTree> ToolSession::currentTree() const {
  MutexLock lock(mutex_);
  return currentTree_;
}

std::optional<AppStateSnapshotContext> ToolSession::currentSession() const {
  MutexLock lock(mutex_);
  return currentSession_;
}

ToolSession::ActiveSessions ToolSession::activeSessions() const {
  MutexLock lock(mutex_);
  return activeSessions_;
}

bool ToolSession::presentationIsSuspended() const {
  MutexLock lock(mutex_);
  return presentationIsSuspended_;
}

void ToolSession::setActiveSessionsDidChange(ActiveSessionsCallback callback) {
  MutexLock lock(mutex_);
  activeSessionsDidChange_ = std::move(callback);
}

void ToolSession::install(std::shared_ptr<RefetchableAppStateAXTree> appStateTree,
                          std::shared_ptr<UIElementTree> tree, AppStateSnapshotContext context) {
  ComputerUseActiveSessionSummary summary{context.bundleIdentifier, context.pid, context.appName};
  {
    MutexLock lock(mutex_);
    currentAppStateTree_.swap(appStateTree);
    currentTree_.swap(tree);
    currentSession_ = std::move(context);
  }
  recordActiveSession(summary);
}

void ToolSession::setCurrentTree(std::shared_ptr<UIElementTree> tree) {
  MutexLock lock(mutex_);
  currentTree_.swap(tree);
}

void ToolSession::clearState() {
  std::shared_ptr<RefetchableAppStateAXTree> droppedAppStateTree;
  std::shared_ptr<UIElementTree> dropped;
  MutexLock lock(mutex_);
  droppedAppStateTree.swap(currentAppStateTree_);
  dropped.swap(currentTree_);
  currentSession_.reset();
}

void ToolSession::recordActiveSession(const ComputerUseActiveSessionSummary& summary) {
  ActiveSessions toAnnounce;
  {
    MutexLock lock(mutex_);
    auto known = std::find_if(activeSessions_.begin(), activeSessions_.end(), [&](const auto& session) {
      return session.bundleIdentifier == summary.bundleIdentifier;
    });
    if (known == activeSessions_.end()) {
      activeSessions_.push_back(summary);
    } else if (*known == summary) {
      return;
    } else {
      *known = summary;
    }
    if (presentationIsSuspended_) return;
    toAnnounce = activeSessions_;
  }
  announce(toAnnounce);
}

void ToolSession::clearActiveSessions() {
  {
    MutexLock lock(mutex_);
    presentationIsSuspended_ = false;
    activeSessions_.clear();
  }
  announce({});
}

void ToolSession::suspendPresentation() {
  {
    MutexLock lock(mutex_);
    if (presentationIsSuspended_) return;
    presentationIsSuspended_ = true;
  }
  announce({});
}

void ToolSession::resumePresentation() {
  ActiveSessions stored;
  {
    MutexLock lock(mutex_);
    if (!presentationIsSuspended_) return;
    presentationIsSuspended_ = false;
    stored = activeSessions_;
  }
  announce(stored);
}

void ToolSession::announce(const ActiveSessions& sessions) {
  ActiveSessionsCallback callback;
  {
    MutexLock lock(mutex_);
    callback = activeSessionsDidChange_;
  }
  if (callback) callback(sessions);
}

}  // namespace tavik
