#include "Backends/Simulated/Accessibility/SimulatedAccessibility.h"

#include <algorithm>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "Backends/Simulated/Accessibility/SimulatedIdentity.h"
#include "Backends/Simulated/Accessibility/SimulatedObserver.h"

namespace tavik {

namespace {

ParameterizedAnswer plannedAnswer(const ElementNode& node, const std::string& attribute) {
  if (!node.extras) return nullptr;
  for (const auto& [name, answer] : node.extras->parameterized) {
    if (name == attribute) return answer;
  }
  return nullptr;
}

}  // namespace

AXErrorCode SimulatedAccessibility::spend(const Fault::Effect& effect, const Fault& fault, double timeoutSeconds) {
  Scheduler& scheduler = model_.scheduler();
  const Duration timeout = seconds(timeoutSeconds);
  if (effect.body) effect.body();
  if (effect.hangs) {
    const bool released = fault.awaitRelease(scheduler, scheduler.now() + timeout);
    return released ? AXError::success : AXError::cannotComplete;
  }
  if (effect.delay > Duration::zero()) {
    const MonotonicTime end = scheduler.now() + std::min(effect.delay, timeout);
    while (scheduler.now() < end) scheduler.park("a slow application", end);
    if (effect.delay > timeout) return AXError::cannotComplete;
  }
  return effect.code.value_or(AXError::success);
}

SimulatedAccessibility::Passage SimulatedAccessibility::enter(const AXElement& element, AXOperation operation,
                                                              const std::string& name, FaultsMet met) {
  struct Found {
    ElementModel::Target target;
    std::vector<Fault> faults;
    double timeout = 0;
  };
  const Found found = model_.look([&] {
    Found result{model_.resolveLocked(element), {}, 0};
    ElementNode* node = result.target.node;
    if (node) model_.countLocked(*node, operation, name);
    result.faults = model_.faultsLocked(node);
    result.timeout = model_.messagingTimeoutLocked(node ? node->application : nullptr);
    return result;
  });
  Passage passage{found.target.node, AXError::success, true};
  for (const Fault& fault : found.faults) {
    if (met == FaultsMet::named && !fault.isAboutOneName()) continue;
    const auto effect = fault.meet(operation, name);
    if (!effect) continue;
    passage.code = spend(*effect, fault, found.timeout);
    const bool tookTooLong = !effect->hangs && effect->delay > seconds(found.timeout);
    passage.isServed = passage.code == AXError::success || effect->serves || tookTooLong;
    break;
  }
  const bool isGone = !passage.node || !model_.look([&] { return passage.node->isAlive; });
  if (isGone && passage.code == AXError::success) passage = {nullptr, AXError::invalidUIElement, false};
  if (isGone) passage.isServed = false;
  return passage;
}

template <class Value, class Body>
AXResult<Value> SimulatedAccessibility::ask(const AXElement& element, AXOperation operation,
                                            const std::string& name, Body body) {
  requireNoLockHeld("an accessibility call");
  const Passage passage = enter(element, operation, name);
  if (journal_.recordsReads()) journal("read", element, name, {}, passage.code);
  if (passage.code != AXError::success) return AXResult<Value>::failed(passage.code);
  return model_.look([&] { return body(*passage.node); });
}

void SimulatedAccessibility::journal(const std::string& kind, const AXElement& element, const std::string& name,
                                     AXValue value, AXErrorCode code) {
  JournalEntry entry;
  entry.kind = kind;
  entry.name = name;
  entry.value = std::move(value);
  entry.code = code;
  model_.look([&] {
    const auto target = model_.resolveLocked(element);
    entry.pid = target.pid;
    if (target.isSystemWide) {
      entry.subject = "system-wide element";
    } else if (target.node) {
      entry.subject = model_.labelLocked(*target.node);
    }
  });
  journal_.record(std::move(entry));
}

AXResult<std::int32_t> SimulatedAccessibility::getPid(const AXElement& element) {
  requireNoLockHeld("getPid");
  const auto target = model_.look([&] { return model_.resolveLocked(element); });
  if (!target.identity) return AXResult<std::int32_t>::failed(AXError::invalidUIElement);
  for (const Fault& fault : model_.look([&] { return model_.faultsLocked(target.node); })) {
    const auto effect = fault.meet(AXOperation::getPid, "");
    if (effect && effect->code) return AXResult<std::int32_t>::failed(*effect->code);
  }
  if (target.isSystemWide) return AXResult<std::int32_t>::failed(AXError::illegalArgument);
  return AXResult<std::int32_t>::success(target.pid);
}

AXErrorCode SimulatedAccessibility::setMessagingTimeout(const AXElement& element, float timeoutSeconds) {
  requireNoLockHeld("setMessagingTimeout");
  const auto target = model_.look([&] { return model_.resolveLocked(element); });
  if (!target.identity) return AXError::invalidUIElement;
  AXErrorCode code = AXError::success;
  for (const Fault& fault : model_.look([&] { return model_.faultsLocked(target.node); })) {
    const auto effect = fault.meet(AXOperation::setMessagingTimeout, "");
    if (!effect || !effect->code) continue;
    code = *effect->code;
    break;
  }
  journal("timeout", element, "", AXValue(static_cast<double>(timeoutSeconds)), code);
  if (code == AXError::success) {
    model_.look([&] {
      ApplicationNode* application = target.node && !target.isSystemWide ? target.node->application : nullptr;
      if (target.isSystemWide || application) model_.setMessagingTimeoutLocked(application, timeoutSeconds);
    });
  }
  return code;
}

AXResult<AXValue> SimulatedAccessibility::copyAttributeValue(const AXElement& element, const std::string& attribute) {
  return ask<AXValue>(element, AXOperation::copyAttributeValue, attribute,
                      [&](ElementNode& node) { return model_.readLocked(node, attribute); });
}

AXResult<AXValue> SimulatedAccessibility::copyAttributeValues(const AXElement& element, const std::string& attribute,
                                                              long index, long maxValues) {
  return ask<AXValue>(element, AXOperation::copyAttributeValues, attribute, [&](ElementNode& node) {
    auto answer = model_.readLocked(node, attribute);
    if (!answer.ok()) return answer;
    const auto* all = answer.value.get<AXArray>();
    if (!all || index < 0 || maxValues < 0) return AXResult<AXValue>::failed(AXError::illegalArgument);
    const auto count = static_cast<long>(all->size());
    const long first = std::min(index, count);
    const long last = std::min(count, first + maxValues);
    return AXResult<AXValue>::success(AXArray(all->begin() + first, all->begin() + last));
  });
}

AXResult<long> SimulatedAccessibility::getAttributeValueCount(const AXElement& element, const std::string& attribute) {
  return ask<long>(element, AXOperation::getAttributeValueCount, attribute, [&](ElementNode& node) {
    const auto answer = model_.readLocked(node, attribute);
    if (!answer.ok()) return AXResult<long>::failed(answer.code);
    const auto* all = answer.value.get<AXArray>();
    return all ? AXResult<long>::success(static_cast<long>(all->size()))
               : AXResult<long>::failed(AXError::illegalArgument);
  });
}

AXResult<AXArray> SimulatedAccessibility::copyMultipleAttributeValues(const AXElement& element,
                                                                      const std::vector<std::string>& attributes) {
  requireNoLockHeld("copyMultipleAttributeValues");
  const Passage passage = enter(element, AXOperation::copyMultipleAttributeValues, "");
  if (journal_.recordsReads()) {
    journal("read", element, fmt::format("{}", fmt::join(attributes, ", ")), {}, passage.code);
  }
  if (passage.code != AXError::success) return AXResult<AXArray>::failed(passage.code);
  AXArray values;
  for (const std::string& attribute : attributes) {
    // Counted one by one; what is scripted for all attributes was met by the batch as a whole.
    const Passage single = enter(element, AXOperation::copyMultipleAttributeValues, attribute, FaultsMet::named);
    const auto answer = single.code == AXError::success
                            ? model_.look([&] { return model_.readLocked(*single.node, attribute); })
                            : AXResult<AXValue>::failed(single.code);
    values.push_back(answer.ok() ? answer.value : AXValue(AXErrorMark{answer.code}));
  }
  return AXResult<AXArray>::success(std::move(values));
}

AXResult<AXValue> SimulatedAccessibility::copyParameterizedAttributeValue(const AXElement& element,
                                                                          const std::string& attribute,
                                                                          const AXValue& parameter) {
  ParameterizedAnswer planned;
  const auto answer =
      ask<AXValue>(element, AXOperation::copyParameterizedAttributeValue, attribute, [&](ElementNode& node) {
        planned = plannedAnswer(node, attribute);
        return planned ? AXResult<AXValue>::success({}) : model_.readParameterizedLocked(node, attribute, parameter);
      });
  if (!planned) return answer;
  // Asked without the lock, since what a test planned may look at the desktop.
  AXValue value = planned(parameter);
  if (const auto* mark = value.get<AXErrorMark>()) return AXResult<AXValue>::failed(mark->code);
  return value.isNull() ? AXResult<AXValue>::failed(AXError::noValue) : AXResult<AXValue>::success(std::move(value));
}

AXResult<bool> SimulatedAccessibility::isAttributeSettable(const AXElement& element, const std::string& attribute) {
  return ask<bool>(element, AXOperation::isAttributeSettable, attribute, [&](ElementNode& node) {
    return AXResult<bool>::success(model_.isSettableLocked(node, attribute));
  });
}

std::optional<AXValue> SimulatedAccessibility::rewritten(const ElementNode& node, const std::string& attribute,
                                                         const AXValue& value) {
  const auto rewriter = model_.look([&]() -> ValueRewriter {
    if (!node.extras) return nullptr;
    for (const auto& [name, candidate] : node.extras->rewriters) {
      if (name == attribute) return candidate;
    }
    return nullptr;
  });
  return rewriter ? rewriter(value) : value;
}

AXErrorCode SimulatedAccessibility::setAttributeValue(const AXElement& element, const std::string& attribute,
                                                      const AXValue& value) {
  requireNoLockHeld("setAttributeValue");
  const Passage passage = enter(element, AXOperation::setAttributeValue, attribute);
  AXErrorCode served = AXError::success;
  const auto accepted = passage.isServed ? rewritten(*passage.node, attribute, value) : std::nullopt;
  if (accepted) {
    served = model_.change(
        [&](ElementEffects& effects) { return model_.writeLocked(*passage.node, attribute, *accepted, effects); });
  }
  const AXErrorCode code = passage.code != AXError::success ? passage.code : served;
  journal("set", element, attribute, value, code);
  return code;
}

AXResult<std::vector<std::string>> SimulatedAccessibility::copyActionNames(const AXElement& element) {
  return ask<std::vector<std::string>>(element, AXOperation::copyActionNames, "", [&](ElementNode& node) {
    return AXResult<std::vector<std::string>>::success(model_.actionNamesLocked(node));
  });
}

AXResult<std::string> SimulatedAccessibility::copyActionDescription(const AXElement& element,
                                                                    const std::string& action) {
  return ask<std::string>(element, AXOperation::copyActionDescription, action,
                          [&](ElementNode& node) { return model_.actionDescriptionLocked(node, action); });
}

AXErrorCode SimulatedAccessibility::performAction(const AXElement& element, const std::string& action) {
  requireNoLockHeld("performAction");
  const Passage passage = enter(element, AXOperation::performAction, action);
  // Written before its effects, so that the journal tells cause and effect in order.
  journal("perform", element, action, {}, passage.code);
  AXErrorCode served = AXError::success;
  if (passage.isServed) {
    served =
        model_.change([&](ElementEffects& effects) { return model_.performLocked(*passage.node, action, effects); });
  }
  return passage.code != AXError::success ? passage.code : served;
}

AXResult<AXElement> SimulatedAccessibility::copyElementAtPosition(const AXElement& element, Point point) {
  requireNoLockHeld("copyElementAtPosition");
  const Passage passage = enter(element, AXOperation::copyElementAtPosition, "");
  if (passage.code != AXError::success) return AXResult<AXElement>::failed(passage.code);
  return model_.look([&] {
    ElementNode* hit = nullptr;
    if (passage.node == &model_.systemWide()) {
      for (const ScreenWindow& window : model_.screenWindowsLocked()) {
        if (hit || !window.node || !model_.currentRecordLocked(window).isOnScreen) continue;
        hit = model_.hitLocked(*window.node, point);
      }
    } else {
      hit = model_.hitLocked(*passage.node->application, point);
    }
    return hit ? AXResult<AXElement>::success(model_.handle(*hit)) : AXResult<AXElement>::failed(AXError::noValue);
  });
}

AXResult<std::shared_ptr<AXObserver>> SimulatedAccessibility::createObserver(std::int32_t pid,
                                                                             ObserverCallback callback) {
  const auto faults = model_.look([&] {
    ApplicationNode* application = model_.runningApplicationLocked(pid);
    return model_.faultsLocked(application ? application->root : nullptr);
  });
  for (const Fault& fault : faults) {
    const auto effect = fault.meet(AXOperation::createObserver, "");
    if (effect && effect->code) return AXResult<std::shared_ptr<AXObserver>>::failed(*effect->code);
  }
  auto observer = std::make_shared<SimulatedObserver>(model_.mainQueue(), pid, std::move(callback));
  model_.addObserver(observer);
  return AXResult<std::shared_ptr<AXObserver>>::success(observer);
}

void SimulatedAccessibility::addObserverSource(const std::shared_ptr<AXObserver>& observer) {
  std::static_pointer_cast<SimulatedObserver>(observer)->addSource();
}

void SimulatedAccessibility::removeObserverSource(const std::shared_ptr<AXObserver>& observer) {
  std::static_pointer_cast<SimulatedObserver>(observer)->removeSource();
}

AXErrorCode SimulatedAccessibility::addNotification(const std::shared_ptr<AXObserver>& observer,
                                                    const AXElement& element, const std::string& notification) {
  const Passage passage = enter(element, AXOperation::addNotification, notification);
  if (passage.code != AXError::success) return passage.code;
  return std::static_pointer_cast<SimulatedObserver>(observer)->add(passage.node, notification);
}

AXErrorCode SimulatedAccessibility::removeNotification(const std::shared_ptr<AXObserver>& observer,
                                                       const AXElement& element, const std::string& notification) {
  const Passage passage = enter(element, AXOperation::removeNotification, notification);
  if (passage.code != AXError::success) return passage.code;
  return std::static_pointer_cast<SimulatedObserver>(observer)->remove(passage.node, notification);
}

}  // namespace tavik
