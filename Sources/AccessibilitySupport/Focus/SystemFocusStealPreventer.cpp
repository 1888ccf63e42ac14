#include "AccessibilitySupport/Focus/SystemFocusStealPreventer.h"

#include <utility>

#include "AccessibilitySupport/Focus/ProcessFocusClassification.h"
#include "PlatformInterfaces/EventPostingPort.h"

namespace tavik {

namespace {

/// Notifications of the window server to processes.
constexpr std::uint16_t typingFocusChanged = 0x4000;
constexpr std::uint16_t keyFocusChanged = 0x8000;
/// Sets apart a process that shows no icon; no plain process number has it.
constexpr std::uint64_t accessoryBit = 0x100000000;
constexpr std::uint64_t pidMask = 0xFFFFFFFF;

}  // namespace

void SystemFocusStealPreventer::start(std::int32_t protectingPID) {
  stop();
  auto tap = std::make_shared<EventTap>(taps_, EventTap::focusEventTap());
  {
    MutexLock lock(lock_);
    targetPID_ = protectingPID;
    systemProcessNotificationTap_ = tap;
  }
  tap->start([this](const TappedEvent& event) { return handleFocusEvent(event); });
}

void SystemFocusStealPreventer::stop() {
  std::shared_ptr<EventTap> tap;
  {
    MutexLock lock(lock_);
    tap = std::move(systemProcessNotificationTap_);
    targetPID_ = 0;
  }
  if (tap) tap->stop();
}

std::int32_t SystemFocusStealPreventer::protectedPID() const {
  MutexLock lock(lock_);
  return targetPID_;
}

void SystemFocusStealPreventer::setTargetLostFocusHandler(Handler handler) {
  MutexLock lock(lock_);
  targetLostFocusHandler_ = std::move(handler);
}

void SystemFocusStealPreventer::setApplicationBelievesItHasFocus(bool believes) {
  MutexLock lock(lock_);
  systemState_.applicationBelievesItHasFocus = believes;
}

bool SystemFocusStealPreventer::applicationBelievesItHasFocus() const {
  MutexLock lock(lock_);
  return systemState_.applicationBelievesItHasFocus;
}

bool SystemFocusStealPreventer::isDisallowedThief(std::int32_t pid) const {
  const auto application = workspace_.runningApplication(pid);
  if (!application) return false;
  return classifyProcessFocus(application->bundleIdentifier, pid, 0) == ProcessFocusClassification::disallowedThief;
}

EventTapVerdict SystemFocusStealPreventer::handleFocusEvent(const TappedEvent& event) {
  const auto subtype = static_cast<std::uint16_t>(event.integerField(InputEventField::processNotificationSubtype));
  if (subtype == typingFocusChanged || subtype == keyFocusChanged) return handleTargetLostFocus(subtype);
  const auto pid = static_cast<std::int32_t>(event.integerField(InputEventField::processNotificationPID));
  const auto upper = static_cast<std::uint64_t>(event.integerField(InputEventField::processNotificationWord));
  return handleProcessFocus(static_cast<std::uint32_t>(pid), normalized(pid), upper);
}

EventTapVerdict SystemFocusStealPreventer::handleTargetLostFocus(std::uint16_t subtype) {
  MutexLock lock(lock_);
  const Focus& focus = systemState_.focus;
  const auto focusedPID = static_cast<std::int32_t>(focus.currentFocus & pidMask);
  if (targetPID_ != focusedPID || focus.discriminator == Focus::noTheft) return EventTapVerdict::pass;
  systemState_.suppressedReturnEvent = subtype;
  return EventTapVerdict::swallow;
}

EventTapVerdict SystemFocusStealPreventer::handleProcessFocus(std::uint64_t pid, std::uint64_t normalizedPID,
                                                              std::uint64_t upper) {
  const auto application = workspace_.runningApplication(static_cast<std::int32_t>(pid));
  const auto bundleID = application ? application->bundleIdentifier : std::nullopt;
  MutexLock lock(lock_);
  Focus& focus = systemState_.focus;
  if (focus.currentFocus != 0 && (focus.currentFocus & pidMask) == normalizedPID) {
    focus = {};
    systemState_.suppressedReturnEvent.reset();
    return systemState_.lastViewBridgeFocusStealWasSuppressed ? EventTapVerdict::swallow : EventTapVerdict::pass;
  }
  const auto classification = classifyProcessFocus(bundleID, static_cast<std::int32_t>(pid), targetPID_);
  if (application && classification == ProcessFocusClassification::disallowedThief) {
    focus.previousFocus = focus.currentFocus;
    focus.currentFocus = (normalizedPID & pidMask) | upper << 32;
    focus.discriminator = Focus::thiefHasFocus;
    if (targetLostFocusHandler_) targetLostFocusHandler_(targetPID_);
  }
  return EventTapVerdict::pass;
}

std::uint64_t SystemFocusStealPreventer::normalized(std::int32_t pid) const {
  const auto application = workspace_.runningApplication(pid);
  const bool isAccessory = application && application->activationPolicy == ActivationPolicy::accessory;
  return static_cast<std::uint32_t>(pid) | (isAccessory ? accessoryBit : 0);
}

}  // namespace tavik
