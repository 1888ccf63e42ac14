#pragma once

#include <chrono>
#include <map>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "Backends/Linux/Accessibility/AccessibleTree.h"
#include "Backends/Linux/Bus/BusConnection.h"
#include "PlatformInterfaces/AccessibilityPort.h"

namespace tavik {

/// Which applications are on the accessibility bus, by process. Any thread.
class ApplicationDirectory {
 public:
  explicit ApplicationDirectory(BusConnection& bus);
  ~ApplicationDirectory();

  /// What a process has registered. A process that was not there is looked for anew
  /// each time. `apiDisabled` when the process lives and is not on the bus,
  /// `invalidUIElement` when there is no such process, `cannotComplete` when it does
  /// not answer or there is no bus.
  AXResult<std::vector<AccessibleApplication>> applications(std::int32_t pid,
                                                            std::chrono::milliseconds timeout);
  /// Forgets everything: another bus gives the same names to others.
  void reset();
  /// Every process on the bus.
  std::vector<std::int32_t> pids();
  /// The process behind a connection; 0 when it has gone.
  std::int32_t pid(const std::string& busName);

 private:
  struct Entry {
    std::int32_t pid = 0;
    AccessibleApplication application;
    /// Whether the application has said what toolkit it uses.
    bool isExamined = false;
  };

  void refresh();
  std::vector<Entry> entriesOf(std::int32_t pid);
  /// False when the application did not answer.
  bool examine(Entry& entry, std::chrono::milliseconds timeout);
  void forget(const std::string& busName);

  BusConnection& bus_;
  BusConnection::SubscriptionID nameSubscription_ = 0;
  BusConnection::SubscriptionID childrenSubscription_ = 0;

  std::mutex mutex_;
  /// Set when the list may have changed since it was read.
  bool isStale_ = true;
  std::unordered_map<std::string, std::int32_t> pids_;
  std::map<std::string, Entry> entries_;
};

}  // namespace tavik
