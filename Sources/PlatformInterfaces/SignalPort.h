#pragma once

#include <functional>
#include <memory>

namespace tavik {

/// Ends the delivery of one signal when destroyed.
class SignalSource {
 public:
  virtual ~SignalSource() = default;
};

/// Signals of the system, delivered as work on the main queue.
class SignalPort {
 public:
  virtual ~SignalPort() = default;
  virtual void ignore(int signal) = 0;
  /// Replaces the signal's default effect by the handler.
  virtual std::unique_ptr<SignalSource> makeSource(int signal, std::function<void()> handler) = 0;
};

}  // namespace tavik
