#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Base/Concurrency/Mutex.h"
#include "Base/Concurrency/Scheduler.h"
#include "PlatformInterfaces/AXValue.h"

namespace tavik {

/// The calls of the accessibility port, as scripts and counts tell them apart.
enum class AXOperation {
  getPid,
  setMessagingTimeout,
  copyAttributeValue,
  copyAttributeValues,
  getAttributeValueCount,
  copyMultipleAttributeValues,
  copyParameterizedAttributeValue,
  isAttributeSettable,
  setAttributeValue,
  copyActionNames,
  copyActionDescription,
  performAction,
  copyElementAtPosition,
  createObserver,
  addNotification,
  removeNotification,
};

/// Which calls a fault is about: some operations, and of these those on one
/// attribute, action or notification, or all.
struct AXCall {
  /// Empty means every operation but `getPid` and `setMessagingTimeout`, which do
  /// not ask the application.
  std::set<AXOperation> operations;
  std::string name;

  static AXCall any() { return {}; }
  static AXCall of(AXOperation operation, std::string name = {}) { return {{operation}, std::move(name)}; }
  /// Each way to read the attribute, in a batch too; all attributes without a name.
  static AXCall read(std::string attribute = {});
  static AXCall set(std::string attribute = {}) { return of(AXOperation::setAttributeValue, std::move(attribute)); }
  static AXCall perform(std::string action = {}) { return of(AXOperation::performAction, std::move(action)); }

  bool matches(AXOperation operation, const std::string& calledName) const;
};

/// What a test wants some calls to meet. Handles share the fault; a method may be
/// called at any time and holds for the calls after it. Any thread.
class Fault {
 public:
  explicit Fault(AXCall call);

  /// The call changes nothing and answers the code.
  Fault& answers(AXErrorCode code);
  /// The call takes that much longer. When this is longer than the messaging
  /// time-out, it answers `cannotComplete` then, and the application does what it
  /// was asked afterwards.
  Fault& delays(Duration duration);
  /// The application does not answer until `release`.
  Fault& hangs();
  /// Runs before the application serves the call, on the caller's thread.
  Fault& runs(std::function<void()> body);
  /// The application does what it was asked, and then answers, or hangs, as said.
  Fault& butServes();
  /// For that many calls only; without it for all.
  Fault& times(int count);
  Fault& once() { return times(1); }
  /// Leaves the first calls alone.
  Fault& after(int count);

  /// Lets the calls that hang go on, and later ones pass.
  void release();
  /// Ends the fault; calls that hang go on.
  void remove() { release(); }
  /// How many calls it met.
  int metCalls() const;

  /// What one call meets.
  struct Effect {
    std::optional<AXErrorCode> code;
    Duration delay{0};
    bool hangs = false;
    bool serves = false;
    std::function<void()> body;
  };
  /// Whether it meets calls on one attribute, action or notification only.
  bool isAboutOneName() const;
  /// Counts the call and says what it meets; nothing when the fault is not, or no
  /// longer, about it.
  std::optional<Effect> meet(AXOperation operation, const std::string& name) const;
  /// Waits until `release` or the deadline. False when the deadline came first.
  bool awaitRelease(Scheduler& scheduler, MonotonicTime deadline) const;

 private:
  struct State {
    mutable Mutex mutex;
    AXCall call;
    Effect effect;
    std::optional<int> remaining;
    int skipped = 0;
    int met = 0;
    bool released = false;
    std::vector<std::shared_ptr<TaskRecord>> waiters;
  };
  std::shared_ptr<State> state_;
};

}  // namespace tavik
