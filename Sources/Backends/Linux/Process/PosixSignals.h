#pragma once

#include "Base/Concurrency/WorkQueue.h"
#include "PlatformInterfaces/SignalPort.h"

namespace tavik {

/// Signals as work on the main queue. The signal handler only notes the signal in
/// a pipe; a thread reads it and passes it on. One object at a time may exist in a
/// process.
class PosixSignals : public SignalPort {
 public:
  explicit PosixSignals(MainQueue& mainQueue);
  /// Signals that have a source are reset to what they did before.
  ~PosixSignals() override;

  /// Has no effect on a signal that has a source, before or after.
  void ignore(int signal) override;
  /// The handler runs once for each delivery that the system made; deliveries close
  /// together may be one. A second source of the same signal replaces the first.
  std::unique_ptr<SignalSource> makeSource(int signal, std::function<void()> handler) override;

 private:
  struct Dispatcher;
  class Source;
  std::shared_ptr<Dispatcher> dispatcher_;
};

}  // namespace tavik
