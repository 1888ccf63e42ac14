#pragma once

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include "Base/Concurrency/Mutex.h"
#include "PlatformInterfaces/EventTapPort.h"

namespace tavik {

/// The user's hands on the simulated desktop. Any thread.
class SimulatedEventTaps : public EventTapPort {
 public:
  /// The user makes an event in a window of the process; listeners hear of it on
  /// this thread.
  void userDoes(std::uint32_t type, std::optional<std::int32_t> pid) {
    std::vector<std::shared_ptr<Listener>> listeners;
    {
      MutexLock lock(mutex_);
      listeners = listeners_;
    }
    for (const auto& listener : listeners) {
      if (std::ranges::find(listener->types, type) == listener->types.end()) continue;
      listener->handler({type, [pid] { return pid; }});
    }
  }
  /// From now on nobody may listen.
  void refuse() {
    MutexLock lock(mutex_);
    isRefusing_ = true;
  }
  std::size_t listenerCount() {
    MutexLock lock(mutex_);
    return listeners_.size();
  }

  std::unique_ptr<EventTap> createListenOnlyTap(std::vector<std::uint32_t> eventTypes, Handler handler) override {
    MutexLock lock(mutex_);
    if (isRefusing_) return nullptr;
    listeners_.push_back(std::make_shared<Listener>(Listener{std::move(eventTypes), std::move(handler)}));
    return std::make_unique<Tap>(*this, listeners_.back());
  }

 private:
  struct Listener {
    std::vector<std::uint32_t> types;
    Handler handler;
  };
  class Tap : public EventTap {
   public:
    Tap(SimulatedEventTaps& taps, std::shared_ptr<Listener> listener) : taps_(taps), listener_(std::move(listener)) {}
    ~Tap() override {
      MutexLock lock(taps_.mutex_);
      std::erase(taps_.listeners_, listener_);
    }

   private:
    SimulatedEventTaps& taps_;
    const std::shared_ptr<Listener> listener_;
  };

  Mutex mutex_;
  bool isRefusing_ = false;
  std::vector<std::shared_ptr<Listener>> listeners_;
};

}  // namespace tavik
