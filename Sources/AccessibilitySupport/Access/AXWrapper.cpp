#include "AccessibilitySupport/Access/AXWrapper.h"

#include <algorithm>
#include <array>
#include <utility>

namespace tavik {

namespace {

constexpr float messagingTimeoutSeconds = 1.0f;
constexpr std::int64_t cooldownMs = 1000;

constexpr std::array performActionToleratedErrors = {AXError::cannotComplete, AXError::attributeUnsupported};

bool isTolerated(AXErrorCode code) {
  return std::ranges::find(performActionToleratedErrors, code) != performActionToleratedErrors.end();
}

AXErrorCode codeOf(AXErrorCode code) {
  return code;
}
template <class T>
AXErrorCode codeOf(const AXResult<T>& answer) {
  return answer.code;
}

std::unexpected<UIElementError> failure(UIElementError error) {
  return std::unexpected(error);
}
std::unexpected<UIElementError> axFailure(AXErrorCode code) {
  return failure(UIElementError::axError(code));
}

template <class T>
T valueOrThrow(UIElementResult<T> result) {
  if (!result) throw result.error();
  if constexpr (!std::is_void_v<T>) return *std::move(result);
}

template <class T>
std::optional<T> valueOrAbsent(UIElementResult<T> result) {
  return result ? std::optional<T>(*std::move(result)) : std::nullopt;
}

/// One entry for each attribute: null values and error marks are absences.
AXWrapper::Values entries(AXArray answers, std::size_t attributeCount) {
  AXWrapper::Values values(attributeCount);
  for (std::size_t i = 0; i < std::min(answers.size(), attributeCount); ++i) {
    if (!answers[i].isNull() && !answers[i].get<AXErrorMark>()) values[i] = std::move(answers[i]);
  }
  return values;
}

}  // namespace

AXWrapper::AXWrapper(AccessibilityPort& port, ProcessPort& process, Scheduler& scheduler,
                     MainQueue& mainQueue)
    : port_(port), scheduler_(scheduler), mainQueue_(mainQueue), ownPID_(process.currentPID()) {}

// The frame of every call

/// Makes a call unless the element's process is in its cooldown. The answer's code
/// is the caller's to judge.
template <class Call>
auto AXWrapper::callUnlessInCooldown(const AXElement& element, Call call)
    -> UIElementResult<decltype(call())> {
  if (!element) return failure(UIElementError::invalidElement());
  const auto pid = pidOf(element);
  if (isInTimeoutCooldown(pid)) return axFailure(AXError::cannotComplete);
  return onAXThread(pid, call);
}

template <class Call>
auto AXWrapper::callRecordingCooldown(const AXElement& element, const char* operation, Call call)
    -> UIElementResult<decltype(call())> {
  auto answer = callUnlessInCooldown(element, call);
  if (answer) recordTimeoutCooldownIfNeeded(codeOf(*answer), element, operation);
  return answer;
}

/// This process's own elements are served by the main thread: another thread that
/// called them directly would wait for itself. An element of unknown process may
/// be one of them.
template <class Call>
auto AXWrapper::onAXThread(std::optional<std::int32_t> pid, Call call) -> decltype(call()) {
  const bool isForeign = pid && *pid != ownPID_;
  return isForeign ? call() : mainQueue_.sync(call);
}

std::optional<std::int32_t> AXWrapper::pidOf(const AXElement& element) {
  const auto answer = port_.getPid(element);
  return answer.ok() ? std::optional(answer.value) : std::nullopt;
}

// Messaging time-outs

void AXWrapper::configureProcessWideMessagingTimeout() {
  if (processWideMessagingTimeoutConfigured_.exchange(true)) return;
  const AXErrorCode code = port_.setMessagingTimeout(port_.createSystemWide(), messagingTimeoutSeconds);
  if (code == AXError::success) return;
  TavikComputerUseLogger::warning(LogCategory::accessibility,
                                  "process_messaging_timeout_configuration_failed", {{"errorCode", code}});
}

void AXWrapper::configureMessagingTimeout(std::optional<std::int32_t> pid) {
  configureProcessWideMessagingTimeout();
  if (!pid) return;
  {
    MutexLock lock(cooldownLock_);
    if (!messagingTimeoutConfiguredPIDs_.insert(*pid).second) return;
  }
  const AXErrorCode code = port_.setMessagingTimeout(port_.createApplication(*pid), messagingTimeoutSeconds);
  if (code == AXError::success) return;
  TavikComputerUseLogger::warning(LogCategory::accessibility, "app_messaging_timeout_configuration_failed",
                                  {{"targetPid", *pid}, {"errorCode", code}});
}

// Cooldowns

bool AXWrapper::isInTimeoutCooldown(std::optional<std::int32_t> pid) {
  configureMessagingTimeout(pid);
  if (!pid) return false;
  const MonotonicTime now = scheduler_.now();
  MutexLock lock(cooldownLock_);
  pruneExpiredCooldownsLocked(now);
  return cooldownUntilByPID_.contains(*pid);
}

void AXWrapper::recordTimeoutCooldownIfNeeded(AXErrorCode error, const AXElement& element,
                                              const char* operation) {
  if (error != AXError::cannotComplete) return;
  const auto pid = pidOf(element);
  if (!pid) return;
  const MonotonicTime now = scheduler_.now();
  {
    MutexLock lock(cooldownLock_);
    pruneExpiredCooldownsLocked(now);
    MonotonicTime& until = cooldownUntilByPID_.try_emplace(*pid, now).first->second;
    until = std::max(until, now + milliseconds(cooldownMs));
  }
  TavikComputerUseLogger::warning(LogCategory::accessibility, "operation_cooldown_started",
                                  {{"operation", operation},
                                   {"targetPid", *pid},
                                   {"reason", "cannot_complete"},
                                   {"cooldownMs", cooldownMs}});
}

void AXWrapper::pruneExpiredCooldownsLocked(MonotonicTime now) {
  std::erase_if(cooldownUntilByPID_, [now](const auto& entry) { return entry.second <= now; });
}

// Reading

UIElementResult<AXValue> AXWrapper::tryCopyAttributeValue(const AXElement& element,
                                                          const std::string& attribute) {
  auto answer = callRecordingCooldown(element, "copyAttributeValue",
                                      [&] { return port_.copyAttributeValue(element, attribute); });
  if (!answer) return failure(answer.error());
  if (!answer->ok()) return axFailure(answer->code);
  if (answer->value.isNull()) return failure(UIElementError::nilValue());
  return std::move(answer->value);
}

AXValue AXWrapper::copyAttributeValue(const AXElement& element, const std::string& attribute) {
  return valueOrThrow(tryCopyAttributeValue(element, attribute));
}

std::optional<AXValue> AXWrapper::copyAttributeValueOptional(const AXElement& element,
                                                             const std::string& attribute) {
  return valueOrAbsent(tryCopyAttributeValue(element, attribute));
}

UIElementResult<AXArray> AXWrapper::tryCopyAttributeValues(const AXElement& element,
                                                           const std::string& attribute, long index,
                                                           long maxValues) {
  auto answer = callRecordingCooldown(element, "copyAttributeValues", [&] {
    return port_.copyAttributeValues(element, attribute, index, maxValues);
  });
  if (!answer) return failure(answer.error());
  if (!answer->ok()) return axFailure(answer->code);
  const auto* array = answer->value.get<AXArray>();
  return array ? *array : AXArray();
}

AXArray AXWrapper::copyAttributeValues(const AXElement& element, const std::string& attribute, long index,
                                       long maxValues) {
  return valueOrThrow(tryCopyAttributeValues(element, attribute, index, maxValues));
}

UIElementResult<long> AXWrapper::tryGetAttributeValueCount(const AXElement& element,
                                                           const std::string& attribute) {
  auto answer = callRecordingCooldown(element, "getAttributeValueCount",
                                      [&] { return port_.getAttributeValueCount(element, attribute); });
  if (!answer) return failure(answer.error());
  if (!answer->ok()) return axFailure(answer->code);
  return answer->value;
}

long AXWrapper::getAttributeValueCount(const AXElement& element, const std::string& attribute) {
  return valueOrThrow(tryGetAttributeValueCount(element, attribute));
}

std::optional<long> AXWrapper::getAttributeValueCountOptional(const AXElement& element,
                                                              const std::string& attribute) {
  return valueOrAbsent(tryGetAttributeValueCount(element, attribute));
}

UIElementResult<AXWrapper::Values> AXWrapper::tryCopyMultipleAttributeValues(
    const AXElement& element, const std::vector<std::string>& attributes) {
  auto answer = callRecordingCooldown(element, "copyMultipleAttributeValues",
                                      [&] { return port_.copyMultipleAttributeValues(element, attributes); });
  if (!answer) return failure(answer.error());
  if (!answer->ok() && !isTolerated(answer->code)) return axFailure(answer->code);
  return entries(std::move(answer->value), attributes.size());
}

AXWrapper::Values AXWrapper::copyMultipleAttributeValues(const AXElement& element,
                                                         const std::vector<std::string>& attributes) {
  return valueOrThrow(tryCopyMultipleAttributeValues(element, attributes));
}

// Acting

UIElementResult<void> AXWrapper::tryPerformAction(const AXElement& element, const std::string& action) {
  auto code = callUnlessInCooldown(element, [&] { return port_.performAction(element, action); });
  if (!code) return failure(code.error());
  if (*code != AXError::success && !isTolerated(*code)) return axFailure(*code);
  return {};
}

void AXWrapper::performAction(const AXElement& element, const std::string& action) {
  valueOrThrow(tryPerformAction(element, action));
}

UIElementResult<void> AXWrapper::trySetAttributeValue(const AXElement& element, const std::string& attribute,
                                                      const AXValue& value) {
  auto code = callRecordingCooldown(element, "setAttributeValue",
                                    [&] { return port_.setAttributeValue(element, attribute, value); });
  if (!code) return failure(code.error());
  if (*code != AXError::success) return axFailure(*code);
  return {};
}

void AXWrapper::setAttributeValue(const AXElement& element, const std::string& attribute,
                                  const AXValue& value) {
  valueOrThrow(trySetAttributeValue(element, attribute, value));
}

// The element under a point

UIElementResult<AXElement> AXWrapper::tryCopyElementAtPosition(double x, double y) {
  const AXElement systemWide = port_.createSystemWide();
  const auto pid = pidOf(systemWide);
  configureMessagingTimeout(pid);
  auto answer = onAXThread(pid, [&] { return port_.copyElementAtPosition(systemWide, {x, y}); });
  if (!answer.ok()) return axFailure(answer.code);
  if (!answer.value) return failure(UIElementError::nilValue());
  configureMessagingTimeout(pidOf(answer.value));
  return std::move(answer.value);
}

AXElement AXWrapper::copyElementAtPosition(double x, double y) {
  return valueOrThrow(tryCopyElementAtPosition(x, y));
}

}  // namespace tavik
