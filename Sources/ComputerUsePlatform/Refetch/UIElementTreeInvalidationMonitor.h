#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "AccessibilitySupport/Access/AXNotificationObserver.h"
#include "AccessibilitySupport/Tree/UIElementTree.h"
#include "Base/Concurrency/Mutex.h"

namespace tavik {

/// Listens at a tree's root and at the root's children for anything that may have
/// made the tree outdated. It says that something changed, not what.
///
/// Notifications arrive on the main queue; everything else may be called from any
/// thread. Stops by itself when it is destroyed.
class UIElementTreeInvalidationMonitor : public std::enable_shared_from_this<UIElementTreeInvalidationMonitor> {
  struct Key {};

 public:
  /// `onInvalidation` runs once, on the main queue; it may be empty.
  static std::shared_ptr<UIElementTreeInvalidationMonitor> create(AccessibilityPort& port,
                                                                  std::function<void()> onInvalidation = nullptr);
  UIElementTreeInvalidationMonitor(Key, AccessibilityPort& port, std::function<void()> onInvalidation);
  ~UIElementTreeInvalidationMonitor();
  UIElementTreeInvalidationMonitor(const UIElementTreeInvalidationMonitor&) = delete;
  UIElementTreeInvalidationMonitor& operator=(const UIElementTreeInvalidationMonitor&) = delete;

  /// Throws `UIElementError` when the application cannot be observed. A single
  /// notification that the application refuses is left out.
  void startMonitoring(const UIElementTree& tree);
  void stopMonitoring();

  /// Whether anything changed since the last start.
  bool isInvalidated() const;
  std::vector<AXElement> monitoredElements() const;

 private:
  void registerInvalidationNotifications(const UIElementTree::Item& on, AXNotificationObserver& observer,
                                         const char* label);
  void handleElementInvalidated(const std::string& notification);

  AccessibilityPort& port_;
  mutable Mutex lock_;
  std::shared_ptr<AXNotificationObserver> observer_;
  std::vector<AXElement> monitoredElements_;
  bool isInvalidated_ = false;
  const std::function<void()> onInvalidation_;
};

}  // namespace tavik
