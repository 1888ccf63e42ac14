#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "AccessibilitySupport/Tree/UIElementTree.h"
#include "Base/Concurrency/Mutex.h"
#include "Base/Concurrency/Scheduler.h"
#include "ComputerUseToolRuntime/State/FocusedElementSnapshot.h"

namespace tavik {

/// A menu that an action read in the background, without opening it: the state that
/// is to follow the action.
struct PendingMenuBarPostActionState {
  std::string appQuery;
  std::string bundleIdentifier;
  std::int32_t pid = 0;
  std::shared_ptr<UIElementTree> tree;
  AXElement sourceElement;
  MonotonicTime createdAt;
};

/// What actions leave behind for the look that follows them, by application, the
/// first one first. Any thread: an action adds outside the session-state gate.
class PostActionQueues {
 public:
  static constexpr Duration pendingMenuLifetime = milliseconds(30'000);
  static constexpr std::size_t mostPendingMenus = 4;

  explicit PostActionQueues(Scheduler& scheduler) : scheduler_(scheduler) {}

  /// An absent snapshot is queued as well, so that snapshots stay paired with actions.
  void enqueuePreActionFocusedElement(const std::string& bundleID, std::optional<FocusedElementSnapshot> snapshot);
  std::optional<FocusedElementSnapshot> dequeuePreActionFocusedElement(const std::string& bundleID);

  /// The oldest are dropped when there are too many.
  void enqueuePendingMenu(PendingMenuBarPostActionState state);
  /// The first that is not too old, with `matchingPID` of that process.
  std::optional<PendingMenuBarPostActionState> dequeuePendingMenu(const std::string& bundleID,
                                                                  std::optional<std::int32_t> matchingPID);
  void clear();

  std::size_t preActionFocusedElementCount(const std::string& bundleID);

 private:
  void pruneExpiredPendingMenusLocked(MonotonicTime now);

  Scheduler& scheduler_;
  Mutex lock_;
  std::map<std::string, std::deque<std::optional<FocusedElementSnapshot>>> preActionFocusedElements_;
  std::map<std::string, std::deque<PendingMenuBarPostActionState>> pendingMenus_;
};

}  // namespace tavik
