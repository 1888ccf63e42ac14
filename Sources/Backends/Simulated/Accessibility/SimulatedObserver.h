#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Base/Concurrency/Mutex.h"
#include "Base/Concurrency/WorkQueue.h"
#include "PlatformInterfaces/AccessibilityPort.h"

namespace tavik {

struct ElementNode;

/// Delivers notifications of one process on the main queue while its source is
/// added. What comes before the first adding waits for it. Any thread.
class SimulatedObserver : public AXObserver, public std::enable_shared_from_this<SimulatedObserver> {
 public:
  SimulatedObserver(MainQueue& mainQueue, std::int32_t pid, AccessibilityPort::ObserverCallback callback)
      : mainQueue_(mainQueue), pid_(pid), callback_(std::move(callback)) {}

  std::int32_t pid() const { return pid_; }
  void addSource();
  void removeSource();

  AXErrorCode add(const ElementNode* node, const std::string& notification);
  AXErrorCode remove(const ElementNode* node, const std::string& notification);
  /// Delivers when registered for the element or for its whole application.
  void post(const ElementNode* node, const ElementNode* application, const AXElement& element,
            const std::string& notification);

 private:
  using Message = std::pair<AXElement, std::string>;
  void schedule(Message message);
  void deliver(const Message& message);

  MainQueue& mainQueue_;
  const std::int32_t pid_;
  const AccessibilityPort::ObserverCallback callback_;
  Mutex mutex_;
  bool hasSource_ = false;
  bool hadSource_ = false;
  std::set<std::pair<const ElementNode*, std::string>> registrations_;
  std::vector<Message> early_;
};

}  // namespace tavik
