#include "AccessibilitySupport/Focus/SyntheticAppFocusEnforcer.h"

#include "AccessibilitySupport/Access/AXActions.h"

namespace tavik {

namespace {

constexpr int raiseAttempts = 10;
constexpr Duration raiseInterval = milliseconds(50);

}  // namespace

SyntheticAppFocusEnforcer::SyntheticAppFocusEnforcer(EventPostingPort& events, AccessibilityPort& accessibility,
                                                     SystemFrontmostApplicationTracker& tracker, Scheduler& scheduler)
    : events_(events), accessibility_(accessibility), tracker_(tracker), scheduler_(scheduler), tasks_(scheduler) {}

void SyntheticAppFocusEnforcer::startEnforcing(std::int32_t pid) {
  {
    MutexLock lock(lock_);
    state_ = {.isActive = true, .enforcedPID = pid};
  }
  tracker_.addObserver(this, [this](const auto& now, const auto&) { frontmostChanged(now); });
}

void SyntheticAppFocusEnforcer::stopEnforcing() {
  {
    MutexLock lock(lock_);
    state_ = {};
  }
  tracker_.removeObserver(this);
}

SyntheticAppFocusEnforcer::State SyntheticAppFocusEnforcer::state() const {
  MutexLock lock(lock_);
  return state_;
}

std::int32_t SyntheticAppFocusEnforcer::pid() const { return state().enforcedPID.value_or(0); }

void SyntheticAppFocusEnforcer::frontmostChanged(const std::optional<RunningApplication>& now) {
  const std::int32_t enforced = pid();
  if (enforced == 0 || !now || now->pid == enforced) return;
  postSyntheticFocusEvent(events_, enforced);
  tasks_.start("raise an application", [this] { performRaiseLoop(); });
}

void SyntheticAppFocusEnforcer::performRaiseLoop() {
  const std::int32_t enforced = pid();
  if (enforced == 0) return;
  const auto frontmost = tracker_.frontmostApplication();
  if (frontmost && frontmost->pid == enforced) return;
  const AXElement application = accessibility_.createApplication(enforced);
  for (int attempt = 0; attempt < raiseAttempts; ++attempt) {
    if (accessibility_.performAction(application, AXActions::raise) == AXError::success) return;
    scheduler_.sleep(raiseInterval);
  }
}

void SyntheticAppFocusEnforcer::postSyntheticFocusEvent() { postSyntheticFocusEvent(events_, pid()); }

void SyntheticAppFocusEnforcer::postSyntheticFocusEvent(EventPostingPort& events, std::int32_t to) {
  if (to == 0) return;
  auto event = events.createOtherEvent(InputEventType::applicationDefined, 0, 0);
  if (!event) return;
  events.setIntegerValueField(*event, InputEventField::sourceUnixProcessID, to);
  events.postToPid(to, *event);
}

}  // namespace tavik
