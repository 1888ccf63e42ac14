#include "ScriptedAccessibility.h"

#include <algorithm>
#include <utility>

namespace tavik {

namespace {

class ScriptedElement : public AXElementIdentity {
 public:
  ScriptedElement(std::optional<std::int32_t> pid, ScriptedAccessibility::Node node, bool isSystemWide)
      : pid(pid), isSystemWide(isSystemWide), node(std::move(node)) {}
  bool isSame(const AXElementIdentity& other) const override { return this == &other; }
  std::size_t hash() const override { return std::hash<const void*>()(this); }

  const std::optional<std::int32_t> pid;
  const bool isSystemWide;
  mutable ScriptedAccessibility::Node node;
};

const ScriptedElement& scripted(const AXElement& element) {
  return static_cast<const ScriptedElement&>(*element.identity());
}

struct ScriptedObserver : AXObserver {
  explicit ScriptedObserver(AccessibilityPort::ObserverCallback callback) : callback(std::move(callback)) {}
  AccessibilityPort::ObserverCallback callback;
};

class CountedScope : public AXReadScope {
 public:
  explicit CountedScope(long& count) : count_(count) { ++count_; }
  ~CountedScope() override { --count_; }

 private:
  long& count_;
};

}  // namespace

ScriptedAccessibility::~ScriptedAccessibility() {
  for (const auto& element : elements_) at(element) = {};
}

AXElement ScriptedAccessibility::add(std::optional<std::int32_t> pid, Node node, bool isSystemWide) {
  elements_.emplace_back(std::make_shared<ScriptedElement>(pid, std::move(node), isSystemWide));
  return elements_.back();
}

AXElement ScriptedAccessibility::add(std::int32_t pid, Node node) {
  return add(pid, std::move(node), false);
}

AXElement ScriptedAccessibility::addWithoutPID(Node node) {
  return add(std::nullopt, std::move(node), false);
}

ScriptedAccessibility::Node& ScriptedAccessibility::at(const AXElement& element) {
  return scripted(element).node;
}

std::vector<std::string> ScriptedAccessibility::calls() const {
  MutexLock lock(mutex_);
  return calls_;
}

long ScriptedAccessibility::callCount(const std::string& call) const {
  MutexLock lock(mutex_);
  return std::ranges::count(calls_, call);
}

std::map<std::string, std::vector<float>> ScriptedAccessibility::timeouts() const {
  MutexLock lock(mutex_);
  return timeouts_;
}

long ScriptedAccessibility::observerSourceCount() const {
  MutexLock lock(mutex_);
  return static_cast<long>(sources_.size());
}

void ScriptedAccessibility::notify(const AXElement& element, const std::string& notification) {
  std::set<std::shared_ptr<AXObserver>> receivers;
  {
    MutexLock lock(mutex_);
    receivers = sources_;
  }
  for (const auto& receiver : receivers) {
    mainQueue_.async([receiver, element, notification] {
      static_cast<ScriptedObserver&>(*receiver).callback(element, notification);
    });
  }
}

void ScriptedAccessibility::record(const char* operation, const std::string& name) {
  MutexLock lock(mutex_);
  calls_.push_back(name.empty() ? operation : std::string(operation) + " " + name);
}

std::optional<AXErrorCode> ScriptedAccessibility::interrupted(const char* operation, const AXElement& element,
                                                              const std::string& name) {
  requireNoLockHeld(operation);
  record(operation, name);
  return intercept ? intercept({operation, element, name}) : std::nullopt;
}

AXElement ScriptedAccessibility::createApplication(std::int32_t pid) {
  MutexLock lock(mutex_);
  AXElement& application = applications_[pid];
  if (!application) application = add(pid, {}, false);
  return application;
}

AXElement ScriptedAccessibility::createSystemWide() {
  return add(systemWidePID, {}, true);
}

AXResult<std::int32_t> ScriptedAccessibility::getPid(const AXElement& element) {
  requireNoLockHeld("getPid");
  const auto pid = scripted(element).pid;
  return pid ? AXResult<std::int32_t>::success(*pid) : AXResult<std::int32_t>::failed(AXError::failure);
}

AXErrorCode ScriptedAccessibility::setMessagingTimeout(const AXElement& element, float seconds) {
  requireNoLockHeld("setMessagingTimeout");
  const auto& target = scripted(element);
  MutexLock lock(mutex_);
  timeouts_[target.isSystemWide ? "system" : std::to_string(target.pid.value())].push_back(seconds);
  return target.isSystemWide ? systemTimeoutCode : applicationTimeoutCode;
}

std::unique_ptr<AXReadScope> ScriptedAccessibility::beginReadScope(const AXElement&) {
  requireNoLockHeld("beginReadScope");
  record("beginReadScope", "");
  return std::make_unique<CountedScope>(openReadScopes_);
}

AXResult<AXValue> ScriptedAccessibility::copyAttributeValue(const AXElement& element,
                                                            const std::string& attribute) {
  if (auto code = interrupted("copyAttributeValue", element, attribute)) return {*code, {}};
  const Node& node = at(element);
  if (auto error = node.attributeErrors.find(attribute); error != node.attributeErrors.end()) {
    return AXResult<AXValue>::failed(error->second);
  }
  const auto found = node.attributes.find(attribute);
  if (found == node.attributes.end()) return AXResult<AXValue>::failed(AXError::attributeUnsupported);
  return AXResult<AXValue>::success(found->second);
}

AXResult<AXValue> ScriptedAccessibility::copyAttributeValues(const AXElement& element,
                                                             const std::string& attribute, long index,
                                                             long maxValues) {
  if (auto code = interrupted("copyAttributeValues", element, attribute)) return {*code, {}};
  const Node& node = at(element);
  const auto found = node.attributes.find(attribute);
  if (found == node.attributes.end()) return AXResult<AXValue>::failed(AXError::attributeUnsupported);
  const auto* array = found->second.get<AXArray>();
  if (!array) return AXResult<AXValue>::success(found->second);
  const long size = static_cast<long>(array->size());
  const long first = std::min(index, size);
  const long last = std::min(first + maxValues, size);
  return AXResult<AXValue>::success(AXArray(array->begin() + first, array->begin() + last));
}

AXResult<long> ScriptedAccessibility::getAttributeValueCount(const AXElement& element,
                                                             const std::string& attribute) {
  if (auto code = interrupted("getAttributeValueCount", element, attribute)) return {*code, {}};
  const Node& node = at(element);
  if (auto error = node.attributeErrors.find(attribute); error != node.attributeErrors.end()) {
    return AXResult<long>::failed(error->second);
  }
  const auto found = node.attributes.find(attribute);
  if (found == node.attributes.end()) return AXResult<long>::failed(AXError::attributeUnsupported);
  const auto* array = found->second.get<AXArray>();
  return array ? AXResult<long>::success(static_cast<long>(array->size()))
               : AXResult<long>::failed(AXError::illegalArgument);
}

AXResult<AXArray> ScriptedAccessibility::copyMultipleAttributeValues(
    const AXElement& element, const std::vector<std::string>& attributes) {
  if (auto code = interrupted("copyMultipleAttributeValues", element, "")) return {*code, arrayBesideError};
  const Node& node = at(element);
  AXArray values;
  for (const auto& attribute : attributes) {
    const auto found = node.attributes.find(attribute);
    values.push_back(found == node.attributes.end() ? AXValue(AXErrorMark{}) : found->second);
  }
  return AXResult<AXArray>::success(std::move(values));
}

AXResult<AXValue> ScriptedAccessibility::copyParameterizedAttributeValue(const AXElement& element,
                                                                         const std::string& attribute,
                                                                         const AXValue& parameter) {
  lastParameter = parameter;
  return copyAttributeValue(element, attribute);
}

AXResult<bool> ScriptedAccessibility::isAttributeSettable(const AXElement& element,
                                                          const std::string& attribute) {
  if (auto code = interrupted("isAttributeSettable", element, attribute)) return {*code, {}};
  return AXResult<bool>::success(at(element).settable.contains(attribute));
}

AXErrorCode ScriptedAccessibility::setAttributeValue(const AXElement& element, const std::string& attribute,
                                                     const AXValue& value) {
  if (auto code = interrupted("setAttributeValue", element, attribute)) return *code;
  at(element).attributes[attribute] = value;
  return AXError::success;
}

AXResult<std::vector<std::string>> ScriptedAccessibility::copyActionNames(const AXElement& element) {
  if (auto code = interrupted("copyActionNames", element, "")) return {*code, {}};
  return AXResult<std::vector<std::string>>::success(at(element).actions);
}

AXResult<std::string> ScriptedAccessibility::copyActionDescription(const AXElement& element,
                                                                   const std::string& action) {
  if (auto code = interrupted("copyActionDescription", element, action)) return {*code, {}};
  const auto& descriptions = at(element).actionDescriptions;
  const auto found = descriptions.find(action);
  if (found == descriptions.end()) return AXResult<std::string>::failed(AXError::actionUnsupported);
  return AXResult<std::string>::success(found->second);
}

AXErrorCode ScriptedAccessibility::performAction(const AXElement& element, const std::string& action) {
  return interrupted("performAction", element, action).value_or(AXError::success);
}

AXResult<AXElement> ScriptedAccessibility::copyElementAtPosition(const AXElement& element, Point) {
  if (auto code = interrupted("copyElementAtPosition", element, "")) return {*code, {}};
  return AXResult<AXElement>::success(elementAtPosition);
}

AXResult<std::shared_ptr<AXObserver>> ScriptedAccessibility::createObserver(std::int32_t,
                                                                            ObserverCallback callback) {
  requireNoLockHeld("createObserver");
  record("createObserver", "");
  if (observerCode != AXError::success || givesNoObserver) return {observerCode, nullptr};
  return {AXError::success, std::make_shared<ScriptedObserver>(std::move(callback))};
}

void ScriptedAccessibility::addObserverSource(const std::shared_ptr<AXObserver>& observer) {
  requireNoLockHeld("addObserverSource");
  MutexLock lock(mutex_);
  sources_.insert(observer);
}

void ScriptedAccessibility::removeObserverSource(const std::shared_ptr<AXObserver>& observer) {
  requireNoLockHeld("removeObserverSource");
  MutexLock lock(mutex_);
  sources_.erase(observer);
}

AXErrorCode ScriptedAccessibility::addNotification(const std::shared_ptr<AXObserver>&, const AXElement&,
                                                   const std::string& notification) {
  requireNoLockHeld("addNotification");
  record("addNotification", notification);
  return notificationCode;
}

AXErrorCode ScriptedAccessibility::removeNotification(const std::shared_ptr<AXObserver>&, const AXElement&,
                                                      const std::string& notification) {
  requireNoLockHeld("removeNotification");
  record("removeNotification", notification);
  return notificationCode;
}

}  // namespace tavik
