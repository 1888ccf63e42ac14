#include "AccessibilitySupport/Access/AXNotificationObserver.h"

#include <utility>

namespace tavik {

std::shared_ptr<AXNotificationObserver> AXNotificationObserver::create(AccessibilityPort& port,
                                                                       std::int32_t pid, Callback callback) {
  return std::make_shared<AXNotificationObserver>(Key{}, port, pid, std::move(callback));
}

AXNotificationObserver::AXNotificationObserver(Key, AccessibilityPort& port, std::int32_t pid,
                                               Callback callback)
    : port_(port), pid_(pid), callback_(std::move(callback)) {}

AXNotificationObserver::~AXNotificationObserver() {
  stop();
}

std::shared_ptr<AXObserver> AXNotificationObserver::platformObserver() const {
  MutexLock lock(lock_);
  return observer_;
}

bool AXNotificationObserver::isActive() const {
  return platformObserver() != nullptr;
}

std::set<std::string> AXNotificationObserver::registeredNotifications() const {
  MutexLock lock(lock_);
  return registeredNotifications_;
}

void AXNotificationObserver::start() {
  if (isActive()) return;
  auto created = port_.createObserver(
      pid_, [self = weak_from_this()](const AXElement& element, const std::string& notification) {
        if (auto observer = self.lock()) observer->deliver(element, notification);
      });
  if (!created.ok() || !created.value) throw UIElementError::axError(created.code);

  port_.addObserverSource(created.value);
  bool isFirst = false;
  {
    MutexLock lock(lock_);
    isFirst = observer_ == nullptr;
    if (isFirst) observer_ = created.value;
  }
  if (!isFirst) return port_.removeObserverSource(created.value);
  TavikComputerUseLogger::info(LogCategory::accessibility, "observer_started", {{"targetPid", pid_}});
}

void AXNotificationObserver::stop() {
  std::shared_ptr<AXObserver> stopped;
  {
    MutexLock lock(lock_);
    stopped = std::move(observer_);
    observer_ = nullptr;
    registeredNotifications_.clear();
  }
  if (!stopped) return;
  port_.removeObserverSource(stopped);
  TavikComputerUseLogger::info(LogCategory::accessibility, "observer_stopped", {{"targetPid", pid_}});
}

void AXNotificationObserver::addNotification(const std::string& name, const AXElement& element) {
  const auto observer = platformObserver();
  if (!observer) throw UIElementError::invalidElement();
  const AXErrorCode code = port_.addNotification(observer, element, name);
  // The platform answers "illegal argument" for some names that it then delivers.
  if (code != AXError::success && code != AXError::illegalArgument) throw UIElementError::axError(code);
  MutexLock lock(lock_);
  if (observer_ == observer) registeredNotifications_.insert(name);
}

void AXNotificationObserver::removeNotification(const std::string& name, const AXElement& element) {
  const auto observer = platformObserver();
  if (!observer) return;
  port_.removeNotification(observer, element, name);
  MutexLock lock(lock_);
  if (observer_ == observer) registeredNotifications_.erase(name);
}

void AXNotificationObserver::deliver(const AXElement& element, const std::string& notification) {
  if (isActive()) callback_(*this, element, notification, nullptr);
}

}  // namespace tavik
