#include "ComputerUsePlatform/Refetch/UIElementTreeInvalidationMonitor.h"

#include <algorithm>
#include <array>
#include <utility>

#include "AccessibilitySupport/Access/AXNotifications.h"
#include "SlimCore/Logging/TavikComputerUseLogger.h"

namespace tavik {

namespace {

const std::array monitoredNotifications = {
    &AXNotifications::uiElementDestroyed,
    &AXNotifications::layoutChanged,
    &AXNotifications::valueChanged,
    &AXNotifications::selectedTextChanged,
    &AXNotifications::selectedChildrenChanged,
    &AXNotifications::selectedRowsChanged,
    &AXNotifications::rowCountChanged,
    &AXNotifications::created,
    &AXNotifications::windowResized,
    &AXNotifications::windowMoved,
    &AXNotifications::titleChanged,
    &AXNotifications::resized,
    &AXNotifications::moved,
    &AXNotifications::menuOpened,
    &AXNotifications::menuClosed,
};

bool isMonitored(const std::string& notification) {
  return std::ranges::any_of(monitoredNotifications, [&](const auto* name) { return *name == notification; });
}

}  // namespace

std::shared_ptr<UIElementTreeInvalidationMonitor> UIElementTreeInvalidationMonitor::create(
    AccessibilityPort& port, std::function<void()> onInvalidation) {
  return std::make_shared<UIElementTreeInvalidationMonitor>(Key{}, port, std::move(onInvalidation));
}

UIElementTreeInvalidationMonitor::UIElementTreeInvalidationMonitor(Key, AccessibilityPort& port,
                                                                   std::function<void()> onInvalidation)
    : port_(port), onInvalidation_(std::move(onInvalidation)) {}

UIElementTreeInvalidationMonitor::~UIElementTreeInvalidationMonitor() { stopMonitoring(); }

void UIElementTreeInvalidationMonitor::startMonitoring(const UIElementTree& tree) {
  {
    MutexLock lock(lock_);
    isInvalidated_ = false;
  }
  auto observer = AXNotificationObserver::create(
      port_, tree.pid,
      [monitor = weak_from_this()](AXNotificationObserver&, const AXElement&, const std::string& notification,
                                   const AXNotificationObserver::Info*) {
        if (auto self = monitor.lock(); self && isMonitored(notification)) self->handleElementInvalidated(notification);
      });
  observer->start();
  {
    MutexLock lock(lock_);
    observer_.swap(observer);
    monitoredElements_.clear();
  }
  if (observer) observer->stop();

  const auto current = [&] {
    MutexLock lock(lock_);
    return observer_;
  }();
  if (!current) return;
  registerInvalidationNotifications(*tree.rootItem, *current, "root");
  for (const auto& child : tree.rootItem->childItems) registerInvalidationNotifications(*child, *current, "child");
}

void UIElementTreeInvalidationMonitor::registerInvalidationNotifications(const UIElementTree::Item& on,
                                                                         AXNotificationObserver& observer,
                                                                         const char* label) {
  // An item that was made up, or merged from several, stands for no element.
  if (!on.axElement) return;
  for (const auto* name : monitoredNotifications) {
    try {
      observer.addNotification(*name, on.axElement);
    } catch (const UIElementError& error) {
      TavikComputerUseLogger::debug(
          LogCategory::accessibility, "notification_registration_failed",
          {{"notification", *name}, {"elementScope", label}, {"error", error.loggedError()}});
    }
  }
  MutexLock lock(lock_);
  monitoredElements_.push_back(on.axElement);
}

void UIElementTreeInvalidationMonitor::handleElementInvalidated(const std::string& notification) {
  {
    MutexLock lock(lock_);
    if (!observer_ || std::exchange(isInvalidated_, true)) return;
  }
  TavikComputerUseLogger::info(LogCategory::accessibility, "tree_invalidated", {{"notification", notification}});
  if (onInvalidation_) onInvalidation_();
}

void UIElementTreeInvalidationMonitor::stopMonitoring() {
  std::shared_ptr<AXNotificationObserver> stopped;
  {
    MutexLock lock(lock_);
    stopped.swap(observer_);
    monitoredElements_.clear();
  }
  if (stopped) stopped->stop();
}

bool UIElementTreeInvalidationMonitor::isInvalidated() const {
  MutexLock lock(lock_);
  return isInvalidated_;
}

std::vector<AXElement> UIElementTreeInvalidationMonitor::monitoredElements() const {
  MutexLock lock(lock_);
  return monitoredElements_;
}

}  // namespace tavik
