#include "AccessibilitySupport/Focus/SystemFrontmostApplicationTracker.h"

#include <mutex>
#include <utility>

namespace tavik {

SystemFrontmostApplicationTracker::SystemFrontmostApplicationTracker(WorkspacePort& workspace, Scheduler& scheduler)
    : calling_(scheduler),
      frontmostApplication_(workspace.frontmostApplication()),
      observation_(workspace.observeFrontmostApplication([this](const Application& now) { receive(now); })) {}

SystemFrontmostApplicationTracker::Application SystemFrontmostApplicationTracker::frontmostApplication() const {
  MutexLock lock(lock_);
  return frontmostApplication_;
}

void SystemFrontmostApplicationTracker::addObserver(const void* observer, Handler handler) {
  MutexLock lock(lock_);
  observers_[observer] = std::move(handler);
}

void SystemFrontmostApplicationTracker::removeObserver(const void* observer) {
  const std::lock_guard calling(calling_);
  MutexLock lock(lock_);
  observers_.erase(observer);
}

void SystemFrontmostApplicationTracker::receive(const Application& now) {
  Application before;
  std::map<const void*, Handler> observers;
  const std::lock_guard calling(calling_);
  {
    MutexLock lock(lock_);
    before = std::exchange(frontmostApplication_, now);
    observers = observers_;
  }
  for (const auto& [observer, handler] : observers) handler(now, before);
}

}  // namespace tavik
