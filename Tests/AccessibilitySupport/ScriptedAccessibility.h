#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Base/Concurrency/Mutex.h"
#include "Base/Concurrency/WorkQueue.h"
#include "PlatformInterfaces/AccessibilityPort.h"

namespace tavik {

/// What one scripted element answers.
struct ScriptedNode {
  std::map<std::string, AXValue> attributes = {};
  /// Codes that reading or counting an attribute answers in place of its value.
  std::map<std::string, AXErrorCode> attributeErrors = {};
  std::vector<std::string> actions = {};
  std::set<std::string> settable = {};
  /// What the application calls its actions.
  std::map<std::string, std::string> actionDescriptions = {};
};

/// Elements that answer to the letter what a test has written down for them, also
/// what no sane application would. Behaviour of applications is simulated
/// elsewhere; this is for the codes and values themselves.
class ScriptedAccessibility : public AccessibilityPort {
 public:
  using Node = ScriptedNode;

  struct Call {
    std::string operation;
    AXElement element;
    /// The attribute or the action.
    std::string name;
  };

  explicit ScriptedAccessibility(WorkQueue& mainQueue) : mainQueue_(mainQueue) {}
  /// Empties every element, since elements may name each other in circles.
  ~ScriptedAccessibility() override;

  AXElement add(std::int32_t pid, Node node = {});
  /// An element whose process cannot be told.
  AXElement addWithoutPID(Node node = {});
  Node& at(const AXElement& element);

  /// Asked at each call that reaches an element or its process, before the node
  /// answers; may wait. A code that it gives is the answer of the call.
  std::function<std::optional<AXErrorCode>(const Call&)> intercept;
  /// What a batched read answers beside a code from `intercept`.
  AXArray arrayBesideError;
  /// What setting a time-out answers for the system-wide element and for others.
  AXErrorCode systemTimeoutCode = AXError::success;
  AXErrorCode applicationTimeoutCode = AXError::success;
  std::optional<std::int32_t> systemWidePID;
  AXElement elementAtPosition;
  AXErrorCode observerCode = AXError::success;
  AXErrorCode notificationCode = AXError::success;
  bool givesNoObserver = false;
  /// What the last parameterized read was asked with.
  AXValue lastParameter;

  /// Every call since the start, as "operation name"; and how many of one kind.
  std::vector<std::string> calls() const;
  long callCount(const std::string& call) const;
  /// Seconds by "system" or the process.
  std::map<std::string, std::vector<float>> timeouts() const;
  long observerSourceCount() const;
  long openReadScopes() const { return openReadScopes_; }

  /// Delivers to every observer with a source, on the main queue.
  void notify(const AXElement& element, const std::string& notification);

  AXElement createApplication(std::int32_t pid) override;
  AXElement createSystemWide() override;
  AXResult<std::int32_t> getPid(const AXElement& element) override;
  AXErrorCode setMessagingTimeout(const AXElement& element, float seconds) override;
  std::unique_ptr<AXReadScope> beginReadScope(const AXElement& root) override;
  AXResult<AXValue> copyAttributeValue(const AXElement& element, const std::string& attribute) override;
  AXResult<AXValue> copyAttributeValues(const AXElement& element, const std::string& attribute, long index,
                                        long maxValues) override;
  AXResult<long> getAttributeValueCount(const AXElement& element, const std::string& attribute) override;
  AXResult<AXArray> copyMultipleAttributeValues(const AXElement& element,
                                                const std::vector<std::string>& attributes) override;
  AXResult<AXValue> copyParameterizedAttributeValue(const AXElement& element, const std::string& attribute,
                                                    const AXValue& parameter) override;
  AXResult<bool> isAttributeSettable(const AXElement& element, const std::string& attribute) override;
  AXErrorCode setAttributeValue(const AXElement& element, const std::string& attribute,
                                const AXValue& value) override;
  AXResult<std::vector<std::string>> copyActionNames(const AXElement& element) override;
  AXResult<std::string> copyActionDescription(const AXElement& element, const std::string& action) override;
  AXErrorCode performAction(const AXElement& element, const std::string& action) override;
  AXResult<AXElement> copyElementAtPosition(const AXElement& element, Point point) override;
  AXResult<std::shared_ptr<AXObserver>> createObserver(std::int32_t pid, ObserverCallback callback) override;
  void addObserverSource(const std::shared_ptr<AXObserver>& observer) override;
  void removeObserverSource(const std::shared_ptr<AXObserver>& observer) override;
  AXErrorCode addNotification(const std::shared_ptr<AXObserver>& observer, const AXElement& element,
                              const std::string& notification) override;
  AXErrorCode removeNotification(const std::shared_ptr<AXObserver>& observer, const AXElement& element,
                                 const std::string& notification) override;

 private:
  AXElement add(std::optional<std::int32_t> pid, Node node, bool isSystemWide);
  std::optional<AXErrorCode> interrupted(const char* operation, const AXElement& element,
                                         const std::string& name);
  void record(const char* operation, const std::string& name);

  WorkQueue& mainQueue_;
  mutable Mutex mutex_;
  std::vector<AXElement> elements_;
  std::map<std::int32_t, AXElement> applications_;
  std::vector<std::string> calls_;
  std::map<std::string, std::vector<float>> timeouts_;
  std::set<std::shared_ptr<AXObserver>> sources_;
  long openReadScopes_ = 0;
};

}  // namespace tavik
