#include "AccessibilitySupport/Focus/SystemFocusedUIElementObserver.h"

#include <utility>

#include "AccessibilitySupport/Access/AXNotifications.h"
#include "AccessibilitySupport/Access/LiveElementReader.h"
#include "SlimCore/Logging/TavikComputerUseLogger.h"

namespace tavik {

std::shared_ptr<SystemFocusedUIElementObserver> SystemFocusedUIElementObserver::create(
    AXWrapper& access, std::int32_t pid, Callback onFocusedUIElementChanged) {
  return std::make_shared<SystemFocusedUIElementObserver>(Key{}, access, pid, std::move(onFocusedUIElementChanged));
}

SystemFocusedUIElementObserver::SystemFocusedUIElementObserver(Key, AXWrapper& access, std::int32_t pid,
                                                               Callback onFocusedUIElementChanged)
    : access_(access), pid_(pid), onFocusedUIElementChanged_(std::move(onFocusedUIElementChanged)) {}

SystemFocusedUIElementObserver::~SystemFocusedUIElementObserver() { stop(); }

void SystemFocusedUIElementObserver::start() {
  if (isRunning()) return;
  auto created = access_.port().createObserver(
      pid_, [self = weak_from_this()](const AXElement& element, const std::string&) {
        if (auto observer = self.lock()) observer->receive(element);
      });
  if (!created.ok() || !created.value) {
    TavikComputerUseLogger::warning(LogCategory::accessibility, "observer_creation_failed",
                                    {{"targetPid", pid_}, {"errorCode", created.code}});
    return;
  }
  const AXElement application = access_.port().createApplication(pid_);
  access_.port().addNotification(created.value, application, AXNotifications::focusedUIElementChanged);
  access_.port().addObserverSource(created.value);
  {
    MutexLock lock(lock_);
    observer_ = created.value;
  }
  TavikComputerUseLogger::info(LogCategory::accessibility, "observer_started", {{"targetPid", pid_}});
  refreshFocusedElement();
}

void SystemFocusedUIElementObserver::stop() {
  std::shared_ptr<AXObserver> stopped;
  {
    MutexLock lock(lock_);
    stopped.swap(observer_);
    cachedFocusedElement_ = AXElement();
  }
  // The registration ends with the observer; taking it back one by one would wait
  // for an application that may hang.
  if (stopped) access_.port().removeObserverSource(stopped);
}

bool SystemFocusedUIElementObserver::isRunning() const {
  MutexLock lock(lock_);
  return observer_ != nullptr;
}

AXElement SystemFocusedUIElementObserver::focusedElement() const {
  MutexLock lock(lock_);
  return cachedFocusedElement_;
}

void SystemFocusedUIElementObserver::refreshFocusedElement() {
  const AXElement focused = LiveElementReader(access_).focusedElement(pid_);
  MutexLock lock(lock_);
  if (observer_) cachedFocusedElement_ = focused;
}

void SystemFocusedUIElementObserver::receive(const AXElement& element) {
  {
    MutexLock lock(lock_);
    if (!observer_) return;
    cachedFocusedElement_ = element;
  }
  if (onFocusedUIElementChanged_) onFocusedUIElementChanged_(element);
}

}  // namespace tavik
