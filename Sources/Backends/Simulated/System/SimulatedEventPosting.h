#pragma once

#include <functional>
#include <set>
#include <utility>
#include <vector>

#include "Backends/Simulated/Journal.h"
#include "Base/Concurrency/Mutex.h"
#include "Base/Concurrency/Scheduler.h"
#include "PlatformInterfaces/EventPostingPort.h"

namespace tavik {

/// Input events of the simulated desktop: kept in order and written into the
/// journal; what they bring about is the test's to say. Any thread.
class SimulatedEventPosting : public EventPostingPort {
 public:
  /// The stages of making and posting that a test can take away.
  enum class Missing { nsEvent, cgEvent, postToPid, integerFields, windowLocation, location, timestamp };

  struct Posted {
    std::int32_t pid = 0;
    InputEvent event;
  };

  SimulatedEventPosting(Scheduler& scheduler, Journal& journal) : scheduler_(scheduler), journal_(journal) {}

  void takeAway(Missing part);
  void giveBack(Missing part);
  /// Lets `count` more events be made and refuses those after them.
  void failAfter(int count);
  /// Runs at each post, on the poster's thread, after it was recorded.
  void setOnPost(std::function<void(const Posted&)> body);
  std::vector<Posted> posted() const;

  std::optional<InputEvent> createMouseEvent(std::uint32_t type, std::uint32_t windowNumber, std::int64_t eventNumber,
                                             int clickCount, InputEventFailure& failure) override;
  std::optional<InputEvent> createOtherEvent(std::uint32_t type, std::int16_t subtype, double timestamp) override;
  std::optional<InputEvent> createFlagsChangedEvent(std::uint64_t flags) override;
  std::optional<InputEvent> createKeyboardEvent(std::uint16_t keyCode, bool keyDown, std::uint64_t flags) override;
  void setUnicodeString(InputEvent& event, const std::u16string& units) override;
  std::optional<InputEvent> createScrollWheelEvent(std::int32_t wheel1, std::int32_t wheel2) override;
  bool postToPid(std::int32_t pid, const InputEvent& event) override;
  void setIntegerValueField(InputEvent& event, std::uint32_t field, std::int64_t value) override;
  void setWindowLocation(InputEvent& event, Point point) override;
  void setLocation(InputEvent& event, Point point) override;
  void setTimestamp(InputEvent& event, std::uint64_t nanoseconds) override;
  double systemUptime() override;

 private:
  bool lacks(Missing part) const;
  bool mayMake();

  Scheduler& scheduler_;
  Journal& journal_;
  mutable Mutex mutex_;
  std::set<Missing> missing_;
  std::optional<int> makeable_;
  std::function<void(const Posted&)> onPost_;
  std::vector<Posted> posted_;
};

/// "mouse down", "key up": an event's type for a reader.
std::string inputEventName(std::uint32_t type);

}  // namespace tavik
