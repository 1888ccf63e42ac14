#include "ComputerUsePlatform/Capture/CaptureCoordinator.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <system_error>
#include <utility>

#include "Base/Encoding/UUID.h"
#include "ComputerUsePlatform/Capture/CaptureTimeout.h"
#include "SlimCore/Logging/TavikComputerUseLogger.h"

namespace tavik {

namespace {

constexpr std::size_t mostWaiters = 3;
constexpr double firstCooldown = 30;
constexpr double repeatedCooldown = 120;
constexpr double lastingCooldown = 300;
constexpr double displayCooldown = 30;
constexpr double drainSafetySeconds = 30;
constexpr double completedDrainMemory = 60;

constexpr const char* displayNotReady = "display is not ready";

bool displayIsReady(const std::vector<ScreenRecord>& screens) {
  return std::ranges::any_of(screens, [](const ScreenRecord& screen) {
    return screen.frame.size.width >= 1 && screen.frame.size.height >= 1;
  });
}

/// How long a backend rests after so many failures in a row.
double cooldownAfter(int failures) {
  if (failures < 3) return firstCooldown;
  return failures < 5 ? repeatedCooldown : lastingCooldown;
}

LogFields commonFields(const CaptureKey& key, const std::optional<std::string>& toolName, LogFields more = {}) {
  more.insert({{"tool", toolName}, {"backend", rawValue(key.backend)}, {"policy", rawValue(key.policy)}});
  if (key.pid) more.insert({"targetPid", *key.pid});
  if (key.windowID) more.insert({"windowId", *key.windowID});
  return more;
}

std::int64_t millisecondsOf(double seconds) { return static_cast<std::int64_t>(seconds * 1000); }

bool isTimeout(const std::exception_ptr& error) {
  try {
    std::rethrow_exception(error);
  } catch (const CaptureCoordinatorError& captureError) {
    return captureError.kind() == CaptureCoordinatorError::Kind::timedOut;
  } catch (...) {
    return false;
  }
}

void removeFile(const std::string& path) {
  std::error_code ignored;
  std::filesystem::remove(path, ignored);
}

}  // namespace

/// One step on the coordinator's state. Whatever the step logs, wakes or starts
/// comes when its lock is free again.
class CaptureCoordinator::Turn {
 public:
  explicit Turn(CaptureCoordinator& coordinator) : now(coordinator.scheduler_.now()), mutex_(coordinator.mutex_) {
    mutex_.lock();
  }
  ~Turn() {
    mutex_.unlock();
    for (const auto& work : afterwards_) work();
  }
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;

  void afterwards(std::function<void()> work) { afterwards_.push_back(std::move(work)); }
  void log(LogLevel level, const char* event, LogFields fields) {
    afterwards([level, event, fields = std::move(fields)] {
      TavikComputerUseLogger::log(level, LogCategory::capture, event, fields);
    });
  }

  const MonotonicTime now;

