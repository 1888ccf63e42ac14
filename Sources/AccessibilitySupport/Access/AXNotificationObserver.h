#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "AccessibilitySupport/Access/UIElementError.h"
#include "Base/Concurrency/Mutex.h"
#include "PlatformInterfaces/AccessibilityPort.h"

namespace tavik {

/// Listens to the notifications of one application.
///
/// Its callback runs on the main queue and finds the observer alive, also while
/// another thread stops it or lets go of it; it may do both itself. No callback
/// begins after `stop` has returned on the main thread. Callable from any thread;
/// no lock is held while the platform or the callback runs.
class AXNotificationObserver : public std::enable_shared_from_this<AXNotificationObserver> {
  struct Key {};

 public:
  /// What an application tells beside a notification's name.
  using Info = std::map<std::string, AXValue>;
  /// `info` is null: the platform's observers give none.
  using Callback = std::function<void(AXNotificationObserver& observer, const AXElement& element,
                                      const std::string& notification, const Info* info)>;

  /// A stopped observer of the process. The port must outlive it.
  static std::shared_ptr<AXNotificationObserver> create(AccessibilityPort& port, std::int32_t pid,
                                                        Callback callback);
  AXNotificationObserver(Key, AccessibilityPort& port, std::int32_t pid, Callback callback);
  ~AXNotificationObserver();
  AXNotificationObserver(const AXNotificationObserver&) = delete;
  AXNotificationObserver& operator=(const AXNotificationObserver&) = delete;

  std::int32_t pid() const { return pid_; }
  bool isActive() const;
  /// The names added since the last start.
  std::set<std::string> registeredNotifications() const;

  /// Throws `UIElementError::axError` when the platform gives no observer. An
  /// active observer stays as it is.
  void start();
  /// Ends the delivery and forgets all registrations. Nothing happens when stopped.
  void stop();

  /// Throws `invalidElement` when stopped and `axError` when the platform refuses.
  void addNotification(const std::string& name, const AXElement& element);
  void removeNotification(const std::string& name, const AXElement& element);

 private:
  std::shared_ptr<AXObserver> platformObserver() const;
  void deliver(const AXElement& element, const std::string& notification);

  AccessibilityPort& port_;
  const std::int32_t pid_;
  const Callback callback_;
  mutable Mutex lock_;
  std::shared_ptr<AXObserver> observer_;
  std::set<std::string> registeredNotifications_;
};

}  // namespace tavik
