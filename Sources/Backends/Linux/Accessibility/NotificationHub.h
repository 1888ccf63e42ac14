#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "Backends/Linux/Accessibility/ApplicationDirectory.h"
#include "Backends/Linux/Accessibility/LinuxElement.h"
#include "Backends/Linux/Accessibility/NotificationTable.h"
#include "PlatformInterfaces/AccessibilityPort.h"

namespace tavik {

/// Hears the events of applications and hands them on, in the AX vocabulary, to
/// the observers that asked for them. Applications are asked to send only what
/// somebody wants. Observers keep it alive and end before the bus. Any thread.
class NotificationHub : public std::enable_shared_from_this<NotificationHub> {
 public:
  /// Runs a piece of work on the main queue, later.
  using Poster = std::function<void(std::function<void()>)>;

  NotificationHub(BusConnection& bus, ApplicationDirectory& directory, Poster poster);
  ~NotificationHub();

  AXResult<std::shared_ptr<AXObserver>> createObserver(std::int32_t pid, std::chrono::milliseconds timeout,
                                                       AccessibilityPort::ObserverCallback callback);
  void setDelivering(const std::shared_ptr<AXObserver>& observer, bool delivering);
  AXErrorCode add(const std::shared_ptr<AXObserver>& observer, const AXElement& element,
                  const std::string& notification);
  AXErrorCode remove(const std::shared_ptr<AXObserver>& observer, const AXElement& element,
                     const std::string& notification);

  /// To be called when the bus has come back: asks for the events again, and forgets
  /// who had the focus.
  void startAnew();

  /// The object of a connection that last said it has the focus.
  std::optional<AccessibleReference> lastFocused(const std::string& busName);

 private:
  class Observer;

  /// Counts who wants the events behind a notification, and asks for them.
  void want(const std::string& notification, int change);
  void registerEvent(const std::string& name, bool wanted);
  void registerWantedEvents();
  void hear(const std::weak_ptr<Observer>& observer, const BusMessage& signal);
  void deliver(const std::shared_ptr<Observer>& observer, const AccessibleReference& subject,
               const std::string& notification);

  BusConnection& bus_;
  ApplicationDirectory& directory_;
  const Poster poster_;
  BusConnection::SubscriptionID focusSubscription_ = 0;

  std::mutex mutex_;
  std::map<std::string, int> wantedEvents_;
  std::map<std::string, AccessibleReference> lastFocused_;
};

}  // namespace tavik