 private:
  Mutex& mutex_;
  std::vector<std::function<void()>> afterwards_;
};

CaptureCoordinator::CaptureCoordinator(WindowServerPort& windowServer, Scheduler& scheduler,
                                       std::string temporaryDirectory)
    : windowServer_(windowServer),
      scheduler_(scheduler),
      temporaryDirectory_(std::move(temporaryDirectory)),
      tasks_(scheduler) {}

CaptureArtifact CaptureCoordinator::capture(const CaptureKey& key, const std::optional<std::string>& toolName,
                                            double timeoutSeconds, Operation operation) {
  if (key.backend == CaptureBackend::axOnly || key.policy == CapturePolicy::axOnly) {
    throw CaptureCoordinatorError::skipped("capture policy AX_ONLY");
  }
  const InFlightKey inFlightKey{key, static_cast<std::int64_t>(std::ceil(timeoutSeconds * 1000))};
  return *awaitTurn(inFlightKey, toolName, timeoutSeconds, operation).waitOrCancel("a screenshot");
}

// Coming in

CaptureCoordinator::Awaiter CaptureCoordinator::awaitTurn(const InFlightKey& key,
                                                          const std::optional<std::string>& toolName,
                                                          double timeoutSeconds, const Operation& operation) {
  bool holdsTheGate = false;
  while (true) {
    const bool isReady = displayIsReady(windowServer_.screens());
    Completion<Unit> myTurn(scheduler_);
    {
      Turn turn(*this);
      try {
        checkMayCapture(turn, key.captureKey, isReady);
      } catch (...) {
        if (holdsTheGate) passOnTheGate();
        throw;
      }
      if (const auto running = inFlight_.find(key); running != inFlight_.end()) {
        turn.log(LogLevel::info, "capture_coalesced", commonFields(key.captureKey, toolName));
        running->second.emplace_back(scheduler_);
        return running->second.back();
      }
      if (holdsTheGate || (!activeCaptureKey_ && !isReserved_)) {
        isReserved_ = false;
        return startCapture(turn, key, toolName, timeoutSeconds, operation);
      }
      turn.log(LogLevel::info, "capture_waiting", commonFields(key.captureKey, toolName));
      myTurn = joinWaiters(turn);
    }
    waitForActiveCaptureToFinish(myTurn);
    holdsTheGate = true;
  }
}

void CaptureCoordinator::checkMayCapture(Turn& turn, const CaptureKey& key, bool displayIsReady) {
  if (!displayIsReady) {
    openBreaker(turn, key.backend, displayNotReady, displayCooldown, 1);
    openGlobalBreaker(turn, displayNotReady, displayCooldown);
    throw CaptureCoordinatorError::unavailable(displayNotReady);
  }
  checkGlobalBreaker(turn);
  checkBreaker(turn, key.backend);
}

void CaptureCoordinator::checkGlobalBreaker(Turn& turn) {
  if (!globalCooldown_) return;
  if (globalCooldown_->until > turn.now) {
    throw CaptureCoordinatorError::skipped("capture breaker is open after " + globalCooldown_->reason);
  }
  globalCooldown_.reset();
}

void CaptureCoordinator::checkBreaker(Turn& turn, CaptureBackend backend) {
  const std::string name(rawValue(backend));
  if (const auto drain = backendDrains_.find(backend); drain != backendDrains_.end()) {
    if (drain->second.until > turn.now) {
      throw CaptureCoordinatorError::skipped(name + " capture is draining after " + drain->second.reason);
    }
    backendDrains_.erase(drain);
  }
  if (const auto cooldown = backendCooldowns_.find(backend); cooldown != backendCooldowns_.end()) {
    if (cooldown->second.until > turn.now) {
      throw CaptureCoordinatorError::skipped(name + " capture breaker is open after " + cooldown->second.reason);
    }
    backendCooldowns_.erase(cooldown);
  }
}

Completion<Unit> CaptureCoordinator::joinWaiters(Turn& turn) {
  if (globalWaiters_.size() >= mostWaiters) {
    turn.log(LogLevel::error, "capture_queue_rejected",
             {{"queued", globalWaiters_.size()}, {"reason", "queue_full"}});
    throw CaptureCoordinatorError::skipped("too many pending screenshot captures");
  }
  globalWaiters_.emplace_back(scheduler_);
  return globalWaiters_.back();
}

void CaptureCoordinator::waitForActiveCaptureToFinish(const Completion<Unit>& myTurn) {
  try {
    myTurn.waitOrCancel("the capture gate");
  } catch (const CancellationError&) {
    Turn turn(*this);
    // A waiter that was woken already holds the gate and hands it on.
    if (!myTurn.resume()) {
      passOnTheGate();
    } else {
      std::erase_if(globalWaiters_, [](const Completion<Unit>& waiter) { return waiter.isResumed(); });
    }
    throw;
  }
}

void CaptureCoordinator::passOnTheGate() {
  isReserved_ = !globalWaiters_.empty();
  if (!isReserved_) return;
  const Completion<Unit> next = globalWaiters_.front();
  globalWaiters_.pop_front();
  // Given inside the step, so that whoever gives up meanwhile knows that it is his.
  next.resume();
}

CaptureCoordinator::Awaiter CaptureCoordinator::startCapture(Turn& turn, const InFlightKey& key,
                                                             const std::optional<std::string>& toolName,
                                                             double timeoutSeconds, const Operation& operation) {
  const Request request{key, toolName, timeoutSeconds, UUID::make().string(), turn.now};
  turn.log(LogLevel::info, "capture_started",
           commonFields(key.captureKey, toolName,
                        {{"captureId", request.requestID}, {"timeoutMs", key.timeoutMilliseconds}}));
  activeCaptureKey_ = key;
  auto& awaiters = inFlight_[key];
  awaiters.emplace_back(scheduler_);
  turn.afterwards([this, request, operation] {
    tasks_.start("screenshot", [this, request, operation] { runCapture(request, operation); });
  });
  return awaiters.back();
}

// The capture itself

void CaptureCoordinator::runCapture(const Request& request, const Operation& operation) {
  std::optional<CaptureArtifact> artifact;
  try {
    artifact = takePicture(request, operation);
  } catch (...) {
    return fail(request, std::current_exception());
  }
  succeed(request, *std::move(artifact));
}

CaptureArtifact CaptureCoordinator::takePicture(const Request& request, const Operation& operation) {
  const CaptureBackend backend = request.key.captureKey.backend;
  const std::string file = temporaryDirectory_ + "/application-snapshot-" + UUID::make().string() + ".png";
  const std::string written = CaptureTimeout::run(
      scheduler_, tasks_, std::string(rawValue(backend)) + " screenshot", request.timeoutSeconds,
      [operation, file] { return operation(file); }, removeFile,
      [this, backend, requestID = request.requestID] {
        finishTimeoutDrain(backend, requestID, "late completion");
      });
  return CaptureArtifact::consumeTemporaryPNG(written);
}

void CaptureCoordinator::succeed(const Request& request, CaptureArtifact artifact) {
  const CaptureKey& key = request.key.captureKey;
  const auto shared = std::make_shared<const CaptureArtifact>(std::move(artifact));
  Turn turn(*this);
  backendCooldowns_.erase(key.backend);
  backendFailureCounts_.erase(key.backend);
  backendDrains_.erase(key.backend);
  globalCooldown_.reset();
  turn.log(LogLevel::info, "capture_finished",
           commonFields(key, request.toolName,
                        {{"captureId", request.requestID},
                         {"durationMs", roundedMilliseconds(turn.now - request.startedAt)},
                         {"outcome", "success"}}));
  turn.afterwards([awaiters = finishCapture(request.key), shared] {
    for (const Awaiter& awaiter : awaiters) awaiter.resume(shared);
  });
}

void CaptureCoordinator::fail(const Request& request, std::exception_ptr error) {
  const CaptureKey& key = request.key.captureKey;
  Turn turn(*this);
  const bool timedOut = isTimeout(error);
  recordFailure(turn, timedOut, key.backend);
  if (timedOut) startTimeoutDrain(turn, key.backend, request.requestID);
  turn.log(LogLevel::error, "capture_failed",
           commonFields(key, request.toolName,
                        {{"captureId", request.requestID},
                         {"durationMs", roundedMilliseconds(turn.now - request.startedAt)},
                         {"outcome", "failure"},
                         {"error", error}}));
  turn.afterwards([awaiters = finishCapture(request.key), error] {
    for (const Awaiter& awaiter : awaiters) awaiter.fail(error);
  });
}

std::vector<CaptureCoordinator::Awaiter> CaptureCoordinator::finishCapture(const InFlightKey& key) {
  auto awaiters = std::move(inFlight_[key]);
  inFlight_.erase(key);
  if (activeCaptureKey_ == key) activeCaptureKey_.reset();
  passOnTheGate();
  return awaiters;
}

// Breakers

void CaptureCoordinator::recordFailure(Turn& turn, bool isTimeout, CaptureBackend backend) {
  const int failures = ++backendFailureCounts_[backend];
  if (isTimeout) {
    openBreaker(turn, backend, "timeout", cooldownAfter(failures), failures);
    openGlobalBreaker(turn, "timeout", cooldownAfter(failures));
  } else if (failures >= 2) {
    openBreaker(turn, backend, "consecutive failures", cooldownAfter(failures), failures);
  }
}

void CaptureCoordinator::openBreaker(Turn& turn, CaptureBackend backend, const std::string& reason, double cooldown,
                                     int failures) {
  backendCooldowns_[backend] = {turn.now + seconds(cooldown), failures, reason};
  turn.log(LogLevel::fault, "capture_backend_breaker_opened",
           {{"backend", rawValue(backend)},
            {"reason", reason},
            {"failures", failures},
            {"cooldownMs", millisecondsOf(cooldown)}});
}

void CaptureCoordinator::openGlobalBreaker(Turn& turn, const std::string& reason, double cooldown) {
  globalCooldown_ = {turn.now + seconds(cooldown), 1, reason};
  turn.log(LogLevel::fault, "capture_global_breaker_opened",
           {{"reason", reason}, {"cooldownMs", millisecondsOf(cooldown)}});
}

// Drains

void CaptureCoordinator::startTimeoutDrain(Turn& turn, CaptureBackend backend, const std::string& requestID) {
  pruneCompletedTimeoutDrainRequests(turn.now);
  if (completedTimeoutDrainRequests_.erase(requestID) > 0) {
    turn.log(LogLevel::info, "capture_timeout_drain_skipped",
             {{"captureId", requestID}, {"backend", rawValue(backend)}, {"reason", "operation_completed"}});
    return;
  }
  backendDrains_[backend] = {turn.now + seconds(drainSafetySeconds), requestID, "timeout"};
  turn.log(LogLevel::info, "capture_timeout_drain_started",
           {{"captureId", requestID}, {"backend", rawValue(backend)}});
  turn.afterwards([this, backend, requestID] {
    tasks_.start("screenshot drain", [this, backend, requestID] {
      try {
        scheduler_.sleep(seconds(drainSafetySeconds));
      } catch (const CancellationError&) {
        // The end of the drain is the same.
      }
      finishTimeoutDrain(backend, requestID, "safety expiry");
    });
  });
}

void CaptureCoordinator::finishTimeoutDrain(CaptureBackend backend, const std::string& requestID,
                                            const std::string& reason) {
  Turn turn(*this);
  const auto drain = backendDrains_.find(backend);
  if (drain == backendDrains_.end()) {
    // The late answer may overtake the start of its own drain.
    if (reason == "late completion") completedTimeoutDrainRequests_[requestID] = turn.now;
    return;
  }
  if (drain->second.requestID != requestID) return;
  backendDrains_.erase(drain);
  completedTimeoutDrainRequests_.erase(requestID);
  turn.log(LogLevel::info, "capture_timeout_drain_finished",
           {{"captureId", requestID}, {"backend", rawValue(backend)}, {"reason", reason}});
}

void CaptureCoordinator::pruneCompletedTimeoutDrainRequests(MonotonicTime now) {
  std::erase_if(completedTimeoutDrainRequests_, [&](const auto& completed) {
    return now - completed.second > seconds(completedDrainMemory);
  });
}

}  // namespace tavik
