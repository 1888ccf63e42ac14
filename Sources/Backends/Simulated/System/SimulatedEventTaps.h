#pragma once

#include <algorithm>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "Base/Concurrency/Mutex.h"
#include "PlatformInterfaces/EventTapPort.h"

namespace tavik {

/// The user's hands on the simulated desktop, and what the window server tells
/// processes of the focus. Any thread.
class SimulatedEventTaps : public EventTapPort {
 public:
  using Fields = std::map<std::uint32_t, std::int64_t>;

  /// An event happens on its way to a process; taps hear of it on this thread. False
  /// when one of them swallowed it.
  bool happens(std::uint32_t type, std::optional<std::int32_t> pid, const Fields& fields = {}) {
    for (const auto& tap : taps()) {
      const bool isForTap = !tap->request.targetPID || tap->request.targetPID == pid;
      const bool isOfType = std::ranges::find(tap->request.eventTypes, type) != tap->request.eventTypes.end();
      if (!isForTap || !isOfType || !isEnabled(*tap)) continue;
      const TappedEvent event{.type = type,
                              .targetPID = [pid] { return pid; },
                              .integerField = [&fields](std::uint32_t field) {
                                const auto known = fields.find(field);
                                return known == fields.end() ? 0 : known->second;
                              }};
      const auto verdict = tap->callback(event);
      const bool decides = tap->request.options == EventTapOptions::defaultTap;
      if (decides && verdict == EventTapVerdict::swallow) return false;
    }
    return true;
  }
  void userDoes(std::uint32_t type, std::optional<std::int32_t> pid) { happens(type, pid); }
  /// Disables every tap and tells it so, as a window server does with a slow one.
  void disableAll(std::uint32_t reason) {
    for (const auto& tap : taps()) {
      setEnabled(*tap, false);
      tap->callback({.type = reason});
    }
  }

  /// From now on nobody may listen.
  void refuse() {
    MutexLock lock(mutex_);
    isRefusing_ = true;
  }
  std::size_t listenerCount() { return taps().size(); }
  std::vector<EventTapRequest> requests() {
    std::vector<EventTapRequest> requests;
    for (const auto& tap : taps()) requests.push_back(tap->request);
    return requests;
  }

  std::unique_ptr<InstalledEventTap> createTap(const EventTapRequest& request, Callback callback) override {
    requireNoLockHeld("createTap");
    MutexLock lock(mutex_);
    if (isRefusing_) return nullptr;
    taps_.push_back(std::make_shared<Tap>(Tap{request, std::move(callback), false}));
    return std::make_unique<Installed>(*this, taps_.back());
  }

 private:
  struct Tap {
    EventTapRequest request;
    Callback callback;
    bool isEnabled = false;
  };
  class Installed : public InstalledEventTap {
   public:
    Installed(SimulatedEventTaps& taps, std::shared_ptr<Tap> tap) : taps_(taps), tap_(std::move(tap)) {}
    ~Installed() override {
      MutexLock lock(taps_.mutex_);
      std::erase(taps_.taps_, tap_);
    }
    void setEnabled(bool isEnabled) override { taps_.setEnabled(*tap_, isEnabled); }

   private:
    SimulatedEventTaps& taps_;
    const std::shared_ptr<Tap> tap_;
  };

  std::vector<std::shared_ptr<Tap>> taps() {
    MutexLock lock(mutex_);
    return taps_;
  }
  bool isEnabled(const Tap& tap) {
    MutexLock lock(mutex_);
    return tap.isEnabled;
  }
  void setEnabled(Tap& tap, bool isEnabled) {
    MutexLock lock(mutex_);
    tap.isEnabled = isEnabled;
  }

  Mutex mutex_;
  bool isRefusing_ = false;
  std::vector<std::shared_ptr<Tap>> taps_;
};

}  // namespace tavik
