#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>

#include "Base/Concurrency/Mutex.h"
#include "Base/Concurrency/Scheduler.h"
#include "Base/Concurrency/WorkQueue.h"
#include "HostCoordination/ThreadStream/HostConversationActivityChange.h"

namespace tavik {

/// What the coordinator does to the presentation of a turn: cursor, focus protection,
/// status item. Each call blocks until it is done; they never overlap.
struct TurnPresentation {
  /// Ends all of it together with the session.
  std::function<void()> authoritativeCleanup;
  /// Hides it and keeps the session, until it is resumed.
  std::function<void()> suspend;
  std::function<void()> resume;
};

/// Decides when the presentation of a conversation turn ends: at once when the host
/// says that the turn is over, else by hiding it after a time of silence. It moves
/// only when it is told something. Any thread, many at once.
class ComputerUseTurnLifecycleCoordinator {
 public:
  /// How long after the last request the presentation is hidden.
  static constexpr std::uint64_t fallbackTimeoutNanoseconds = 15'000'000'000;

  ComputerUseTurnLifecycleCoordinator(Scheduler& scheduler, TurnPresentation presentation);
  /// Stops, and waits for a call of the presentation that has begun.
  ~ComputerUseTurnLifecycleCoordinator();
  ComputerUseTurnLifecycleCoordinator(const ComputerUseTurnLifecycleCoordinator&) = delete;
  ComputerUseTurnLifecycleCoordinator& operator=(const ComputerUseTurnLifecycleCoordinator&) = delete;

  /// Before a tool request: blocks until a clean-up that has begun is done and a
  /// hidden presentation is back. Each start is followed by one finish.
  void toolRequestStarted();
  void toolRequestFinished();
  /// The host's word on a conversation.
  void hostConversationStateChanged(const HostConversationActivityChange& change);
  /// Nothing is hidden any more by silence.
  void stop();

  bool sessionIsActive() const;
  bool presentationIsSuspended() const;
  std::optional<std::string> boundConversationID() const;

 private:
  void scheduleFallbackLocked();
  void bindToTheOnlyActiveConversationLocked();
  void performPresentationSuspension(std::uint64_t generation);
  void performAuthoritativeCleanup(const char* reason);
  void resumeIfSuspended();

  const TurnPresentation presentation_;

  mutable Mutex mutex_;
  std::set<std::string> activeConversationIDs_;
  /// The conversation that this work belongs to.
  std::optional<std::string> boundConversationID_;
  /// Grows with each tool request.
  std::uint64_t activityGeneration_ = 0;
  int inFlightRequestCount_ = 0;
  /// Whether tools worked since the last clean-up.
  bool sessionIsActive_ = false;
  /// The turn ended while requests were running.
  bool pendingMatchedTurnEnd_ = false;
  bool presentationIsSuspended_ = false;
  bool stopped_ = false;
  WorkItem fallback_;

  /// Runs the fallback and all calls of the presentation, one after another.
  SerialQueue queue_;
};

}  // namespace tavik
