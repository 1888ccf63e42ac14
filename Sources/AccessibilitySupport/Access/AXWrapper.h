#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "AccessibilitySupport/Access/UIElementError.h"
#include "Base/Concurrency/Mutex.h"
#include "Base/Concurrency/Scheduler.h"
#include "Base/Concurrency/WorkQueue.h"
#include "PlatformInterfaces/AccessibilityPort.h"
#include "PlatformInterfaces/ProcessPort.h"

namespace tavik {

/// The way to every other application's elements: one for the whole process.
///
/// It gives each call the same three protections. A short messaging time-out, so
/// that a hung application cannot hang the agent; a cooldown of the process once
/// it could not complete a call, in which every further call fails at once with
/// `axError(-25204)`; and calls on this process's own elements run on the main
/// thread, which serves them.
///
/// Callable from any thread. A call blocks at most for the messaging time-out.
/// Nothing is tried again here. The operations throw `UIElementError`; their
/// `try` twins give the same failure as a value.
class AXWrapper {
 public:
  /// A batched answer: one entry for each attribute asked for, in order, absent
  /// where the element has none.
  using Values = std::vector<std::optional<AXValue>>;

  AXWrapper(AccessibilityPort& port, ProcessPort& process, Scheduler& scheduler, MainQueue& mainQueue);
  AXWrapper(const AXWrapper&) = delete;
  AXWrapper& operator=(const AXWrapper&) = delete;

  /// The platform's operations without protection, for questions that need none.
  AccessibilityPort& port() const { return port_; }

  AXValue copyAttributeValue(const AXElement& element, const std::string& attribute);
  std::optional<AXValue> copyAttributeValueOptional(const AXElement& element, const std::string& attribute);
  UIElementResult<AXValue> tryCopyAttributeValue(const AXElement& element, const std::string& attribute);

  /// At most `maxValues` members of an array attribute from `index` on; empty when
  /// the attribute is no array.
  AXArray copyAttributeValues(const AXElement& element, const std::string& attribute, long index,
                              long maxValues);
  UIElementResult<AXArray> tryCopyAttributeValues(const AXElement& element, const std::string& attribute,
                                                  long index, long maxValues);

  long getAttributeValueCount(const AXElement& element, const std::string& attribute);
  std::optional<long> getAttributeValueCountOptional(const AXElement& element, const std::string& attribute);
  UIElementResult<long> tryGetAttributeValueCount(const AXElement& element, const std::string& attribute);

  /// An answer of "cannot complete" or "attribute unsupported" is no failure here:
  /// what could be read is given, the rest is absent.
  Values copyMultipleAttributeValues(const AXElement& element, const std::vector<std::string>& attributes);
  UIElementResult<Values> tryCopyMultipleAttributeValues(const AXElement& element,
                                                         const std::vector<std::string>& attributes);

  /// Counts "cannot complete" and "attribute unsupported" as success, since many
  /// applications act and answer so; callers verify effects themselves.
  void performAction(const AXElement& element, const std::string& action);
  UIElementResult<void> tryPerformAction(const AXElement& element, const std::string& action);

  void setAttributeValue(const AXElement& element, const std::string& attribute, const AXValue& value);
  UIElementResult<void> trySetAttributeValue(const AXElement& element, const std::string& attribute,
                                             const AXValue& value);

  /// The element of any application under a global point.
  AXElement copyElementAtPosition(double x, double y);
  UIElementResult<AXElement> tryCopyElementAtPosition(double x, double y);

  /// Bounds all accessibility calls of this process, once.
  void configureProcessWideMessagingTimeout();

 private:
  template <class Call>
  auto callUnlessInCooldown(const AXElement& element, Call call) -> UIElementResult<decltype(call())>;
  template <class Call>
  auto callRecordingCooldown(const AXElement& element, const char* operation, Call call)
      -> UIElementResult<decltype(call())>;
  template <class Call>
  auto onAXThread(std::optional<std::int32_t> pid, Call call) -> decltype(call());

  std::optional<std::int32_t> pidOf(const AXElement& element);
  void configureMessagingTimeout(std::optional<std::int32_t> pid);
  bool isInTimeoutCooldown(std::optional<std::int32_t> pid);
  void recordTimeoutCooldownIfNeeded(AXErrorCode error, const AXElement& element, const char* operation);
  void pruneExpiredCooldownsLocked(MonotonicTime now);

  AccessibilityPort& port_;
  Scheduler& scheduler_;
  MainQueue& mainQueue_;
  const std::int32_t ownPID_;

  std::atomic<bool> processWideMessagingTimeoutConfigured_ = false;
  Mutex cooldownLock_;
  std::map<std::int32_t, MonotonicTime> cooldownUntilByPID_;
  std::set<std::int32_t> messagingTimeoutConfiguredPIDs_;
};

}  // namespace tavik
