#pragma once

#include <exception>
#include <memory>
#include <optional>
#include <utility>
#include <variant>

#include "Base/Concurrency/Mutex.h"
#include "Base/Concurrency/Scheduler.h"

namespace tavik {

struct Unit {
  bool operator==(const Unit&) const = default;
};

/// An answer that one task awaits and another gives, once. Copies share the state,
/// so the giver may outlive the waiter.
template <class T>
class Completion {
 public:
  explicit Completion(Scheduler& scheduler) : state_(std::make_shared<State>(scheduler)) {}

  /// Gives the answer. False, and nothing happens, when there is one already.
  bool resume(T value) const { return state_->settle(std::move(value)); }
  bool resume() const
    requires std::same_as<T, Unit>
  {
    return resume(Unit{});
  }
  bool fail(std::exception_ptr error) const { return state_->settle(std::move(error)); }
  template <class Error>
  bool fail(const Error& error) const {
    return fail(std::make_exception_ptr(error));
  }

  bool isResumed() const { return state_->isSettled(); }

  /// Waits for the answer, and for nothing else: cancellation does not end it.
  T wait(const char* what = "completion") const { return *state_->await(what, std::nullopt, false); }
  /// Waits for the answer; throws `CancellationError` if the task is cancelled first.
  T waitOrCancel(const char* what = "completion") const { return *state_->await(what, std::nullopt, true); }
  /// Waits at most until the deadline; nothing when it passed first. Throws
  /// `CancellationError` if the task is cancelled first.
  std::optional<T> waitUntil(MonotonicTime deadline, const char* what = "completion") const {
    return state_->await(what, deadline, true);
  }
  std::optional<T> waitFor(Duration duration, const char* what = "completion") const {
    return waitUntil(state_->scheduler.now() + duration, what);
  }

 private:
  struct State {
    explicit State(Scheduler& scheduler) : scheduler(scheduler) {}

    Scheduler& scheduler;
    Mutex mutex;
    std::variant<std::monostate, T, std::exception_ptr> answer;
    std::shared_ptr<TaskRecord> waiter;

    template <class Answer>
    bool settle(Answer value) {
      std::shared_ptr<TaskRecord> toWake;
      {
        MutexLock lock(mutex);
        if (answer.index() != 0) return false;
        answer = std::move(value);
        toWake = std::move(waiter);
      }
      if (toWake) toWake->unpark();
      return true;
    }

    bool isSettled() {
      MutexLock lock(mutex);
      return answer.index() != 0;
    }

    std::optional<T> await(const char* what, std::optional<MonotonicTime> deadline, bool cancellable) {
      auto self = TaskRecord::current();
      while (true) {
        {
          MutexLock lock(mutex);
          if (auto* error = std::get_if<std::exception_ptr>(&answer)) std::rethrow_exception(*error);
          if (auto* value = std::get_if<T>(&answer)) return *value;
          waiter = self;
        }
        if (cancellable && self->isCancelled()) throw CancellationError();
        if (deadline && scheduler.now() >= *deadline) return std::nullopt;
        scheduler.park(what, deadline);
      }
    }
  };

  std::shared_ptr<State> state_;
};

}  // namespace tavik
