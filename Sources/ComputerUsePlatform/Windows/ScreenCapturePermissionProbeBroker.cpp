#include "ComputerUsePlatform/Windows/ScreenCapturePermissionProbeBroker.h"

#include <utility>

namespace tavik {

namespace {

constexpr Duration grantedResultTTL = milliseconds(1000);
constexpr Rect onePixel{{0, 0}, {1, 1}};

}  // namespace

bool ScreenCapturePermissionProbeBroker::isGranted(double timeoutSeconds, double deniedCooldownSeconds) {
  const MonotonicTime now = scheduler_.now();
  const Completion<bool> answer(scheduler_);
  const UUID id = UUID::make();
  bool isFirst = false;
  {
    // One step: an answer that comes between the look and the question would be lost.
    MutexLock lock(mutex_);
    if (deniedCooldownUntil_ && *deniedCooldownUntil_ > now) return false;
    if (lastResult_ && lastResult_->granted && now - lastResult_->date <= grantedResultTTL) return true;
    isFirst = !inFlightProbe_;
    if (isFirst) inFlightProbe_ = InFlightProbe{id, {}};
    inFlightProbe_->awaiters.push_back(answer);
  }
  if (isFirst) {
    tasks_.start("screen capture probe", [this, id, timeoutSeconds, deniedCooldownSeconds] {
      finishProbe(id, runProbe(timeoutSeconds), deniedCooldownSeconds);
    });
  }
  return answer.waitOrCancel("the screen capture probe");
}

bool ScreenCapturePermissionProbeBroker::runProbe(double timeoutSeconds) {
  const Completion<bool> answer(scheduler_);
  tasks_.start("screen capture of one pixel",
               [this, answer] { answer.resume(windowServer_.createScreenImage(onePixel).has_value()); });
  try {
    if (const auto granted = answer.waitFor(seconds(timeoutSeconds), "one pixel")) return *granted;
  } catch (const CancellationError&) {
    // Only at the end of the process, which nobody asks about any more.
  }
  return false;
}

void ScreenCapturePermissionProbeBroker::finishProbe(const UUID& id, bool granted, double deniedCooldownSeconds) {
  const MonotonicTime now = scheduler_.now();
  std::vector<Completion<bool>> awaiters;
  {
    MutexLock lock(mutex_);
    if (inFlightProbe_ && inFlightProbe_->id == id) {
      awaiters = std::move(inFlightProbe_->awaiters);
      inFlightProbe_.reset();
    }
    lastResult_ = Result{now, granted};
    deniedCooldownUntil_ = granted ? std::nullopt : std::optional(now + seconds(deniedCooldownSeconds));
  }
  for (const auto& awaiter : awaiters) awaiter.resume(granted);
}

}  // namespace tavik
