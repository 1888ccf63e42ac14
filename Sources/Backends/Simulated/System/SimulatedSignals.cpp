#include "Backends/Simulated/System/SimulatedSignals.h"

#include <vector>

namespace tavik {

class SimulatedSignals::Source : public SignalSource {
 public:
  explicit Source(std::shared_ptr<Handlers> handlers) : handlers_(std::move(handlers)) {}
  ~Source() override {
    MutexLock lock(handlers_->mutex);
    handlers_->bySource.erase(this);
  }

 private:
  std::shared_ptr<Handlers> handlers_;
};

void SimulatedSignals::raise(int signal) {
  mainQueue_.async([handlers = handlers_, signal] {
    std::vector<std::function<void()>> toRun;
    {
      MutexLock lock(handlers->mutex);
      for (const auto& [source, entry] : handlers->bySource) {
        if (entry.first == signal) toRun.push_back(entry.second);
      }
    }
    for (const auto& handler : toRun) handler();
  });
}

bool SimulatedSignals::isIgnored(int signal) const {
  MutexLock lock(mutex_);
  return ignored_.contains(signal);
}

void SimulatedSignals::ignore(int signal) {
  requireNoLockHeld("ignoring a signal");
  MutexLock lock(mutex_);
  ignored_.insert(signal);
}

std::unique_ptr<SignalSource> SimulatedSignals::makeSource(int signal, std::function<void()> handler) {
  requireNoLockHeld("making a signal source");
  auto source = std::make_unique<Source>(handlers_);
  MutexLock lock(handlers_->mutex);
  handlers_->bySource.emplace(source.get(), std::pair(signal, std::move(handler)));
  return source;
}

}  // namespace tavik
