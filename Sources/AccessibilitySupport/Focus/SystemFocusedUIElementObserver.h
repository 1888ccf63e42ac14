#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "AccessibilitySupport/Access/AXWrapper.h"
#include "Base/Concurrency/Mutex.h"

namespace tavik {

/// Follows the focused element of one application by its notifications. Delivers on
/// the main queue; everything else may be called from any thread. Stops by itself
/// when it is destroyed.
class SystemFocusedUIElementObserver : public std::enable_shared_from_this<SystemFocusedUIElementObserver> {
  struct Key {};

 public:
  /// Null when the focus went nowhere.
  using Callback = std::function<void(const AXElement& element)>;

  static std::shared_ptr<SystemFocusedUIElementObserver> create(AXWrapper& access, std::int32_t pid,
                                                                Callback onFocusedUIElementChanged = nullptr);
  SystemFocusedUIElementObserver(Key, AXWrapper& access, std::int32_t pid, Callback onFocusedUIElementChanged);
  ~SystemFocusedUIElementObserver();
  SystemFocusedUIElementObserver(const SystemFocusedUIElementObserver&) = delete;
  SystemFocusedUIElementObserver& operator=(const SystemFocusedUIElementObserver&) = delete;

  std::int32_t pid() const { return pid_; }
  /// An application that cannot be observed is logged and leaves it stopped.
  void start();
  void stop();
  bool isRunning() const;

  /// As last heard or read; null when unknown.
  AXElement focusedElement() const;
  void refreshFocusedElement();

 private:
  void receive(const AXElement& element);

  AXWrapper& access_;
  const std::int32_t pid_;
  const Callback onFocusedUIElementChanged_;
  mutable Mutex lock_;
  std::shared_ptr<AXObserver> observer_;
  AXElement cachedFocusedElement_;
};

}  // namespace tavik
