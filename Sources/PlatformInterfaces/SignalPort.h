#pragma once

#include <functional>
#include <memory>

namespace tavik {

/// Ends the delivery of one signal when destroyed, which its own handler may do.
class SignalSource {
 public:
  virtual ~SignalSource() = default;
};

/// Signals of the system, delivered as work on the main queue.
class SignalPort {
 public:
  virtual ~SignalPort() = default;
  virtual void ignore(int signal) = 0;
  /// Runs the handler for the signal, also when it is ignored. Without the source the
  /// signal does what it did before.
  virtual std::unique_ptr<SignalSource> makeSource(int signal, std::function<void()> handler) = 0;
};

}  // namespace tavik
