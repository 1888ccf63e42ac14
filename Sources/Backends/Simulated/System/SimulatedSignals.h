#pragma once

#include <functional>
#include <map>
#include <memory>
#include <set>

#include "Base/Concurrency/Mutex.h"
#include "Base/Concurrency/WorkQueue.h"
#include "PlatformInterfaces/SignalPort.h"

namespace tavik {

/// Signals that a test raises.
class SimulatedSignals : public SignalPort {
 public:
  explicit SimulatedSignals(MainQueue& mainQueue) : mainQueue_(mainQueue) {}

  /// Runs the handlers of the signal on the main queue, later.
  void raise(int signal);
  bool isIgnored(int signal) const;

  void ignore(int signal) override;
  std::unique_ptr<SignalSource> makeSource(int signal, std::function<void()> handler) override;

 private:
  class Source;
  struct Handlers {
    Mutex mutex;
    std::map<const Source*, std::pair<int, std::function<void()>>> bySource;
  };

  MainQueue& mainQueue_;
  mutable Mutex mutex_;
  std::set<int> ignored_;
  std::shared_ptr<Handlers> handlers_ = std::make_shared<Handlers>();
};

}  // namespace tavik
