#include "TavikComputerUseRuntime/TurnLifecycle/ComputerUseTurnLifecycleCoordinator.h"

#include <algorithm>
#include <utility>

#include "SlimCore/Logging/TavikComputerUseLogger.h"

namespace tavik {

namespace {

/// The work in the name of the present request, if there is one.
std::function<void()> inTheNameOfThePresentRequest(std::function<void()> work) {
  return [requestID = TaskRecord::requestID(), work = std::move(work)] {
    RequestIDScope inherited(requestID);
    work();
  };
}

/// Whatever becomes of what a person sees, requests are counted and served.
void present(const std::function<void()>& call) {
  try {
    call();
  } catch (const std::exception& error) {
    TavikComputerUseLogger::error(LogCategory::lifecycle, "computer_use_presentation_failed", {{"error", error}});
  }
}

}  // namespace

ComputerUseTurnLifecycleCoordinator::ComputerUseTurnLifecycleCoordinator(Scheduler& scheduler,
                                                                         TurnPresentation presentation)
    : presentation_(std::move(presentation)), queue_(scheduler, "turn lifecycle") {}

ComputerUseTurnLifecycleCoordinator::~ComputerUseTurnLifecycleCoordinator() {
  stop();
}

void ComputerUseTurnLifecycleCoordinator::toolRequestStarted() {
  {
    MutexLock lock(mutex_);
    ++activityGeneration_;
    ++inFlightRequestCount_;
    sessionIsActive_ = true;
    fallback_.cancel();
  }
  queue_.sync([this] { resumeIfSuspended(); });
  MutexLock lock(mutex_);
  bindToTheOnlyActiveConversationLocked();
}

void ComputerUseTurnLifecycleCoordinator::resumeIfSuspended() {
  {
    MutexLock lock(mutex_);
    if (!std::exchange(presentationIsSuspended_, false)) return;
  }
  present(presentation_.resume);
}

/// With several active the binding stays as it is: nobody can tell them apart.
void ComputerUseTurnLifecycleCoordinator::bindToTheOnlyActiveConversationLocked() {
  if (activeConversationIDs_.size() == 1) boundConversationID_ = *activeConversationIDs_.begin();
}

void ComputerUseTurnLifecycleCoordinator::toolRequestFinished() {
  bool turnEnded = false;
  {
    MutexLock lock(mutex_);
    inFlightRequestCount_ = std::max(inFlightRequestCount_ - 1, 0);
    if (inFlightRequestCount_ > 0) return;
    turnEnded = pendingMatchedTurnEnd_;
    if (!turnEnded) scheduleFallbackLocked();
  }
  if (turnEnded) queue_.async(inTheNameOfThePresentRequest([this] { performAuthoritativeCleanup("ipc_turn_ended"); }));
}

void ComputerUseTurnLifecycleCoordinator::hostConversationStateChanged(
    const HostConversationActivityChange& change) {
  {
    MutexLock lock(mutex_);
    if (change.isTurnActive) {
      activeConversationIDs_.insert(change.conversationID);
      if (sessionIsActive_ && !boundConversationID_) bindToTheOnlyActiveConversationLocked();
      return;
    }
    activeConversationIDs_.erase(change.conversationID);
    if (!sessionIsActive_ || boundConversationID_ != change.conversationID) return;
    if (inFlightRequestCount_ > 0) {
      pendingMatchedTurnEnd_ = true;
      return;
    }
  }
  queue_.async([this] { performAuthoritativeCleanup("ipc_turn_ended"); });
}

void ComputerUseTurnLifecycleCoordinator::scheduleFallbackLocked() {
  fallback_.cancel();
  if (stopped_) return;
  fallback_ = queue_.asyncAfter(Duration(fallbackTimeoutNanoseconds),
                                inTheNameOfThePresentRequest([this, generation = activityGeneration_] {
                                  performPresentationSuspension(generation);
                                }));
}

void ComputerUseTurnLifecycleCoordinator::performPresentationSuspension(std::uint64_t generation) {
  {
    MutexLock lock(mutex_);
    if (stopped_ || activityGeneration_ != generation || inFlightRequestCount_ > 0) return;
    if (!sessionIsActive_ || std::exchange(presentationIsSuspended_, true)) return;
  }
  TavikComputerUseLogger::info(LogCategory::lifecycle, "computer_use_presentation_suspended",
                               {{"reason", "turn_end_timeout"}});
  present(presentation_.suspend);
}

void ComputerUseTurnLifecycleCoordinator::performAuthoritativeCleanup(const char* reason) {
  {
    MutexLock lock(mutex_);
    if (!sessionIsActive_) return;
    if (inFlightRequestCount_ > 0) {
      // A request came before its turn: nothing is reset under a running action.
      pendingMatchedTurnEnd_ = true;
      return;
    }
    fallback_.cancel();
    sessionIsActive_ = false;
    pendingMatchedTurnEnd_ = false;
    boundConversationID_.reset();
    presentationIsSuspended_ = false;
  }
  TavikComputerUseLogger::info(LogCategory::lifecycle, "computer_use_turn_deactivated", {{"reason", reason}});
  present(presentation_.authoritativeCleanup);
}

void ComputerUseTurnLifecycleCoordinator::stop() {
  MutexLock lock(mutex_);
  stopped_ = true;
  fallback_.cancel();
}

bool ComputerUseTurnLifecycleCoordinator::sessionIsActive() const {
  MutexLock lock(mutex_);
  return sessionIsActive_;
}

bool ComputerUseTurnLifecycleCoordinator::presentationIsSuspended() const {
  MutexLock lock(mutex_);
  return presentationIsSuspended_;
}

std::optional<std::string> ComputerUseTurnLifecycleCoordinator::boundConversationID() const {
  MutexLock lock(mutex_);
  return boundConversationID_;
}

}  // namespace tavik
