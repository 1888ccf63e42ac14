#pragma once

#include <atomic>
#include <memory>

#include "PlatformInterfaces/EventPostingPort.h"

namespace tavik {

/// Passes input events on and counts those that an application would feel.
class PostingWitness : public EventPostingPort {
 public:
  explicit PostingWitness(EventPostingPort& port) : port_(port) {}

  int postedCount() const { return posted_; }

  std::optional<InputEvent> createMouseEvent(std::uint32_t type, std::uint32_t windowNumber, std::int64_t eventNumber,
                                             int clickCount, InputEventFailure& failure) override {
    return port_.createMouseEvent(type, windowNumber, eventNumber, clickCount, failure);
  }
  std::optional<InputEvent> createOtherEvent(std::uint32_t type, std::int16_t subtype, double timestamp) override {
    return port_.createOtherEvent(type, subtype, timestamp);
  }
  std::optional<InputEvent> createFlagsChangedEvent(std::uint64_t flags) override {
    return port_.createFlagsChangedEvent(flags);
  }
  std::optional<InputEvent> createKeyboardEvent(std::uint16_t keyCode, bool keyDown, std::uint64_t flags) override {
    return port_.createKeyboardEvent(keyCode, keyDown, flags);
  }
  void setUnicodeString(InputEvent& event, const std::u16string& units) override {
    port_.setUnicodeString(event, units);
  }
  std::optional<InputEvent> createScrollWheelEvent(std::int32_t wheel1, std::int32_t wheel2) override {
    return port_.createScrollWheelEvent(wheel1, wheel2);
  }
  std::unique_ptr<InputEventSequence> beginSequence(std::int32_t pid) override { return port_.beginSequence(pid); }
  bool postToPid(std::int32_t pid, const InputEvent& event) override {
    const bool isFelt = event.type != InputEventType::applicationDefined &&
                        event.type != InputEventType::processNotification && event.type != InputEventType::flagsChanged;
    if (isFelt) ++posted_;
    return port_.postToPid(pid, event);
  }
  void setIntegerValueField(InputEvent& event, std::uint32_t field, std::int64_t value) override {
    port_.setIntegerValueField(event, field, value);
  }
  void setWindowLocation(InputEvent& event, Point point) override { port_.setWindowLocation(event, point); }
  void setLocation(InputEvent& event, Point point) override { port_.setLocation(event, point); }
  void setTimestamp(InputEvent& event, std::uint64_t nanoseconds) override { port_.setTimestamp(event, nanoseconds); }
  double systemUptime() override { return port_.systemUptime(); }

 private:
  EventPostingPort& port_;
  std::atomic<int> posted_ = 0;
};

}  // namespace tavik
