#pragma once

#include <functional>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>

#include "Base/Concurrency/Completion.h"
#include "Base/Concurrency/TaskGroup.h"
#include "ComputerUsePlatform/Capture/CaptureCoordinatorError.h"

namespace tavik::CaptureTimeout {

/// Runs an operation that may never come back, and waits for it no longer than
/// `seconds`. Gives its result, or throws what it threw; throws
/// `CaptureCoordinatorError::timedOut` when the time was over first, and
/// `CancellationError` when the caller was cancelled first. The operation is then
/// cancelled, but it may go on until its platform call returns.
///
/// It runs as a task of `background`, which has to outlive it. A result that came
/// too late goes to `onLateSuccess`; `onLateCompletion` follows in any case. Both
/// may be empty and run on the operation's task.
template <class Operation, class Result = std::invoke_result_t<Operation>>
Result run(Scheduler& scheduler, TaskGroup& background, const std::string& stage, double seconds, Operation operation,
           std::function<void(std::type_identity_t<Result>)> onLateSuccess = nullptr,
           std::function<void()> onLateCompletion = nullptr) {
  Completion<Result> completion(scheduler);
  const MonotonicTime deadline = scheduler.now() + tavik::seconds(seconds);
  const Task task = background.start(
      stage, [completion, operation = std::move(operation), onLateSuccess = std::move(onLateSuccess),
              onLateCompletion = std::move(onLateCompletion)]() mutable {
        bool wasInTime = false;
        try {
          Result result = operation();
          wasInTime = completion.resume(result);
          if (!wasInTime && onLateSuccess) onLateSuccess(std::move(result));
        } catch (...) {
          wasInTime = completion.fail(std::current_exception());
        }
        if (!wasInTime && onLateCompletion) onLateCompletion();
      });
  try {
    if (auto result = completion.waitUntil(deadline, "a capture")) return *std::move(result);
    // The answer comes first: an operation that obeys the cancellation would
    // otherwise win with its own error.
    const bool isOver = completion.fail(CaptureCoordinatorError::timedOut(stage, seconds));
    if (isOver) task.cancel();
  } catch (const CancellationError&) {
    if (completion.fail(CancellationError())) task.cancel();
  }
  return completion.wait();
}

}  // namespace tavik::CaptureTimeout
