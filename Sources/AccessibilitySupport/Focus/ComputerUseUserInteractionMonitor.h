#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <variant>

#include "Base/Concurrency/Mutex.h"
#include "Base/Concurrency/TaskGroup.h"

namespace tavik {

/// Why an action has to wait for the user. The message is for the model.
class UserInteractionError : public std::exception {
 public:
  static UserInteractionError stillInteracting(const std::string& appName);
  static UserInteractionError appChanged(const std::string& appName);

  const std::string& message() const { return message_; }
  const char* what() const noexcept override { return message_.c_str(); }

 private:
  explicit UserInteractionError(std::string message) : message_(std::move(message)) {}
  std::string message_;
};

/// Keeps the agent from acting against the user: it remembers that the user touched
/// an application, for five seconds, or changed what the agent saw, until the agent
/// has looked again. It also knows when input is the tool's own.
///
/// Who watches the user calls `recordInterruption`, unless `isToolGenerated` says
/// that the event is none of the user's. One for the tools; any thread.
class ComputerUseUserInteractionMonitor {
 public:
  static constexpr Duration debounceInterval = milliseconds(5000);
  static constexpr Duration retryInterval = milliseconds(250);

  struct ActiveInteraction {
    std::string appName;
    MonotonicTime expiry;
  };
  struct StaleState {
    std::string appName;
  };
  using InterventionReason = std::variant<ActiveInteraction, StaleState>;

  explicit ComputerUseUserInteractionMonitor(Scheduler& scheduler) : scheduler_(scheduler), tasks_(scheduler) {}

  /// The application that the agent works in, from now on.
  void startMonitoring(const std::string& appIdentifier, const std::string& appName, std::int32_t pid);
  void stopMonitoring();
  /// Forgets everything, as at the end of a turn.
  void reset();

  /// Bracket the tool's own input into the monitored process; calls for another
  /// process change nothing.
  void beginToolAction(std::int32_t pid);
  void endToolAction(std::int32_t pid, Duration ignoreEventsFor);
  /// Whether input that arrives now is an echo of the tool's own.
  bool isToolGenerated();

  void recordInterruption(const std::string& appIdentifier, const std::string& appName);
  /// Lasts until `clearIntervention` or `reset`.
  void recordAppChanged(const std::string& appIdentifier, const std::string& appName);
  /// Called by every completed look at the application.
  void clearIntervention(const std::string& appIdentifier);

  /// Waits a moment for an interaction that is just ending. Throws
  /// `UserInteractionError` when the agent must not act now. Cancellation ends the
  /// wait without an error.
  void guardAction(const std::string& appIdentifier);

  bool bypassStaleStateCheck();
  void setBypassStaleStateCheck(bool bypass);
  /// 0 when nothing is monitored.
  std::int32_t currentProcessID();
  std::optional<std::string> currentAppIdentifier();
  std::optional<std::string> currentAppName();
  int toolActionDepth();
  /// Called with the application's identifier after each interruption, on the
  /// recording thread.
  void setOnAppInterrupted(std::function<void(const std::string&)> callback);
  std::optional<InterventionReason> intervention(const std::string& appIdentifier);

 private:
  struct Record {
    InterventionReason reason;
    /// Tells this record from a later one of the same application.
    std::uint64_t number = 0;
    Task cleanup;
  };

  void clearRecord(const std::string& appIdentifier, std::uint64_t number);
  bool mustWait(const std::string& appIdentifier);

  Scheduler& scheduler_;
  Mutex lock_;
  std::map<std::string, Record> interventions_;
  std::uint64_t records_ = 0;
  std::function<void(const std::string&)> onAppInterrupted_;
  std::int32_t currentProcessID_ = 0;
  std::optional<std::string> currentAppIdentifier_;
  std::optional<std::string> currentAppName_;
  int toolActionDepth_ = 0;
  /// The process that the depth counts for.
  std::int32_t toolActionProcessID_ = 0;
  std::optional<MonotonicTime> ignoreEventsUntil_;
  bool bypassStaleStateCheck_ = false;
  /// Last, so that the clean-ups end while all of the above lives.
  TaskGroup tasks_;
};

}  // namespace tavik
